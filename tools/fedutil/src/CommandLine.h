// fedutil [--library PATH] [--json] COMMAND [OPTIONS]: the command line read into options.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace fedutil {

// Options take their value as the next argument or after "=" (--lid=3). Global options may
// stand before or after the command.

struct CommandOption {
    const char* name;        // "--lid"
    const char* value_name;  // "LID"; null for an option without a value
    const char* help;
    bool required = false;
};

struct CommandLine {
    std::string command;  // as typed; "" when none was given
    std::string topic;    // "fedutil help TOPIC"
    std::string library;  // --library
    bool json = false;
    bool help = false;
    bool version = false;
    std::map<std::string, std::string> values;
    std::set<std::string> flags;

    bool Has(const std::string& name) const { return values.count(name) != 0; }
    bool Flag(const std::string& name) const { return flags.count(name) != 0; }
    // The value of `name`; UsageError "COMMAND needs --lid" when it was not given.
    const std::string& Required(const char* name) const;
    // The value of `name`, or `fallback`.
    std::string ValueOr(const std::string& name, const std::string& fallback) const;
};

// The options of a command; null for an unknown command.
using CommandOptions = std::function<const std::vector<CommandOption>*(const std::string& command)>;

// Parses the arguments after the program name. Throws UsageError for an unknown command or
// option, a missing value or required option (unless --help is given), an option given twice or
// an unexpected argument.
CommandLine ParseCommandLine(const std::vector<std::string>& args, const CommandOptions& options);

// The options every command accepts.
const std::vector<CommandOption>& GlobalOptions();

}  // namespace fedutil
