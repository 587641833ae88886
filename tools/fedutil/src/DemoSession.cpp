#include "DemoSession.h"

#include <json/json.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "ConsoleCapture.h"
#include "DemoJournal.h"
#include "Errors.h"
#include "FederationLibrary.h"
#include "ResultCodes.h"
#include "SampleCatalogue.h"
#include "SimulatorProcess.h"
#include "TextTable.h"

namespace fedutil {

namespace {

using Clock = std::chrono::steady_clock;
using MemberRecord = DravoAgentData::AutonomyList::AutonomyListObj;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;

constexpr auto kJournalWait = std::chrono::seconds(3);
constexpr char kNewServerMode[] = "centralized";

std::optional<Json::Value> ParseStrict(const std::string& text) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        return std::nullopt;
    }
    return value;
}

// "tok-5f1c…" with its length: enough to tell two tokens apart without printing a secret.
std::string TokenSketch(const std::string& token) {
    return Ellipsize(token, 12) + " (" + std::to_string(token.size()) + " chars)";
}

std::string Count(size_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

// "1715679000 (2024-05-14 09:30 UTC)" for a timestamp of whole seconds.
std::string Timestamp(const std::string& text) {
    if (text.empty() || text.size() > 12 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return text;
    }
    const std::time_t seconds = static_cast<std::time_t>(std::stoll(text));
    std::tm parts{};
    char when[32];
    if (gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(when, sizeof(when), "%Y-%m-%d %H:%M UTC", &parts) == 0) {
        return text;
    }
    return text + " (" + when + ")";
}

}  // namespace

const std::vector<OptionSpec>& DemoOptions() {
    static const std::vector<OptionSpec> options = {
        {"--sim", "PATH", "the simulator to start (default: fdr-sim beside fedutil, then PATH)"},
        {"--ready-timeout", "SECONDS", "how long to wait for the simulator to listen (default 10)"},
        {"--client-id", "ID", "token client of the federation (default: recorder)"},
        {"--client-secret", "SECRET", "its secret (default: s3cret)"},
        {"--user", "NAME", "whose privileges to read (default: guard)"},
        {"--keep", nullptr,
         "keep the work folder (transcript, simulator output, library logs) and leave the "
         "simulator running for a look at its console"},
    };
    return options;
}

DemoSession::DemoSession(ICentralizedServer& federation, DemoSettings settings)
    : federation_(federation), settings_(std::move(settings)) {}

const std::vector<std::pair<std::string, std::string>>& DemoSession::StepNames() {
    static const std::vector<std::pair<std::string, std::string>> names = {
        {"get an access token", "AuthGetToken"},
        {"refresh the access token", "AuthRefreshToken"},
        {"read the federation's GUID", "LoadFdrFederateSetting"},
        {"read the member servers", "LoadFdrAutonomyListSetting"},
        {"load every member's channels", "LoadFdrChannelSetting"},
        {"save all channels back", "SaveFdrAllChannelsSetting"},
        {"report a camera status change", "NotifyArbitratorCameraStatusChange"},
        {"report a channel list change", "NotifyArbitratorCameraListChange"},
        {"ask for a channel list refresh", "NotifyArbitratorCameraListRefresh"},
        {"announce the refresh is ready", "NotifyArbitratorRefreshReady"},
        {"log a member change", "NotifyLogUpdateAutonomy"},
        {"tell the arbitrator of the change", "NotifyArbitratorAutonomyChange"},
        {"tell video management of the change", "NotifyDravoServerAutonomyChange"},
        {"log a member removal", "NotifyLogRemoveAutonomy"},
        {"tell the arbitrator of the removal", "NotifyArbitratorRemoveAutonomy"},
        {"apply a new autonomy mode", "NotifyArbitratorAutoModeChange"},
        {"switch the autonomy mode", "ChangeAutonomyMode"},
        {"read a user's privileges", "GetFdrPrivilegeByUser"},
        {"read the privilege timestamp", "GetFdrPrivilegeTime"},
        {"build the failover information", "FormatFailOverBody"},
        {"save the failover information", "SaveFailOverInfo"},
        {"produce the fisheye lens catalogue", "FormatFisyeyeSupportFile"},
        {"produce the projection lens catalogue", "FormatProjectionSupportFile"},
    };
    return names;
}

