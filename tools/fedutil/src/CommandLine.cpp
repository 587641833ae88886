#include "CommandLine.h"

#include "Errors.h"

namespace fedutil {

namespace {

const OptionSpec* Find(const std::vector<OptionSpec>& options_list, const std::string& name) {
    for (const auto& option : options_list) {
        if (name == option.name) {
            return &option;
        }
    }
    return nullptr;
}

bool IsOption(const std::string& arg) {
    return arg.size() > 1 && arg[0] == '-';
}

class Parser {
  public:
    Parser(const std::vector<std::string>& args, const CommandOptions& options)
        : args_(args), options_(options) {}

    CommandLine Run() {
        for (index_ = 0; index_ < args_.size(); ++index_) {
            const std::string& arg = args_[index_];
            if (IsOption(arg)) {
                Option(arg);
            } else if (line_.command.empty()) {
                Command(arg);
            } else if (line_.command == "help" && line_.topic.empty()) {
                line_.topic = arg;
            } else {
                throw UsageError("unexpected argument '" + arg + "'" + ForCommand());
            }
        }
        if (command_specs_ != nullptr && !line_.help) {
            for (const auto& option : *command_specs_) {
                if (option.required && !line_.Has(option.name)) {
                    throw UsageError(line_.command + " needs " + option.name + " " +
                                     option.value_name);
                }
            }
        }
        return line_;
    }

  private:
    void Command(const std::string& name) {
        line_.command = name;
        if (name == "help") {
            return;
        }
        command_specs_ = options_(name);
        if (command_specs_ == nullptr) {
            throw UsageError("unknown command '" + name + "'");
        }
    }

    void Option(const std::string& arg) {
        std::string name = arg;
        std::string value;
        bool inline_value = false;
        if (const size_t equals = arg.find('='); equals != std::string::npos && arg[1] == '-') {
            name = arg.substr(0, equals);
            value = arg.substr(equals + 1);
            inline_value = true;
        }
        if (name == "-h") {
            name = "--help";
        }
        const OptionSpec* option = Find(GlobalOptions(), name);
        const bool global = option != nullptr;
        if (option == nullptr && command_specs_ != nullptr) {
            option = Find(*command_specs_, name);
        }
        if (option == nullptr) {
            throw UsageError("unknown option " + name + ForCommand());
        }
        if (option->value_name == nullptr) {
            if (inline_value) {
                throw UsageError(name + " takes no value");
            }
            SetFlag(name, global);
            return;
        }
        if (!inline_value) {
            if (index_ + 1 >= args_.size()) {
                throw UsageError(name + " needs a value (" + option->value_name + ")");
            }
            value = args_[++index_];
        }
        if (value.empty()) {
            throw UsageError(name + " needs a non-empty value (" + option->value_name + ")");
        }
        SetValue(name, value, global);
    }

    void SetFlag(const std::string& name, bool global) {
        if (global) {
            if (name == "--json") {
                line_.json = true;
            } else if (name == "--help") {
                line_.help = true;
            } else if (name == "--version") {
                line_.version = true;
            }
            return;
        }
        line_.flags.insert(name);
    }

    void SetValue(const std::string& name, const std::string& value, bool global) {
        const bool repeated = global ? !line_.library.empty() : line_.Has(name);
        if (repeated) {
            throw UsageError(name + " is given twice");
        }
        if (global) {
            line_.library = value;
        } else {
            line_.values[name] = value;
        }
    }

    std::string ForCommand() const {
        return line_.command.empty() || line_.command == "help" ? "" : " for " + line_.command;
    }

    const std::vector<std::string>& args_;
    const CommandOptions& options_;
    const std::vector<OptionSpec>* command_specs_ = nullptr;
    size_t index_ = 0;
    CommandLine line_;
};

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& args, const CommandOptions& options) {
    return Parser(args, options).Run();
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

const std::vector<OptionSpec>& GlobalOptions() {
    static const std::vector<OptionSpec> options = {
        {"--library", "PATH", "load this libfederateutil.so.1 instead of the one beside fedutil"},
        {"--json", nullptr, "print the result and outputs as JSON"},
        {"--help", nullptr, "print help and exit (also -h)"},
        {"--version", nullptr, "print the version and exit"},
    };
    return options;
}

}  // namespace fedutil
