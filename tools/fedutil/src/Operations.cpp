#include "Operations.h"

#include <cctype>
#include <tuple>

#include "Failures.h"
#include "RecordFiles.h"
#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

namespace {

using Outcome = OperationOutcome;
using Context = OperationContext;
using Run = std::function<OperationOutcome(OperationContext&)>;
using Members = DravoAgentData::AutonomyList;

// ---- Options shared by several operations ----

const CommandOption kLid{"--lid", "LID", "the member server's autonomy_lid", true};
const CommandOption kMembers{"--members", "FILE", "member list file: {\"autonomy_list\":[...]}",
                             true};
const CommandOption kChannels{"--channels", "FILE", "channel list file: {\"channel_list\":[...]}",
                              true};
const CommandOption kOutput{"--output", "FILE",
                            "also write the text, exactly as produced, to FILE"};
const CommandOption kBody{"--body", "TEXT", "the body to send, as given"};
const CommandOption kBodyFile{"--body-file", "FILE", "read the body from FILE (- for stdin)"};
const CommandOption kClientId{"--client-id", "ID", "the client's id", true};
const CommandOption kClientSecret{"--client-secret", "SECRET", "the client's secret", true};
const CommandOption kCatalogue{"--catalogue", "FILE",
                               "lens catalogue file: {\"FishEyeParameterTable\":[...], "
                               "\"ProjectionTable\":[...]}",
                               true};

constexpr char kAlwaysZero[] = "always 0 by design: check the output instead";
constexpr char kAlwaysZeroSent[] =
    "always 0 by design: a failed request only shows in the library's console line";
constexpr char kRequestCode[] = "the local client's code: 0 ok, 1..4 failures";
constexpr char kReadCode[] = "the local client's code, a parser code or the service's err_code";

// How fedutil's help names a service: the catalogue's name without "central " or " (reads)".
std::string ServicePhrase(const fdr::LocalService& service) {
    const std::string name = service.name;
    const size_t start = name.rfind("central ", 0) == 0 ? 8 : 0;
    return name.substr(start, name.find(" (") - start);
}

// The token service's one endpoint.
constexpr fdr::LocalEndpoint kToken{fdr::HttpMethod::Post, fdr::kTokenServicePort, fdr::kTokenPath,
                                    fdr::kRequestTimeoutSeconds};

// The endpoint's request: "PUT /path<query> to the arbitrator (<port>)<note>"; a GET reads
// "from the".
OperationRequest Sends(const fdr::LocalEndpoint& endpoint, const char* query = "",
                       const char* note = "") {
    const std::string method = fdr::MethodName(endpoint.method);
    const fdr::LocalService* service = fdr::ServiceOnPort(endpoint.port);
    return {method + " " + endpoint.path + query + (method == "GET" ? " from the " : " to the ") +
                (service != nullptr ? ServicePhrase(*service) : "service") + " (" +
                std::to_string(endpoint.port) + ")" + note,
            &endpoint};
}

// ---- Inputs, read from the command line before the library is loaded ----

std::string Lid(const CommandLine& line) {
    return line.Required("--lid");
}
Members MemberFile(const CommandLine& line) {
    return ReadMemberFile(line.Required("--members"));
}
ChannelObjList ChannelFile(const CommandLine& line) {
    return ReadChannelFile(line.Required("--channels"));
}
DravoAgentData::DravoServerInfo CatalogueFile(const CommandLine& line) {
    return ReadLensCatalogueFile(line.Required("--catalogue"));
}

// The text of `option` or of `option`-file; exactly one of them.
std::string TextOrFile(const CommandLine& line, const std::string& option, const char* value) {
    const std::string file = option + "-file";
    if (line.Has(option) == line.Has(file)) {
        throw UsageError(line.command + " needs either " + option + " " + value + " or " + file +
                         " FILE");
    }
    return line.Has(option) ? line.Required(option.c_str())
                            : ReadInputText(line.Required(file.c_str()));
}
std::string Body(const CommandLine& line) {
    return TextOrFile(line, "--body", "TEXT");
}

ChannelStatusObjList StatusFile(const CommandLine& line) {
    return ReadChannelStatusFile(line.Required("--statuses"));
}
FederateBoxType::AutonomyInfo AutonomyFile(const CommandLine& line) {
    return ReadAutonomyInfoFile(line.Required("--autonomy"));
}
std::string ServerMode(const CommandLine& line) {
    return line.Required("--server-mode");
}
std::string Data(const CommandLine& line) {
    return TextOrFile(line, "--data", "JSON");
}

// An operation whose result is `call`'s on the library, its arguments read by `readers` in
// their order.
template <typename... Params, typename... Readers>
Run Calling(int (ICentralizedServer::*call)(Params...), Readers... readers) {
    return [call, readers...](Context& context) {
        Outcome outcome;
        std::tuple<decltype(readers(context.Line()))...> inputs{readers(context.Line())...};
        outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
            return std::apply([&](auto&... input) { return (federation.*call)(input...); }, inputs);
        });
        return outcome;
    };
}

