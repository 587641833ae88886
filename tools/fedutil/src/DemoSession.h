// `fedutil demo`: a recording server's session played through the library against the
// local-services simulator, each step judged by what it is documented to do and by what the
// services received.
#pragma once

#include <string>
#include <vector>

#include "CommandLine.h"
#include "DemoReport.h"
#include "FederateUtil.h"
#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

const std::vector<OptionSpec>& DemoOptions();

struct DemoSettings {
    std::string client_id = "recorder";  // the simulator's sample client
    std::string client_secret = "s3cret";
    std::string user = "guard";  // a user of the simulator's sample federation
    int journal_port = 0;        // the simulator's control API; 0 when the demo did not start it
};

// One exchange a step must cause: `count` requests of `method` to `path` at `service`.
struct ExpectedExchange {
    std::string service;
    std::string method;
    std::string path;
    size_t count = 1;
};

// Plays the steps one after the other through `federation`, calling `report` as each ends.
class DemoSession {
  public:
    DemoSession(ICentralizedServer& federation, DemoSettings settings);

    // The steps, in order: their titles and operations, for laying out the report.
    static const std::vector<std::pair<std::string, std::string>>& StepNames();

    std::vector<StepRecord> Run(StepPrinter& printer);

  private:
    struct StepOutcome {
        bool passed = false;
        std::string detail;
    };
    using Step = StepOutcome (DemoSession::*)();

    template <typename Function>
    auto Call(Function&& call);
    void Expect(const char* service, const char* method, const std::string& path, size_t count = 1);
    // The endpoint's request, its query left out, at the service on the endpoint's port.
    void Expect(const fdr::LocalEndpoint& endpoint, size_t count = 1);
    // Waits (bounded) for the step's exchanges in the journal and judges them; "" when
    // everything expected arrived, was answered 2xx and flagged no problem.
    std::string CheckExchanges();
    std::shared_ptr<DravoAgentData::AutonomyList::AutonomyListObj> Member(size_t index) const;
    std::string FirstLid() const;

    StepOutcome GetToken();
    StepOutcome RefreshToken();
    StepOutcome ReadGuid();
    StepOutcome ReadMembers();
    StepOutcome LoadChannels();
    StepOutcome SaveChannels();
    StepOutcome ReportCameraStatus();
    StepOutcome ReportCameraList();
    StepOutcome AskCameraRefresh();
    StepOutcome AnnounceRefreshReady();
    StepOutcome LogMemberChange();
    StepOutcome TellArbitratorMemberChange();
    StepOutcome TellVideoManagementMemberChange();
    StepOutcome LogMemberRemoval();
    StepOutcome TellArbitratorMemberRemoval();
    StepOutcome ApplyAutonomyMode();
    StepOutcome SwitchAutonomyMode();
    StepOutcome ReadPrivileges();
    StepOutcome ReadPrivilegeTime();
    StepOutcome BuildFailover();
    StepOutcome SaveFailover();
    StepOutcome BuildFisheyeCatalogue();
    StepOutcome BuildProjectionCatalogue();

    static const std::vector<Step>& Steps();

    ICentralizedServer& federation_;
    DemoSettings settings_;
    uint64_t journal_seen_ = 0;  // the last exchange id judged

    // Per step.
    int result_ = 0;
    bool has_result_ = false;
    std::vector<ExpectedExchange> expected_;
    std::vector<std::string> console_;

    // What the session has learnt so far, as a host keeps it.
    std::string access_token_;
    std::string guid_;
    DravoAgentData::AutonomyList members_;
    ChannelObjList channels_;  // every member's, owner_lid set
    bool channels_loaded_ = false;
    std::string failover_body_;
};

// Runs the whole demo for `line` (fedutil demo ...) and returns the exit status.
int RunDemo(const CommandLine& line);

}  // namespace fedutil
