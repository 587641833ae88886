#include "ServiceRoutes.h"

#include "JsonText.h"

namespace fdrsim {

namespace {

using Check = void (*)(const std::string& body, Flags& flags);

void EntriesExpected(Json::ArrayIndex count, const char* expected, Flags& flags) {
    AddProblem(flags,
               "autonomy_list holds " + std::to_string(count) + " entries, expected " + expected);
}

// {"autonomy_list":[...]} whose entries are objects carrying a string "autonomy_lid"; returns
// the list, or null when the body is not of that shape.
const Json::Value* MemberList(const Json::Value& root, Flags& flags) {
    const Json::Value* list = ExpectMember(root, "autonomy_list", JsonKind::Array, "", flags);
    for (Json::ArrayIndex i = 0; list != nullptr && i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        if (ExpectKind((*list)[i], JsonKind::Object, where, flags)) {
            ExpectMember((*list)[i], "autonomy_lid", JsonKind::String, where, flags);
        }
    }
    return list;
}

// A body that is such a list; returns how many entries it holds (0 when it is not one).
Json::ArrayIndex MemberListBody(const std::string& body, Flags& flags) {
    auto root = ExpectJsonObject(body, flags);
    const Json::Value* list = root ? MemberList(*root, flags) : nullptr;
    return list ? list->size() : 0;
}

// One member's list of channel entries under `key`, each an object with a "channel_guid".
void OneMemberChannels(const std::string& body, const char* key, Flags& flags) {
    auto root = ExpectJsonObject(body, flags);
    const Json::Value* list = root ? MemberList(*root, flags) : nullptr;
    if (list != nullptr && list->size() != 1) {
        EntriesExpected(list->size(), "one", flags);
    }
    for (Json::ArrayIndex i = 0; list != nullptr && i < list->size(); ++i) {
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

bool IsBase64(const std::string& text) {
    const size_t padding = std::min(text.find('='), text.size());
    const size_t alphabet =
        text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    return text.size() % 4 == 0 && std::min(alphabet, text.size()) == padding &&
           text.size() - padding <= 2 && text.find_first_not_of('=', padding) == std::string::npos;
}

// The mode change is hand-built without escaping: JSON only when the values allow it.
void ModeChange(const std::string& body, Flags& flags) {
    auto root = ParseJson(body);
    if (!root) {
        AddNote(flags, "not JSON (expected)");
        return;
    }
    const Json::Value* list = ExpectMember(*root, "autonomy_list", JsonKind::Array, "", flags);
    if (list != nullptr && list->size() != 1) {
        EntriesExpected(list->size(), "one", flags);
    }
    for (Json::ArrayIndex i = 0; list != nullptr && i < list->size(); ++i) {
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
}

void DataNotice(const std::string& body, Flags& flags) {
    auto root = ExpectJsonObject(body, flags);
    if (!root) {
        return;
    }
    // Data notices are printed by cJSON's formatted printer, the only multi-line body.
    if (body.find('\n') != std::string::npos) {
        AddNote(flags, "formatted JSON (expected)");
    }
    const Json::Value& reason = (*root)["notice_reason"];
    if (root->isMember("autonomy_list")) {
        MemberList(*root, flags);  // a member change notice
    } else if (reason.isObject() && reason.isMember("input")) {
        ExpectMember(reason["input"], "autonomy_lid", JsonKind::String, "notice_reason.input",
                     flags);
    } else {
        ExpectMember(*root, "autonomy_lid", JsonKind::String, "", flags);
    }
}

struct Receiver {
    const fdr::LocalEndpoint& endpoint;
    Check check;
};

const Receiver kReceivers[] = {
    // The update notice carries the same full member records as the addition.
    {fdr::endpoint::kLogAutonomyList, [](auto& body, auto& flags) { MemberListBody(body, flags); }},
    {fdr::endpoint::kLogUpdateList, [](auto& body, auto& flags) { MemberListBody(body, flags); }},
    {fdr::endpoint::kLogDeleteList,
     [](auto& body, auto& flags) {
         auto root = ExpectJsonObject(body, flags);
         const Json::Value* list =
             root ? ExpectMember(*root, "autonomy_list", JsonKind::Array, "", flags) : nullptr;
         for (Json::ArrayIndex i = 0; list != nullptr && i < list->size(); ++i) {
             ExpectKind((*list)[i], JsonKind::String, Indexed("autonomy_list", i), flags);
         }
     }},
    // Carries whatever text the host handed over.
    {fdr::endpoint::kReloadAutonomy,
     [](auto& body, auto& flags) {
         if (body.empty() || !ParseJson(body)) {
             AddNote(flags, body.empty() ? "empty body (expected)" : "not JSON (expected)");
         }
     }},
    {fdr::endpoint::kAutonomyChanged,
     [](auto& body, auto& flags) {
         if (const auto count = MemberListBody(body, flags); count > 1) {
             EntriesExpected(count, "at most one", flags);
         }
     }},
    {fdr::endpoint::kChannelStatusChanged,
     [](auto& body, auto& flags) { OneMemberChannels(body, "channel_status_list", flags); }},
    {fdr::endpoint::kChannelInfoChanged,
     [](auto& body, auto& flags) { OneMemberChannels(body, "channel_list", flags); }},
    {fdr::endpoint::kChannelInfoRefresh,
     [](auto& body, auto& flags) {
         if (auto root = ExpectJsonObject(body, flags)) {
             ExpectMember(*root, "autonomy_lid", JsonKind::String, "", flags);
         }
     }},
    {fdr::endpoint::kAutonomyRefreshReady,
     [](auto& body, auto& flags) {
         body.empty() ? AddNote(flags, "empty body (expected)")
                      : AddProblem(flags, "expected an empty body");
     }},
    {fdr::endpoint::kApplyAutonomies, ModeChange},
    {fdr::endpoint::kDravoNotify, DataNotice},
    // The host composes this body; the aggregator needs a JSON object.
    {fdr::endpoint::kAggregatorSystemInfo,
     [](auto& body, auto& flags) { ExpectJsonObject(body, flags); }},
};

}  // namespace

Routes ReceiverRoutes() {
    Routes routes;
    for (const Receiver& receiver : kReceivers) {
        routes.push_back(
            {receiver.endpoint, [check = receiver.check](const IncomingRequest& request) {
                 ServiceAnswer answer;
                 answer.body = "{}";
                 check(request.body, answer.flags);
                 return answer;
             }});
    }
    return routes;
}

}  // namespace fdrsim
