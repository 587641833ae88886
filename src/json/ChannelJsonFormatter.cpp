// Writing side of the channel JSON. The channel text is written group by group in the same
// order, and with the same group functions, as ChannelJsonParser.cpp reads it back.
#include "json/ChannelJsonFormatter.h"

#include <cjson/cJSON.h>

#include <climits>
#include <cstring>
#include <list>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "json/JsonNumber.h"
#include "json/JsonTree.h"
#include "log/CenterLog.h"

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;
using fdr::jsontree::AddArray;
using fdr::jsontree::AddBool;
using fdr::jsontree::AddDouble;
using fdr::jsontree::AddInt32;
using fdr::jsontree::AddObject;
using fdr::jsontree::AddText;
using fdr::jsontree::AppendObject;
using fdr::jsontree::Attach;
using fdr::jsontree::Tree;

struct PrintedDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};

// Prints `tree` unformatted over `out`; false, with `out` unchanged, when printing fails.
bool PrintInto(const cJSON* tree, std::string& out) {
    std::unique_ptr<char, PrintedDeleter> text(cJSON_PrintUnformatted(tree));
    if (!text) {
        return false;
    }
    out = text.get();
    return true;
}

// ---- One channel's text, group by group ----

void WriteAudio(cJSON* root, const ChannelObj::AudioInfo& audio) {
    cJSON* group = AddObject(root, "audio");
    AddInt32(group, "audio_out_format", audio.audio_out_format);
    AddBool(group, "audio_out_support", audio.audio_out_support);
    AddBool(group, "audio_recording_support", audio.audio_recording_support);
}

void WriteAutoCruising(cJSON* root, const ChannelObj::AutoCruisingInfo& cruising) {
    cJSON* group = AddObject(root, "auto_cruising");
    cJSON* presets = AddArray(group, "auto_cruising_list");
    for (const auto& preset : cruising.auto_cruising_list) {
        if (!preset) {
            continue;
        }
        cJSON* item = AppendObject(presets);
        AddInt32(item, "interval", preset->interval);
        AddInt32(item, "preset_index", preset->preset_index);
        AddBool(item, "snapshot_support", preset->snapshot_support);
    }
    AddBool(group, "enabled", cruising.enabled);
    AddBool(group, "stop_when_ptzing", cruising.stop_when_ptzing);
}

void WriteIdentity(cJSON* root, const ChannelObj& channel) {
    AddText(root, "channel_guid", channel.channel_guid);
    AddInt32(root, "channel_index", channel.channel_index);
    AddText(root, "channel_name", channel.channel_name);
}

void WriteEventInstallation(cJSON* root, const ChannelObj::EventInstallationInfo& event) {
    cJSON* group = AddObject(root, "event_installation");
    cJSON* flags = AddArray(AddObject(group, "input"), "input_enabled_list");
    for (const bool enabled : event.input.input_enabled_list) {
        cJSON* flag = cJSON_CreateBool(enabled);
        if (flags == nullptr || !cJSON_AddItemToArray(flags, flag)) {
            cJSON_Delete(flag);
        }
    }
    cJSON* motion = AddObject(group, "motion");
    AddBool(motion, "motion_detection_settings_support",
            event.motion.motion_detection_settings_support);
    AddBool(motion, "motion_detection_support", event.motion.motion_detection_support);
    AddBool(motion, "motion_enabled", event.motion.motion_enabled);
}

void WriteFisheye(cJSON* root, const ChannelObj::FisheyeInfo& fisheye) {
    cJSON* group = AddObject(root, "fisheye");
    AddInt32(group, "display_mode", fisheye.display_mode);
    AddInt32(group, "fisheye_type", fisheye.fisheye_type);
    AddBool(group, "immer_vision_enabled", fisheye.immer_vision_enabled);
    AddInt32(group, "mount_type", fisheye.mount_type);
    AddInt32(group, "panorama_pan", fisheye.panorama_pan);
    AddDouble(group, "latitude", fisheye.latitude);
    AddDouble(group, "radius_ratio", fisheye.radius_ratio);
    AddDouble(group, "x", fisheye.x);
    AddDouble(group, "y", fisheye.y);
}

