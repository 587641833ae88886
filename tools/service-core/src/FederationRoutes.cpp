#include "FederationRoutes.h"

#include "JsonText.h"
#include "SeedLoader.h"
#include "ShapeChecks.h"

namespace fdrsim {

namespace {

// Checks one channel's "data" text against what a stored channel must be for a later read.
void CheckChannelData(const std::string& guid, const std::string& data, Flags& flags,
                      bool& bare_values_noted) {
    const std::string channel = "channel " + guid;
    if (data.empty()) {
        AddProblem(flags, channel + ": blank data");
        return;
    }
    std::string reason;
    auto document = ParseJson(data, &reason);
    if (!document) {
        AddProblem(flags, channel + ": data is not JSON: " + reason);
        return;
    }
    if (!document->isObject()) {
        AddProblem(flags, channel + ": data is a JSON " + JsonKindName(*document) +
                              ", expected an object");
        return;
    }
    const Json::Value& channel_document = *document;
    const Json::Value& named = channel_document["channel_guid"];
    if (named.isString() && named.asString() != guid) {
        AddProblem(flags, channel + ": data names channel_guid " + named.asString());
    }
    // The library writes each virtual camera as six bare values followed by {}.
    const Json::Value& virtual_cameras = channel_document["virtual_camera_list"];
    if (!bare_values_noted && virtual_cameras.isArray()) {
        for (const auto& element : virtual_cameras) {
            if (!element.isObject()) {
                AddNote(flags, "virtual_camera_list holds bare values (expected)");
                bare_values_noted = true;
                break;
            }
        }
    }
}

// Turns the first shape problem into the error that rejects the write.
bool Reject(Flags& shape, std::string* error) {
    if (error != nullptr) {
        *error = shape.empty() ? "malformed body" : shape.front().text;
    }
    return false;
}

// Reads {"autonomy_list":[{"autonomy_lid":..,"mode":..,"channel_list":[{"guid":..,"name":..,
// "data":"<channel JSON text>"},..]},..]}. Returns false with `error` when the body cannot be
// applied (not JSON, or not that shape). Whatever is odd about a channel's "data" text (blank,
// not JSON, another channel_guid) is only flagged: the service stores the text it was given.
bool ReadChannelChanges(const std::string& body, std::vector<ChannelChange>& changes, Flags& flags,
                        std::string* error) {
    Flags shape;
    auto root = ExpectJsonObject(body, shape);
    if (!root) {
        return Reject(shape, error);
    }
    const Json::Value* list = ExpectMember(*root, "autonomy_list", JsonKind::Array, "", shape);
    if (list == nullptr) {
        return Reject(shape, error);
    }
    bool bare_values_noted = false;
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        const std::string where = Indexed("autonomy_list", i);
        const Json::Value& entry = (*list)[i];
        if (!ExpectKind(entry, JsonKind::Object, where, shape)) {
            return Reject(shape, error);
        }
        const Json::Value* lid =
            ExpectMember(entry, "autonomy_lid", JsonKind::String, where, shape);
        const Json::Value* mode = ExpectMember(entry, "mode", JsonKind::String, where, shape);
        const Json::Value* channels =
            ExpectMember(entry, "channel_list", JsonKind::Array, where, shape);
        if (lid == nullptr || mode == nullptr || channels == nullptr) {
            return Reject(shape, error);
        }
        ChannelChange change{lid->asString(), mode->asString(), {}};
        for (Json::ArrayIndex j = 0; j < channels->size(); ++j) {
            const std::string at = Indexed(where + ".channel_list", j);
            const Json::Value& item = (*channels)[j];
            const Json::Value* guid =
                item.isObject() ? ExpectMember(item, "guid", JsonKind::String, at, shape) : nullptr;
            if (guid == nullptr) {
                ExpectKind(item, JsonKind::Object, at, shape);
                return Reject(shape, error);
            }
            StoredChannel channel{guid->asString(), {}, {}};
            if (const auto* name = ExpectMember(item, "name", JsonKind::String, at, flags)) {
                channel.name = name->asString();
            }
            if (const auto* data = ExpectMember(item, "data", JsonKind::String, at, flags)) {
                channel.data = data->asString();
                // A removal carries "data":"" by design; nothing is stored from it.
                if (change.mode != "remove") {
                    CheckChannelData(channel.guid, channel.data, flags, bare_values_noted);
                }
            }
            change.channels.push_back(std::move(channel));
        }
        changes.push_back(std::move(change));
    }
    return true;
}

// The answer body: `content` plus the error triple.
ServiceAnswer Answer(Json::Value content, int code, const std::string& message, Flags flags) {
    content["err_code"] = code;
    content["err_no"] = std::to_string(code);
    content["err_str"] = message;
    ServiceAnswer answer;
    answer.body = CompactJson(content);
    answer.flags = std::move(flags);
    return answer;
}

ServiceAnswer Failure(Json::Value content, int code, const std::string& message, Flags flags) {
    AddProblem(flags, message);
    return Answer(std::move(content), code, message, std::move(flags));
}

Json::Value Object() {
    return Json::Value(Json::objectValue);
}

// The privilege report of one user: every channel of every member the user may reach, each
// with the user's privileges.
Json::Value UserReport(const FederationStore& store, const std::string& name, bool is_domain,
                       Flags& flags) {
    Json::Value report(Json::objectValue);
    report["identify"] = name;
    report["is_domain"] = is_domain;
    report["autonomy_list"] = Json::Value(Json::arrayValue);
    auto user = store.User(name);
    if (!user) {
        AddNote(flags, "unknown user " + name + ": no privileges");
        return report;
    }
    if (user->is_domain != is_domain) {
        AddProblem(flags, "user " + name + (user->is_domain ? " is" : " is not") +
                              " a domain account, the request says otherwise");
    }
    for (const auto& member : store.Members()) {
        bool reachable = user->members.empty();
        for (const auto& lid : user->members) {
            reachable = reachable || lid == member.autonomy_lid;
        }
        if (!reachable) {
            continue;
        }
        Json::Value entry(Json::objectValue);
        entry["autonomy_lid"] = member.autonomy_lid;
        entry["channel_list"] = Json::Value(Json::arrayValue);
        for (const auto& channel :
             store.Channels(member.autonomy_lid).value_or(std::vector<StoredChannel>{})) {
            Json::Value item(Json::objectValue);
            item["guid"] = channel.guid;
            item["privilege_list"] = Json::Value(Json::arrayValue);
            for (const auto& privilege : user->privileges) {
                item["privilege_list"].append(privilege);
            }
            entry["channel_list"].append(item);
        }
        report["autonomy_list"].append(entry);
    }
    return report;
}

}  // namespace

