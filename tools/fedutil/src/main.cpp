// fedutil: the command-line host of libfederateutil.so.1: its help texts, and each command run
// and printed. See docs/fedutil.md.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "DemoSession.h"
#include "Failures.h"
#include "FederationLibrary.h"
#include "Operations.h"
#include "OutcomePrinter.h"
#include "TextTable.h"
#include "catalogue/ServiceCatalogue.h"

using namespace fedutil;

namespace {

// ---- Help ----

constexpr size_t kWidth = 100;
constexpr char kGlue = '\x1f';  // a space that Wrap does not break at

// "load-fdr-channel-setting" for "LoadFdrChannelSetting".
std::string KebabName(const std::string& name) {
    std::string kebab;
    for (size_t i = 0; i < name.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(name[i]);
        if (std::isupper(c) && i > 0) {
            kebab += '-';
        }
        kebab += static_cast<char>(std::tolower(c));
    }
    return kebab;
}

// `text` broken into lines of at most kWidth columns; lines after the first start at `indent`.
std::string Wrap(const std::string& text, size_t first_column, size_t indent) {
    std::istringstream words(text);
    std::string word;
    std::string out;
    size_t column = first_column;
    bool line_start = true;
    while (words >> word) {
        if (!line_start && column + 1 + word.size() > kWidth) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
            line_start = true;
        }
        if (!line_start) {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
        line_start = false;
    }
    return out;
}

std::string OptionName(const CommandOption& option) {
    return option.value_name == nullptr ? option.name
                                        : std::string(option.name) + " " + option.value_name;
}

// Names padded to the widest, each followed by its text wrapped below it.
std::string Columns(const std::vector<std::pair<std::string, std::string>>& rows) {
    size_t width = 0;
    for (const auto& row : rows) {
        width = std::max(width, row.first.size());
    }
    std::string out;
    for (const auto& [name, text] : rows) {
        out += "  " + name + std::string(width - name.size() + 2, ' ') +
               Wrap(text, width + 4, width + 4) + "\n";
    }
    return out;
}

std::string OptionList(const std::vector<CommandOption>& options) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const auto& option : options) {
        rows.emplace_back(OptionName(option), option.help);
    }
    return Columns(rows);
}

// An option and its value never break across lines.
std::string Unbreakable(std::string text) {
    std::replace(text.begin(), text.end(), ' ', kGlue);
    return text;
}

std::string UsageLine(const std::string& command, const std::vector<CommandOption>& options) {
    std::string usage = "Usage: fedutil " + command;
    for (const auto& option : options) {
        usage += " " +
                 Unbreakable(option.required ? OptionName(option) : "[" + OptionName(option) + "]");
    }
    usage = Wrap(usage + " [--json] " + Unbreakable("[--library PATH]"), 0, 15);
    std::replace(usage.begin(), usage.end(), kGlue, ' ');
    return usage + "\n";
}

std::string ExitStatusHelp() {
    return "Exit status: the operation's result when it is 0..63, 1 for any other result (the\n"
           "full result is always printed, signed and in hex); 64 bad arguments, 66 an input\n"
           "file cannot be read or is not usable, 69 the library cannot be loaded, 70 the\n"
           "operation raised an exception, 73 an output file cannot be written.\n";
}

std::string OverviewHelp() {
    std::string out =
        "Usage: fedutil [--library PATH] [--json] COMMAND [OPTIONS]\n"
        "\n"
        "Loads libfederateutil.so.1 as a recording server does and runs one operation of its\n"
        "federation interface, or plays a whole session against the local-services simulator.\n"
        "\n"
        "Commands:\n"
        "  demo            play a session through the library against fdr-sim and show what\n"
        "                  each local service received\n"
        "  help [COMMAND]  print this text, or the usage of one command\n"
        "\n"
        "Operations (case-insensitive; each also answers to a kebab-case alias such as\n"
        "load-fdr-channel-setting):\n";
    std::vector<std::pair<std::string, std::string>> operations;
    for (const auto& operation : AllOperations()) {
        operations.emplace_back(operation.name, operation.summary);
    }
    out += Columns(operations);
    out += "\nGlobal options:\n" + OptionList(GlobalOptions());
    out += "\n" + ExitStatusHelp();
    out +=
        "\n'fedutil COMMAND --help' shows a command's options; docs/fedutil.md describes the\n"
        "input files.\n";
    return out;
}