void WriteLoginAuth(cJSON* root, const ChannelObj::LoginAuthInfo& login) {
    cJSON* group = AddObject(root, "login_auth");
    AddText(group, "username", login.username);
    AddText(group, "passowrd", login.passowrd);
    AddText(group, "admin_passowrd", login.admin_passowrd);
    AddText(group, "guest_passowrd", login.guest_passowrd);
}

void WriteManufacturer(cJSON* root, const ChannelObj::ManufacturerInfo& maker) {
    cJSON* group = AddObject(root, "manufacturer");
    AddText(group, "camera_brand", maker.camera_brand);
    AddText(group, "camera_model", maker.camera_model);
    AddText(group, "umsid", maker.umsid);
    AddInt32(group, "umsid_undefined", maker.umsid_undefined);
}

void WriteNetworkSetting(cJSON* root, const ChannelObj::NetworkSettingInfo& network) {
    cJSON* group = AddObject(root, "network_setting");
    AddText(group, "lan_addr", network.lan_addr);
    AddInt32(group, "lan_port", network.lan_port);
    AddInt32(group, "rtsp_port_1", network.rtsp_port_1);
    AddInt32(group, "rtsp_port_2", network.rtsp_port_2);
    AddText(group, "wan_addr", network.wan_addr);
    AddInt32(group, "wan_port", network.wan_port);
}

void WriteProjection(cJSON* root, const ChannelObj::ProjectionInfo& projection) {
    AddInt32(AddObject(root, "projection"), "projection_type", projection.projection_type);
}

void WriteRecordingStatus(cJSON* root, const ChannelObj::RecordingStatusInfo& recording) {
    cJSON* group = AddObject(root, "recording_status");
    AddBool(group, "alarm_rec_enabled", recording.alarm_rec_enabled);
    AddBool(group, "manual_rec_enabled", recording.manual_rec_enabled);
    AddBool(group, "schedule_rec_enabled", recording.schedule_rec_enabled);
}

void WriteStreamInfo(cJSON* root, const ChannelObj::StreamInfo& streams) {
    cJSON* group = AddObject(root, "stream_info");
    const ChannelObj::StreamInfo::MainStream& main_stream = streams.main_stream;
    cJSON* main = AddObject(group, "main_stream");
    AddBool(main, "support_vs_dewarp", main_stream.support_vs_dewarp);
    AddInt32(main, "video_codec_id", main_stream.video_codec_id);
    AddInt32(main, "video_fps", main_stream.video_fps);
    AddInt32(main, "video_resolution", main_stream.video_resolution);
    AddText(main, "video_resolution_str", main_stream.video_resolution_str);
    cJSON* list = AddArray(group, "multi_stream_list");
    for (const auto& stream : streams.multi_stream_list) {
        if (!stream) {
            continue;
        }
        cJSON* item = AppendObject(list);
        AddInt32(item, "stream_id", stream->stream_id);
        AddInt32(item, "video_fps", stream->video_fps);
        AddText(item, "video_fcc", stream->video_fcc);
        AddText(item, "audio_fcc", stream->audio_fcc);
        AddInt32(item, "video_resolution", stream->video_resolution);
    }
}

// Receivers expect each virtual camera as six bare values followed by an empty object: the
// values are attached to the array itself (their keys are kept but arrays print no keys).
void WriteVirtualCameras(cJSON* root, const ChannelObj& channel) {
    cJSON* list = AddArray(root, "virtual_camera_list");
    for (const auto& camera : channel.virtual_camera_list) {
        if (!camera) {
            continue;
        }
        AddInt32(list, "height", camera->height);
        AddInt32(list, "horizontal", camera->horizontal);
        AddInt32(list, "index", camera->index);
        AddInt32(list, "width", camera->width);
        AddInt32(list, "vertical", camera->vertical);
        AddText(list, "name", camera->name);
        AppendObject(list);
    }
}

// ---- List bodies ----

// The channel texts of a list body. They make up nearly all of its bytes, so the tree refers to
// them instead of copying them; a list never moves its elements, so they stay put until the body
// is printed, and an empty one (a remove body's) allocates nothing.
using ChannelTexts = std::list<std::string>;