const std::vector<DemoSession::Step>& DemoSession::Steps() {
    static const std::vector<Step> steps = {
        &DemoSession::GetToken,
        &DemoSession::RefreshToken,
        &DemoSession::ReadGuid,
        &DemoSession::ReadMembers,
        &DemoSession::LoadChannels,
        &DemoSession::SaveChannels,
        &DemoSession::ReportCameraStatus,
        &DemoSession::ReportCameraList,
        &DemoSession::AskCameraRefresh,
        &DemoSession::AnnounceRefreshReady,
        &DemoSession::LogMemberChange,
        &DemoSession::TellArbitratorMemberChange,
        &DemoSession::TellVideoManagementMemberChange,
        &DemoSession::LogMemberRemoval,
        &DemoSession::TellArbitratorMemberRemoval,
        &DemoSession::ApplyAutonomyMode,
        &DemoSession::SwitchAutonomyMode,
        &DemoSession::ReadPrivileges,
        &DemoSession::ReadPrivilegeTime,
        &DemoSession::BuildFailover,
        &DemoSession::SaveFailover,
        &DemoSession::BuildFisheyeCatalogue,
        &DemoSession::BuildProjectionCatalogue,
    };
    return steps;
}

std::vector<StepRecord> DemoSession::Run(StepPrinter& printer) {
    std::vector<StepRecord> records;
    const auto& names = StepNames();
    for (size_t i = 0; i < Steps().size(); ++i) {
        result_ = 0;
        has_result_ = false;
        expected_.clear();
        console_.clear();

        StepRecord record;
        record.number = static_cast<int>(i + 1);
        record.title = names[i].first;
        record.operation = names[i].second;
        StepOutcome outcome;
        try {
            outcome = (this->*Steps()[i])();
        } catch (const std::exception& error) {
            outcome = {false, "raised an exception: " + std::string(error.what())};
        }
        if (has_result_) {
            record.result = result_;
        }
        if (const std::string problem = CheckExchanges(); !problem.empty() && outcome.passed) {
            outcome = {false, problem};
        }
        // The operations that always return 0 still say on the console when a request failed.
        for (const auto& line : console_) {
            if (line.rfind("[error]n_ret=", 0) == 0 && outcome.passed) {
                outcome = {false, "the request failed"};
            }
        }
        if (!outcome.passed && !console_.empty()) {
            outcome.detail += " [library: " + console_.back() + "]";
        }
        record.passed = outcome.passed;
        record.detail = outcome.detail;
        printer.Row(record);
        records.push_back(std::move(record));
    }
    return records;
}

template <typename Function>
auto DemoSession::Call(Function&& call) {
    ConsoleCapture capture;
    auto result = call(federation_);
    for (auto& line : capture.Finish()) {
        console_.push_back(std::move(line));
    }
    return result;
}

void DemoSession::Expect(const char* service, const char* method, const std::string& path,
                         size_t count) {
    expected_.push_back({service, method, path, count});
}

void DemoSession::Expect(const fdr::LocalEndpoint& endpoint, size_t count) {
    const std::string path = endpoint.path;
    Expect(fdr::ServiceOnPort(endpoint.port)->key, fdr::MethodName(endpoint.method),
           path.substr(0, path.find('?')), count);
}

