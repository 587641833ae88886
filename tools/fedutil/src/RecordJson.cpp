#include "RecordJson.h"

#include "MemberFields.h"
#include "json/ChannelJsonFormatter.h"
#include "json/JsonNumber.h"

namespace fedutil {

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;

void AddInt32(cJSON* object, const char* key, int32_t value) {
    Add(object, key, fdr::json::MakeInt32(value));
}

JsonTree MemberJson(const MemberRecord& record) {
    static const MemberRecord defaults;
    JsonTree element = NewObject();
    for (const auto& field : kServiceTextFields) {
        AddText(element.get(), field.key, record.*field.member);
    }
    JsonTree groups = NewArray();
    JsonTree group = NewObject();
    AddInt32(group.get(), "id", record.group_id);
    Append(groups.get(), std::move(group));
    Add(element.get(), "group_list", std::move(groups));

    for (const auto& field : kHostTextFields) {
        if (record.*field.member != defaults.*field.member) {
            AddText(element.get(), field.key, record.*field.member);
        }
    }
    for (const auto& field : kHostFlagFields) {
        if (record.*field.member != defaults.*field.member) {
            Add(element.get(), field.key, cJSON_CreateBool(record.*field.member));
        }
    }
    for (const auto& field : kHostNumberFields) {
        if (record.*field.member != defaults.*field.member) {
            AddInt32(element.get(), field.key, record.*field.member);
        }
    }
    if (record.health_status != defaults.health_status) {
        Add(element.get(), "health_status", fdr::json::MakeUInt64(record.health_status));
    }
    if (!record.thirdparty_support_list.empty()) {
        JsonTree list = ParseJsonTree(record.thirdparty_support_list);
        if (list) {
            Add(element.get(), "thirdparty_support_list", std::move(list));
        } else {
            AddText(element.get(), "thirdparty_support_list", record.thirdparty_support_list);
        }
    }
    return element;
}

JsonTree VirtualCamerasJson(const ChannelObj& channel) {
    JsonTree cameras = NewArray();
    for (const auto& camera : channel.virtual_camera_list) {
        if (!camera) {
            continue;
        }
        JsonTree item = NewObject();
        AddInt32(item.get(), "height", camera->height);
        AddInt32(item.get(), "horizontal", camera->horizontal);
        AddInt32(item.get(), "index", camera->index);
        AddText(item.get(), "name", camera->name);
        AddInt32(item.get(), "vertical", camera->vertical);
        AddInt32(item.get(), "width", camera->width);
        Append(cameras.get(), std::move(item));
    }
    return cameras;
}

}  // namespace

JsonTree MemberListJson(const DravoAgentData::AutonomyList& members) {
    JsonTree root = NewObject();
    JsonTree list = NewArray();
    for (const auto& record : members.autonomy_list) {
        if (record) {
            Append(list.get(), MemberJson(*record));
        }
    }
    Add(root.get(), "autonomy_list", std::move(list));
    return root;
}

std::string ChannelDataText(const std::shared_ptr<ChannelObj>& channel) {
    std::string text;
    construct_cahnnel_info_string(channel, text);
    JsonTree tree = ParseJsonTree(text);
    if (!tree || !channel) {
        return text;
    }
    cJSON* cameras = VirtualCamerasJson(*channel).release();
    if (!cJSON_ReplaceItemInObjectCaseSensitive(tree.get(), "virtual_camera_list", cameras)) {
        cJSON_Delete(cameras);
    }
    return CompactJson(tree.get());
}

JsonTree ChannelListJson(const std::string& lid, const ChannelObjList& channels) {
    JsonTree root = NewObject();
    AddText(root.get(), "autonomy_lid", lid);
    JsonTree list = NewArray();
    for (const auto& channel : channels) {
        if (!channel) {
            continue;
        }
        JsonTree entry = NewObject();
        AddText(entry.get(), "guid", channel->channel_guid);
        AddText(entry.get(), "name", channel->channel_name);
        AddText(entry.get(), "data", ChannelDataText(channel));
        Append(list.get(), std::move(entry));
    }
    Add(root.get(), "channel_list", std::move(list));
    return root;
}

}  // namespace fedutil
