#include "RecordFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "Failures.h"
#include "OutcomePrinter.h"
#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"
#include "json/JsonNumber.h"

namespace fedutil {

namespace {

// ---- Input text and JSON ----

// jsoncpp reports "* Line 3, Column 14\n  Missing ',' or '}' in object declaration\n..."; only
// the first error is worth showing, as "FILE:3:14: Missing ...".
std::string FirstParseError(const std::string& errors, const std::string& source) {
    int line = 0;
    int column = 0;
    int consumed = 0;
    if (std::sscanf(errors.c_str(), "* Line %d, Column %d%n", &line, &column, &consumed) != 2) {
        return source + ": not valid JSON";
    }
    const size_t start = errors.find_first_not_of(" \n", static_cast<size_t>(consumed));
    const std::string message =
        start == std::string::npos ? "" : errors.substr(start, errors.find('\n', start) - start);
    return source + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
}

// ---- Reading typed members, with the place of a problem ----

std::string SourceName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

std::string Describe(const std::string& source, const std::string& place,
                     const std::string& problem) {
    return source + ": " + (place.empty() ? "" : place + ": ") + problem;
}

// The typed members of one JSON object. Every reader leaves its output alone when the key is
// absent (or null) and throws InputError when the key holds another type:
// "members.json: autonomy_list[1].group_list: expected an array".
class JsonFields {
  public:
    // `where` is the object's place in the document ("" for the root).
    JsonFields(const Json::Value& object, std::string source, std::string where)
        : object_(object), source_(std::move(source)), where_(std::move(where)) {}

    // The member of any type; null when absent.
    const Json::Value* Get(const char* key) const {
        const Json::Value* member = object_.find(key, key + std::strlen(key));
        return member == nullptr || member->isNull() ? nullptr : member;
    }
    bool Has(const char* key) const { return Get(key) != nullptr; }
    // Reads a string, bool, int32_t, uint64_t or double member into `out`; false when absent.
    template <typename T>
    bool Read(const char* key, T& out) const {
        const Json::Value* member = Get(key);
        if (member == nullptr) {
            return false;
        }
        if constexpr (std::is_same_v<T, std::string>) {
            Expect(member->isString(), key, "a string");
            out = member->asString();
        } else if constexpr (std::is_same_v<T, bool>) {
            Expect(member->isBool(), key, "true or false");
            out = member->asBool();
        } else if constexpr (std::is_same_v<T, int32_t>) {
            Expect(member->isInt(), key, "a whole number within the 32-bit range");
            out = member->asInt();
        } else if constexpr (std::is_same_v<T, uint64_t>) {
            Expect(member->isUInt64(), key, "a whole number from 0 to 18446744073709551615");
            out = member->asUInt64();
        } else {
            static_assert(std::is_same_v<T, double>);
            Expect(member->isNumeric() && !member->isBool(), key, "a number");
            out = member->asDouble();
        }
        return true;
    }
    // The member when it is an array / an object; null when absent.
    const Json::Value* Array(const char* key) const {
        return Typed(key, &Json::Value::isArray, "an array");
    }
    const Json::Value* Object(const char* key) const {
        return Typed(key, &Json::Value::isObject, "an object");
    }

    // "autonomy_list[1]" for the element `index` of the member `key`.
    std::string Place(const char* key) const { return where_.empty() ? key : where_ + "." + key; }
    std::string Place(const char* key, Json::ArrayIndex index) const {
        return Place(key) + "[" + std::to_string(index) + "]";
    }
    const std::string& Source() const { return source_; }

    [[noreturn]] void Fail(const std::string& place, const std::string& problem) const {
        throw InputError(Describe(source_, place, problem));
    }

  private:
    // Fails with "expected <expected>" at `key` unless `right`.
    void Expect(bool right, const char* key, const char* expected) const {
        if (!right) {
            Fail(Place(key), std::string("expected ") + expected);
        }
    }
    const Json::Value* Typed(const char* key, bool (Json::Value::*is)() const,
                             const char* expected) const {
        const Json::Value* member = Get(key);
        Expect(member == nullptr || (member->*is)(), key, expected);
        return member;
    }