std::string DemoSession::CheckExchanges() {
    if (settings_.journal_port == 0) {
        return "";  // a simulator the demo did not start: judged by the results alone
    }
    size_t wanted = 0;
    for (const auto& expected : expected_) {
        wanted += expected.count;
    }
    // The simulator records an exchange after answering it, so it may trail the call.
    std::vector<ReceivedExchange> fresh;
    const auto deadline = Clock::now() + kJournalWait;
    do {
        if (auto page = ReadJournal(settings_.journal_port, journal_seen_)) {
            journal_seen_ = page->last_id;
            fresh.insert(fresh.end(), page->exchanges.begin(), page->exchanges.end());
        }
        if (fresh.size() >= wanted) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (Clock::now() < deadline);

    std::vector<bool> matched(fresh.size(), false);
    for (const auto& expected : expected_) {
        size_t found = 0;
        for (size_t i = 0; i < fresh.size(); ++i) {
            const ReceivedExchange& entry = fresh[i];
            if (matched[i] || entry.service != expected.service ||
                entry.method != expected.method || entry.Path() != expected.path) {
                continue;
            }
            matched[i] = true;
            ++found;
            if (entry.status < 200 || entry.status >= 300) {
                return expected.service + " answered " + expected.method + " " + expected.path +
                       " with " + (entry.status == 0 ? "nothing" : std::to_string(entry.status));
            }
            if (!entry.ok) {
                std::string flags;
                for (const auto& flag : entry.flags) {
                    flags += (flags.empty() ? "" : "; ") + flag;
                }
                return expected.service + " found " + expected.method + " " + expected.path +
                       " wrong: " + flags;
            }
        }
        if (found < expected.count) {
            return expected.service + " did not receive " + expected.method + " " + expected.path +
                   (expected.count > 1 ? " " + std::to_string(expected.count) + " times" : "");
        }
    }
    for (size_t i = 0; i < fresh.size(); ++i) {
        if (!matched[i]) {
            return "unexpected request: " + fresh[i].service + " " + fresh[i].method + " " +
                   fresh[i].target;
        }
    }
    return "";
}

std::shared_ptr<MemberRecord> DemoSession::Member(size_t index) const {
    const auto& list = members_.autonomy_list;
    if (list.empty()) {
        return nullptr;
    }
    return list[std::min(index, list.size() - 1)];
}

std::string DemoSession::FirstLid() const {
    auto member = Member(0);
    return member ? member->autonomy_lid : "";
}

// ---- The steps ----

DemoSession::StepOutcome DemoSession::GetToken() {
    Expect("token", "POST", fdr::kTokenPath);
    std::string id = settings_.client_id;
    std::string secret = settings_.client_secret;
    result_ =
        Call([&](ICentralizedServer& f) { return f.AuthGetToken(id, secret, access_token_); });
    has_result_ = true;
    if (access_token_.empty()) {
        return {false, "no access token was issued"};
    }
    return {result_ == 0, "token " + TokenSketch(access_token_)};
}

DemoSession::StepOutcome DemoSession::RefreshToken() {
    Expect("token", "POST", fdr::kTokenPath);
    std::string id = settings_.client_id;
    std::string secret = settings_.client_secret;
    std::string token;
    result_ = Call([&](ICentralizedServer& f) { return f.AuthRefreshToken(id, secret, token); });
    has_result_ = true;
    if (token.empty()) {
        return {false, "no access token was issued"};
    }
    if (token == access_token_) {
        return {false, "the same token came back"};
    }
    access_token_ = token;
    return {result_ == 0, "new token " + TokenSketch(token)};
}

DemoSession::StepOutcome DemoSession::ReadGuid() {
    Expect(fdr::endpoint::kServiceInfo);
    result_ = Call([&](ICentralizedServer& f) { return f.LoadFdrFederateSetting(guid_); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestOrParser)};
    }
    return {!guid_.empty(), guid_.empty() ? "no GUID in the answer" : "GUID " + guid_};
}

DemoSession::StepOutcome DemoSession::ReadMembers() {
    Expect(fdr::endpoint::kAutonomies);
    result_ = Call([&](ICentralizedServer& f) { return f.LoadFdrAutonomyListSetting(members_); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestOrParser)};
    }
    if (members_.autonomy_list.empty()) {
        return {false, "the federation has no members"};
    }
    std::string names;
    for (const auto& member : members_.autonomy_list) {
        names += (names.empty() ? ": " : ", ") + member->autonomy_lname;
    }
    return {true, Count(members_.autonomy_list.size(), "member", "members") + names};
}

