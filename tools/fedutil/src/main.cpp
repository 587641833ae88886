// fedutil: the command-line host of libfederateutil.so.1. See HelpText.cpp and docs/fedutil.md.
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "Fedutil.h"

using namespace fedutil;

namespace {

int Fail(const std::string& message, int status) {
    std::cout.flush();
    std::cerr << "fedutil: " << message << std::endl;
    return status;
}

int UsageFailure(const std::string& message, const std::string& command) {
    return Fail(message + "\nTry 'fedutil " + (command.empty() ? "" : command + " ") + "--help'.",
                kExitUsage);
}

const std::vector<OptionSpec>* OptionsOf(const std::string& command) {
    if (command == "demo") {
        return &DemoOptions();
    }
    const OperationSpec* operation = FindOperation(command);
    return operation != nullptr ? &operation->options : nullptr;
}

// For the hint after a usage error: the command among the arguments, if one is known.
std::string CommandNamedIn(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "demo") {
            return arg;
        }
        if (const OperationSpec* operation = FindOperation(arg)) {
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
    } else if (const OperationSpec* operation = FindOperation(topic)) {
        std::cout << OperationHelp(*operation);
    } else {
        return UsageFailure("no help for unknown command '" + topic + "'", "");
    }
    return 0;
}

int RunOperation(const OperationSpec& operation, const CommandLine& line) {
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
        if (line.Has("--output") && outcome.document) {
            WriteOutputFile(line.Required("--output"), *outcome.document);
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
        if (line.help) {
            return Help("");
        }
        return UsageFailure("no command given", "");
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
    const OperationSpec& operation = *FindOperation(line.command);
    line.command = operation.name;  // messages use the interface's own name
    if (line.help) {
        return Help(operation.name);
    }
    return RunOperation(operation, line);
}