Route FederationRoutes::Bind(Handler handler) {
    return [this, handler](const IncomingRequest& request) { return (this->*handler)(request); };
}

void FederationRoutes::AddWriteRoutes(RouteTable& routes) {
    routes.Add(fdr::endpoint::kServiceInfo, Bind(&FederationRoutes::ServiceInfo));
    routes.Add(fdr::endpoint::kAutonomies, Bind(&FederationRoutes::Autonomies));
    routes.Add(fdr::endpoint::kCmsChannelWrite, Bind(&FederationRoutes::WriteChannels));
    routes.Add(fdr::endpoint::kPrivilegeReport, Bind(&FederationRoutes::PrivilegeReport));
    routes.Add(fdr::endpoint::kFailoverInfo, Bind(&FederationRoutes::FailoverInfo));
}

void FederationRoutes::AddReadRoutes(RouteTable& routes) {
    routes.Add(fdr::endpoint::kCmsChannelRead, Bind(&FederationRoutes::ReadChannels));
    routes.Add(fdr::endpoint::kConfig, Bind(&FederationRoutes::Config));
}

ServiceAnswer FederationRoutes::ServiceInfo(const IncomingRequest& request) {
    const std::string* type = request.Param("type");
    if (type == nullptr || *type != "1") {
        return Failure(Object(), kBadRequest, "expected the query type=1", {});
    }
    Json::Value content = Object();
    content["serviceInfo"]["GUID"] = store_.Guid();
    return Answer(content, kFederationOk, "ok", {});
}

ServiceAnswer FederationRoutes::Autonomies(const IncomingRequest&) {
    Json::Value content = Object();
    content["autonomy_list"] = Json::Value(Json::arrayValue);
    for (const auto& member : store_.Members()) {
        Json::Value entry = MemberTexts(member);
        Json::Value group(Json::objectValue);
        group["id"] = member.group_id;
        entry["group_list"].append(group);
        content["autonomy_list"].append(entry);
    }
    return Answer(content, kFederationOk, "ok", {});
}

ServiceAnswer FederationRoutes::ReadChannels(const IncomingRequest& request) {
    Json::Value content = Object();
    content["channel_list"] = Json::Value(Json::arrayValue);
    const std::string* lid = request.Param("autonomy_lid");
    if (lid == nullptr) {
        return Failure(content, kBadRequest, "expected the query autonomy_lid", {});
    }
    auto channels = store_.Channels(*lid);
    if (!channels) {
        return Failure(content, kUnknownAutonomy, "unknown autonomy_lid " + *lid, {});
    }
    for (const auto& channel : *channels) {
        Json::Value entry(Json::objectValue);
        entry["guid"] = channel.guid;
        entry["name"] = channel.name;
        entry["data"] = channel.data;
        content["channel_list"].append(entry);
    }
    return Answer(content, kFederationOk, "ok", {});
}

