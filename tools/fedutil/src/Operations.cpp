#include "Operations.h"

#include <cctype>

#include "Errors.h"
#include "JsonInput.h"
#include "RecordFiles.h"
#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

namespace {

using Outcome = OperationOutcome;
using Context = OperationContext;

// ---- Options shared by several operations ----

const OptionSpec kLid{"--lid", "LID", "the member server's autonomy_lid", true};
const OptionSpec kMembers{"--members", "FILE", "member list file: {\"autonomy_list\":[...]}", true};
const OptionSpec kChannels{"--channels", "FILE", "channel list file: {\"channel_list\":[...]}",
                           true};
const OptionSpec kOutput{"--output", "FILE", "also write the text, exactly as produced, to FILE"};
const OptionSpec kBody{"--body", "TEXT", "the body to send, as given"};
const OptionSpec kBodyFile{"--body-file", "FILE", "read the body from FILE (- for stdin)"};
const OptionSpec kClientId{"--client-id", "ID", "the client's id", true};
const OptionSpec kClientSecret{"--client-secret", "SECRET", "the client's secret", true};
const OptionSpec kCatalogue{"--catalogue", "FILE",
                            "lens catalogue file: {\"FishEyeParameterTable\":[...], "
                            "\"ProjectionTable\":[...]}",
                            true};

constexpr char kAlwaysZero[] = "always 0 by design: check the output instead";
constexpr char kAlwaysZeroSent[] =
    "always 0 by design: a failed request only shows in the library's console line";
constexpr char kRequestCode[] = "the local client's code: 0 ok, 1..4 failures";

// How fedutil's help names each service.
const char* ServicePhrase(fdr::ServiceId service) {
    switch (service) {
        case fdr::ServiceId::VideoManagement:
            return "video-management service";
        case fdr::ServiceId::ModeArbitration:
            return "autonomy-mode arbitration";
        case fdr::ServiceId::Arbitrator:
            return "arbitrator";
        case fdr::ServiceId::Token:
            return "token service";
        case fdr::ServiceId::Aggregator:
            return "aggregator";
        case fdr::ServiceId::FederationWrites:
        case fdr::ServiceId::FederationReads:
            return "federation service";
        case fdr::ServiceId::MemberLog:
            return "member log service";
    }
    return "service";
}

// "PUT /path to the arbitrator (<port>)<note>"; a GET reads "from the".
std::string Request(const char* method, const std::string& target, int port,
                    const char* note = "") {
    const fdr::LocalService* service = fdr::ServiceOnPort(port);
    const bool read = std::string(method) == "GET";
    return std::string(method) + " " + target + (read ? " from the " : " to the ") +
           (service != nullptr ? ServicePhrase(service->id) : "service") + " (" +
           std::to_string(port) + ")" + note;
}

// The endpoint's request, its path followed by `query`.
std::string Sends(const fdr::LocalEndpoint& endpoint, const char* query = "",
                  const char* note = "") {
    return Request(fdr::MethodName(endpoint.method), endpoint.path + std::string(query),
                   endpoint.port, note);
}

std::string TokenRequest(const char* grant) {
    return Request("POST", std::string(fdr::kTokenPath) + " (" + grant + " grant)",
                   fdr::kTokenServicePort);
}

// The text of --body or --body-file; exactly one of them.
std::string BodyText(const Context& context) {
    const CommandLine& line = context.Line();
    if (line.Has("--body") == line.Has("--body-file")) {
        throw UsageError(line.command + " needs either --body TEXT or --body-file FILE");
    }
    return line.Has("--body") ? line.Required("--body")
                              : ReadInputText(line.Required("--body-file"));
}

void SetDocument(Outcome& outcome, const char* name, std::string text) {
    outcome.document_name = name;
    outcome.document = std::move(text);
}

// Operations that take a member list and report it somewhere.
OperationSpec MemberNotice(const char* name, const char* summary, const std::string& sends,
                           const char* result, ResultKind kind,
                           int (ICentralizedServer::*operation)(DravoAgentData::AutonomyList&)) {
    return {name, summary, sends, result, kind, {kMembers}, [operation](Context& context) {
                Outcome outcome;
                auto members = ReadMemberFile(context.Line().Required("--members"));
                outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                    return (federation.*operation)(members);
                });
                return outcome;
            }};
}