DemoSession::StepOutcome DemoSession::LoadChannels() {
    Expect(fdr::endpoint::kCmsChannelRead, members_.autonomy_list.size());
    if (members_.autonomy_list.empty()) {
        return {false, "no members to load channels for"};
    }
    size_t fisheye = 0;
    for (const auto& member : members_.autonomy_list) {
        ChannelObjList channels;
        const int result = Call([&](ICentralizedServer& f) {
            return f.LoadFdrChannelSetting(member->autonomy_lid, channels);
        });
        if (!has_result_ || result != 0) {
            result_ = result;
            has_result_ = true;
        }
        if (result != 0) {
            return {false, "member " + member->autonomy_lid + ": " +
                               DescribeResult(result, ResultKind::RequestOrParser)};
        }
        member->ch_num = static_cast<int32_t>(channels.size());
        for (auto& channel : channels) {
            channel->owner_lid = member->autonomy_lid;  // the host's part after loading
            fisheye += channel->fisheye.fisheye_type != -1 ? 1 : 0;
            channels_.push_back(channel);
        }
    }
    channels_loaded_ = true;
    return {true, Count(channels_.size(), "channel", "channels") + " (" + std::to_string(fisheye) +
                      " fisheye) of " + Count(members_.autonomy_list.size(), "member", "members")};
}

DemoSession::StepOutcome DemoSession::SaveChannels() {
    if (!channels_loaded_) {
        // Saving would replace every member's channels with an empty list.
        return {false, "skipped: the channels could not be loaded"};
    }
    Expect(fdr::endpoint::kCmsChannelWrite);
    result_ = Call(
        [&](ICentralizedServer& f) { return f.SaveFdrAllChannelsSetting(members_, channels_); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestOrServiceCode)};
    }
    return {true, Count(channels_.size(), "channel", "channels") + " stored, " +
                      Count(members_.autonomy_list.size(), "member", "members") + " replaced"};
}

DemoSession::StepOutcome DemoSession::ReportCameraStatus() {
    Expect(fdr::endpoint::kChannelStatusChanged);
    const std::string lid = FirstLid();
    ChannelStatusObjList statuses;
    for (const auto& channel : channels_) {
        if (channel->owner_lid != lid) {
            continue;
        }
        auto status = std::make_shared<ChannelStatusObj>();
        status->channel_guid = channel->channel_guid;
        status->channel_index = channel->channel_index;
        auto stream = std::make_shared<ChannelStatusObj::LivingStatusObj>();
        stream->connection_status = 1;
        stream->current_bitrate = 2048.0 + 256.0 * static_cast<double>(statuses.size());
        stream->current_fps = channel->stream_info.main_stream.video_fps > 0
                                  ? channel->stream_info.main_stream.video_fps
                                  : 25.0;
        stream->idx = 1;
        status->living_status.push_back(stream);
        status->recorded_statistic = {2, 512, 30, 40960};
        statuses.push_back(status);
    }
    result_ = Call(
        [&](ICentralizedServer& f) { return f.NotifyArbitratorCameraStatusChange(lid, statuses); });
    has_result_ = true;
    return {result_ == 0,
            Count(statuses.size(), "channel", "channels") + " of member " + lid + " live"};
}

DemoSession::StepOutcome DemoSession::ReportCameraList() {
    Expect(fdr::endpoint::kChannelInfoChanged);
    const std::string lid = FirstLid();
    ChannelObjList channels;
    for (const auto& channel : channels_) {
        if (channel->owner_lid == lid) {
            channels.push_back(channel);
        }
    }
    result_ = Call(
        [&](ICentralizedServer& f) { return f.NotifyArbitratorCameraListChange(lid, channels); });
    has_result_ = true;
    return {result_ == 0, Count(channels.size(), "channel", "channels") + " of member " + lid};
}

