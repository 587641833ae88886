#include "ServiceRoutes.h"

#include <algorithm>

#include "FederationSeed.h"
#include "JsonText.h"

namespace fdrsim {

namespace {

// The federation service's "err_code" (answered with HTTP 200, as the library reads the error
// triple of a successful exchange only).
constexpr int kBadRequest = 1;       // missing parameter or a body that is not the expected shape
constexpr int kUnknownMode = 2;      // a channel write with a mode other than add/replace/...
constexpr int kUnknownAutonomy = 3;  // channels asked for a lid the federation does not know
constexpr int kUnknownConfig = 4;    // a configuration section or key that does not exist

// Checks one channel's "data" text against what a stored channel must be for a later read.
void CheckChannelData(const StoredChannel& stored, Flags& flags, bool& bare_values_noted) {
    const std::string channel = "channel " + stored.guid;
    std::string reason;
    auto data = ParseJson(stored.data, &reason);
    if (stored.data.empty()) {
        AddProblem(flags, channel + ": blank data");
    } else if (!data) {
        AddProblem(flags, channel + ": data is not JSON: " + reason);
    } else if (!data->isObject()) {
        AddProblem(flags,
                   channel + ": data is a JSON " + JsonKindName(*data) + ", expected an object");
    } else {
        const Json::Value& named = (*data)["channel_guid"];
        if (named.isString() && named.asString() != stored.guid) {
            AddProblem(flags, channel + ": data names channel_guid " + named.asString());
        }
        // The library writes each virtual camera as six bare values followed by {}.
        const Json::Value& cameras = (*data)["virtual_camera_list"];
        for (Json::ArrayIndex i = 0; cameras.isArray() && i < cameras.size(); ++i) {
            if (!bare_values_noted && !cameras[i].isObject()) {
                AddNote(flags, "virtual_camera_list holds bare values (expected)");
                bare_values_noted = true;
            }
        }
    }
}

// Reads {"autonomy_list":[{"autonomy_lid":..,"mode":..,"channel_list":[{"guid":..,"name":..,
// "data":"<channel JSON text>"},..]},..]}. Returns why the body cannot be applied (not JSON, or
// not that shape), or "". Whatever is odd about a channel's "data" text (blank, not JSON,
// another channel_guid) is only flagged: the service stores the text it was given.
std::string ReadChannelChanges(const std::string& body, std::vector<ChannelChange>& changes,
                               Flags& flags) {
    Flags shape;  // the first problem of the shape rejects the write
    auto root = ExpectJsonObject(body, shape);
    const Json::Value* list =
        root ? ExpectMember(*root, "autonomy_list", JsonKind::Array, "", shape) : nullptr;
    bool bare_values_noted = false;
    for (Json::ArrayIndex i = 0; list != nullptr && shape.empty() && i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        const Json::Value& entry = (*list)[i];
        const Json::Value *lid = nullptr, *mode = nullptr, *channels = nullptr;
        if (!ExpectKind(entry, JsonKind::Object, where, shape) ||
            !(lid = ExpectMember(entry, "autonomy_lid", JsonKind::String, where, shape)) ||
            !(mode = ExpectMember(entry, "mode", JsonKind::String, where, shape)) ||
            !(channels = ExpectMember(entry, "channel_list", JsonKind::Array, where, shape))) {
            break;
        }
        changes.push_back({lid->asString(), mode->asString(), {}});
        for (Json::ArrayIndex j = 0; shape.empty() && j < channels->size(); ++j) {
            const std::string at = Indexed(where + ".channel_list", j);
            const Json::Value& item = (*channels)[j];
            const Json::Value* guid = nullptr;
            if (!ExpectKind(item, JsonKind::Object, at, shape) ||
                !(guid = ExpectMember(item, "guid", JsonKind::String, at, shape))) {
                break;
            }
            StoredChannel channel{guid->asString(), {}, {}};
            if (const auto* name = ExpectMember(item, "name", JsonKind::String, at, flags)) {
                channel.name = name->asString();
            }
            const auto* data = ExpectMember(item, "data", JsonKind::String, at, flags);
            channel.data = data ? data->asString() : "";
            // A removal carries "data":"" by design; nothing is stored from it.
            if (data != nullptr && changes.back().mode != "remove") {
                CheckChannelData(channel, flags, bare_values_noted);
            }
            changes.back().channels.push_back(std::move(channel));
        }
    }
    return shape.empty() ? "" : shape.front().text;
}

// The answer body: `content` plus the error triple.
ServiceAnswer Answer(Json::Value content, int code, const std::string& message, Flags flags) {
    content["err_code"] = code;
    content["err_no"] = std::to_string(code);
    content["err_str"] = message;
    return {200, CompactJson(content), "application/json", std::move(flags)};
}

ServiceAnswer Ok(Json::Value content, Flags flags = {}) {
    return Answer(std::move(content), 0, "ok", std::move(flags));
}

ServiceAnswer Failure(int code, const std::string& message, Flags flags = {},
                      Json::Value content = Json::Value(Json::objectValue)) {
    AddProblem(flags, message);
    return Answer(std::move(content), code, message, std::move(flags));
}

Json::Value EmptyList(const char* key) {
    Json::Value content(Json::objectValue);
    content[key] = Json::Value(Json::arrayValue);
    return content;
}

bool Asks(const IncomingRequest& request, const char* key, const char* value) {
    const std::string* given = request.Param(key);
    return given != nullptr && *given == value;
}

// The privilege report of one user: every channel of every member the user may reach, each
// with the user's privileges.
Json::Value UserReport(const FederationStore& store, const std::string& name, bool is_domain,
                       Flags& flags) {
    Json::Value report = EmptyList("autonomy_list");
    report["identify"] = name;
    report["is_domain"] = is_domain;
    auto user = store.User(name);
    if (!user) {
        AddNote(flags, "unknown user " + name + ": no privileges");
        return report;
    }
    if (user->is_domain != is_domain) {
        AddProblem(flags, "user " + name + (user->is_domain ? " is" : " is not") +
                              " a domain account, the request says otherwise");
    }
    const Json::Value privileges =
        JsonArray(user->privileges, [](const std::string& text) { return Json::Value(text); });
    for (const auto& member : store.Members()) {
        const auto& lids = user->members;
        if (!lids.empty() &&
            std::find(lids.begin(), lids.end(), member.autonomy_lid) == lids.end()) {
            continue;
        }
        const auto channels =
            store.Channels(member.autonomy_lid).value_or(std::vector<StoredChannel>{});
        report["autonomy_list"].append(JsonObject(
            {{"autonomy_lid", member.autonomy_lid},
             {"channel_list", JsonArray(channels, [&privileges](const StoredChannel& channel) {
                  return JsonObject({{"guid", channel.guid}, {"privilege_list", privileges}});
              })}}));
    }
    return report;
}

ServiceAnswer PrivilegeReport(const FederationStore& store, const IncomingRequest& request) {
    Flags flags;
    if (!Asks(request, "operator", "admin")) {
        return Failure(kBadRequest, "expected the query operator=admin");
    }
    auto body = ExpectJsonObject(request.body, flags);
    if (!body) {
        return Failure(kBadRequest, "the body is not a JSON object", flags);
    }
    const Json::Value* report_type =
        ExpectMember(*body, "report_type", JsonKind::Number, "", flags);
    const Json::Value* access_type =
        ExpectMember(*body, "access_type", JsonKind::Number, "", flags);
    const Json::Value* is_domain = ExpectMember(*body, "is_domain", JsonKind::Boolean, "", flags);
    if (!report_type || !access_type || !is_domain || !body->isMember("identifies")) {
        return Failure(kBadRequest, "expected report_type, access_type, is_domain and identifies",
                       flags);
    }
    Json::Value content = EmptyList("privilege_list");
    content["report_type"] = *report_type;
    content["access_type"] = *access_type;
    const Json::Value& identifies = (*body)["identifies"];
    if (identifies.isObject() && identifies.empty()) {
        // The library sends an empty object, not an empty array, for an empty user name.
        AddNote(flags, "identifies is an empty object: no user (expected)");
    } else if (!identifies.isArray()) {
        return Failure(kBadRequest, "identifies must be an array of user names", flags);
    }
    for (Json::ArrayIndex i = 0; identifies.isArray() && i < identifies.size(); ++i) {
        if (ExpectKind(identifies[i], JsonKind::String, Indexed("identifies", i), flags)) {
            content["privilege_list"].append(
                UserReport(store, identifies[i].asString(), is_domain->asBool(), flags));
        }
    }
    return Ok(content, flags);
}

// The library builds this text by hand, without escaping, and an empty last list entry leaves
// ",]}" at its end.
ServiceAnswer FailoverInfo(const IncomingRequest& request) {
    Flags flags;
    if (!Asks(request, "action", "failover_info")) {
        return Failure(kBadRequest, "expected the query action=failover_info");
    }
    auto document = ParseJson(request.body);
    const Json::Value* list =
        document ? ExpectMember(*document, "autonomy_list", JsonKind::Array, "", flags) : nullptr;
    if (!document) {
        AddNote(flags, "not JSON (expected)");
    }
    for (Json::ArrayIndex i = 0; list != nullptr && i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        if (!ExpectKind((*list)[i], JsonKind::Object, where, flags)) {
            continue;
        }
        for (const char* key :
             {"autonomy_lid", "version", "version_date", "mac", "machine_model"}) {
            ExpectMember((*list)[i], key, JsonKind::String, where, flags);
        }
    }
    return Ok(Json::Value(Json::objectValue), flags);
}

}  // namespace

Routes FederationRoutes(FederationStore& store) {
    using Request = const IncomingRequest&;
    return {
        {fdr::endpoint::kServiceInfo,
         [&store](Request request) {
             if (!Asks(request, "type", "1")) {
                 return Failure(kBadRequest, "expected the query type=1");
             }
             return Ok(JsonObject({{"serviceInfo", JsonObject({{"GUID", store.Guid()}})}}));
         }},
        {fdr::endpoint::kAutonomies,
         [&store](Request) {
             return Ok(
                 JsonObject({{"autonomy_list", JsonArray(store.Members(), [](const Member& member) {
                                  Json::Value entry = MemberTexts(member);
                                  entry["group_list"].append(JsonObject({{"id", member.group_id}}));
                                  return entry;
                              })}}));
         }},
        {fdr::endpoint::kCmsChannelWrite,
         [&store](Request request) {
             // The library's error reader insists on "autonomy_list" in this answer.
             Flags flags;
             std::vector<ChannelChange> changes;
             std::string error = ReadChannelChanges(request.body, changes, flags);
             if (!error.empty()) {
                 return Failure(kBadRequest, error, flags, EmptyList("autonomy_list"));
             }
             if (!store.Apply(changes, flags, &error)) {
                 return Failure(kUnknownMode, error, flags, EmptyList("autonomy_list"));
             }
             return Ok(EmptyList("autonomy_list"), flags);
         }},
        {fdr::endpoint::kPrivilegeReport,
         [&store](Request request) { return PrivilegeReport(store, request); }},
        {fdr::endpoint::kFailoverInfo, FailoverInfo},
        {fdr::endpoint::kCmsChannelRead,
         [&store](Request request) {
             const std::string* lid = request.Param("autonomy_lid");
             auto channels = lid ? store.Channels(*lid) : std::nullopt;
             if (!channels) {
                 return lid ? Failure(kUnknownAutonomy, "unknown autonomy_lid " + *lid, {},
                                      EmptyList("channel_list"))
                            : Failure(kBadRequest, "expected the query autonomy_lid", {},
                                      EmptyList("channel_list"));
             }
             return Ok(JsonObject(
                 {{"channel_list", JsonArray(*channels, [](const StoredChannel& channel) {
                       return JsonObject({{"guid", channel.guid},
                                          {"name", channel.name},
                                          {"data", channel.data}});
                   })}}));
         }},
        {fdr::endpoint::kConfig,
         [&store](Request request) {
             const std::string* section = request.Param("section");
             const std::string* key = request.Param("key");
             if (section == nullptr || key == nullptr) {
                 return Failure(kBadRequest, "expected the query section and key");
             }
             auto value = store.Config(*section, *key);
             if (!value) {
                 return Failure(kUnknownConfig, "no configuration " + *section + "/" + *key);
             }
             return Ok(JsonObject({{"config", *value}}));
         }},
    };
}

}  // namespace fdrsim