    const Json::Value& object_;
    std::string source_;
    std::string where_;
};

// The value as an object to read members from, or InputError when it is not an object.
JsonFields ObjectAt(const Json::Value& value, const std::string& source, const std::string& where) {
    if (!value.isObject()) {
        throw InputError(Describe(source, where, "expected an object"));
    }
    return JsonFields(value, source, where);
}

Json::Value ReadJsonFile(const std::string& path) {
    return ParseJsonInput(ReadInputText(path), SourceName(path));
}

// Compact JSON text of `value`, numbers exact.
std::string CompactJsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;

using MemberRecord = DravoAgentData::AutonomyList::AutonomyListObj;

template <typename T>
struct MemberField {
    const char* key;
    T MemberRecord::*member;
};

// The text keys of a "/fdr/Autonomies" answer element (the library's reader fills these).
constexpr MemberField<std::string> kServiceTextFields[] = {
    {"autonomy_lid", &MemberRecord::autonomy_lid},
    {"autonomy_id", &MemberRecord::autonomy_id},
    {"autonomy_lname", &MemberRecord::autonomy_lname},
    {"address", &MemberRecord::address},
    {"username", &MemberRecord::username},
    {"password", &MemberRecord::password},
    {"server_mode", &MemberRecord::server_mode},
    {"mac", &MemberRecord::mac},
    {"add_time", &MemberRecord::add_time},
};

// What a host knows of a member besides the service's answer (firmware for the failover
// information, capabilities for the notifications, ...).
constexpr MemberField<std::string> kHostTextFields[] = {
    {"firmware", &MemberRecord::firmware},
    {"firmware_date", &MemberRecord::firmware_date},
    {"sid", &MemberRecord::sid},
    {"token", &MemberRecord::token},
    {"machine_internal_model", &MemberRecord::machine_internal_model},
    {"machine_model", &MemberRecord::machine_model},
    {"machine_name", &MemberRecord::machine_name},
    {"machine_version", &MemberRecord::machine_version},
    {"auth_data", &MemberRecord::auth_data},
    {"cms_server_required_lower", &MemberRecord::cms_server_required_lower},
    {"cms_server_required_upper", &MemberRecord::cms_server_required_upper},
    {"pc_client_required_lower", &MemberRecord::pc_client_required_lower},
    {"pc_client_required_upper", &MemberRecord::pc_client_required_upper},
    {"sys_health", &MemberRecord::sys_health},
};

constexpr MemberField<bool> kHostFlagFields[] = {
    {"is_admin", &MemberRecord::is_admin},
    {"is_support_enable_app", &MemberRecord::is_support_enable_app},
    {"is_support_update_fw", &MemberRecord::is_support_update_fw},
    {"is_support_add_server", &MemberRecord::is_support_add_server},
    {"is_zep", &MemberRecord::is_zep},
    {"centralized_by_another", &MemberRecord::centralized_by_another},
};

constexpr MemberField<int32_t> kHostNumberFields[] = {
    {"ch_num", &MemberRecord::ch_num},
    {"retrieve", &MemberRecord::retrieve},
};

// Calls `visit(key, member pointer)` for every member a host knows besides the service's keys.
// Also read and written: "group_list" ([{"id": group_id}]) and "thirdparty_support_list" (JSON,
// kept in the record as text).
template <typename Visit>
void EachHostMember(Visit visit) {
    for (const auto& field : kHostTextFields) {
        visit(field.key, field.member);
    }
    for (const auto& field : kHostFlagFields) {
        visit(field.key, field.member);
    }
    for (const auto& field : kHostNumberFields) {
        visit(field.key, field.member);
    }
    visit("health_status", &MemberRecord::health_status);  // unsigned 64-bit
}

using fdr::jsontree::AddArray;
using fdr::jsontree::AddInt32;
using fdr::jsontree::AppendObject;

JsonTree MemberJson(const MemberRecord& record) {
    static const MemberRecord defaults;
    JsonTree element = JsonTree(cJSON_CreateObject());
    for (const auto& field : kServiceTextFields) {
        AddText(element.get(), field.key, record.*field.member);
    }
    AddInt32(AppendObject(AddArray(element.get(), "group_list")), "id", record.group_id);

    EachHostMember([&](const char* key, auto member) {
        using Value = std::decay_t<decltype(record.*member)>;
        if (record.*member == defaults.*member) {
            return;
        }
        if constexpr (std::is_same_v<Value, std::string>) {
            AddText(element.get(), key, record.*member);
        } else if constexpr (std::is_same_v<Value, bool>) {
            fdr::jsontree::AddBool(element.get(), key, record.*member);
        } else if constexpr (std::is_same_v<Value, int32_t>) {
            AddInt32(element.get(), key, record.*member);
        } else {
            fdr::jsontree::AddUInt64(element.get(), key, record.*member);
        }
    });
    if (!record.thirdparty_support_list.empty()) {
        JsonTree list = JsonTree(fdr::json::Parse(record.thirdparty_support_list));
        if (list) {
            Add(element.get(), "thirdparty_support_list", std::move(list));
        } else {
            AddText(element.get(), "thirdparty_support_list", record.thirdparty_support_list);
        }
    }
    return element;
}

JsonTree VirtualCamerasJson(const ChannelObj& channel) {
    JsonTree cameras = JsonTree(cJSON_CreateArray());
    for (const auto& camera : channel.virtual_camera_list) {
        if (!camera) {
            continue;
        }
        cJSON* item = AppendObject(cameras.get());
        AddInt32(item, "height", camera->height);
        AddInt32(item, "horizontal", camera->horizontal);
        AddInt32(item, "index", camera->index);
        AddText(item, "name", camera->name);
        AddInt32(item, "vertical", camera->vertical);
        AddInt32(item, "width", camera->width);
    }
    return cameras;
}

// A saved answer of a failed request is no list: say so rather than read an empty one.
void RejectErrorAnswer(const JsonFields& top) {
    const Json::Value* code = top.Get("err_code");
    if (code == nullptr || !code->isIntegral() || code->asLargestInt() == 0) {
        return;
    }
    std::string reason;
    if (const Json::Value* text = top.Get("err_str"); text != nullptr && text->isString()) {
        reason = ", \"" + text->asString() + "\"";
    }
    top.Fail("", "holds an error answer (err_code " + std::to_string(code->asLargestInt()) +
                     reason + "), not a list");
}

// ---- Member servers ----

void CheckServiceKeys(const JsonFields& element) {
    std::string ignored;
    for (const auto& field : kServiceTextFields) {
        element.Read(field.key, ignored);
    }
    const Json::Value* groups = element.Array("group_list");
    if (groups != nullptr && !groups->empty()) {
        int32_t id = 0;
        ObjectAt((*groups)[0], element.Source(), element.Place("group_list", 0)).Read("id", id);
    }
}

void ReadHostMembers(const JsonFields& element, MemberRecord& record) {
    EachHostMember([&](const char* key, auto member) { element.Read(key, record.*member); });
    // The record keeps this list as JSON text; a file may give it as JSON or as that text.
    if (const Json::Value* list = element.Get("thirdparty_support_list")) {
        if (list->isString()) {
            record.thirdparty_support_list = list->asString();
        } else if (list->isArray() || list->isObject()) {
            record.thirdparty_support_list = CompactJsonText(*list);
        } else {
            element.Fail(element.Place("thirdparty_support_list"),
                         "expected an array, an object or JSON text");
        }
    }
}

// ---- Channels ----

struct ChannelEntry {
    const Json::Value* value;
    std::string place;
    std::string owner;
};

std::vector<ChannelEntry> ChannelEntries(const JsonFields& top) {
    std::vector<ChannelEntry> entries;
    if (const Json::Value* list = top.Array("channel_list")) {
        std::string owner;
        top.Read("autonomy_lid", owner);
        for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
            entries.push_back({&(*list)[i], top.Place("channel_list", i), owner});
        }
        return entries;
    }
    const Json::Value* groups = top.Array("autonomy_list");
    if (groups == nullptr) {
        top.Fail(
            "",
            R"(expected {"channel_list":[...]} or {"autonomy_list":[{"autonomy_lid":..., "channel_list":[...]}]})");
    }
    for (Json::ArrayIndex g = 0; g < groups->size(); ++g) {
        const JsonFields group =
            ObjectAt((*groups)[g], top.Source(), top.Place("autonomy_list", g));
        std::string owner;
        if (!group.Read("autonomy_lid", owner)) {
            group.Fail(group.Place("autonomy_lid"), "missing: every group names its member");
        }
        const Json::Value* list = group.Array("channel_list");
        if (list == nullptr) {
            group.Fail(group.Place("channel_list"), "missing");
        }
        for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
            entries.push_back({&(*list)[i], group.Place("channel_list", i), owner});
        }
    }
    return entries;
}