DemoSession::StepOutcome DemoSession::AskCameraRefresh() {
    Expect(fdr::endpoint::kChannelInfoRefresh);
    const std::string lid = FirstLid();
    result_ = Call([&](ICentralizedServer& f) { return f.NotifyArbitratorCameraListRefresh(lid); });
    has_result_ = true;
    return {result_ == 0, "member " + lid};
}

DemoSession::StepOutcome DemoSession::AnnounceRefreshReady() {
    Expect(fdr::endpoint::kAutonomyRefreshReady);
    result_ = Call([](ICentralizedServer& f) { return f.NotifyArbitratorRefreshReady(); });
    has_result_ = true;
    return {result_ == 0, "empty body, as the arbitrator expects"};
}

namespace {

// The member whose change the session reports: its firmware was updated.
DravoAgentData::AutonomyList ChangedMember(const std::shared_ptr<MemberRecord>& member) {
    DravoAgentData::AutonomyList list;
    if (member) {
        auto changed = std::make_shared<MemberRecord>(*member);
        changed->firmware = "4.3.0";
        changed->firmware_date = "2025-02-11";
        changed->machine_model = "NVR-16P";
        list.autonomy_list.push_back(changed);
    }
    return list;
}

}  // namespace

DemoSession::StepOutcome DemoSession::LogMemberChange() {
    Expect(fdr::endpoint::kLogUpdateList);
    auto changed = ChangedMember(Member(1));
    if (changed.autonomy_list.empty()) {
        return {false, "no member to change"};
    }
    result_ = Call([&](ICentralizedServer& f) { return f.NotifyLogUpdateAutonomy(changed); });
    has_result_ = true;
    return {result_ == 0, "member " + changed.autonomy_list[0]->autonomy_lid + " now on firmware " +
                              changed.autonomy_list[0]->firmware};
}

DemoSession::StepOutcome DemoSession::TellArbitratorMemberChange() {
    Expect(fdr::endpoint::kAutonomyChanged);
    auto changed = ChangedMember(Member(1));
    if (changed.autonomy_list.empty()) {
        return {false, "no member to change"};
    }
    result_ =
        Call([&](ICentralizedServer& f) { return f.NotifyArbitratorAutonomyChange(changed); });
    has_result_ = true;
    return {result_ == 0, "member " + changed.autonomy_list[0]->autonomy_lid};
}

DemoSession::StepOutcome DemoSession::TellVideoManagementMemberChange() {
    Expect(fdr::endpoint::kDravoNotify);
    auto changed = ChangedMember(Member(1));
    if (changed.autonomy_list.empty()) {
        return {false, "no member to change"};
    }
    result_ =
        Call([&](ICentralizedServer& f) { return f.NotifyDravoServerAutonomyChange(changed); });
    has_result_ = true;
    return {result_ == 0, "member " + changed.autonomy_list[0]->autonomy_lid};
}

DemoSession::StepOutcome DemoSession::LogMemberRemoval() {
    Expect(fdr::endpoint::kLogDeleteList);
    auto member = Member(members_.autonomy_list.size() - 1);
    if (!member) {
        return {false, "no member to remove"};
    }
    std::string lid = member->autonomy_lid;
    result_ = Call([&](ICentralizedServer& f) { return f.NotifyLogRemoveAutonomy(lid); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestCode)};
    }
    return {true, "member " + lid + " (" + member->autonomy_lname + ")"};
}

DemoSession::StepOutcome DemoSession::TellArbitratorMemberRemoval() {
    Expect(fdr::endpoint::kAutonomyChanged);
    auto member = Member(members_.autonomy_list.size() - 1);
    if (!member) {
        return {false, "no member to remove"};
    }
    std::string lid = member->autonomy_lid;
    result_ = Call([&](ICentralizedServer& f) { return f.NotifyArbitratorRemoveAutonomy(lid); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestCode)};
    }
    // The host forgets the member; the failover information below no longer lists it.
    members_.autonomy_list.pop_back();
    return {true, "member " + lid};
}

