#include "DemoSession.h"

#include <json/json.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include "ConsoleCapture.h"
#include "Failures.h"
#include "FederationLibrary.h"
#include "Operations.h"
#include "OutcomePrinter.h"
#include "RecordFiles.h"
#include "SimulatorProcess.h"
#include "TextTable.h"
#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

namespace {

using Clock = std::chrono::steady_clock;
using MemberRecord = DravoAgentData::AutonomyList::AutonomyListObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;
using Members = DravoAgentData::AutonomyList;
using F = ICentralizedServer;

constexpr auto kTranscriptWait = std::chrono::seconds(3);
constexpr char kNewServerMode[] = "centralized";

// The lens catalogue the demo hands to the support-file operations: what a recording server
// would hold for a few fisheye and dual-lens camera models. In the lens catalogue file format
// (docs/fedutil.md), so that it also shows that format.
constexpr char kSampleCatalogue[] = R"json({
  "FishEyeParameterTable": [
    {"brand_name": "Acuvia", "brand_id": "ACUV", "model_list": [
      {"model_name": "FE-1200", "model_id": "FE12", "size_list": [
        {"w": 2992, "h": 2992, "v": 0, "x": 0.5, "y": 0.5, "latitude": 0.0, "ratio": 0.93},
        {"w": 1920, "h": 1920, "v": 0, "x": 0.5, "y": 0.5, "latitude": 0.0, "ratio": 0.92}]},
      {"model_name": "FE-800", "model_id": "FE08", "size_list": [
        {"w": 2048, "h": 2048, "v": 1, "x": 0.501, "y": 0.498, "latitude": 12.5, "ratio": 0.9}]}]},
    {"brand_name": "Lumeris", "brand_id": "LUMR", "model_list": [
      {"model_name": "LF-360", "model_id": "LF36", "size_list": [
        {"w": 2560, "h": 2560, "v": 0, "x": 0.5, "y": 0.5, "latitude": 0.0, "ratio": 0.95}]}]}
  ],
  "ProjectionTable": [
    {"brand_name": "Acuvia", "brand_id": "ACUV", "model_list": [
      {"model_name": "DL-180", "model_id": "DL18", "projection": "dual_fisheye", "size_list": [
        {"w": 3840, "h": 1920, "fov": 190.0,
         "left_center_x": 960.0, "left_center_y": 960.0, "left_orientation": 0.0,
         "left_radius_x": 940.5, "left_radius_y": 940.5,
         "right_center_x": 2880.0, "right_center_y": 960.0, "right_orientation": 180.0,
         "right_radius_x": 940.5, "right_radius_y": 940.5}]}]}
  ]
})json";

DravoAgentData::DravoServerInfo SampleLensCatalogue() {
    return ReadLensCatalogue(ParseJsonInput(kSampleCatalogue, "the sample lens catalogue"),
                             "the sample lens catalogue");
}

std::optional<Json::Value> ParseStrict(const std::string& text) {
    try {
        return ParseJsonInput(text, "");
    } catch (const InputError&) {
        return std::nullopt;
    }
}