// Operations that take a member's lid (by reference) and report it somewhere.
OperationSpec LidNotice(const char* name, const char* summary, const std::string& sends,
                        int (ICentralizedServer::*operation)(std::string&)) {
    return {name,
            summary,
            sends,
            kRequestCode,
            ResultKind::RequestCode,
            {kLid},
            [operation](Context& context) {
                Outcome outcome;
                std::string lid = context.Line().Required("--lid");
                outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                    return (federation.*operation)(lid);
                });
                return outcome;
            }};
}

// The four single-member channel writes.
OperationSpec ChannelWrite(const char* name, const char* summary, const std::string& sends,
                           int (ICentralizedServer::*operation)(std::string&, ChannelObjList&)) {
    return {name,
            summary,
            sends,
            kAlwaysZeroSent,
            ResultKind::AlwaysZero,
            {kLid, kChannels},
            [operation](Context& context) {
                Outcome outcome;
                auto channels = ReadChannelFile(context.Line().Required("--channels"));
                std::string lid = context.Line().Required("--lid");
                outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                    return (federation.*operation)(lid, channels);
                });
                return outcome;
            }};
}

// Operations that hand a text on unchanged.
OperationSpec BodyNotice(const char* name, const char* summary, const std::string& sends,
                         std::function<int(ICentralizedServer&, std::string&)> operation) {
    return {name,
            summary,
            sends,
            kRequestCode,
            ResultKind::RequestCode,
            {kBody, kBodyFile},
            [operation](Context& context) {
                Outcome outcome;
                std::string body = BodyText(context);
                outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                    return operation(federation, body);
                });
                return outcome;
            }};
}

OperationSpec Token(const char* name, const char* summary, bool refresh) {
    std::vector<OptionSpec> options = {kClientId, kClientSecret};
    if (refresh) {
        options.push_back({"--get-first", nullptr,
                           "get a token first in the same process: the library keeps the refresh "
                           "token in memory only, so a fresh process has none to send"});
    }
    return {name,
            summary,
            TokenRequest(refresh ? "refresh-token" : "client-credentials"),
            "always 0 by design: an empty access_token means no token was issued",
            ResultKind::AlwaysZero,
            options,
            [refresh](Context& context) {
                Outcome outcome;
                std::string id = context.Line().Required("--client-id");
                std::string secret = context.Line().Required("--client-secret");
                std::string token;
                outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                    if (!refresh) {
                        return federation.AuthGetToken(id, secret, token);
                    }
                    if (context.Line().Flag("--get-first")) {
                        std::string first;
                        federation.AuthGetToken(id, secret, first);
                    }
                    return federation.AuthRefreshToken(id, secret, token);
                });
                outcome.texts.emplace_back("access_token", token);
                if (token.empty()) {
                    outcome.notes.push_back(
                        refresh && !context.Line().Flag("--get-first")
                            ? "no access token was issued (a fresh process has no refresh token "
                              "to send: try --get-first)"
                            : "no access token was issued");
                }
                return outcome;
            }};
}