// One entry of a "channel_list": {"guid", "name", "data"}, whose "data" refers to `data`.
// False when a creation failed.
bool AddChannelEntry(cJSON* list, const ChannelObj& channel, const std::string& data) {
    cJSON* entry = AppendObject(list);
    return entry != nullptr && AddText(entry, "guid", channel.channel_guid) &&
           AddText(entry, "name", channel.channel_name) &&
           Attach(entry, "data", cJSON_CreateStringReference(data.c_str()));
}

// The server object {"autonomy_lid", "mode", "channel_list":[]} appended to `servers`; returns
// its channel list, or null when a creation failed.
cJSON* AddServer(cJSON* servers, const std::string& lid, const char* mode) {
    cJSON* server = AppendObject(servers);
    if (server == nullptr || !AddText(server, "autonomy_lid", lid) ||
        !AddText(server, "mode", mode)) {
        return nullptr;
    }
    return AddArray(server, "channel_list");
}

// The printed size of a list body, from its channel texts: each text with its quotes and
// backslashes escaped, plus room for an entry's keys, guid and name. The bytes printed do not
// depend on it: a body that does not fit is printed the usual way.
size_t ListBodySizeHint(const ChannelTexts& texts) {
    constexpr size_t kEntryRoom = 160;
    size_t size = 256;
    for (const std::string& text : texts) {
        size += text.size() + kEntryRoom;
        for (const char c : text) {
            size += c == '"' || c == '\\' ? 1 : 0;
        }
    }
    return size;
}

// Prints a list body over `out` (unchanged when printing fails). The channel texts are nearly
// all of its bytes, and a federation's body runs to hundreds of megabytes: it is printed straight
// into the string handed on, sized from the texts, and the tree and the texts are let go before
// anything else is allocated, so that the body is never held more than twice.
void PrintListBody(Tree root, ChannelTexts texts, std::string& out) {
    const size_t hint = ListBodySizeHint(texts);
    if (hint < static_cast<size_t>(INT_MAX)) {
        std::string printed(hint, '\0');
        if (cJSON_PrintPreallocated(root.get(), printed.data(), static_cast<int>(hint), 0)) {
            printed.resize(std::strlen(printed.c_str()));
            root.reset();
            ChannelTexts().swap(texts);
            out.swap(printed);
            return;
        }
    }
    PrintInto(root.get(), out);
}

enum class ChannelData { Full, Empty };

// The four one-server list bodies differ only in their mode and in whether "data" is filled.
unsigned int FormatServerChannelList(const std::string& lid, const ChannelObjList& channels,
                                     const char* mode, ChannelData data, std::string& out) {
    ChannelTexts texts;  // outlives the tree that refers to it
    Tree root(cJSON_CreateObject());
    if (!root) {
        return 0;
    }
    cJSON* list = AddServer(AddArray(root.get(), "autonomy_list"), lid, mode);
    if (list == nullptr) {
        return 0;
    }
    for (const auto& channel : channels) {
        if (!channel) {
            continue;
        }
        static const std::string kNoData;
        const std::string* text = &kNoData;
        if (data == ChannelData::Full) {
            text = &texts.emplace_back();
            construct_cahnnel_info_string(channel, texts.back());
        }
        if (!AddChannelEntry(list, *channel, *text)) {
            break;  // print what was built
        }
    }
    PrintListBody(std::move(root), std::move(texts), out);
    return 0;
}

// ---- Arbitrator bodies ----

// The status body carries this number where the other bodies carry the record's retrieve.
constexpr int32_t kStatusRetrieve = 2;