// The channel's JSON text as the service carries it under "data".
std::string ChannelText(const JsonFields& entry) {
    const Json::Value* data = entry.Get("data");
    if (data == nullptr || (data->isString() && data->asString().empty())) {
        Json::Value channel(Json::objectValue);
        std::string text;
        if (entry.Read("guid", text)) {
            channel["channel_guid"] = text;
        }
        if (entry.Read("name", text)) {
            channel["channel_name"] = text;
        }
        return CompactJsonText(channel);
    }
    if (data->isObject()) {
        return CompactJsonText(*data);
    }
    if (!data->isString()) {
        entry.Fail(entry.Place("data"), "expected the channel's JSON text or a JSON object");
    }
    const Json::Value channel =
        ParseJsonInput(data->asString(), entry.Source() + ": " + entry.Place("data"));
    if (!channel.isObject()) {
        entry.Fail(entry.Place("data"), "expected a JSON object in the text");
    }
    return data->asString();
}

// ---- Channel status ----

std::shared_ptr<ChannelStatusObj> ReadChannelStatus(const JsonFields& fields) {
    auto status = std::make_shared<ChannelStatusObj>();
    fields.Read("channel_guid", status->channel_guid);
    fields.Read("channel_index", status->channel_index);
    if (const Json::Value* streams = fields.Array("living_status")) {
        for (Json::ArrayIndex i = 0; i < streams->size(); ++i) {
            const JsonFields stream =
                ObjectAt((*streams)[i], fields.Source(), fields.Place("living_status", i));
            auto living = std::make_shared<ChannelStatusObj::LivingStatusObj>();
            stream.Read("connection_status", living->connection_status);
            stream.Read("current_bitrate", living->current_bitrate);
            stream.Read("current_fps", living->current_fps);
            stream.Read("idx", living->idx);
            status->living_status.push_back(std::move(living));
        }
    }
    if (const Json::Value* statistic = fields.Object("recorded_statistic")) {
        const JsonFields recorded(*statistic, fields.Source(), fields.Place("recorded_statistic"));
        auto& out = status->recorded_statistic;
        recorded.Read("alarm_rec_days", out.alarm_rec_days);
        recorded.Read("alarm_rec_size", out.alarm_rec_size);
        recorded.Read("normal_rec_days", out.normal_rec_days);
        recorded.Read("normal_rec_size", out.normal_rec_size);
    }
    return status;
}

