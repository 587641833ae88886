#include "CommandLine.h"

#include "Failures.h"

namespace fedutil {

namespace {

const CommandOption* Find(const std::vector<CommandOption>* options, const std::string& name) {
    for (size_t i = 0; options != nullptr && i < options->size(); ++i) {
        if (name == (*options)[i].name) {
            return &(*options)[i];
        }
    }
    return nullptr;
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& args, const CommandOptions& options) {
    CommandLine line;
    const std::vector<CommandOption>* command_options = nullptr;  // the command's own options
    auto for_command = [&line] {
        return line.command.empty() || line.command == "help" ? "" : " for " + line.command;
    };
    for (size_t index = 0; index < args.size(); ++index) {
        const std::string& arg = args[index];
        if (arg.size() <= 1 || arg[0] != '-') {
            if (line.command.empty()) {
                line.command = arg;
                command_options = arg == "help" ? nullptr : options(arg);
                if (command_options == nullptr && arg != "help") {
                    throw UsageError("unknown command '" + arg + "'");
                }
            } else if (line.command == "help" && line.topic.empty()) {
                line.topic = arg;
            } else {
                throw UsageError("unexpected argument '" + arg + "'" + for_command());
            }
            continue;
        }
        std::string name = arg == "-h" ? "--help" : arg;
        std::string value;
        const size_t equals = arg.find('=');
        const bool inline_value = equals != std::string::npos && arg[1] == '-';
        if (inline_value) {
            name = arg.substr(0, equals);
            value = arg.substr(equals + 1);
        }
        const CommandOption* option = Find(&GlobalOptions(), name);
        const bool global = option != nullptr;
        option = global ? option : Find(command_options, name);
        if (option == nullptr) {
            throw UsageError("unknown option " + name + for_command());
        }
        if (option->value_name == nullptr) {
            if (inline_value) {
                throw UsageError(name + " takes no value");
            }
            bool& flag = name == "--json" ? line.json : name == "--help" ? line.help : line.version;
            global ? (void)(flag = true) : (void)line.flags.insert(name);
            continue;
        }
        if (!inline_value) {
            if (index + 1 >= args.size()) {
                throw UsageError(name + " needs a value (" + option->value_name + ")");
            }
            value = args[++index];
        }
        if (value.empty()) {
            throw UsageError(name + " needs a non-empty value (" + option->value_name + ")");
        }
        if (global ? !line.library.empty() : line.Has(name)) {
            throw UsageError(name + " is given twice");
        }
        (global ? line.library : line.values[name]) = value;
    }
    for (size_t i = 0; command_options != nullptr && !line.help && i < command_options->size();
         ++i) {
        const CommandOption& option = (*command_options)[i];
        if (option.required && !line.Has(option.name)) {
            throw UsageError(line.command + " needs " + option.name + " " + option.value_name);
        }
    }
    return line;
}

const std::string& CommandLine::Required(const char* name) const {
    auto it = values.find(name);
    if (it == values.end()) {
        throw UsageError(command + " needs " + name);
    }
    return it->second;
}

std::string CommandLine::ValueOr(const std::string& name, const std::string& fallback) const {
    auto it = values.find(name);
    return it == values.end() ? fallback : it->second;
}

const std::vector<CommandOption>& GlobalOptions() {
    static const std::vector<CommandOption> options = {
        {"--library", "PATH", "load this libfederateutil.so.1 instead of the one beside fedutil"},
        {"--json", nullptr, "print the result and outputs as JSON"},
        {"--help", nullptr, "print help and exit (also -h)"},
        {"--version", nullptr, "print the version and exit"},
    };
    return options;
}

}  // namespace fedutil