// False when a creation failed outside the "living_status" list, which ends the channel loop.
bool AddChannelStatus(cJSON* list, const ChannelStatusObj& status) {
    cJSON* entry = AppendObject(list);
    if (entry == nullptr || !AddInt32(entry, "retrieve", kStatusRetrieve) ||
        !AddInt32(entry, "channel_index", status.channel_index) ||
        !AddText(entry, "channel_guid", status.channel_guid)) {
        return false;
    }
    cJSON* living = AddArray(entry, "living_status");
    if (living == nullptr) {
        return false;
    }
    for (const auto& stream : status.living_status) {
        if (!stream) {
            continue;
        }
        cJSON* item = AppendObject(living);
        if (item == nullptr || !AddInt32(item, "connection_status", stream->connection_status) ||
            !AddDouble(item, "current_bitrate", stream->current_bitrate) ||
            !AddDouble(item, "current_fps", stream->current_fps) ||
            !AddInt32(item, "idx", stream->idx)) {
            break;  // only this list ends; the statistics still follow
        }
    }
    const ChannelStatusObj::RecordedStatistic& recorded = status.recorded_statistic;
    cJSON* statistic = AddObject(entry, "recorded_statistic");
    return statistic != nullptr && AddInt32(statistic, "alarm_rec_days", recorded.alarm_rec_days) &&
           AddInt32(statistic, "alarm_rec_size", recorded.alarm_rec_size) &&
           AddInt32(statistic, "normal_rec_days", recorded.normal_rec_days) &&
           AddInt32(statistic, "normal_rec_size", recorded.normal_rec_size);
}

// umsid holds a brand part and a model part of equal length; an odd length gives the model part
// the extra byte.
bool AddChangedChannel(cJSON* list, const ChannelObj& channel) {
    cJSON* entry = AppendObject(list);
    if (entry == nullptr || !AddText(entry, "channel_guid", channel.channel_guid) ||
        !AddInt32(entry, "retrieve", channel.retrieve) ||
        !AddInt32(entry, "channel_index", channel.channel_index) ||
        !AddText(entry, "channel_name", channel.channel_name)) {
        return false;
    }
    const ChannelObj::ManufacturerInfo& maker = channel.manufacturer;
    const size_t half = maker.umsid.size() / 2;
    cJSON* manufacturer = AddObject(entry, "manufacturer");
    if (manufacturer == nullptr ||
        !AddText(manufacturer, "camera_brand", maker.umsid.substr(0, half)) ||
        !AddText(manufacturer, "camera_model", maker.umsid.substr(half)) ||
        !AddText(manufacturer, "camera_brand_text", maker.camera_brand) ||
        !AddText(manufacturer, "camera_model_text", maker.camera_model)) {
        return false;
    }
    cJSON* network = AddObject(entry, "network_setting");
    return network != nullptr && AddText(network, "lan_addr", channel.network_setting.lan_addr);
}

}  // namespace

void construct_cahnnel_info_string(const std::shared_ptr<ChannelObj>& channel, std::string& out) {
    if (!channel) {
        return;
    }
    Tree root(cJSON_CreateObject());
    if (!root) {
        return;
    }
    cJSON* const tree = root.get();
    const ChannelObj& c = *channel;
    WriteAudio(tree, c.audio);
    WriteAutoCruising(tree, c.auto_cruising);
    WriteIdentity(tree, c);
    WriteEventInstallation(tree, c.event_installation);
    WriteFisheye(tree, c.fisheye);
    WriteLoginAuth(tree, c.login_auth);
    WriteManufacturer(tree, c.manufacturer);
    WriteNetworkSetting(tree, c.network_setting);
    WriteProjection(tree, c.projection);
    WriteRecordingStatus(tree, c.recording_status);
    AddInt32(tree, "retrieve", c.retrieve);
    WriteStreamInfo(tree, c.stream_info);
    AddBool(tree, "video_setting_support", c.video_setting_support);
    WriteVirtualCameras(tree, c);
    if (!PrintInto(tree, out)) {
        // Callers expect this error here (a text built from the null print).
        throw std::logic_error("basic_string: construction from null is not valid");
    }
}

unsigned int CChannelInfoJsonFormatter::FormatterAddChannelInfo(const std::string& lid,
                                                                const ChannelObjList& channels,
                                                                std::string& out) {
    return FormatServerChannelList(lid, channels, "add", ChannelData::Full, out);
}

unsigned int CChannelInfoJsonFormatter::FormatterRefreshChannelInfo(const std::string& lid,
                                                                    const ChannelObjList& channels,
                                                                    std::string& out) {
    return FormatServerChannelList(lid, channels, "replace", ChannelData::Full, out);
}

unsigned int CChannelInfoJsonFormatter::FormatterUpdateChannelInfo(const std::string& lid,
                                                                   const ChannelObjList& channels,
                                                                   std::string& out) {
    return FormatServerChannelList(lid, channels, "update", ChannelData::Full, out);
}