ServiceAnswer FederationRoutes::WriteChannels(const IncomingRequest& request) {
    // The library's error reader insists on "autonomy_list" in this answer.
    Json::Value content = Object();
    content["autonomy_list"] = Json::Value(Json::arrayValue);
    Flags flags;
    std::vector<ChannelChange> changes;
    std::string error;
    if (!ReadChannelChanges(request.body, changes, flags, &error)) {
        return Failure(content, kBadRequest, error, flags);
    }
    if (!store_.Apply(changes, flags, &error)) {
        return Failure(content, kUnknownMode, error, flags);
    }
    return Answer(content, kFederationOk, "ok", flags);
}

ServiceAnswer FederationRoutes::Config(const IncomingRequest& request) {
    const std::string* section = request.Param("section");
    const std::string* key = request.Param("key");
    if (section == nullptr || key == nullptr) {
        return Failure(Object(), kBadRequest, "expected the query section and key", {});
    }
    auto value = store_.Config(*section, *key);
    if (!value) {
        return Failure(Object(), kUnknownConfig, "no configuration " + *section + "/" + *key, {});
    }
    Json::Value content = Object();
    content["config"] = *value;
    return Answer(content, kFederationOk, "ok", {});
}

ServiceAnswer FederationRoutes::PrivilegeReport(const IncomingRequest& request) {
    Flags flags;
    const std::string* op = request.Param("operator");
    if (op == nullptr || *op != "admin") {
        return Failure(Object(), kBadRequest, "expected the query operator=admin", flags);
    }
    auto body = ExpectJsonObject(request.body, flags);
    if (!body) {
        return Failure(Object(), kBadRequest, "the body is not a JSON object", flags);
    }
    const Json::Value* report_type =
        ExpectMember(*body, "report_type", JsonKind::Number, "", flags);
    const Json::Value* access_type =
        ExpectMember(*body, "access_type", JsonKind::Number, "", flags);
    const Json::Value* is_domain = ExpectMember(*body, "is_domain", JsonKind::Boolean, "", flags);
    if (report_type == nullptr || access_type == nullptr || is_domain == nullptr ||
        !body->isMember("identifies")) {
        return Failure(Object(), kBadRequest,
                       "expected report_type, access_type, is_domain and "
                       "identifies",
                       flags);
    }
    Json::Value content = Object();
    content["report_type"] = *report_type;
    content["access_type"] = *access_type;
    content["privilege_list"] = Json::Value(Json::arrayValue);
    const Json::Value& identifies = (*body)["identifies"];
    if (identifies.isObject() && identifies.empty()) {
        // The library sends an empty object, not an empty array, for an empty user name.
        AddNote(flags, "identifies is an empty object: no user (expected)");
    } else if (identifies.isArray()) {
        for (Json::ArrayIndex i = 0; i < identifies.size(); ++i) {
            if (ExpectKind(identifies[i], JsonKind::String, Indexed("identifies", i), flags)) {
                content["privilege_list"].append(
                    UserReport(store_, identifies[i].asString(), is_domain->asBool(), flags));
            }
        }
    } else {
        return Failure(Object(), kBadRequest, "identifies must be an array of user names", flags);
    }
    return Answer(content, kFederationOk, "ok", flags);
}

ServiceAnswer FederationRoutes::FailoverInfo(const IncomingRequest& request) {
    Flags flags;
    const std::string* action = request.Param("action");
    if (action == nullptr || *action != "failover_info") {
        return Failure(Object(), kBadRequest, "expected the query action=failover_info", flags);
    }
    // The library builds this text by hand, without escaping, and an empty last list entry
    // leaves ",]}" at its end.
    auto document = ParseJson(request.body);
    if (!document) {
        AddNote(flags, "not JSON (expected)");
    } else if (const Json::Value* list =
                   ExpectMember(*document, "autonomy_list", JsonKind::Array, "", flags)) {
        for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
            const std::string where = Indexed("autonomy_list", i);
            if (!ExpectKind((*list)[i], JsonKind::Object, where, flags)) {
                continue;
            }
            for (const char* key :
                 {"autonomy_lid", "version", "version_date", "mac", "machine_model"}) {
                ExpectMember((*list)[i], key, JsonKind::String, where, flags);
            }
        }
    }
    return Answer(Object(), kFederationOk, "ok", flags);
}

}  // namespace fdrsim
