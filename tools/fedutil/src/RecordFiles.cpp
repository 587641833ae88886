#include "RecordFiles.h"

#include <cstdio>
#include <memory>
#include <vector>

#include "Errors.h"
#include "JsonInput.h"
#include "MemberFields.h"
#include "json/CFdrUtilParser.h"

namespace fedutil {

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;

std::string SourceName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

std::string HexCode(unsigned int code) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", code);
    return text;
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
        element.Text(field.key, ignored);
    }
    const Json::Value* groups = element.Array("group_list");
    if (groups != nullptr && !groups->empty()) {
        int32_t id = 0;
        ObjectAt((*groups)[0], element.Source(), element.Place("group_list", 0)).Int32("id", id);
    }
}

void ReadHostMembers(const JsonFields& element, MemberRecord& record) {
    for (const auto& field : kHostTextFields) {
        element.Text(field.key, record.*field.member);
    }
    for (const auto& field : kHostFlagFields) {
        element.Bool(field.key, record.*field.member);
    }
    for (const auto& field : kHostNumberFields) {
        element.Int32(field.key, record.*field.member);
    }
    element.UInt64("health_status", record.health_status);
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
        top.Text("autonomy_lid", owner);
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
        if (!group.Text("autonomy_lid", owner)) {
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
        if (entry.Text("guid", text)) {
            channel["channel_guid"] = text;
        }
        if (entry.Text("name", text)) {
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
    fields.Text("channel_guid", status->channel_guid);
    fields.Int32("channel_index", status->channel_index);
    if (const Json::Value* streams = fields.Array("living_status")) {
        for (Json::ArrayIndex i = 0; i < streams->size(); ++i) {
            const JsonFields stream =
                ObjectAt((*streams)[i], fields.Source(), fields.Place("living_status", i));
            auto living = std::make_shared<ChannelStatusObj::LivingStatusObj>();
            stream.Int32("connection_status", living->connection_status);
            stream.Double("current_bitrate", living->current_bitrate);
            stream.Double("current_fps", living->current_fps);
            stream.Int32("idx", living->idx);
            status->living_status.push_back(std::move(living));
        }
    }
    if (const Json::Value* statistic = fields.Object("recorded_statistic")) {
        const JsonFields recorded(*statistic, fields.Source(), fields.Place("recorded_statistic"));
        auto& out = status->recorded_statistic;
        recorded.Int32("alarm_rec_days", out.alarm_rec_days);
        recorded.Int32("alarm_rec_size", out.alarm_rec_size);
        recorded.Int32("normal_rec_days", out.normal_rec_days);
        recorded.Int32("normal_rec_size", out.normal_rec_size);
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
    fields.Int32("w", size.w);
    fields.Int32("h", size.h);
    fields.Int32("v", size.v);
    fields.Double("x", size.x);
    fields.Double("y", size.y);
    fields.Double("latitude", size.latitude);
    fields.Double("ratio", size.ratio);
    return size;
}

ServerInfo::ProjectionSizeObj ReadProjectionSize(const JsonFields& fields) {
    ServerInfo::ProjectionSizeObj size;
    fields.Int32("w", size.w);
    fields.Int32("h", size.h);
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
        fields.Double(key, size.*member);
    }
    return size;
}

}  // namespace

DravoAgentData::AutonomyList ReadMembers(const Json::Value& root, const std::string& source) {
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
        top.Fail("", "the library's member list reader refused it (" + HexCode(code) + ")");
    }
    for (size_t i = 0; i < elements.size(); ++i) {
        ReadHostMembers(elements[i], *members.autonomy_list[i]);
    }
    return members;
}

DravoAgentData::AutonomyList ReadMemberFile(const std::string& path) {
    return ReadMembers(ReadJsonFile(path), SourceName(path));
}