// ---- Lens catalogue ----

using ServerInfo = DravoAgentData::DravoServerInfo;

// Calls `read` with the fields of each object in the array `key`, when present.
template <typename Read>
void EachObject(const JsonFields& fields, const char* key, Read read) {
    if (const Json::Value* list = fields.Array(key)) {
        for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
            read(ObjectAt((*list)[i], fields.Source(), fields.Place(key, i)));
        }
    }
}

ServerInfo::FisheyeSizeObj ReadFisheyeSize(const JsonFields& fields) {
    ServerInfo::FisheyeSizeObj size;
    fields.Read("w", size.w);
    fields.Read("h", size.h);
    fields.Read("v", size.v);
    fields.Read("x", size.x);
    fields.Read("y", size.y);
    fields.Read("latitude", size.latitude);
    fields.Read("ratio", size.ratio);
    return size;
}

ServerInfo::ProjectionSizeObj ReadProjectionSize(const JsonFields& fields) {
    ServerInfo::ProjectionSizeObj size;
    fields.Read("w", size.w);
    fields.Read("h", size.h);
    const std::pair<const char*, double ServerInfo::ProjectionSizeObj::*> numbers[] = {
        {"fov", &ServerInfo::ProjectionSizeObj::fov},
        {"left_center_x", &ServerInfo::ProjectionSizeObj::left_center_x},
        {"left_center_y", &ServerInfo::ProjectionSizeObj::left_center_y},
        {"left_orientation", &ServerInfo::ProjectionSizeObj::left_orientation},
        {"left_radius_x", &ServerInfo::ProjectionSizeObj::left_radius_x},
        {"left_radius_y", &ServerInfo::ProjectionSizeObj::left_radius_y},
        {"right_center_x", &ServerInfo::ProjectionSizeObj::right_center_x},
        {"right_center_y", &ServerInfo::ProjectionSizeObj::right_center_y},
        {"right_orientation", &ServerInfo::ProjectionSizeObj::right_orientation},
        {"right_radius_x", &ServerInfo::ProjectionSizeObj::right_radius_x},
        {"right_radius_y", &ServerInfo::ProjectionSizeObj::right_radius_y},
    };
    for (const auto& [key, member] : numbers) {
        fields.Read(key, size.*member);
    }
    return size;
}

