// Reading side of the channel JSON. A channel's text is read group by group in the same order,
// and with the same group functions, as ChannelJsonFormatter.cpp writes it.
//
// The reading is lenient: a key that is missing or of another JSON type leaves the field at its
// default; only text that does not parse is an error.
#include <cjson/cJSON.h>

#include "json/CFdrUtilParser.h"
#include "json/FederationError.h"
#include "json/JsonNumber.h"
#include "json/JsonTree.h"
#include "log/CenterLog.h"

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;

using Document = fdr::jsontree::Tree;
using fdr::jsontree::Group;
using fdr::jsontree::List;
using fdr::jsontree::Members;
using fdr::jsontree::ReadBool;
using fdr::jsontree::ReadDouble;
using fdr::jsontree::ReadInt32;
using fdr::jsontree::ReadText;

// ---- One channel's text, group by group ----

void ReadAudio(Members& root, ChannelObj::AudioInfo& audio) {
    Members group(Group(root, "audio"));
    ReadInt32(group, "audio_out_format", audio.audio_out_format);
    ReadBool(group, "audio_out_support", audio.audio_out_support);
    ReadBool(group, "audio_recording_support", audio.audio_recording_support);
}

void ReadAutoCruising(Members& root, ChannelObj::AutoCruisingInfo& cruising) {
    Members group(Group(root, "auto_cruising"));
    const cJSON* presets = List(group, "auto_cruising_list");
    cruising.auto_cruising_list.reserve(cruising.auto_cruising_list.size() +
                                        static_cast<size_t>(cJSON_GetArraySize(presets)));
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, presets) {
        // An element that is not an object still takes its place, as a default preset.
        auto preset = std::make_shared<ChannelObj::AutoCruisingInfo::AutoCruisingPreset>();
        if (cJSON_IsObject(item)) {
            Members members(item);
            ReadInt32(members, "interval", preset->interval);
            ReadInt32(members, "preset_index", preset->preset_index);
            ReadBool(members, "snapshot_support", preset->snapshot_support);
        }
        cruising.auto_cruising_list.push_back(std::move(preset));
    }
    ReadBool(group, "enabled", cruising.enabled);
    ReadBool(group, "stop_when_ptzing", cruising.stop_when_ptzing);
}

void ReadIdentity(Members& root, ChannelObj& channel) {
    ReadText(root, "channel_guid", channel.channel_guid);
    ReadInt32(root, "channel_index", channel.channel_index);
    ReadText(root, "channel_name", channel.channel_name);
}

void ReadEventInstallation(Members& root, ChannelObj::EventInstallationInfo& event) {
    Members group(Group(root, "event_installation"));
    Members input(Group(group, "input"));
    const cJSON* flags = List(input, "input_enabled_list");
    const cJSON* flag = nullptr;
    cJSON_ArrayForEach(flag, flags) {
        // One flag per input, whatever its type, so the list keeps the number of inputs.
        event.input.input_enabled_list.push_back(cJSON_IsTrue(flag));
    }
    Members motion(Group(group, "motion"));
    ReadBool(motion, "motion_detection_settings_support",
             event.motion.motion_detection_settings_support);
    ReadBool(motion, "motion_detection_support", event.motion.motion_detection_support);
    ReadBool(motion, "motion_enabled", event.motion.motion_enabled);
}

void ReadFisheye(Members& root, ChannelObj::FisheyeInfo& fisheye) {
    Members group(Group(root, "fisheye"));
    ReadInt32(group, "display_mode", fisheye.display_mode);
    ReadInt32(group, "fisheye_type", fisheye.fisheye_type);
    ReadBool(group, "immer_vision_enabled", fisheye.immer_vision_enabled);
    ReadInt32(group, "mount_type", fisheye.mount_type);
    ReadInt32(group, "panorama_pan", fisheye.panorama_pan);
    ReadDouble(group, "latitude", fisheye.latitude);
    ReadDouble(group, "radius_ratio", fisheye.radius_ratio);
    ReadDouble(group, "x", fisheye.x);
    ReadDouble(group, "y", fisheye.y);
}

void ReadLoginAuth(Members& root, ChannelObj::LoginAuthInfo& login) {
    Members group(Group(root, "login_auth"));
    ReadText(group, "username", login.username);
    ReadText(group, "passowrd", login.passowrd);
    ReadText(group, "admin_passowrd", login.admin_passowrd);
    ReadText(group, "guest_passowrd", login.guest_passowrd);
}

void ReadManufacturer(Members& root, ChannelObj::ManufacturerInfo& maker) {
    Members group(Group(root, "manufacturer"));
    ReadText(group, "camera_brand", maker.camera_brand);
    ReadText(group, "camera_model", maker.camera_model);
    ReadText(group, "umsid", maker.umsid);
    ReadInt32(group, "umsid_undefined", maker.umsid_undefined);
}

void ReadNetworkSetting(Members& root, ChannelObj::NetworkSettingInfo& network) {
    Members group(Group(root, "network_setting"));
    ReadText(group, "lan_addr", network.lan_addr);
    ReadInt32(group, "lan_port", network.lan_port);
    ReadInt32(group, "rtsp_port_1", network.rtsp_port_1);
    ReadInt32(group, "rtsp_port_2", network.rtsp_port_2);
    ReadText(group, "wan_addr", network.wan_addr);
    ReadInt32(group, "wan_port", network.wan_port);
}