void SetDocument(Outcome& outcome, const char* name, std::string text) {
    outcome.document_name = name;
    outcome.document = std::move(text);
}

// The operations that build a support file from a lens catalogue.
Run SupportFile(std::string (ICentralizedServer::*format)(DravoAgentData::DravoServerInfo&)) {
    return [format](Context& context) {
        Outcome outcome;
        auto catalogue = CatalogueFile(context.Line());
        SetDocument(outcome, "support_file",
                    context.Invoke(outcome, [&](ICentralizedServer& federation) {
                        return (federation.*format)(catalogue);
                    }));
        return outcome;
    };
}

Run Token(bool refresh) {
    return [refresh](Context& context) {
        Outcome outcome;
        const CommandLine& line = context.Line();
        std::string id = line.Required("--client-id");
        std::string secret = line.Required("--client-secret");
        std::string token;
        outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
            if (!refresh) {
                return federation.AuthGetToken(id, secret, token);
            }
            if (line.Flag("--get-first")) {
                std::string first;
                federation.AuthGetToken(id, secret, first);
            }
            return federation.AuthRefreshToken(id, secret, token);
        });
        outcome.texts.emplace_back("access_token", token);
        if (token.empty()) {
            outcome.notes.push_back(refresh && !line.Flag("--get-first")
                                        ? "no access token was issued (a fresh process has no "
                                          "refresh token to send: try --get-first)"
                                        : "no access token was issued");
        }
        return outcome;
    };
}

// Reads one text through `read`, shown as the output `name`; `empty_note` when it is empty.
Run ReadsText(const char* name, const char* empty_note,
              int (ICentralizedServer::*read)(std::string&)) {
    return [=](Context& context) {
        Outcome outcome;
        std::string text;
        outcome.result = context.Invoke(
            outcome, [&](ICentralizedServer& federation) { return (federation.*read)(text); });
        outcome.texts.emplace_back(name, text);
        if (text.empty() && empty_note != nullptr) {
            outcome.notes.push_back(empty_note);
        }
        return outcome;
    };
}

OperationEntry Op(const char* name, const char* summary, OperationRequest sends, const char* result,
                  ResultKind kind, std::vector<CommandOption> options, Run run) {
    return {name, summary, std::move(sends), result, kind, std::move(options), std::move(run)};
}