// The brands of one support file's table: brand, models, sizes; a projection model also names
// its projection.
template <typename Brand, typename ReadSize>
void ReadBrands(const JsonFields& top, const char* key, std::vector<std::shared_ptr<Brand>>& out,
                ReadSize read_size) {
    EachObject(top, key, [&](const JsonFields& fields) {
        auto brand = std::make_shared<Brand>();
        fields.Read("brand_id", brand->brand_id);
        fields.Read("brand_name", brand->brand_name);
        EachObject(fields, "model_list", [&](const JsonFields& model_fields) {
            typename decltype(brand->model_list)::value_type model;
            if constexpr (std::is_same_v<Brand, ServerInfo::ProjectionBrandObj>) {
                model_fields.Read("projection", model.projection);
            }
            model_fields.Read("model_id", model.model_id);
            model_fields.Read("model_name", model.model_name);
            EachObject(model_fields, "size_list",
                       [&](const JsonFields& size) { model.size_list.push_back(read_size(size)); });
            brand->model_list.push_back(std::move(model));
        });
        out.push_back(std::move(brand));
    });
}

}  // namespace

std::string ReadInputText(const std::string& path) {
    std::ostringstream text;
    if (path == "-") {
        text << std::cin.rdbuf();
        if (std::cin.bad()) {
            throw InputError("cannot read standard input");
        }
        return text.str();
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw InputError("cannot read " + path + ": " + std::strerror(errno));
    }
    text << in.rdbuf();
    if (in.bad()) {
        throw InputError("cannot read " + path + ": " + std::strerror(errno));
    }
    return text.str();
}

Json::Value ParseJsonInput(const std::string& text, const std::string& source) {
    // Strict: a trailing comma or a duplicate key in a hand-edited file is a mistake to point
    // out, not to guess about.
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        throw InputError(source + ": empty, expected JSON");
    }
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        throw InputError(FirstParseError(errors, source));
    }
    return root;
}

DravoAgentData::AutonomyList ReadMemberFile(const std::string& path) {
    const Json::Value root = ReadJsonFile(path);
    const std::string source = SourceName(path);
    const JsonFields top = ObjectAt(root, source, "");
    RejectErrorAnswer(top);
    const Json::Value* list = top.Array("autonomy_list");
    if (list == nullptr) {
        top.Fail("", R"(expected {"autonomy_list":[...]})");
    }
    std::vector<JsonFields> elements;
    Json::Value answer(Json::objectValue);
    answer["autonomy_list"] = Json::Value(Json::arrayValue);
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        elements.push_back(ObjectAt((*list)[i], source, top.Place("autonomy_list", i)));
        CheckServiceKeys(elements.back());
        answer["autonomy_list"].append((*list)[i]);
    }

    // The service's keys are read by the library's own reader, as an answer would be.
    DravoAgentData::AutonomyList members;
    const unsigned int code =
        CFdrUtilParser::ParseAutonomyList(CompactJsonText(answer).c_str(), members.autonomy_list);
    if (code != 0 || members.autonomy_list.size() != elements.size()) {
        top.Fail("", "the library's member list reader refused it (" +
                         HexResult(static_cast<int>(code)) + ")");
    }
    for (size_t i = 0; i < elements.size(); ++i) {
        ReadHostMembers(elements[i], *members.autonomy_list[i]);
    }
    return members;
}