ChannelObjList ReadChannels(const Json::Value& root, const std::string& source) {
    const JsonFields top = ObjectAt(root, source, "");
    RejectErrorAnswer(top);
    std::vector<ChannelEntry> entries = ChannelEntries(top);
    Json::Value answer(Json::objectValue);
    answer["channel_list"] = Json::Value(Json::arrayValue);
    for (auto& entry : entries) {
        const JsonFields fields = ObjectAt(*entry.value, source, entry.place);
        fields.Text("owner_lid", entry.owner);
        Json::Value item(Json::objectValue);
        item["data"] = ChannelText(fields);
        answer["channel_list"].append(item);
    }

    // The channel texts are read by the library's own reader, as an answer would be.
    ChannelObjList channels;
    const unsigned int code =
        CFdrUtilParser::ParseChannelList(CompactJsonText(answer).c_str(), channels);
    if (code != 0 || channels.size() != entries.size()) {
        top.Fail("", "the library's channel list reader refused it (" + HexCode(code) + ")");
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        channels[i]->owner_lid = entries[i].owner;
    }
    return channels;
}

ChannelObjList ReadChannelFile(const std::string& path) {
    return ReadChannels(ReadJsonFile(path), SourceName(path));
}

ChannelStatusObjList ReadChannelStatuses(const Json::Value& root, const std::string& source) {
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

ChannelStatusObjList ReadChannelStatusFile(const std::string& path) {
    return ReadChannelStatuses(ReadJsonFile(path), SourceName(path));
}

FederateBoxType::AutonomyInfo ReadAutonomyInfo(const Json::Value& root, const std::string& source) {
    const JsonFields fields = ObjectAt(root, source, "");
    FederateBoxType::AutonomyInfo info;
    if (!fields.Text("lid", info.lid)) {
        fields.Fail("lid", "missing: the member server the mode applies to");
    }
    fields.Text("lname", info.lname);
    fields.Text("username", info.username);
    fields.Text("password", info.password);
    fields.Text("address", info.address);
    fields.Int32("group", info.group);
    return info;
}

FederateBoxType::AutonomyInfo ReadAutonomyInfoFile(const std::string& path) {
    return ReadAutonomyInfo(ReadJsonFile(path), SourceName(path));
}

DravoAgentData::DravoServerInfo ReadLensCatalogue(const Json::Value& root,
                                                  const std::string& source) {
    const JsonFields top = ObjectAt(root, source, "");
    if (!top.Has("FishEyeParameterTable") && !top.Has("ProjectionTable")) {
        top.Fail("", R"(expected "FishEyeParameterTable", "ProjectionTable" or both)");
    }
    ServerInfo info;
    EachObject(top, "FishEyeParameterTable", [&info](const JsonFields& fields) {
        auto brand = std::make_shared<ServerInfo::FisheyeBrandObj>();
        fields.Text("brand_id", brand->brand_id);
        fields.Text("brand_name", brand->brand_name);
        EachObject(fields, "model_list", [&brand](const JsonFields& model_fields) {
            ServerInfo::FisheyeModelObj model;
            model_fields.Text("model_id", model.model_id);
            model_fields.Text("model_name", model.model_name);
            EachObject(model_fields, "size_list", [&model](const JsonFields& size) {
                model.size_list.push_back(ReadFisheyeSize(size));
            });
            brand->model_list.push_back(std::move(model));
        });
        info.fisheye_brand_list.push_back(std::move(brand));
    });
    EachObject(top, "ProjectionTable", [&info](const JsonFields& fields) {
        auto brand = std::make_shared<ServerInfo::ProjectionBrandObj>();
        fields.Text("brand_id", brand->brand_id);
        fields.Text("brand_name", brand->brand_name);
        EachObject(fields, "model_list", [&brand](const JsonFields& model_fields) {
            ServerInfo::ProjectionModelObj model;
            model_fields.Text("projection", model.projection);
            model_fields.Text("model_id", model.model_id);
            model_fields.Text("model_name", model.model_name);
            EachObject(model_fields, "size_list", [&model](const JsonFields& size) {
                model.size_list.push_back(ReadProjectionSize(size));
            });
            brand->model_list.push_back(std::move(model));
        });
        info.projection_brand_list.push_back(std::move(brand));
    });
    return info;
}

DravoAgentData::DravoServerInfo ReadLensCatalogueFile(const std::string& path) {
    return ReadLensCatalogue(ReadJsonFile(path), SourceName(path));
}

}  // namespace fedutil