unsigned int CChannelInfoJsonFormatter::FormatterRemoveChannelInfo(const std::string& lid,
                                                                   const ChannelObjList& channels,
                                                                   std::string& out) {
    return FormatServerChannelList(lid, channels, "remove", ChannelData::Empty, out);
}

unsigned int CChannelInfoJsonFormatter::FormatterAddChannelInfo(
    const DravoAgentData::AutonomyList& servers, const ChannelObjList& channels, std::string& out) {
    // Our own references keep the server records alive while the body is built.
    const auto server_list = servers.autonomy_list;
    ChannelTexts texts;  // outlives the tree that refers to it
    Tree root(cJSON_CreateObject());
    if (!root) {
        return 0;
    }
    cJSON* server_array = AddArray(root.get(), "autonomy_list");
    if (server_array == nullptr) {
        return 0;
    }
    // Each server's channels in list order, found without walking the whole list per server.
    // Lids match byte for byte.
    std::unordered_map<std::string_view, std::vector<const std::shared_ptr<ChannelObj>*>> owned;
    for (const auto& channel : channels) {
        if (channel) {
            owned[channel->owner_lid].push_back(&channel);
        }
    }
    for (const auto& server : server_list) {
        if (!server) {
            continue;
        }
        cJSON* list = AddServer(server_array, server->autonomy_lid, "replace");
        bool complete = list != nullptr;
        const auto found = owned.find(server->autonomy_lid);
        if (complete && found != owned.end()) {
            const auto& own = found->second;
            for (auto it = own.begin(); complete && it != own.end(); ++it) {
                const std::shared_ptr<ChannelObj>& channel = **it;
                std::string& text = texts.emplace_back();
                construct_cahnnel_info_string(channel, text);
                complete = AddChannelEntry(list, *channel, text);
                if (text.empty()) {
                    FDR_CENTER_LOG("[zubrik]  guid[%s] has blank data",
                                   channel->channel_guid.c_str());
                }
            }
        }
        if (!complete) {
            break;  // print what was built
        }
    }
    PrintListBody(std::move(root), std::move(texts), out);
    return 0;
}

namespace {

// The arbitrator's bodies for one server: {"autonomy_list":[{"autonomy_lid":lid,<list_key>:[..]}]}.
// A failed creation before the list leaves `out` untouched (result 0); one inside it ends the
// list and what was built is printed.
template <typename Records, typename AddEntry>
unsigned int FormatServerList(const std::string& lid, const char* list_key, const Records& records,
                              AddEntry add_entry, std::string& out) {
    Tree root(cJSON_CreateObject());
    if (!root) {
        return 0;
    }
    cJSON* server = AppendObject(AddArray(root.get(), "autonomy_list"));
    if (server == nullptr || !AddText(server, "autonomy_lid", lid)) {
        return 0;
    }
    cJSON* list = AddArray(server, list_key);
    if (list == nullptr) {
        return 0;
    }
    for (const auto& record : records) {
        if (record && !add_entry(list, *record)) {
            break;  // print what was built
        }
    }
    return PrintInto(root.get(), out) ? 0 : CChannelInfoJsonFormatter::kPrintFailed;
}

}  // namespace

unsigned int CChannelInfoJsonFormatter::FormatterCameraStatusChange(
    std::string lid, const ChannelStatusObjList& statuses, std::string& out) {
    return FormatServerList(lid, "channel_status_list", statuses, AddChannelStatus, out);
}

unsigned int CChannelInfoJsonFormatter::FormatterCameraListChange(const std::string& lid,
                                                                  const ChannelObjList& channels,
                                                                  std::string& out) {
    return FormatServerList(lid, "channel_list", channels, AddChangedChannel, out);
}

unsigned int CChannelInfoJsonFormatter::FormatterCameraListRefresh(const std::string& lid,
                                                                   std::string& out) {
    Tree root(cJSON_CreateObject());
    if (!root || !AddText(root.get(), "autonomy_lid", lid)) {
        return 0;
    }
    return PrintInto(root.get(), out) ? 0 : kPrintFailed;
}