ChannelObjList ReadChannelFile(const std::string& path) {
    const Json::Value root = ReadJsonFile(path);
    const std::string source = SourceName(path);
    const JsonFields top = ObjectAt(root, source, "");
    RejectErrorAnswer(top);
    std::vector<ChannelEntry> entries = ChannelEntries(top);
    Json::Value answer(Json::objectValue);
    answer["channel_list"] = Json::Value(Json::arrayValue);
    for (auto& entry : entries) {
        const JsonFields fields = ObjectAt(*entry.value, source, entry.place);
        fields.Read("owner_lid", entry.owner);
        Json::Value item(Json::objectValue);
        item["data"] = ChannelText(fields);
        answer["channel_list"].append(item);
    }

    // The channel texts are read by the library's own reader, as an answer would be.
    ChannelObjList channels;
    const unsigned int code =
        CFdrUtilParser::ParseChannelList(CompactJsonText(answer).c_str(), channels);
    if (code != 0 || channels.size() != entries.size()) {
        top.Fail("", "the library's channel list reader refused it (" +
                         HexResult(static_cast<int>(code)) + ")");
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        channels[i]->owner_lid = entries[i].owner;
    }
    return channels;
}

ChannelStatusObjList ReadChannelStatusFile(const std::string& path) {
    const Json::Value root = ReadJsonFile(path);
    const std::string source = SourceName(path);
    const JsonFields top = ObjectAt(root, source, "");
    if (!top.Has("channel_status_list")) {
        top.Fail("", R"(expected {"channel_status_list":[...]})");
    }
    ChannelStatusObjList statuses;
    EachObject(top, "channel_status_list", [&statuses](const JsonFields& fields) {
        statuses.push_back(ReadChannelStatus(fields));
    });
    return statuses;
}

FederateBoxType::AutonomyInfo ReadAutonomyInfoFile(const std::string& path) {
    const Json::Value root = ReadJsonFile(path);
    const std::string source = SourceName(path);
    const JsonFields fields = ObjectAt(root, source, "");
    FederateBoxType::AutonomyInfo info;
    if (!fields.Read("lid", info.lid)) {
        fields.Fail("lid", "missing: the member server the mode applies to");
    }
    fields.Read("lname", info.lname);
    fields.Read("username", info.username);
    fields.Read("password", info.password);
    fields.Read("address", info.address);
    fields.Read("group", info.group);
    return info;
}

DravoAgentData::DravoServerInfo ReadLensCatalogue(const Json::Value& root,
                                                  const std::string& source) {
    const JsonFields top = ObjectAt(root, source, "");
    if (!top.Has("FishEyeParameterTable") && !top.Has("ProjectionTable")) {
        top.Fail("", R"(expected "FishEyeParameterTable", "ProjectionTable" or both)");
    }
    ServerInfo info;
    ReadBrands(top, "FishEyeParameterTable", info.fisheye_brand_list, ReadFisheyeSize);
    ReadBrands(top, "ProjectionTable", info.projection_brand_list, ReadProjectionSize);
    return info;
}

DravoAgentData::DravoServerInfo ReadLensCatalogueFile(const std::string& path) {
    return ReadLensCatalogue(ReadJsonFile(path), SourceName(path));
}

JsonTree MemberListJson(const DravoAgentData::AutonomyList& members) {
    JsonTree root = JsonTree(cJSON_CreateObject());
    cJSON* list = AddArray(root.get(), "autonomy_list");
    for (const auto& record : members.autonomy_list) {
        if (record) {
            Append(list, MemberJson(*record));
        }
    }
    return root;
}

namespace {

std::string ChannelDataText(const std::shared_ptr<ChannelObj>& channel) {
    std::string text;
    construct_cahnnel_info_string(channel, text);
    JsonTree tree = JsonTree(fdr::json::Parse(text));
    if (!tree || !channel) {
        return text;
    }
    cJSON* cameras = VirtualCamerasJson(*channel).release();
    if (!cJSON_ReplaceItemInObjectCaseSensitive(tree.get(), "virtual_camera_list", cameras)) {
        cJSON_Delete(cameras);
    }
    return CompactJson(tree.get());
}

}  // namespace

JsonTree ChannelListJson(const std::string& lid, const ChannelObjList& channels) {
    JsonTree root = JsonTree(cJSON_CreateObject());
    AddText(root.get(), "autonomy_lid", lid);
    cJSON* list = AddArray(root.get(), "channel_list");
    for (const auto& channel : channels) {
        if (!channel) {
            continue;
        }
        cJSON* entry = AppendObject(list);
        AddText(entry, "guid", channel->channel_guid);
        AddText(entry, "name", channel->channel_name);
        AddText(entry, "data", ChannelDataText(channel));
    }
    return root;
}

}  // namespace fedutil