void ReadProjection(Members& root, ChannelObj::ProjectionInfo& projection) {
    Members group(Group(root, "projection"));
    ReadInt32(group, "projection_type", projection.projection_type);
}

void ReadRecordingStatus(Members& root, ChannelObj::RecordingStatusInfo& recording) {
    Members group(Group(root, "recording_status"));
    ReadBool(group, "alarm_rec_enabled", recording.alarm_rec_enabled);
    ReadBool(group, "manual_rec_enabled", recording.manual_rec_enabled);
    ReadBool(group, "schedule_rec_enabled", recording.schedule_rec_enabled);
}

void ReadStreamInfo(Members& root, ChannelObj::StreamInfo& streams) {
    Members group(Group(root, "stream_info"));
    ChannelObj::StreamInfo::MainStream& main_stream = streams.main_stream;
    Members main(Group(group, "main_stream"));
    ReadBool(main, "support_vs_dewarp", main_stream.support_vs_dewarp);
    ReadInt32(main, "video_codec_id", main_stream.video_codec_id);
    ReadInt32(main, "video_fps", main_stream.video_fps);
    ReadInt32(main, "video_resolution", main_stream.video_resolution);
    ReadText(main, "video_resolution_str", main_stream.video_resolution_str);
    const cJSON* list = List(group, "multi_stream_list");
    streams.multi_stream_list.reserve(streams.multi_stream_list.size() +
                                      static_cast<size_t>(cJSON_GetArraySize(list)));
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list) {
        // As with presets, an element that is not an object yields a default stream.
        auto stream = std::make_shared<ChannelObj::MultiStreamObj>();
        if (cJSON_IsObject(item)) {
            Members members(item);
            ReadInt32(members, "stream_id", stream->stream_id);
            ReadInt32(members, "video_fps", stream->video_fps);
            ReadText(members, "video_fcc", stream->video_fcc);
            ReadText(members, "audio_fcc", stream->audio_fcc);
            ReadInt32(members, "video_resolution", stream->video_resolution);
        }
        streams.multi_stream_list.push_back(std::move(stream));
    }
}

// Unlike presets and streams, an element that is not an object yields no virtual camera. The
// written list (six bare values and {} per camera) therefore reads back as one default camera
// per {}.
void ReadVirtualCameras(Members& root, ChannelObj& channel) {
    const cJSON* list = List(root, "virtual_camera_list");
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list) {
        if (!cJSON_IsObject(item)) {
            continue;
        }
        auto camera = std::make_shared<ChannelObj::VirtualCameraObj>();
        Members members(item);
        ReadInt32(members, "height", camera->height);
        ReadInt32(members, "horizontal", camera->horizontal);
        ReadInt32(members, "index", camera->index);
        ReadInt32(members, "width", camera->width);
        ReadInt32(members, "vertical", camera->vertical);
        ReadText(members, "name", camera->name);
        channel.virtual_camera_list.push_back(std::move(camera));
    }
}

void ReadChannel(const cJSON* text, ChannelObj& c) {
    Members root(text);
    ReadAudio(root, c.audio);
    ReadAutoCruising(root, c.auto_cruising);
    ReadIdentity(root, c);
    ReadEventInstallation(root, c.event_installation);
    ReadFisheye(root, c.fisheye);
    ReadLoginAuth(root, c.login_auth);
    ReadManufacturer(root, c.manufacturer);
    ReadNetworkSetting(root, c.network_setting);
    ReadProjection(root, c.projection);
    ReadRecordingStatus(root, c.recording_status);
    // "retrieve" is the host's state: the service's value is never taken, the field stays -1.
    // Passed over only to keep the look-ups in the written order.
    root.Get("retrieve");
    ReadStreamInfo(root, c.stream_info);
    ReadBool(root, "video_setting_support", c.video_setting_support);
    ReadVirtualCameras(root, c);
}

}  // namespace

unsigned int CFdrUtilParser::ParseChannelList(const char* text,
                                              std::vector<std::shared_ptr<ChannelObj>>& list) {
    if (text == nullptr) {
        return kChannelListError;
    }
    const Document root(fdr::json::Parse(text));
    if (!root) {
        return kChannelListError;
    }
    // Any type will do: an object is walked over its members, a scalar holds no element.
    const cJSON* channels = cJSON_GetObjectItem(root.get(), "channel_list");
    if (channels == nullptr) {
        return kChannelListError;
    }
    unsigned int result = 0;
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, channels) {
        if (!cJSON_IsObject(element)) {
            continue;
        }
        auto channel = std::make_shared<ChannelObj>();
        const cJSON* data = cJSON_GetObjectItem(element, "data");
        if (cJSON_IsString(data) && data->valuestring != nullptr) {
            const Document channel_text(fdr::json::Parse(data->valuestring));
            if (!channel_text) {
                FDR_CENTER_LOG("[fedutil][%s] parse channel data failed", "ParseChannelList");
                result = kChannelListError;
                break;  // later channels are not looked at
            }
            ReadChannel(channel_text.get(), *channel);
        }
        // Without a usable "data" the channel still counts, with every default.
        list.push_back(std::move(channel));
    }
    // A numeric "err_code" is the answer, even 0, and even over a failed "data".
    uint32_t err_code = 0;
    if (fdr::ReportFederationError(root.get(), nullptr, err_code)) {
        return err_code;
    }
    return result;
}
