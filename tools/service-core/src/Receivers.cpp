#include "Receivers.h"

#include <functional>

#include "JsonText.h"
#include "ShapeChecks.h"

namespace fdrsim {

namespace {

using Check = std::function<void(const std::string& body, Flags& flags)>;

void Receive(RouteTable& routes, const fdr::LocalEndpoint& endpoint, Check check) {
    routes.Add(endpoint, [check](const IncomingRequest& request) {
        Flags flags;
        check(request.body, flags);
        return Acknowledgement(std::move(flags));
    });
}

// {"autonomy_list":[...]} whose entries are objects carrying a string "autonomy_lid"; returns
// the list, or null when the body is not of that shape.
const Json::Value* MemberList(const Json::Value& root, Flags& flags) {
    const Json::Value* list = ExpectMember(root, "autonomy_list", JsonKind::Array, "", flags);
    if (list == nullptr) {
        return nullptr;
    }
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        if (ExpectKind((*list)[i], JsonKind::Object, where, flags)) {
            ExpectMember((*list)[i], "autonomy_lid", JsonKind::String, where, flags);
        }
    }
    return list;
}

// One member's list of channel entries under `key`, each an object with a "channel_guid".
void OneMemberChannels(const std::string& body, const char* key, Flags& flags) {
    auto root = ExpectJsonObject(body, flags);
    const Json::Value* list = root ? MemberList(*root, flags) : nullptr;
    if (list == nullptr) {
        return;
    }
    if (list->size() != 1) {
        AddProblem(flags, "autonomy_list holds " + std::to_string(list->size()) +
                              " entries, expected one");
    }
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        const Json::Value* channels = ExpectMember((*list)[i], key, JsonKind::Array, where, flags);
        for (Json::ArrayIndex j = 0; channels != nullptr && j < channels->size(); ++j) {
            const std::string at = Indexed(where + "." + key, j);
            if (ExpectKind((*channels)[j], JsonKind::Object, at, flags)) {
                ExpectMember((*channels)[j], "channel_guid", JsonKind::String, at, flags);
            }
        }
    }
}

// A body that is hand-built without escaping: JSON when the values allow it, which is then
// checked by `check`; anything else is accepted and flagged as the known quirk.
void JsonOrExpectedText(const std::string& body, Flags& flags,
                        const std::function<void(const Json::Value&)>& check) {
    auto document = ParseJson(body);
    if (!document) {
        AddNote(flags, "not JSON (expected)");
        return;
    }
    check(*document);
}

bool IsBase64(const std::string& text) {
    if (text.size() % 4 != 0) {
        return false;
    }
    const size_t padding = text.find('=');
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool alphabet = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                              (c >= '0' && c <= '9') || c == '+' || c == '/';
        if (i < padding ? !alphabet : c != '=') {
            return false;
        }
    }
    return padding == std::string::npos || text.size() - padding <= 2;
}

void MemberLogRoutes(RouteTable& routes) {
    auto member_records = [](const std::string& body, Flags& flags) {
        if (auto root = ExpectJsonObject(body, flags)) {
            MemberList(*root, flags);
        }
    };
    Receive(routes, fdr::endpoint::kLogAutonomyList, member_records);
    // The update notice carries the same full member records as the addition.
    Receive(routes, fdr::endpoint::kLogUpdateList, member_records);
    Receive(routes, fdr::endpoint::kLogDeleteList, [](const std::string& body, Flags& flags) {
        auto root = ExpectJsonObject(body, flags);
        const Json::Value* list =
            root ? ExpectMember(*root, "autonomy_list", JsonKind::Array, "", flags) : nullptr;
        for (Json::ArrayIndex i = 0; list != nullptr && i < list->size(); ++i) {
            ExpectKind((*list)[i], JsonKind::String, Indexed("autonomy_list", i), flags);
        }
    });
    // Carries whatever text the host handed over.
    Receive(routes, fdr::endpoint::kReloadAutonomy, [](const std::string& body, Flags& flags) {
        if (body.empty()) {
            AddNote(flags, "empty body (expected)");
        } else if (!ParseJson(body)) {
            AddNote(flags, "not JSON (expected)");
        }
    });
}

