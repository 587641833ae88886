// The operations of the federation interface as fedutil commands: their options, what they
// send, how to read their result, and how each is run through the loaded library.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "ConsoleCapture.h"
#include "FederateUtil.h"
#include "ResultCodes.h"

namespace fedutil {

// What one run of an operation produced.
struct OperationOutcome {
    int result = 0;
    std::vector<std::pair<std::string, std::string>> texts;  // named text outputs, in order
    std::optional<DravoAgentData::AutonomyList> members;
    std::optional<ChannelObjList> channels;
    std::string channels_lid;
    std::optional<std::string> document;  // a text the operation built or received, exactly
    std::string document_name;            // "body", "support_file", "result"
    std::vector<std::string> console;     // what the library wrote to standard output
    std::vector<std::string> notes;       // fedutil's remarks on the outputs
};

// What an operation needs to run: its command line and, on first use, the loaded library.
class OperationContext {
  public:
    OperationContext(const CommandLine& line, std::function<ICentralizedServer&()> federation)
        : line_(line), federation_(std::move(federation)) {}

    const CommandLine& Line() const { return line_; }

    // Loads the library if needed, then runs `call` on it with the library's console output
    // captured into `outcome.console`. Returns what `call` returns.
    template <typename Call>
    auto Invoke(OperationOutcome& outcome, Call&& call) {
        ICentralizedServer& federation = federation_();
        ConsoleCapture capture;
        auto result = call(federation);
        outcome.console = capture.Finish();
        return result;
    }

  private:
    const CommandLine& line_;
    std::function<ICentralizedServer&()> federation_;
};

struct OperationSpec {
    const char* name;     // the interface's own name
    const char* summary;  // one line
    std::string sends;    // the request it makes, "" for none
    const char* result;   // how to read the result
    ResultKind result_kind;
    std::vector<OptionSpec> options;
    std::function<OperationOutcome(OperationContext&)> run;
};

// The 30 operations, in the interface's order.
const std::vector<OperationSpec>& AllOperations();

// The operation that `typed` names, ignoring case, "-" and "_": "LoadFdrChannelSetting",
// "loadfdrchannelsetting", "load-fdr-channel-setting". Null when none does.
const OperationSpec* FindOperation(const std::string& typed);

// "load-fdr-channel-setting" for "LoadFdrChannelSetting".
std::string KebabName(const std::string& name);

}  // namespace fedutil
