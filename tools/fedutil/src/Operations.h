// The federation interface's operations as fedutil commands.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "ConsoleCapture.h"
#include "OutcomePrinter.h"
#include "catalogue/ServiceCatalogue.h"
#include "federateutil/DravoAgentData.h"
#include "federateutil/Interfaces.h"

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

// The request an operation makes, as its help states it.
struct OperationRequest {
    std::string text;                              // "PUT /autonomy_changed to the arbitrator ..."
    const fdr::LocalEndpoint* endpoint = nullptr;  // null for none
};

struct OperationEntry {
    const char* name;     // the interface's own name
    const char* summary;  // one line
    OperationRequest sends;
    const char* result;  // how to read the result
    ResultKind result_kind;
    std::vector<CommandOption> options;
    std::function<OperationOutcome(OperationContext&)> run;
};

// The 30 operations, in the interface's order.
const std::vector<OperationEntry>& AllOperations();

// The operation that `typed` names, ignoring case, "-" and "_": "LoadFdrChannelSetting",
// "loadfdrchannelsetting", "load-fdr-channel-setting". Null when none does.
const OperationEntry* FindOperation(const std::string& typed);

}  // namespace fedutil