// "tok-5f1c…" with its length: enough to tell two tokens apart without printing a secret.
std::string TokenSketch(const std::string& token) {
    return Ellipsize(token, 12) + " (" + std::to_string(token.size()) + " chars)";
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

// ---- What the simulator received and how the demo shows itself ----

// One exchange of the transcript the simulator writes (a JSON line per answered exchange).
struct ReceivedExchange {
    std::string service;  // "arbitrator", "federation-reads", ...
    int port = 0;
    std::string method;
    std::string target;  // path and query as sent
    std::string request;
    int status = 0;  // 0: no answer was sent
    std::vector<std::string> flags;
    bool ok = true;  // nothing about the request was a problem for the service

    // The target without its query.
    std::string Path() const { return target.substr(0, target.find('?')); }
};

// The exchanges of the transcript at `path` after its first `seen` lines, oldest first; `seen`
// then counts the lines read. A line still being written is left for the next call.
std::vector<ReceivedExchange> ReadTranscript(const std::string& path, size_t& seen) {
    std::vector<ReceivedExchange> exchanges;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    for (size_t index = 0; std::getline(in, line) && !in.eof(); ++index) {
        if (index < seen) {
            continue;
        }
        const auto exchange = ParseStrict(line);
        if (!exchange || !exchange->isObject()) {
            break;
        }
        ReceivedExchange entry;
        entry.service = (*exchange)["service"].asString();
        entry.port = (*exchange)["port"].asInt();
        entry.method = (*exchange)["method"].asString();
        entry.target = (*exchange)["target"].asString();
        entry.request = (*exchange)["request"].asString();
        entry.status = (*exchange)["status"].isInt() ? (*exchange)["status"].asInt() : 0;
        for (const Json::Value& flag : (*exchange)["flags"]) {
            entry.flags.push_back(flag.asString());
        }
        entry.ok = (*exchange)["ok"].asBool();
        exchanges.push_back(std::move(entry));
        seen = index + 1;
    }
    return exchanges;
}

// "812 B", "9.1 kB".
std::string ByteSize(size_t bytes) {
    if (bytes < 1024) {
        return std::to_string(bytes) + " B";
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f kB", static_cast<double>(bytes) / 1024.0);
    return text;
}

// Every exchange the services received, grouped by service in port order.
void PrintReceived(std::ostream& out, const Style& style,
                   const std::vector<ReceivedExchange>& exchanges) {
    out << '\n'
        << style.Paint("What each service received", Tone::Strong) << " (" << exchanges.size()
        << (exchanges.size() == 1 ? " exchange" : " exchanges") << ")\n";
    std::map<int, std::vector<const ReceivedExchange*>> by_port;
    for (const auto& exchange : exchanges) {
        by_port[exchange.port].push_back(&exchange);
    }
    TextTable table({"service", "port", "request", "status", "sent", "the service noted"},
                    {false, true, false, true, true}, {0, 0, 66});
    for (const auto& [port, entries] : by_port) {
        bool first = true;
        for (const ReceivedExchange* entry : entries) {
            const bool answered_ok = entry->status >= 200 && entry->status < 300;
            const Tone notes = entry->ok ? Tone::Dim : Tone::Bad;
            table.AddRow({first ? Cell(entry->service) : Cell(), first ? std::to_string(port) : "",
                          entry->method + " " + entry->target,
                          Cell(entry->status == 0 ? "none" : std::to_string(entry->status),
                               answered_ok ? Tone::Plain : Tone::Bad),
                          ByteSize(entry->request.size()),
                          Cell(entry->flags.empty() ? "" : entry->flags[0], notes)});
            // One note a line keeps the columns readable.
            for (size_t i = 1; i < entry->flags.size(); ++i) {
                table.AddRow({"", "", "", "", "", Cell(entry->flags[i], notes)});
            }
            first = false;
        }
    }
    if (!table.Empty()) {
        table.Print(out, style);
    }
}

struct StepOutcome {
    bool passed = false;
    std::string detail;
};

// One aligned row per step as it completes (#, step, operation, result, check, what came
// back): the widths are fixed up front.
struct StepPrinter {
    std::ostream& out;
    Style style;
    size_t title_width;
    size_t operation_width;

    void Line(const std::vector<Cell>& cells) const {
        out << TableLine(style, cells, {2, title_width, operation_width, 6, 6, 0},
                         {true, false, false, true, false, false})
            << std::endl;
    }
    void Header() const {
        Line({"#", Cell("step", Tone::Strong), Cell("operation", Tone::Strong),
              Cell("result", Tone::Strong), Cell("check", Tone::Strong),
              Cell("what came back", Tone::Strong)});
    }
    void Row(int number, const char* title, const char* operation, std::optional<int> result,
             const StepOutcome& outcome) const {
        Line({std::to_string(number), title, Cell(operation, Tone::Dim),
              result ? Cell(std::to_string(*result), *result == 0 ? Tone::Plain : Tone::Warn)
                     : Cell("-", Tone::Dim),
              outcome.passed ? Cell("ok", Tone::Good) : Cell("FAILED", Tone::Bad),
              Cell(outcome.detail, outcome.passed ? Tone::Plain : Tone::Bad)});
    }
};

// ---- The session ----

struct DemoSettings {
    std::string client_id = "recorder";  // the simulator's sample client
    std::string client_secret = "s3cret";
    std::string user = "guard";  // a user of the simulator's sample federation
    std::string transcript;      // the simulator's; "" when the demo did not start it
};

// One exchange a step must cause: `count` requests of `method` to `path` at `service`.
struct ExpectedExchange {
    std::string service;
    std::string method;
    std::string path;
    size_t count = 1;
};

// The host's session: what it has learnt so far, and the current step's bookkeeping.
struct Session {
    Session(ICentralizedServer& library, DemoSettings given)
        : federation(library), settings(std::move(given)) {}

    ICentralizedServer& federation;
    DemoSettings settings;
    size_t transcript_seen = 0;  // the transcript lines judged

    std::optional<int> result;  // per step
    std::vector<ExpectedExchange> expected;
    std::vector<std::string> console;

    std::string access_token;
    std::string guid;
    DravoAgentData::AutonomyList members;
    ChannelObjList channels;  // every member's, owner_lid set
    bool channels_loaded = false;
    std::string failover_body;

    // Runs `call` with the library's console captured; an int it returns is the step's result.
    template <typename Function>
    auto Call(Function&& call) {
        ConsoleCapture capture;
        auto value = call(federation);
        for (auto& line : capture.Finish()) {
            console.push_back(std::move(line));
        }
        if constexpr (std::is_same_v<decltype(value), int>) {
            result = value;
        }
        return value;
    }
    // Calls the interface's `method` with `args`.
    template <typename... Params, typename... Args>
    void Call(int (ICentralizedServer::*method)(Params...), Args&&... args) {
        Call([&](ICentralizedServer& f) { return (f.*method)(args...); });
    }

    // A failed result explained, else `detail` as passed.
    StepOutcome Judge(ResultKind kind, std::string detail) const {
        if (*result != 0) {
            return {false, DescribeResult(*result, kind)};
        }
        return {true, std::move(detail)};
    }

    std::shared_ptr<MemberRecord> Member(size_t index) const {
        const auto& list = members.autonomy_list;
        return list.empty() ? nullptr : list[std::min(index, list.size() - 1)];
    }
    std::shared_ptr<MemberRecord> LastMember() const {
        return Member(members.autonomy_list.size() - 1);
    }
    std::string FirstLid() const {
        auto member = Member(0);
        return member ? member->autonomy_lid : "";
    }

    std::string CheckExchanges();
};

// Waits (bounded) for the step's exchanges in the transcript and judges them; "" when everything
// expected arrived, was answered 2xx and flagged no problem.
std::string Session::CheckExchanges() {
    if (settings.transcript.empty()) {
        return "";  // a simulator the demo did not start: judged by the results alone
    }
    size_t wanted = 0;
    for (const auto& each : expected) {
        wanted += each.count;
    }
    // The simulator records an exchange after answering it, so it may trail the call.
    std::vector<ReceivedExchange> fresh;
    const auto deadline = Clock::now() + kTranscriptWait;
    do {
        const auto read = ReadTranscript(settings.transcript, transcript_seen);
        fresh.insert(fresh.end(), read.begin(), read.end());
        if (fresh.size() >= wanted) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (Clock::now() < deadline);

    std::vector<bool> matched(fresh.size(), false);
    for (const auto& want : expected) {
        const std::string request = want.method + " " + want.path;
        size_t found = 0;
        for (size_t i = 0; i < fresh.size(); ++i) {
            const ReceivedExchange& entry = fresh[i];
            if (matched[i] || entry.service != want.service || entry.method != want.method ||
                entry.Path() != want.path) {
                continue;
            }
            matched[i] = true;
            ++found;
            if (entry.status < 200 || entry.status >= 300) {
                return want.service + " answered " + request + " with " +
                       (entry.status == 0 ? "nothing" : std::to_string(entry.status));
            }
            if (!entry.ok) {
                std::string flags;
                for (const auto& flag : entry.flags) {
                    flags += (flags.empty() ? "" : "; ") + flag;
                }
                return want.service + " found " + request + " wrong: " + flags;
            }
        }
        if (found < want.count) {
            return want.service + " did not receive " + request +
                   (want.count > 1 ? " " + std::to_string(want.count) + " times" : "");
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

// A step that builds a support file from the sample catalogue through `format`: JSON whose
// `root` key lists as many brands as the catalogue's.
StepOutcome SupportFileStep(Session& s, std::string (F::*format)(DravoAgentData::DravoServerInfo&),
                            const char* root) {
    auto catalogue = SampleLensCatalogue();
    const std::string text = s.Call([&](F& f) { return (f.*format)(catalogue); });
    const size_t brands = (*ParseStrict(kSampleCatalogue))[root].size();
    const auto parsed = ParseStrict(text);
    if (!parsed || !(*parsed)[root].isArray()) {
        return {false, std::string("not the expected {\"") + root + "\":[...]}"};
    }
    size_t models = 0;
    for (const auto& brand : (*parsed)[root]) {
        models += brand["model_list"].size();
    }
    if ((*parsed)[root].size() != brands) {
        return {false, Plural((*parsed)[root].size(), "brand", "brands") + ", expected " +
                           std::to_string(brands)};
    }
    return {true, Plural(brands, "brand", "brands") + ", " + Plural(models, "model", "models") +
                      ", " + ByteSize(text.size())};
}

// A step that reports the changed member through `notify`.
StepOutcome ReportChangedMember(Session& s, int (F::*notify)(Members&), bool with_firmware) {
    auto changed = ChangedMember(s.Member(1));
    if (changed.autonomy_list.empty()) {
        return {false, "no member to change"};
    }
    s.Call(notify, changed);
    const auto& member = *changed.autonomy_list[0];
    return {*s.result == 0, "member " + member.autonomy_lid +
                                (with_firmware ? " now on firmware " + member.firmware : "")};
}

// A step that reports the last member's removal through `notify`. Once the arbitrator knows,
// the host forgets the member (`forget`): the failover information no longer lists it.
StepOutcome ReportRemovedMember(Session& s, int (F::*notify)(std::string&), bool forget) {
    auto member = s.LastMember();
    if (!member) {
        return {false, "no member to remove"};
    }
    std::string lid = member->autonomy_lid;
    s.Call(notify, lid);
    if (forget && *s.result == 0) {
        s.members.autonomy_list.pop_back();
    }
    return s.Judge(ResultKind::RequestCode,
                   "member " + lid + (forget ? "" : " (" + member->autonomy_lname + ")"));
}

struct Step {
    const char* title;
    const char* operation;
    StepOutcome (*play)(Session&);
};

// The session, in order: what a recording server does through the library in a day.
const Step kSteps[] = {
    {"get an access token", "AuthGetToken",
     [](Session& s) -> StepOutcome {
         std::string id = s.settings.client_id, secret = s.settings.client_secret;
         s.Call(&F::AuthGetToken, id, secret, s.access_token);
         if (s.access_token.empty()) {
             return {false, "no access token was issued"};
         }
         return {*s.result == 0, "token " + TokenSketch(s.access_token)};
     }},
    {"refresh the access token", "AuthRefreshToken",
     [](Session& s) -> StepOutcome {
         std::string id = s.settings.client_id, secret = s.settings.client_secret, token;
         s.Call(&F::AuthRefreshToken, id, secret, token);
         if (token.empty()) {
             return {false, "no access token was issued"};
         }
         if (token == s.access_token) {
             return {false, "the same token came back"};
         }
         s.access_token = token;
         return {*s.result == 0, "new token " + TokenSketch(token)};
     }},
    {"read the federation's GUID", "LoadFdrFederateSetting",
     [](Session& s) -> StepOutcome {
         s.Call(&F::LoadFdrFederateSetting, s.guid);
         if (*s.result != 0) {
             return s.Judge(ResultKind::RequestOrParser, "");
         }
         return {!s.guid.empty(), s.guid.empty() ? "no GUID in the answer" : "GUID " + s.guid};
     }},
    {"read the member servers", "LoadFdrAutonomyListSetting",
     [](Session& s) -> StepOutcome {
         s.Call(&F::LoadFdrAutonomyListSetting, s.members);
         if (*s.result == 0 && s.members.autonomy_list.empty()) {
             return {false, "the federation has no members"};
         }
         std::string names;
         for (const auto& member : s.members.autonomy_list) {
             names += (names.empty() ? ": " : ", ") + member->autonomy_lname;
         }
         return s.Judge(ResultKind::RequestOrParser,
                        Plural(s.members.autonomy_list.size(), "member", "members") + names);
     }},
    {"load every member's channels", "LoadFdrChannelSetting",
     [](Session& s) -> StepOutcome {
         s.expected[0].count = s.members.autonomy_list.size();  // one read a member
         if (s.members.autonomy_list.empty()) {
             return {false, "no members to load channels for"};
         }
         size_t fisheye = 0;
         for (const auto& member : s.members.autonomy_list) {
             ChannelObjList channels;
             s.Call(&F::LoadFdrChannelSetting, member->autonomy_lid, channels);
             if (*s.result != 0) {
                 return {false, "member " + member->autonomy_lid + ": " +
                                    DescribeResult(*s.result, ResultKind::RequestOrParser)};
             }
             member->ch_num = static_cast<int32_t>(channels.size());
             for (auto& channel : channels) {
                 channel->owner_lid = member->autonomy_lid;  // the host's part after loading
                 fisheye += channel->fisheye.fisheye_type != -1 ? 1 : 0;
                 s.channels.push_back(channel);
             }
         }
         s.channels_loaded = true;
         return {true, Plural(s.channels.size(), "channel", "channels") + " (" +
                           std::to_string(fisheye) + " fisheye) of " +
                           Plural(s.members.autonomy_list.size(), "member", "members")};
     }},
    {"save all channels back", "SaveFdrAllChannelsSetting",
     [](Session& s) -> StepOutcome {
         if (!s.channels_loaded) {
             // Saving would replace every member's channels with an empty list.
             s.expected.clear();
             return {false, "skipped: the channels could not be loaded"};
         }
         s.Call(&F::SaveFdrAllChannelsSetting, s.members, s.channels);
         return s.Judge(ResultKind::RequestOrServiceCode,
                        Plural(s.channels.size(), "channel", "channels") + " stored, " +
                            Plural(s.members.autonomy_list.size(), "member", "members") +
                            " replaced");
     }},
    {"report a camera status change", "NotifyArbitratorCameraStatusChange",
     [](Session& s) -> StepOutcome {
         const std::string lid = s.FirstLid();
         ChannelStatusObjList statuses;
         for (const auto& channel : s.channels) {
             if (channel->owner_lid != lid) {
                 continue;
             }
             auto status = std::make_shared<ChannelStatusObj>();
             status->channel_guid = channel->channel_guid;
             status->channel_index = channel->channel_index;
             auto stream = std::make_shared<ChannelStatusObj::LivingStatusObj>();
             stream->connection_status = 1;
             stream->current_bitrate = 2048.0 + 256.0 * static_cast<double>(statuses.size());
             const double fps = channel->stream_info.main_stream.video_fps;
             stream->current_fps = fps > 0 ? fps : 25.0;
             stream->idx = 1;
             status->living_status.push_back(stream);
             status->recorded_statistic = {2, 512, 30, 40960};
             statuses.push_back(status);
         }
         s.Call(&F::NotifyArbitratorCameraStatusChange, lid, statuses);
         return {*s.result == 0,
                 Plural(statuses.size(), "channel", "channels") + " of member " + lid + " live"};
     }},
    {"report a channel list change", "NotifyArbitratorCameraListChange",
     [](Session& s) -> StepOutcome {
         const std::string lid = s.FirstLid();
         ChannelObjList channels;
         for (const auto& channel : s.channels) {
             if (channel->owner_lid == lid) {
                 channels.push_back(channel);
             }
         }
         s.Call(&F::NotifyArbitratorCameraListChange, lid, channels);
         return {*s.result == 0,
                 Plural(channels.size(), "channel", "channels") + " of member " + lid};
     }},
    {"ask for a channel list refresh", "NotifyArbitratorCameraListRefresh",
     [](Session& s) -> StepOutcome {
         const std::string lid = s.FirstLid();
         s.Call(&F::NotifyArbitratorCameraListRefresh, lid);
         return {*s.result == 0, "member " + lid};
     }},
    {"announce the refresh is ready", "NotifyArbitratorRefreshReady",
     [](Session& s) -> StepOutcome {
         s.Call(&F::NotifyArbitratorRefreshReady);
         return {*s.result == 0, "empty body, as the arbitrator expects"};
     }},
    {"log a member change", "NotifyLogUpdateAutonomy",
     [](Session& s) { return ReportChangedMember(s, &F::NotifyLogUpdateAutonomy, true); }},
    {"tell the arbitrator of the change", "NotifyArbitratorAutonomyChange",
     [](Session& s) { return ReportChangedMember(s, &F::NotifyArbitratorAutonomyChange, false); }},
    {"tell video management of the change", "NotifyDravoServerAutonomyChange",
     [](Session& s) { return ReportChangedMember(s, &F::NotifyDravoServerAutonomyChange, false); }},
    {"log a member removal", "NotifyLogRemoveAutonomy",
     [](Session& s) { return ReportRemovedMember(s, &F::NotifyLogRemoveAutonomy, false); }},
    {"tell the arbitrator of the removal", "NotifyArbitratorRemoveAutonomy",
     [](Session& s) { return ReportRemovedMember(s, &F::NotifyArbitratorRemoveAutonomy, true); }},
    {"apply a new autonomy mode", "NotifyArbitratorAutoModeChange",
     [](Session& s) -> StepOutcome {
         auto member = s.Member(0);
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
         s.Call(&F::NotifyArbitratorAutoModeChange, info, kNewServerMode);
         return {*s.result == 0, "member " + info.lid + " to \"" + kNewServerMode +
                                     "\", password sent base64-encoded"};
     }},
    {"switch the autonomy mode", "ChangeAutonomyMode",
     [](Session& s) {
         // The host composes this body itself; the library hands it on unchanged.
         const std::string body = std::string(R"({"autonomy_mode":")") + kNewServerMode +
                                  R"(","autonomy_lid":")" + s.FirstLid() + R"("})";
         s.Call(&F::ChangeAutonomyMode, body);
         return s.Judge(ResultKind::RequestCode, "now \"" + std::string(kNewServerMode) + "\"");
     }},
    {"read a user's privileges", "GetFdrPrivilegeByUser",
     [](Session& s) -> StepOutcome {
         std::string user = s.settings.user, second, report;
         s.Call(&F::GetFdrPrivilegeByUser, user, second, report);
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
             const Json::Value& members = reports[0]["autonomy_list"];
             detail = user + " may reach " + Plural(members.size(), "member", "members");
             std::string privileges;
             for (const auto& privilege : members[0]["channel_list"][0]["privilege_list"]) {
                 privileges += (privileges.empty() ? "" : ", ") + privilege.asString();
             }
             if (!privileges.empty()) {
                 detail += " (" + privileges + ")";
             }
         }
         return {*s.result == 0, detail};
     }},
    {"read the privilege timestamp", "GetFdrPrivilegeTime",
     [](Session& s) -> StepOutcome {
         std::string timestamp;
         s.Call(&F::GetFdrPrivilegeTime, timestamp);
         if (timestamp.empty()) {
             return {false, "no timestamp came back"};
         }
         return {*s.result == 0, "last change " + Timestamp(timestamp)};
     }},
    {"build the failover information", "FormatFailOverBody",
     [](Session& s) -> StepOutcome {
         // What the host knows of its members besides the federation's answer.
         static const char* const kModels[] = {"NVR-16P", "NVR-8", "NVR-32R"};
         size_t index = 0;
         for (const auto& member : s.members.autonomy_list) {
             member->firmware = "4.2." + std::to_string(index + 1);
             member->firmware_date = "2024-11-0" + std::to_string(index % 9 + 1);
             member->machine_model = kModels[index % 3];
             ++index;
         }
         s.Call(&F::FormatFailOverBody, s.members, s.failover_body);
         const auto parsed = ParseStrict(s.failover_body);
         if (!parsed || !(*parsed)["autonomy_list"].isArray()) {
             return {false, "the body is not the expected JSON: " + Ellipsize(s.failover_body, 60)};
         }
         const size_t entries = (*parsed)["autonomy_list"].size();
         const size_t members = s.members.autonomy_list.size();
         if (entries != members) {
             return {false, Plural(entries, "entry", "entries") + " for " +
                                Plural(members, "member", "members")};
         }
         return {*s.result == 0,
                 Plural(entries, "member", "members") + ", " + ByteSize(s.failover_body.size())};
     }},
    {"save the failover information", "SaveFailOverInfo",
     [](Session& s) {
         s.Call(&F::SaveFailOverInfo, s.failover_body);
         return s.Judge(ResultKind::RequestCode, "stored " + ByteSize(s.failover_body.size()));
     }},
    {"produce the fisheye lens catalogue", "FormatFisyeyeSupportFile",
     [](Session& s) {
         return SupportFileStep(s, &F::FormatFisyeyeSupportFile, "FishEyeParameterTable");
     }},
    {"produce the projection lens catalogue", "FormatProjectionSupportFile",
     [](Session& s) {
         return SupportFileStep(s, &F::FormatProjectionSupportFile, "ProjectionTable");
     }},
};

// Plays the steps one after the other, printing each row as its step ends; returns the numbers
// of the steps that failed.
std::vector<int> PlaySteps(Session& s, const StepPrinter& printer) {
    std::vector<int> failed;
    int number = 0;
    for (const Step& step : kSteps) {
        s.result.reset();
        s.expected.clear();
        s.console.clear();
        // The request the operation makes, its query left out; a step may expect it more often.
        if (const fdr::LocalEndpoint* endpoint = FindOperation(step.operation)->sends.endpoint) {
            const std::string path = endpoint->path;
            s.expected.push_back({fdr::ServiceOnPort(endpoint->port)->key,
                                  fdr::MethodName(endpoint->method),
                                  path.substr(0, path.find('?'))});
        }

        StepOutcome outcome;
        try {
            outcome = step.play(s);
        } catch (const std::exception& error) {
            outcome = {false, "raised an exception: " + std::string(error.what())};
        }
        if (const std::string problem = s.CheckExchanges(); !problem.empty() && outcome.passed) {
            outcome = {false, problem};
        }
        // The operations that always return 0 still say on the console when a request failed.
        for (const auto& line : s.console) {
            if (line.rfind("[error]n_ret=", 0) == 0 && outcome.passed) {
                outcome = {false, "the request failed"};
            }
        }
        if (!outcome.passed && !s.console.empty()) {
            outcome.detail += " [library: " + s.console.back() + "]";
        }
        printer.Row(++number, step.title, step.operation, s.result, outcome);
        if (!outcome.passed) {
            failed.push_back(number);
        }
    }
    return failed;
}

// "demo: 23 steps, 23 ok" or "demo: 23 steps, 21 ok, 2 failed (7, 12)".
std::string SummaryLine(const std::vector<int>& failed) {
    const size_t steps = std::size(kSteps);
    std::string line = "demo: " + std::to_string(steps) + " steps, " +
                       std::to_string(steps - failed.size()) + " ok";
    for (size_t i = 0; i < failed.size(); ++i) {
        line += (i == 0 ? ", " + std::to_string(failed.size()) + " failed (" : ", ") +
                std::to_string(failed[i]);
    }
    return failed.empty() ? line : line + ")";
}

}  // namespace

const std::vector<CommandOption>& DemoOptions() {
    static const std::vector<CommandOption> options = {
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
        settings.transcript = simulator->TranscriptPath();
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
    for (const Step& step : kSteps) {
        title_width = std::max(title_width, DisplayWidth(step.title));
        operation_width = std::max(operation_width, DisplayWidth(step.operation));
    }
    const StepPrinter printer{out, style, title_width, operation_width};
    printer.Header();
    Session session(library.Federation(), settings);
    const std::vector<int> failed = PlaySteps(session, printer);

    if (simulator) {
        if (!keep) {
            simulator->Stop();
        }
        size_t from_start = 0;
        PrintReceived(out, style, ReadTranscript(settings.transcript, from_start));
    }
    const bool all_passed = failed.empty();
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
    out << '\n' << style.Paint(SummaryLine(failed), all_passed ? Tone::Good : Tone::Bad) << '\n';
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