void ArbitratorRoutes(RouteTable& routes) {
    Receive(routes, fdr::endpoint::kAutonomyChanged, [](const std::string& body, Flags& flags) {
        auto root = ExpectJsonObject(body, flags);
        const Json::Value* list = root ? MemberList(*root, flags) : nullptr;
        if (list != nullptr && list->size() > 1) {
            AddProblem(flags, "autonomy_list holds " + std::to_string(list->size()) +
                                  " entries, expected at most one");
        }
    });
    Receive(routes, fdr::endpoint::kChannelStatusChanged,
            [](const std::string& body, Flags& flags) {
                OneMemberChannels(body, "channel_status_list", flags);
            });
    Receive(routes, fdr::endpoint::kChannelInfoChanged, [](const std::string& body, Flags& flags) {
        OneMemberChannels(body, "channel_list", flags);
    });
    Receive(routes, fdr::endpoint::kChannelInfoRefresh, [](const std::string& body, Flags& flags) {
        if (auto root = ExpectJsonObject(body, flags)) {
            ExpectMember(*root, "autonomy_lid", JsonKind::String, "", flags);
        }
    });
    Receive(routes, fdr::endpoint::kAutonomyRefreshReady,
            [](const std::string& body, Flags& flags) {
                if (body.empty()) {
                    AddNote(flags, "empty body (expected)");
                } else {
                    AddProblem(flags, "expected an empty body");
                }
            });
}

void ModeArbitrationRoutes(RouteTable& routes) {
    Receive(routes, fdr::endpoint::kApplyAutonomies, [](const std::string& body, Flags& flags) {
        JsonOrExpectedText(body, flags, [&flags](const Json::Value& root) {
            const Json::Value* list =
                ExpectMember(root, "autonomy_list", JsonKind::Array, "", flags);
            if (list == nullptr) {
                return;
            }
            if (list->size() != 1) {
                AddProblem(flags, "autonomy_list holds " + std::to_string(list->size()) +
                                      " entries, expected one");
            }
            for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
                const std::string where = Indexed("autonomy_list", i);
                const Json::Value& entry = (*list)[i];
                if (!ExpectKind(entry, JsonKind::Object, where, flags)) {
                    continue;
                }
                for (const char* key : {"lid", "lname", "username", "server_mode", "address"}) {
                    ExpectMember(entry, key, JsonKind::String, where, flags);
                }
                ExpectMember(entry, "group", JsonKind::Number, where, flags);
                const Json::Value* password =
                    ExpectMember(entry, "password", JsonKind::String, where, flags);
                if (password != nullptr && !IsBase64(password->asString())) {
                    AddProblem(flags, where + ": password is not base64");
                }
            }
        });
    });
}

void VideoManagementRoutes(RouteTable& routes) {
    Receive(routes, fdr::endpoint::kDravoNotify, [](const std::string& body, Flags& flags) {
        auto root = ExpectJsonObject(body, flags);
        if (!root) {
            return;
        }
        // Data notices are printed by cJSON's formatted printer, the only multi-line body.
        if (body.find('\n') != std::string::npos) {
            AddNote(flags, "formatted JSON (expected)");
        }
        const Json::Value& notice = *root;
        const Json::Value& reason = notice["notice_reason"];
        if (notice.isMember("autonomy_list")) {
            MemberList(notice, flags);  // a member change notice
        } else if (reason.isObject() && reason.isMember("input")) {
            ExpectMember(reason["input"], "autonomy_lid", JsonKind::String, "notice_reason.input",
                         flags);
        } else {
            ExpectMember(notice, "autonomy_lid", JsonKind::String, "", flags);
        }
    });
}

void AggregatorRoutes(RouteTable& routes) {
    // The host composes this body; the aggregator needs a JSON object.
    Receive(routes, fdr::endpoint::kAggregatorSystemInfo,
            [](const std::string& body, Flags& flags) { ExpectJsonObject(body, flags); });
}

}  // namespace

bool IsReceiver(Service service) {
    return service != Service::Token && service != Service::FederationWrites &&
           service != Service::FederationReads;
}

void AddReceiverRoutes(Service service, RouteTable& routes) {
    switch (service) {
        case Service::MemberLog:
            MemberLogRoutes(routes);
            break;
        case Service::Arbitrator:
            ArbitratorRoutes(routes);
            break;
        case Service::ModeArbitration:
            ModeArbitrationRoutes(routes);
            break;
        case Service::VideoManagement:
            VideoManagementRoutes(routes);
            break;
        case Service::Aggregator:
            AggregatorRoutes(routes);
            break;
        case Service::Token:
        case Service::FederationWrites:
        case Service::FederationReads:
            break;
    }
}

}  // namespace fdrsim