std::vector<OperationEntry> BuildOperations() {
    namespace ep = fdr::endpoint;
    using F = ICentralizedServer;
    const ResultKind kAlways = ResultKind::AlwaysZero;
    const ResultKind kCode = ResultKind::RequestCode;
    return {
        Op("NotifyLogAddAutonomy", "Reports member servers added", Sends(ep::kLogAutonomyList),
           kRequestCode, kCode, {kMembers}, Calling(&F::NotifyLogAddAutonomy, MemberFile)),
        Op("NotifyLogUpdateAutonomy", "Reports member servers updated", Sends(ep::kLogUpdateList),
           kRequestCode, kCode, {kMembers}, Calling(&F::NotifyLogUpdateAutonomy, MemberFile)),
        Op("NotifyLogRemoveAutonomy", "Reports a member server removed", Sends(ep::kLogDeleteList),
           kRequestCode, kCode, {kLid}, Calling(&F::NotifyLogRemoveAutonomy, Lid)),
        Op("NotifyLogTokenChange", "Hands a member's new token text to the log service",
           Sends(ep::kReloadAutonomy, "", ", body unchanged"), kRequestCode, kCode,
           {kBody, kBodyFile}, Calling(&F::NotifyLogTokenChange, Body)),
        Op("AuthGetToken", "Gets an access token (client-credentials grant)",
           Sends(kToken, " (client-credentials grant)"),
           "always 0 by design: an empty access_token means no token was issued", kAlways,
           {kClientId, kClientSecret}, Token(false)),
        Op("AuthRefreshToken", "Refreshes the access token (refresh-token grant)",
           Sends(kToken, " (refresh-token grant)"),
           "always 0 by design: an empty access_token means no token was issued", kAlways,
           {kClientId,
            kClientSecret,
            {"--get-first", nullptr,
             "get a token first in the same process: the library keeps the refresh token in "
             "memory only, so a fresh process has none to send"}},
           Token(true)),
        Op("LoadFdrFederateSetting", "Reads the federation's GUID",
           Sends(ep::kServiceInfo, "?type=1"), kReadCode, ResultKind::RequestOrParser, {},
           ReadsText("guid", nullptr, &F::LoadFdrFederateSetting)),
        Op("LoadFdrChannelSetting", "Loads one member server's channels",
           Sends(ep::kCmsChannelRead, "?autonomy_lid=LID"), kReadCode, ResultKind::RequestOrParser,
           {kLid},
           [](Context& context) {
               Outcome outcome;
               const std::string lid = Lid(context.Line());
               ChannelObjList channels;
               outcome.result = context.Invoke(
                   outcome, [&](F& f) { return f.LoadFdrChannelSetting(lid, channels); });
               for (auto& channel : channels) {
                   channel->owner_lid = lid;  // as a host does after loading
               }
               outcome.channels = std::move(channels);
               outcome.channels_lid = lid;
               return outcome;
           }),
        Op("LoadFdrAutonomyListSetting", "Reads the member servers", Sends(ep::kAutonomies),
           kReadCode, ResultKind::RequestOrParser, {},
           [](Context& context) {
               Outcome outcome;
               Members members;
               outcome.result = context.Invoke(
                   outcome, [&](F& f) { return f.LoadFdrAutonomyListSetting(members); });
               outcome.members = std::move(members);
               return outcome;
           }),
        Op("SaveFdrAllChannelsSetting", "Stores every listed member's channels (\"replace\")",
           Sends(ep::kCmsChannelWrite), "the local client's code or the service's err_code",
           ResultKind::RequestOrServiceCode,
           {kMembers,
            {"--channels", "FILE",
             "channel list file; each channel's owner is its group's or file's autonomy_lid, or "
             "its own owner_lid",
             true}},
           Calling(&F::SaveFdrAllChannelsSetting, MemberFile, ChannelFile)),
        Op("AddFdrChannelSetting", "Adds channels of one member server (\"add\")",
           Sends(ep::kCmsChannelWrite), kAlwaysZeroSent, kAlways, {kLid, kChannels},
           Calling(&F::AddFdrChannelSetting, Lid, ChannelFile)),
        Op("RefreshFdrChannelSetting", "Replaces one member server's channels (\"replace\")",
           Sends(ep::kCmsChannelWrite), kAlwaysZeroSent, kAlways, {kLid, kChannels},
           Calling(&F::RefreshFdrChannelSetting, Lid, ChannelFile)),
        Op("UpdateFdrChannelSetting", "Updates channels of one member server (\"update\")",
           Sends(ep::kCmsChannelWrite), kAlwaysZeroSent, kAlways, {kLid, kChannels},
           Calling(&F::UpdateFdrChannelSetting, Lid, ChannelFile)),
        Op("RemoveFdrChannelSetting", "Removes channels of one member server (\"remove\")",
           Sends(ep::kCmsChannelWrite), kAlwaysZeroSent, kAlways, {kLid, kChannels},
           Calling(&F::RemoveFdrChannelSetting, Lid, ChannelFile)),
        Op("GetFdrPrivilegeByUser", "Reads a user's access privileges",
           Sends(ep::kPrivilegeReport, "?operator=admin"),
           "always 0 by design: an empty result means the request failed", kAlways,
           {{"--user", "NAME", "the user's name (DOMAIN\\user or user@domain for a domain account)",
             true},
            {"--second", "TEXT", "the host's second argument (not used by the library)"},
            kOutput},
           [](Context& context) {
               Outcome outcome;
               std::string user = context.Line().Required("--user");
               std::string second = context.Line().ValueOr("--second", "");
               std::string result;
               outcome.result = context.Invoke(
                   outcome, [&](F& f) { return f.GetFdrPrivilegeByUser(user, second, result); });
               if (result.empty()) {
                   outcome.notes.push_back("no privilege report was received");
               }
               SetDocument(outcome, "result", result);
               return outcome;
           }),
        Op("GetFdrPrivilegeTime", "Reads when the access privileges last changed",
           Sends(ep::kConfig, "?key=priv_last_ts&section=fdrsystem"),
           "always 0 by design: an empty timestamp means unset, an error answer or no answer",
           kAlways, {},
           ReadsText("timestamp", "no timestamp: unset, an error answer, or no answer",
                     &F::GetFdrPrivilegeTime)),
        Op("NotifyArbitratorAutonomyChange",
           "Reports a member server changed (the list's last record)", Sends(ep::kAutonomyChanged),
           kAlwaysZeroSent, kAlways, {kMembers},
           Calling(&F::NotifyArbitratorAutonomyChange, MemberFile)),
        Op("NotifyArbitratorRemoveAutonomy", "Reports a member server removed",
           Sends(ep::kAutonomyChanged), kRequestCode, kCode, {kLid},
           Calling(&F::NotifyArbitratorRemoveAutonomy, Lid)),
        Op("NotifyArbitratorCameraStatusChange", "Reports the live status of channels",
           Sends(ep::kChannelStatusChanged), kAlwaysZeroSent, kAlways,
           {kLid,
            {"--statuses", "FILE", "channel status file: {\"channel_status_list\":[...]}", true}},
           Calling(&F::NotifyArbitratorCameraStatusChange, Lid, StatusFile)),
        Op("NotifyArbitratorCameraListChange", "Reports a changed channel list",
           Sends(ep::kChannelInfoChanged), kAlwaysZeroSent, kAlways, {kLid, kChannels},
           Calling(&F::NotifyArbitratorCameraListChange, Lid, ChannelFile)),
        Op("NotifyArbitratorCameraListRefresh",
           "Asks for a member server's channel list to be refreshed",
           Sends(ep::kChannelInfoRefresh), kAlwaysZeroSent, kAlways, {kLid},
           Calling(&F::NotifyArbitratorCameraListRefresh, Lid)),
        Op("NotifyArbitratorAutoModeChange",
           "Tells the mode arbitration a member server's new autonomy mode",
           Sends(ep::kApplyAutonomies), kAlwaysZeroSent, kAlways,
           {{"--autonomy", "FILE",
             "member server file: {\"lid\",\"lname\",\"username\",\"password\",\"address\","
             "\"group\"}",
             true},
            {"--server-mode", "MODE", "the new server mode, sent as given", true}},
           Calling(&F::NotifyArbitratorAutoModeChange, AutonomyFile, ServerMode)),
        Op("NotifyDravoData", "Passes a notice to video management, adding the member's lid",
           Sends(ep::kDravoNotify),
           "always 0 by design: a notice that is not JSON is logged and not sent", kAlways,
           {kLid,
            {"--data", "JSON", "the notice as JSON text"},
            {"--data-file", "FILE", "read the notice from FILE (- for stdin)"}},
           Calling(&F::NotifyDravoData, Lid, Data)),
        Op("NotifyArbitratorRefreshReady",
           "Tells the arbitrator the member list is ready to refresh",
           Sends(ep::kAutonomyRefreshReady, "", ", empty body"), kAlwaysZeroSent, kAlways, {},
           Calling(&F::NotifyArbitratorRefreshReady)),
        Op("NotifyDravoServerAutonomyChange", "Reports a member server changed to video management",
           Sends(ep::kDravoNotify), kAlwaysZeroSent, kAlways, {kMembers},
           Calling(&F::NotifyDravoServerAutonomyChange, MemberFile)),
        Op("ChangeAutonomyMode", "Hands an autonomy-mode body to the aggregator",
           Sends(ep::kAggregatorSystemInfo, "", ", body unchanged"), kRequestCode, kCode,
           {kBody, kBodyFile}, Calling(&F::ChangeAutonomyMode, Body)),
        Op("FormatFailOverBody", "Builds the failover information of members (sends nothing)", {},
           kAlwaysZero, kAlways, {kMembers, kOutput},
           [](Context& context) {
               Outcome outcome;
               auto members = MemberFile(context.Line());
               std::string body;
               outcome.result = context.Invoke(
                   outcome, [&](F& f) { return f.FormatFailOverBody(members, body); });
               SetDocument(outcome, "body", body);
               return outcome;
           }),
        Op("SaveFailOverInfo", "Stores failover information",
           Sends(ep::kFailoverInfo, "", ", body unchanged"), kRequestCode, kCode,
           {kBody, kBodyFile}, Calling(&F::SaveFailOverInfo, Body)),
        Op("FormatFisyeyeSupportFile", "Builds the fisheye lens support file (sends nothing)", {},
           "the support file's text; the exit status is 0", kAlways, {kCatalogue, kOutput},
           SupportFile(&F::FormatFisyeyeSupportFile)),
        Op("FormatProjectionSupportFile", "Builds the projection lens support file (sends nothing)",
           {}, "the support file's text; the exit status is 0", kAlways, {kCatalogue, kOutput},
           SupportFile(&F::FormatProjectionSupportFile)),
    };
}

std::string Folded(const std::string& text) {
    std::string folded;
    for (char c : text) {
        if (c != '-' && c != '_') {
            folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return folded;
}

}  // namespace

const std::vector<OperationEntry>& AllOperations() {
    static const std::vector<OperationEntry> operations = BuildOperations();
    return operations;
}

const OperationEntry* FindOperation(const std::string& typed) {
    const std::string wanted = Folded(typed);
    for (const auto& operation : AllOperations()) {
        if (Folded(operation.name) == wanted) {
            return &operation;
        }
    }
    return nullptr;
}

}  // namespace fedutil