DemoSession::StepOutcome DemoSession::ApplyAutonomyMode() {
    Expect(fdr::endpoint::kApplyAutonomies);
    auto member = Member(0);
    if (!member) {
        return {false, "no member to switch"};
    }
    FederateBoxType::AutonomyInfo info;
    info.lid = member->autonomy_lid;
    info.lname = member->autonomy_lname;
    info.username = member->username;
    info.password = member->password;
    info.address = member->address;
    info.group = member->group_id;
    result_ = Call([&](ICentralizedServer& f) {
        return f.NotifyArbitratorAutoModeChange(info, kNewServerMode);
    });
    has_result_ = true;
    return {result_ == 0,
            "member " + info.lid + " to \"" + kNewServerMode + "\", password sent base64-encoded"};
}

DemoSession::StepOutcome DemoSession::SwitchAutonomyMode() {
    Expect(fdr::endpoint::kAggregatorSystemInfo);
    // The host composes this body itself; the library hands it on unchanged.
    const std::string body = std::string(R"({"autonomy_mode":")") + kNewServerMode +
                             R"(","autonomy_lid":")" + FirstLid() + R"("})";
    result_ = Call([&](ICentralizedServer& f) { return f.ChangeAutonomyMode(body); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestCode)};
    }
    return {true, "now \"" + std::string(kNewServerMode) + "\""};
}

DemoSession::StepOutcome DemoSession::ReadPrivileges() {
    Expect(fdr::endpoint::kPrivilegeReport);
    std::string user = settings_.user;
    std::string second;
    std::string report;
    result_ =
        Call([&](ICentralizedServer& f) { return f.GetFdrPrivilegeByUser(user, second, report); });
    has_result_ = true;
    if (report.empty()) {
        return {false, "no privilege report came back"};
    }
    const auto parsed = ParseStrict(report);
    if (!parsed || !parsed->isObject()) {
        return {false, "the report is not a JSON object"};
    }
    std::string detail = user + ": report of " + ByteSize(report.size());
    const Json::Value& reports = (*parsed)["privilege_list"];
    if (reports.isArray() && !reports.empty() && reports[0]["autonomy_list"].isArray()) {
        detail =
            user + " may reach " + Count(reports[0]["autonomy_list"].size(), "member", "members");
        const Json::Value& first = reports[0]["autonomy_list"][0]["channel_list"][0];
        std::string privileges;
        for (const auto& privilege : first["privilege_list"]) {
            privileges += (privileges.empty() ? "" : ", ") + privilege.asString();
        }
        if (!privileges.empty()) {
            detail += " (" + privileges + ")";
        }
    }
    return {result_ == 0, detail};
}

DemoSession::StepOutcome DemoSession::ReadPrivilegeTime() {
    Expect(fdr::endpoint::kConfig);
    std::string timestamp;
    result_ = Call([&](ICentralizedServer& f) { return f.GetFdrPrivilegeTime(timestamp); });
    has_result_ = true;
    if (timestamp.empty()) {
        return {false, "no timestamp came back"};
    }
    return {result_ == 0, "last change " + Timestamp(timestamp)};
}

DemoSession::StepOutcome DemoSession::BuildFailover() {
    // What the host knows of its members besides the federation's answer.
    static const char* const kModels[] = {"NVR-16P", "NVR-8", "NVR-32R"};
    size_t index = 0;
    for (const auto& member : members_.autonomy_list) {
        member->firmware = "4.2." + std::to_string(index + 1);
        member->firmware_date = "2024-11-0" + std::to_string(index % 9 + 1);
        member->machine_model = kModels[index % 3];
        ++index;
    }
    result_ =
        Call([&](ICentralizedServer& f) { return f.FormatFailOverBody(members_, failover_body_); });
    has_result_ = true;
    const auto parsed = ParseStrict(failover_body_);
    if (!parsed || !(*parsed)["autonomy_list"].isArray()) {
        return {false, "the body is not the expected JSON: " + Ellipsize(failover_body_, 60)};
    }
    const size_t entries = (*parsed)["autonomy_list"].size();
    if (entries != members_.autonomy_list.size()) {
        return {false, Count(entries, "entry", "entries") + " for " +
                           Count(members_.autonomy_list.size(), "member", "members")};
    }
    return {result_ == 0,
            Count(entries, "member", "members") + ", " + ByteSize(failover_body_.size())};
}