std::vector<OperationSpec> BuildOperations() {
    std::vector<OperationSpec> operations;
    auto add = [&operations](OperationSpec option) { operations.push_back(std::move(option)); };

    add(MemberNotice("NotifyLogAddAutonomy", "Reports member servers added",
                     Sends(fdr::endpoint::kLogAutonomyList), kRequestCode, ResultKind::RequestCode,
                     &ICentralizedServer::NotifyLogAddAutonomy));
    add(MemberNotice("NotifyLogUpdateAutonomy", "Reports member servers updated",
                     Sends(fdr::endpoint::kLogUpdateList), kRequestCode, ResultKind::RequestCode,
                     &ICentralizedServer::NotifyLogUpdateAutonomy));
    add(LidNotice("NotifyLogRemoveAutonomy", "Reports a member server removed",
                  Sends(fdr::endpoint::kLogDeleteList),
                  &ICentralizedServer::NotifyLogRemoveAutonomy));
    add(BodyNotice("NotifyLogTokenChange", "Hands a member's new token text to the log service",
                   Sends(fdr::endpoint::kReloadAutonomy, "", ", body unchanged"),
                   [](ICentralizedServer& federation, std::string& body) {
                       return federation.NotifyLogTokenChange(body);
                   }));
    add(Token("AuthGetToken", "Gets an access token (client-credentials grant)", false));
    add(Token("AuthRefreshToken", "Refreshes the access token (refresh-token grant)", true));

    add({"LoadFdrFederateSetting",
         "Reads the federation's GUID",
         Sends(fdr::endpoint::kServiceInfo, "?type=1"),
         "the local client's code, a parser code or the service's err_code",
         ResultKind::RequestOrParser,
         {},
         [](Context& context) {
             Outcome outcome;
             std::string guid;
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.LoadFdrFederateSetting(guid);
             });
             outcome.texts.emplace_back("guid", guid);
             return outcome;
         }});
    add({"LoadFdrChannelSetting",
         "Loads one member server's channels",
         Sends(fdr::endpoint::kCmsChannelRead, "?autonomy_lid=LID"),
         "the local client's code, a parser code or the service's err_code",
         ResultKind::RequestOrParser,
         {kLid},
         [](Context& context) {
             Outcome outcome;
             const std::string lid = context.Line().Required("--lid");
             ChannelObjList channels;
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.LoadFdrChannelSetting(lid, channels);
             });
             for (auto& channel : channels) {
                 channel->owner_lid = lid;  // as a host does after loading
             }
             outcome.channels = std::move(channels);
             outcome.channels_lid = lid;
             return outcome;
         }});
    add({"LoadFdrAutonomyListSetting",
         "Reads the member servers",
         Sends(fdr::endpoint::kAutonomies),
         "the local client's code, a parser code or the service's err_code",
         ResultKind::RequestOrParser,
         {},
         [](Context& context) {
             Outcome outcome;
             DravoAgentData::AutonomyList members;
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.LoadFdrAutonomyListSetting(members);
             });
             outcome.members = std::move(members);
             return outcome;
         }});
    add({"SaveFdrAllChannelsSetting",
         "Stores every listed member's channels (\"replace\")",
         Sends(fdr::endpoint::kCmsChannelWrite),
         "the local client's code or the service's err_code",
         ResultKind::RequestOrServiceCode,
         {kMembers,
          {"--channels", "FILE",
           "channel list file; each channel's owner is its group's or file's autonomy_lid, or "
           "its own owner_lid",
           true}},
         [](Context& context) {
             Outcome outcome;
             auto members = ReadMemberFile(context.Line().Required("--members"));
             auto channels = ReadChannelFile(context.Line().Required("--channels"));
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.SaveFdrAllChannelsSetting(members, channels);
             });
             return outcome;
         }});
    add(ChannelWrite("AddFdrChannelSetting", "Adds channels of one member server (\"add\")",
                     Sends(fdr::endpoint::kCmsChannelWrite),
                     &ICentralizedServer::AddFdrChannelSetting));
    add(ChannelWrite(
        "RefreshFdrChannelSetting", "Replaces one member server's channels (\"replace\")",
        Sends(fdr::endpoint::kCmsChannelWrite), &ICentralizedServer::RefreshFdrChannelSetting));
    add(ChannelWrite(
        "UpdateFdrChannelSetting", "Updates channels of one member server (\"update\")",
        Sends(fdr::endpoint::kCmsChannelWrite), &ICentralizedServer::UpdateFdrChannelSetting));
    add(ChannelWrite(
        "RemoveFdrChannelSetting", "Removes channels of one member server (\"remove\")",
        Sends(fdr::endpoint::kCmsChannelWrite), &ICentralizedServer::RemoveFdrChannelSetting));

    add({"GetFdrPrivilegeByUser",
         "Reads a user's access privileges",
         Sends(fdr::endpoint::kPrivilegeReport, "?operator=admin"),
         "always 0 by design: an empty result means the request failed",
         ResultKind::AlwaysZero,
         {{"--user", "NAME", "the user's name (DOMAIN\\user or user@domain for a domain account)",
           true},
          {"--second", "TEXT", "the host's second argument (not used by the library)"},
          kOutput},
         [](Context& context) {
             Outcome outcome;
             std::string user = context.Line().Required("--user");
             std::string second = context.Line().ValueOr("--second", "");
             std::string result;
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.GetFdrPrivilegeByUser(user, second, result);
             });
             if (result.empty()) {
                 outcome.notes.push_back("no privilege report was received");
             }
             SetDocument(outcome, "result", result);
             return outcome;
         }});
    add({"GetFdrPrivilegeTime",
         "Reads when the access privileges last changed",
         Sends(fdr::endpoint::kConfig, "?key=priv_last_ts&section=fdrsystem"),
         "always 0 by design: an empty timestamp means unset, an error answer or no answer",
         ResultKind::AlwaysZero,
         {},
         [](Context& context) {
             Outcome outcome;
             std::string timestamp;
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.GetFdrPrivilegeTime(timestamp);
             });
             outcome.texts.emplace_back("timestamp", timestamp);
             if (timestamp.empty()) {
                 outcome.notes.push_back("no timestamp: unset, an error answer, or no answer");
             }
             return outcome;
         }});

    add(MemberNotice("NotifyArbitratorAutonomyChange",
                     "Reports a member server changed (the list's last record)",
                     Sends(fdr::endpoint::kAutonomyChanged), kAlwaysZeroSent,
                     ResultKind::AlwaysZero, &ICentralizedServer::NotifyArbitratorAutonomyChange));
    add(LidNotice("NotifyArbitratorRemoveAutonomy", "Reports a member server removed",
                  Sends(fdr::endpoint::kAutonomyChanged),
                  &ICentralizedServer::NotifyArbitratorRemoveAutonomy));
    add({"NotifyArbitratorCameraStatusChange",
         "Reports the live status of channels",
         Sends(fdr::endpoint::kChannelStatusChanged),
         kAlwaysZeroSent,
         ResultKind::AlwaysZero,
         {kLid,
          {"--statuses", "FILE", "channel status file: {\"channel_status_list\":[...]}", true}},
         [](Context& context) {
             Outcome outcome;
             auto statuses = ReadChannelStatusFile(context.Line().Required("--statuses"));
             const std::string lid = context.Line().Required("--lid");
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.NotifyArbitratorCameraStatusChange(lid, statuses);
             });
             return outcome;
         }});
    add({"NotifyArbitratorCameraListChange",
         "Reports a changed channel list",
         Sends(fdr::endpoint::kChannelInfoChanged),
         kAlwaysZeroSent,
         ResultKind::AlwaysZero,
         {kLid, kChannels},
         [](Context& context) {
             Outcome outcome;
             auto channels = ReadChannelFile(context.Line().Required("--channels"));
             const std::string lid = context.Line().Required("--lid");
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.NotifyArbitratorCameraListChange(lid, channels);
             });
             return outcome;
         }});
    add({"NotifyArbitratorCameraListRefresh",
         "Asks for a member server's channel list to be refreshed",
         Sends(fdr::endpoint::kChannelInfoRefresh),
         kAlwaysZeroSent,
         ResultKind::AlwaysZero,
         {kLid},
         [](Context& context) {
             Outcome outcome;
             const std::string lid = context.Line().Required("--lid");
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.NotifyArbitratorCameraListRefresh(lid);
             });
             return outcome;
         }});
    add({"NotifyArbitratorAutoModeChange",
         "Tells the mode arbitration a member server's new autonomy mode",
         Sends(fdr::endpoint::kApplyAutonomies),
         kAlwaysZeroSent,
         ResultKind::AlwaysZero,
         {{"--autonomy", "FILE",
           "member server file: {\"lid\",\"lname\",\"username\",\"password\",\"address\","
           "\"group\"}",
           true},
          {"--server-mode", "MODE", "the new server mode, sent as given", true}},
         [](Context& context) {
             Outcome outcome;
             auto info = ReadAutonomyInfoFile(context.Line().Required("--autonomy"));
             const std::string mode = context.Line().Required("--server-mode");
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.NotifyArbitratorAutoModeChange(info, mode);
             });
             return outcome;
         }});
    add({"NotifyDravoData",
         "Passes a notice to video management, adding the member's lid",
         Sends(fdr::endpoint::kDravoNotify),
         "always 0 by design: a notice that is not JSON is logged and not sent",
         ResultKind::AlwaysZero,
         {kLid,
          {"--data", "JSON", "the notice as JSON text"},
          {"--data-file", "FILE", "read the notice from FILE (- for stdin)"}},
         [](Context& context) {
             Outcome outcome;
             const CommandLine& line = context.Line();
             if (line.Has("--data") == line.Has("--data-file")) {
                 throw UsageError(line.command + " needs either --data JSON or --data-file FILE");
             }
             const std::string data = line.Has("--data")
                                          ? line.Required("--data")
                                          : ReadInputText(line.Required("--data-file"));
             const std::string lid = line.Required("--lid");
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.NotifyDravoData(lid, data);
             });
             return outcome;
         }});
    add({"NotifyArbitratorRefreshReady",
         "Tells the arbitrator the member list is ready to refresh",
         Sends(fdr::endpoint::kAutonomyRefreshReady, "", ", empty body"),
         kAlwaysZeroSent,
         ResultKind::AlwaysZero,
         {},
         [](Context& context) {
             Outcome outcome;
             outcome.result = context.Invoke(outcome, [](ICentralizedServer& federation) {
                 return federation.NotifyArbitratorRefreshReady();
             });
             return outcome;
         }});
    add(MemberNotice("NotifyDravoServerAutonomyChange",
                     "Reports a member server changed to video management",
                     Sends(fdr::endpoint::kDravoNotify), kAlwaysZeroSent, ResultKind::AlwaysZero,
                     &ICentralizedServer::NotifyDravoServerAutonomyChange));

    add(BodyNotice("ChangeAutonomyMode", "Hands an autonomy-mode body to the aggregator",
                   Sends(fdr::endpoint::kAggregatorSystemInfo, "", ", body unchanged"),
                   [](ICentralizedServer& federation, std::string& body) {
                       return federation.ChangeAutonomyMode(body);
                   }));
    add({"FormatFailOverBody",
         "Builds the failover information of members (sends nothing)",
         "",
         kAlwaysZero,
         ResultKind::AlwaysZero,
         {kMembers, kOutput},
         [](Context& context) {
             Outcome outcome;
             auto members = ReadMemberFile(context.Line().Required("--members"));
             std::string body;
             outcome.result = context.Invoke(outcome, [&](ICentralizedServer& federation) {
                 return federation.FormatFailOverBody(members, body);
             });
             SetDocument(outcome, "body", body);
             return outcome;
         }});
    add(BodyNotice("SaveFailOverInfo", "Stores failover information",
                   Sends(fdr::endpoint::kFailoverInfo, "", ", body unchanged"),
                   [](ICentralizedServer& federation, std::string& body) {
                       return federation.SaveFailOverInfo(body);
                   }));
    add({"FormatFisyeyeSupportFile",
         "Builds the fisheye lens support file (sends nothing)",
         "",
         "the support file's text; the exit status is 0",
         ResultKind::Text,
         {kCatalogue, kOutput},
         [](Context& context) {
             Outcome outcome;
             auto catalogue = ReadLensCatalogueFile(context.Line().Required("--catalogue"));
             SetDocument(outcome, "support_file",
                         context.Invoke(outcome, [&](ICentralizedServer& federation) {
                             return federation.FormatFisyeyeSupportFile(catalogue);
                         }));
             return outcome;
         }});
    add({"FormatProjectionSupportFile",
         "Builds the projection lens support file (sends nothing)",
         "",
         "the support file's text; the exit status is 0",
         ResultKind::Text,
         {kCatalogue, kOutput},
         [](Context& context) {
             Outcome outcome;
             auto catalogue = ReadLensCatalogueFile(context.Line().Required("--catalogue"));
             SetDocument(outcome, "support_file",
                         context.Invoke(outcome, [&](ICentralizedServer& federation) {
                             return federation.FormatProjectionSupportFile(catalogue);
                         }));
             return outcome;
         }});
    return operations;
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

const std::vector<OperationSpec>& AllOperations() {
    static const std::vector<OperationSpec> operations = BuildOperations();
    return operations;
}

const OperationSpec* FindOperation(const std::string& typed) {
    const std::string wanted = Folded(typed);
    for (const auto& operation : AllOperations()) {
        if (Folded(operation.name) == wanted) {
            return &operation;
        }
    }
    return nullptr;
}

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

}  // namespace fedutil