std::string OperationHelp(const OperationEntry& operation) {
    std::string out = UsageLine(operation.name, operation.options);
    out += "Alias: " + KebabName(operation.name) + "\n\n";
    out += Wrap(std::string(operation.summary) + ".", 0, 0) + "\n\n";
    if (operation.sends.endpoint != nullptr) {
        out += "Sends:   " + Wrap(operation.sends.text, 9, 9) + "\n";
    }
    out += "Result:  " + Wrap(operation.result, 9, 9) + "\n";
    if (!operation.options.empty()) {
        out += "\nOptions:\n" + OptionList(operation.options);
    }
    out += "\nGlobal options:\n" + OptionList(GlobalOptions());
    out += "\n" + ExitStatusHelp();
    return out;
}

std::string DemoHelp(const std::vector<CommandOption>& demo_options) {
    std::string out = "Usage: fedutil demo [OPTIONS] [--library PATH]\n\n";
    out += "Starts fdr-sim in the background (unless a simulator already answers on port\n" +
           std::to_string(fdr::kFederationWritePort) +
           "), plays a recording server's session through the library, checks every step\n"
           "against what it is documented to do and against what the services received, shows\n"
           "what each service received, and stops the simulator again.\n"
           "\nOptions:\n" +
           OptionList(demo_options);
    out +=
        "\nExit status: 0 when every step behaved as expected, 1 when a step did not, 64 bad\n"
        "arguments, 69 the library cannot be loaded or the simulator cannot be started.\n";
    return out;
}

// ---- Running a command ----

int Fail(const std::string& message, int status) {
    std::cout.flush();
    std::cerr << "fedutil: " << message << std::endl;
    return status;
}

int UsageFailure(const std::string& message, const std::string& command) {
    return Fail(message + "\nTry 'fedutil " + (command.empty() ? "" : command + " ") + "--help'.",
                kExitUsage);
}

const std::vector<CommandOption>* OptionsOf(const std::string& command) {
    if (command == "demo") {
        return &DemoOptions();
    }
    const OperationEntry* operation = FindOperation(command);
    return operation != nullptr ? &operation->options : nullptr;
}

// For the hint after a usage error: the command among the arguments, if one is known.
std::string CommandNamedIn(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "demo") {
            return arg;
        }
        if (const OperationEntry* operation = FindOperation(arg)) {
            return operation->name;
        }
    }
    return "";
}

int Help(const std::string& topic) {
    if (topic.empty()) {
        std::cout << OverviewHelp();
    } else if (topic == "demo") {
        std::cout << DemoHelp(DemoOptions());
    } else if (const OperationEntry* operation = FindOperation(topic)) {
        std::cout << OperationHelp(*operation);
    } else {
        return UsageFailure("no help for unknown command '" + topic + "'", "");
    }
    return 0;
}

int RunOperation(const OperationEntry& operation, const CommandLine& line) {
    std::optional<FederationLibrary> library;
    OperationContext context(line, [&]() -> ICentralizedServer& {
        if (!library) {
            library = FederationLibrary::Load(line.library);
        }
        return library->Federation();
    });
    try {
        const OperationOutcome outcome = operation.run(context);
        if (line.json) {
            std::cout << OutcomeJson(operation, outcome, library ? library->Path() : "");
        } else {
            PrintOutcome(std::cout, Style::ForDescriptor(1), operation, outcome);
        }
        std::cout.flush();
        if (line.Has("--output") && outcome.document) {  // the text exactly as produced
            std::ofstream file(line.Required("--output"), std::ios::binary | std::ios::trunc);
            if (!file || !(file << *outcome.document).flush()) {
                throw OutputError("cannot write " + line.Required("--output") + ": " +
                                  std::strerror(errno));
            }
        }
        return ExitStatusForResult(outcome.result);
    } catch (const UsageError& error) {
        return UsageFailure(error.what(), operation.name);
    } catch (const Failure& error) {
        return Fail(error.what(), error.status);
    } catch (const std::exception& error) {
        return Fail(std::string(operation.name) + " raised an exception: " + error.what(),
                    kExitSoftware);
    }
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine line;
    try {
        line = ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc), OptionsOf);
    } catch (const UsageError& error) {
        return UsageFailure(error.what(), CommandNamedIn(argc, argv));
    }
    if (line.version) {
        std::cout << "fedutil " FEDUTIL_VERSION "\n";
        return 0;
    }
    if (line.command.empty()) {
        return line.help ? Help("") : UsageFailure("no command given", "");
    }
    if (line.command == "help") {
        return Help(line.topic);
    }
    if (line.command == "demo") {
        if (line.help) {
            return Help("demo");
        }
        if (line.json) {
            return UsageFailure("the demo prints for a reader; --json is for the operations",
                                "demo");
        }
        return RunDemo(line);
    }
    const OperationEntry& operation = *FindOperation(line.command);
    line.command = operation.name;  // messages use the interface's own name
    if (line.help) {
        return Help(operation.name);
    }
    return RunOperation(operation, line);
}