DemoSession::StepOutcome DemoSession::SaveFailover() {
    Expect(fdr::endpoint::kFailoverInfo);
    result_ = Call([&](ICentralizedServer& f) { return f.SaveFailOverInfo(failover_body_); });
    has_result_ = true;
    if (result_ != 0) {
        return {false, DescribeResult(result_, ResultKind::RequestCode)};
    }
    return {true, "stored " + ByteSize(failover_body_.size())};
}

namespace {

// Judges a support file: JSON whose `root` key lists as many brands as the catalogue holds.
std::pair<bool, std::string> JudgeSupportFile(const std::string& text, const char* root,
                                              size_t brands) {
    const auto parsed = ParseStrict(text);
    if (!parsed || !(*parsed)[root].isArray()) {
        return {false, std::string("not the expected {\"") + root + "\":[...]}"};
    }
    size_t models = 0;
    for (const auto& brand : (*parsed)[root]) {
        models += brand["model_list"].size();
    }
    if ((*parsed)[root].size() != brands) {
        return {false, Count((*parsed)[root].size(), "brand", "brands") + ", expected " +
                           std::to_string(brands)};
    }
    return {true, Count(brands, "brand", "brands") + ", " + Count(models, "model", "models") +
                      ", " + ByteSize(text.size())};
}

}  // namespace

DemoSession::StepOutcome DemoSession::BuildFisheyeCatalogue() {
    auto catalogue = SampleLensCatalogue();
    const std::string text =
        Call([&](ICentralizedServer& f) { return f.FormatFisyeyeSupportFile(catalogue); });
    const auto [passed, detail] =
        JudgeSupportFile(text, "FishEyeParameterTable", catalogue.fisheye_brand_list.size());
    return {passed, detail};
}

DemoSession::StepOutcome DemoSession::BuildProjectionCatalogue() {
    auto catalogue = SampleLensCatalogue();
    const std::string text =
        Call([&](ICentralizedServer& f) { return f.FormatProjectionSupportFile(catalogue); });
    const auto [passed, detail] =
        JudgeSupportFile(text, "ProjectionTable", catalogue.projection_brand_list.size());
    return {passed, detail};
}

// ---- The whole demo ----

namespace {

std::chrono::milliseconds ReadyTimeout(const CommandLine& line) {
    const std::string text = line.ValueOr("--ready-timeout", "10");
    if (text.size() > 4 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(text) == 0) {
        throw UsageError("--ready-timeout needs a whole number of seconds from 1 to 9999");
    }
    return std::chrono::seconds(std::stoi(text));
}

std::string MakeWorkFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/fedutil-demo-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw UnavailableError("cannot create a work folder like " + pattern);
    }
    return pattern;
}

void PrintSetting(std::ostream& out, const Style& style, const std::string& name,
                  const std::string& value) {
    out << "  " << style.Paint(name, Tone::Dim) << std::string(12 - name.size(), ' ') << value
        << '\n';
}

int RunDemoIn(const CommandLine& line, const std::string& folder, bool& keep_folder) {
    std::ostream& out = std::cout;
    const Style style = Style::ForDescriptor(1);
    const auto ready_timeout = ReadyTimeout(line);

    // The reference platform writes its logs below FDR_LOG_ROOT: a demo leaves the machine's
    // own log folder alone.
    if (const char* root = std::getenv("FDR_LOG_ROOT"); root == nullptr || *root == '\0') {
        setenv("FDR_LOG_ROOT", folder.c_str(), 1);
    }
    const FederationLibrary library = FederationLibrary::Load(line.library);

    DemoSettings settings;
    settings.client_id = line.ValueOr("--client-id", settings.client_id);
    settings.client_secret = line.ValueOr("--client-secret", settings.client_secret);
    settings.user = line.ValueOr("--user", settings.user);
    const bool keep = line.Flag("--keep");
    std::unique_ptr<SimulatorProcess> simulator;
    std::string simulator_text;
    if (FederationServiceAnswers()) {
        simulator_text = std::string("already running on ") + fdr::kLocalHost + ":" +
                         std::to_string(fdr::kFederationWritePort) +
                         "; steps are judged by their results alone (no transcript)";
    } else {
        const std::string program = FindSimulator(line.ValueOr("--sim", ""));
        simulator = SimulatorProcess::Start(program, folder, ready_timeout, keep);
        settings.journal_port = simulator->AdminPort();
        simulator_text = program + " (pid " + std::to_string(simulator->Pid()) + ")";
    }

    out << style.Paint("fedutil demo", Tone::Strong)
        << ": a recording server's session through libfederateutil\n";
    PrintSetting(out, style, "library", library.Path());
    PrintSetting(out, style, "simulator", simulator_text);
    PrintSetting(out, style, "work folder",
                 folder + (keep ? "" : " (removed at the end unless a step fails)"));
    const std::string console = simulator && simulator->AdminPort() > 0
                                    ? std::string("http://") + fdr::kLocalHost + ":" +
                                          std::to_string(simulator->AdminPort()) + "/"
                                    : "";
    if (!console.empty()) {
        PrintSetting(out, style, "console",
                     console + (keep ? " (the simulator keeps running after the demo)" : ""));
    }
    out << '\n';

    size_t title_width = 0;
    size_t operation_width = 0;
    for (const auto& [title, operation] : DemoSession::StepNames()) {
        title_width = std::max(title_width, DisplayWidth(title));
        operation_width = std::max(operation_width, DisplayWidth(operation));
    }
    StepPrinter printer(out, style, title_width, operation_width);
    printer.Header();
    DemoSession session(library.Federation(), settings);
    const std::vector<StepRecord> steps = session.Run(printer);

    if (simulator) {
        // Read before the simulator stops: the journal lives in it.
        const auto received = ReadJournal(settings.journal_port, 0).value_or(JournalPage());
        if (!keep) {
            simulator->Stop();
        }
        PrintReceived(out, style, received.exchanges);
    }
    const bool all_passed =
        std::all_of(steps.begin(), steps.end(), [](const StepRecord& step) { return step.passed; });
    keep_folder = keep_folder || !all_passed;
    if (keep_folder) {
        out << '\n'
            << style.Paint(
                   "work folder kept: " + folder + " (transcript, simulator output, library logs)",
                   Tone::Dim)
            << '\n';
    }
    if (simulator && keep) {
        const std::string pid = std::to_string(simulator->Pid());
        simulator->Leave();
        out << '\n'
            << style.Paint("simulator left running (pid " + pid + ")" +
                               (console.empty() ? "" : ", console " + console) +
                               "; stop it with: kill " + pid,
                           Tone::Dim)
            << '\n';
    }
    out << '\n' << style.Paint(SummaryLine(steps), all_passed ? Tone::Good : Tone::Bad) << '\n';
    return all_passed ? 0 : 1;
}

}  // namespace

int RunDemo(const CommandLine& line) {
    bool keep_folder = line.Flag("--keep");
    std::string folder;
    int status = 0;
    try {
        folder = MakeWorkFolder();
        status = RunDemoIn(line, folder, keep_folder);
    } catch (const UsageError& error) {
        std::cerr << "fedutil: " << error.what() << "\nTry 'fedutil demo --help'." << std::endl;
        status = kExitUsage;
    } catch (const UnavailableError& error) {
        std::cout.flush();
        std::cerr << "fedutil demo: " << error.what() << std::endl;
        status = kExitUnavailable;
    }
    if (!folder.empty() && !keep_folder) {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    return status;
}

}  // namespace fedutil
