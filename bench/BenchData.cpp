#include "BenchData.h"

#include <cstdio>
#include <string_view>
#include <unordered_map>

#include "platform/host_utils.h"

namespace bench {
namespace {

std::string N(int value) {
    return std::to_string(value);
}

// ---- Bare attachments: literal keys without a copy, as the cheapest bare client does ----

void Put(cJSON* object, const char* key, cJSON* item) {
    cJSON_AddItemToObjectCS(object, key, item);
}
void PutInt(cJSON* object, const char* key, double value) {
    Put(object, key, cJSON_CreateNumber(value));
}
void PutBool(cJSON* object, const char* key, bool value) {
    Put(object, key, cJSON_CreateBool(value));
}
void PutText(cJSON* object, const char* key, const std::string& value) {
    Put(object, key, cJSON_CreateString(value.c_str()));
}
cJSON* PutObject(cJSON* parent, const char* key) {
    cJSON* object = cJSON_CreateObject();
    Put(parent, key, object);
    return object;
}
cJSON* PutArray(cJSON* parent, const char* key) {
    cJSON* array = cJSON_CreateArray();
    Put(parent, key, array);
    return array;
}
cJSON* PushObject(cJSON* array) {
    cJSON* object = cJSON_CreateObject();
    cJSON_AddItemToArray(array, object);
    return object;
}

}  // namespace

std::shared_ptr<ChannelObj> Camera(const std::string& owner, int index) {
    auto c = std::make_shared<ChannelObj>();
    c->audio = {1, true, true};
    using Preset = ChannelObj::AutoCruisingInfo::AutoCruisingPreset;
    for (int i = 0; i < 4; ++i) {
        c->auto_cruising.auto_cruising_list.push_back(
            std::make_shared<Preset>(Preset{10 + i, i + 1, i % 2 == 0}));
    }
    c->auto_cruising.enabled = true;
    c->event_installation.input.input_enabled_list.assign(16, true);
    c->event_installation.motion = {true, true, true};
    c->fisheye = {1, 2, true, 1, 45, 52.5, 0.9125, 1280.5, 720.25};
    c->login_auth = {"secret-pass", "operator", "admin-secret", "guest-secret"};
    c->manufacturer = {"Acme", "AC-4K-DOME", "ACMEDOME", 0};
    c->network_setting = {
        "10.20." + N(index % 250) + ".7", 80, 554, 8554, "198.51.100.23", 10080 + index};
    c->projection.projection_type = 2;
    c->recording_status = {true, false, true};
    c->stream_info.main_stream = {true, 5, 30, 9, "3840x2160"};
    using Stream = ChannelObj::MultiStreamObj;
    c->stream_info.multi_stream_list = {std::make_shared<Stream>(Stream{"AAC ", "H265", 15, 4, 1}),
                                        std::make_shared<Stream>(Stream{"G711", "H264", 5, 2, 2})};
    using VirtualCamera = ChannelObj::VirtualCameraObj;
    c->virtual_camera_list = {
        std::make_shared<VirtualCamera>(VirtualCamera{720, 0, 1, "Entrance", 0, 1280}),
        std::make_shared<VirtualCamera>(VirtualCamera{540, 960, 2, "Counter", 540, 960})};
    c->channel_index = index;
    c->channel_guid = owner + "-5f0c2a9e-7b1d-4e8a-9c3f-" + N(100000 + index);
    c->channel_name = "Camera " + N(index) + " \"north gate\"";
    c->owner_lid = owner;
    c->video_setting_support = true;
    c->retrieve = 0;
    return c;
}

ChannelObjList Cameras(const std::string& owner, int count) {
    ChannelObjList list;
    for (int i = 0; i < count; ++i) {
        list.push_back(Camera(owner, i));
    }
    return list;
}

void Federation(int members, int channels, DravoAgentData::AutonomyList& servers,
                ChannelObjList& list) {
    servers = Members(members);
    list.clear();
    for (int i = 0; i < channels; ++i) {
        const auto& owner = servers.autonomy_list[static_cast<size_t>(i % members)];
        list.push_back(Camera(owner->autonomy_lid, i / members));
    }
}

std::shared_ptr<Member> MemberRecord(int index) {
    auto r = std::make_shared<Member>();
    const std::string n = N(index);
    r->server_mode = "standalone";
    r->address = "10.0." + N(index % 250) + ".7:8080";
    r->username = "admin";
    r->password = "p@ss-" + n;
    r->autonomy_lid = "member-" + n;
    r->autonomy_lname = "Recorder " + n + " \"east wing\"";
    r->add_time = "2024-05-06 07:08:09";
    r->group_id = 1 + index % 4;
    r->health_status = 3;
    r->firmware = "3.2.1";
    r->firmware_date = "2024-01-31";
    r->autonomy_id = "9f8e7d6c-" + n;
    r->mac = "00:11:22:33:44:55";
    r->sid = "sid-" + n;
    r->token = "eyJhbGciOiJIUzI1NiJ9.member-" + n;
    r->machine_internal_model = "IM-77";
    r->machine_model = "NVR-8";
    r->machine_name = "recorder-" + n;
    r->machine_version = "v2";
    r->auth_data = "YXV0aC1kYXRh";
    r->is_admin = true;
    r->cms_server_required_lower = "1.0.0";
    r->cms_server_required_upper = "9.9.9";
    r->pc_client_required_lower = "1.0.0";
    r->pc_client_required_upper = "9.9.9";
    r->ch_num = 64;
    r->thirdparty_support_list = "[{\"brand\":\"Acme\",\"max\":16}]";
    r->retrieve = 0;
    return r;
}

DravoAgentData::AutonomyList Members(int count) {
    DravoAgentData::AutonomyList list;
    for (int i = 0; i < count; ++i) {
        list.autonomy_list.push_back(MemberRecord(i));
    }
    return list;
}

ChannelStatusObjList Statuses(int count) {
    ChannelStatusObjList list;
    using Living = ChannelStatusObj::LivingStatusObj;
    for (int i = 0; i < count; ++i) {
        auto s = std::make_shared<ChannelStatusObj>();
        s->living_status = {std::make_shared<Living>(Living{1, 4096.5, 30, 0}),
                            std::make_shared<Living>(Living{1, 512.25, 15, 1})};
        s->recorded_statistic = {3, 1024, 30, 65536};
        s->channel_guid = "member-0-5f0c2a9e-7b1d-4e8a-9c3f-" + N(100000 + i);
        s->channel_index = i;
        list.push_back(s);
    }
    return list;
}

DravoAgentData::DravoServerInfo LensCatalogues() {
    DravoAgentData::DravoServerInfo info;
    using Info = DravoAgentData::DravoServerInfo;
    for (int b = 0; b < 8; ++b) {
        auto fisheye = std::make_shared<Info::FisheyeBrandObj>();
        auto projection = std::make_shared<Info::ProjectionBrandObj>();
        fisheye->brand_id = projection->brand_id = "brand-" + N(b);
        fisheye->brand_name = projection->brand_name = "Brand " + N(b);
        for (int m = 0; m < 8; ++m) {
            Info::FisheyeModelObj fm;
            Info::ProjectionModelObj pm;
            fm.model_id = pm.model_id = "model-" + N(m);
            fm.model_name = pm.model_name = "FE-" + N(b) + N(m);
            pm.projection = "dual-lens";
            for (int s = 0; s < 4; ++s) {
                fm.size_list.push_back({1080 + s, 1920 + s, 1, 45.5, 0.875, 960.25, 540.5});
                pm.size_list.push_back({1080 + s, 1920 + s, 190.5, 0.25, 0.5, 90, 0.45, 0.46, 0.75,
                                        0.5, 270, 0.45, 0.46});
            }
            fisheye->model_list.push_back(fm);
            projection->model_list.push_back(pm);
        }
        info.fisheye_brand_list.push_back(fisheye);
        info.projection_brand_list.push_back(projection);
    }
    return info;
}

Printed Print(cJSON* tree) {
    Printed text(cJSON_PrintUnformatted(tree), cJSON_free);
    cJSON_Delete(tree);
    return text;
}

namespace {

std::string PrintToString(cJSON* tree) {
    Printed text = Print(tree);
    return text.get();
}

void AddErrorTriple(cJSON* root) {
    PutInt(root, "err_code", 0);
    PutText(root, "err_no", "0");
    PutText(root, "err_str", "ok");
}

}  // namespace

std::string TokenAnswer() {
    cJSON* root = cJSON_CreateObject();
    PutText(root, "access_token", "eyJhbGciOiJIUzI1NiJ9.access.4f9d2c1b8a7e6d5c4b3a2f1e0d9c8b7a");
    PutInt(root, "expires_in", 3600);
    PutText(root, "refresh_token", "eyJhbGciOiJIUzI1NiJ9.refresh.0a1b2c3d4e5f60718293a4b5c6d7e8f9");
    PutText(root, "token_type", "bearer");
    return PrintToString(root);
}

std::string ServiceAnswer() {
    cJSON* root = cJSON_CreateObject();
    AddErrorTriple(root);
    PutText(PutObject(root, "serviceInfo"), "GUID", "6b1f0d3e-2c4a-4f5e-8d9c-0a1b2c3d4e5f");
    return PrintToString(root);
}

std::string WriteAnswer() {
    cJSON* root = cJSON_CreateObject();
    PutArray(root, "autonomy_list");
    AddErrorTriple(root);
    return PrintToString(root);
}

std::string AutonomyListAnswer(int members) {
    cJSON* root = cJSON_CreateObject();
    cJSON* list = PutArray(root, "autonomy_list");
    for (int i = 0; i < members; ++i) {
        const std::shared_ptr<Member> r = MemberRecord(i);
        cJSON* m = PushObject(list);
        PutText(m, "add_time", r->add_time);
        PutText(m, "address", r->address);
        PutText(m, "autonomy_id", r->autonomy_id);
        PutText(m, "autonomy_lid", r->autonomy_lid);
        PutText(m, "autonomy_lname", r->autonomy_lname);
        PutInt(PushObject(PutArray(m, "group_list")), "id", r->group_id);
        PutText(m, "mac", r->mac);
        PutText(m, "password", r->password);
        PutText(m, "server_mode", r->server_mode);
        PutText(m, "username", r->username);
    }
    AddErrorTriple(root);
    return PrintToString(root);
}

std::string ChannelListAnswer(int channels) {
    cJSON* root = cJSON_CreateObject();
    cJSON* list = PutArray(root, "channel_list");
    for (int i = 0; i < channels; ++i) {
        const auto c = Camera("member-0", i);
        cJSON* entry = PushObject(list);
        PutText(entry, "data", PrintToString(BareChannelTree(*c)));
        PutText(entry, "guid", c->channel_guid);
        PutText(entry, "name", c->channel_name);
    }
    AddErrorTriple(root);
    return PrintToString(root);
}

std::string PrivilegeTimeAnswer() {
    cJSON* root = cJSON_CreateObject();
    PutText(root, "config", "1715679000");
    AddErrorTriple(root);
    return PrintToString(root);
}

cJSON* BareChannelTree(const ChannelObj& c) {
    cJSON* root = cJSON_CreateObject();
    cJSON* audio = PutObject(root, "audio");
    PutInt(audio, "audio_out_format", c.audio.audio_out_format);
    PutBool(audio, "audio_out_support", c.audio.audio_out_support);
    PutBool(audio, "audio_recording_support", c.audio.audio_recording_support);
    cJSON* cruising = PutObject(root, "auto_cruising");
    cJSON* presets = PutArray(cruising, "auto_cruising_list");
    for (const auto& p : c.auto_cruising.auto_cruising_list) {
        cJSON* item = PushObject(presets);
        PutInt(item, "interval", p->interval);
        PutInt(item, "preset_index", p->preset_index);
        PutBool(item, "snapshot_support", p->snapshot_support);
    }
    PutBool(cruising, "enabled", c.auto_cruising.enabled);
    PutBool(cruising, "stop_when_ptzing", c.auto_cruising.stop_when_ptzing);
    PutText(root, "channel_guid", c.channel_guid);
    PutInt(root, "channel_index", c.channel_index);
    PutText(root, "channel_name", c.channel_name);
    cJSON* event = PutObject(root, "event_installation");
    cJSON* flags = PutArray(PutObject(event, "input"), "input_enabled_list");
    for (const bool enabled : c.event_installation.input.input_enabled_list) {
        cJSON_AddItemToArray(flags, cJSON_CreateBool(enabled));
    }
    cJSON* motion = PutObject(event, "motion");
    const auto& m = c.event_installation.motion;
    PutBool(motion, "motion_detection_settings_support", m.motion_detection_settings_support);
    PutBool(motion, "motion_detection_support", m.motion_detection_support);
    PutBool(motion, "motion_enabled", m.motion_enabled);
    cJSON* fisheye = PutObject(root, "fisheye");
    const auto& f = c.fisheye;
    PutInt(fisheye, "display_mode", f.display_mode);
    PutInt(fisheye, "fisheye_type", f.fisheye_type);
    PutBool(fisheye, "immer_vision_enabled", f.immer_vision_enabled);
    PutInt(fisheye, "mount_type", f.mount_type);
    PutInt(fisheye, "panorama_pan", f.panorama_pan);
    PutInt(fisheye, "latitude", f.latitude);
    PutInt(fisheye, "radius_ratio", f.radius_ratio);
    PutInt(fisheye, "x", f.x);
    PutInt(fisheye, "y", f.y);
    cJSON* login = PutObject(root, "login_auth");
    PutText(login, "username", c.login_auth.username);
    PutText(login, "passowrd", c.login_auth.passowrd);
    PutText(login, "admin_passowrd", c.login_auth.admin_passowrd);
    PutText(login, "guest_passowrd", c.login_auth.guest_passowrd);
    cJSON* maker = PutObject(root, "manufacturer");
    PutText(maker, "camera_brand", c.manufacturer.camera_brand);
    PutText(maker, "camera_model", c.manufacturer.camera_model);
    PutText(maker, "umsid", c.manufacturer.umsid);
    PutInt(maker, "umsid_undefined", c.manufacturer.umsid_undefined);
    cJSON* network = PutObject(root, "network_setting");
    const auto& n = c.network_setting;
    PutText(network, "lan_addr", n.lan_addr);
    PutInt(network, "lan_port", n.lan_port);
    PutInt(network, "rtsp_port_1", n.rtsp_port_1);
    PutInt(network, "rtsp_port_2", n.rtsp_port_2);
    PutText(network, "wan_addr", n.wan_addr);
    PutInt(network, "wan_port", n.wan_port);
    PutInt(PutObject(root, "projection"), "projection_type", c.projection.projection_type);
    cJSON* recording = PutObject(root, "recording_status");
    PutBool(recording, "alarm_rec_enabled", c.recording_status.alarm_rec_enabled);
    PutBool(recording, "manual_rec_enabled", c.recording_status.manual_rec_enabled);
    PutBool(recording, "schedule_rec_enabled", c.recording_status.schedule_rec_enabled);
    PutInt(root, "retrieve", c.retrieve);
    cJSON* streams = PutObject(root, "stream_info");
    cJSON* main = PutObject(streams, "main_stream");
    const auto& ms = c.stream_info.main_stream;
    PutBool(main, "support_vs_dewarp", ms.support_vs_dewarp);
    PutInt(main, "video_codec_id", ms.video_codec_id);
    PutInt(main, "video_fps", ms.video_fps);
    PutInt(main, "video_resolution", ms.video_resolution);
    PutText(main, "video_resolution_str", ms.video_resolution_str);
    cJSON* list = PutArray(streams, "multi_stream_list");
    for (const auto& s : c.stream_info.multi_stream_list) {
        cJSON* item = PushObject(list);
        PutInt(item, "stream_id", s->stream_id);
        PutInt(item, "video_fps", s->video_fps);
        PutText(item, "video_fcc", s->video_fcc);
        PutText(item, "audio_fcc", s->audio_fcc);
        PutInt(item, "video_resolution", s->video_resolution);
    }
    PutBool(root, "video_setting_support", c.video_setting_support);
    cJSON* cameras = PutArray(root, "virtual_camera_list");
    for (const auto& v : c.virtual_camera_list) {
        cJSON_AddItemToArray(cameras, cJSON_CreateNumber(v->height));
        cJSON_AddItemToArray(cameras, cJSON_CreateNumber(v->horizontal));
        cJSON_AddItemToArray(cameras, cJSON_CreateNumber(v->index));
        cJSON_AddItemToArray(cameras, cJSON_CreateNumber(v->width));
        cJSON_AddItemToArray(cameras, cJSON_CreateNumber(v->vertical));
        cJSON_AddItemToArray(cameras, cJSON_CreateString(v->name.c_str()));
        cJSON_AddItemToArray(cameras, cJSON_CreateObject());
    }
    return root;
}

namespace {

// Channel texts printed for a list body; the entries refer to them until the body is printed.
using Texts = std::vector<Printed>;

cJSON* BareServer(cJSON* servers, const std::string& lid, const char* mode) {
    cJSON* server = PushObject(servers);
    PutText(server, "autonomy_lid", lid);
    PutText(server, "mode", mode);
    return PutArray(server, "channel_list");
}

void BareEntry(cJSON* list, const ChannelObj& c, const char* data) {
    cJSON* entry = PushObject(list);
    PutText(entry, "guid", c.channel_guid);
    PutText(entry, "name", c.channel_name);
    Put(entry, "data", cJSON_CreateStringReference(data));
}

}  // namespace

Printed BareServerChannelList(const std::string& lid, const ChannelObjList& channels,
                              const char* mode) {
    const bool full = std::string_view(mode) != "remove";
    Texts texts;
    texts.reserve(channels.size());
    cJSON* root = cJSON_CreateObject();
    cJSON* list = BareServer(PutArray(root, "autonomy_list"), lid, mode);
    for (const auto& c : channels) {
        if (full) {
            texts.push_back(Print(BareChannelTree(*c)));
        }
        BareEntry(list, *c, full ? texts.back().get() : "");
    }
    return Print(root);
}

Printed BareGroupedBody(const DravoAgentData::AutonomyList& servers,
                        const ChannelObjList& channels) {
    std::unordered_map<std::string_view, std::vector<const ChannelObj*>> owned;
    for (const auto& c : channels) {
        owned[c->owner_lid].push_back(c.get());
    }
    Texts texts;
    texts.reserve(channels.size());
    cJSON* root = cJSON_CreateObject();
    cJSON* array = PutArray(root, "autonomy_list");
    for (const auto& server : servers.autonomy_list) {
        cJSON* list = BareServer(array, server->autonomy_lid, "replace");
        const auto found = owned.find(server->autonomy_lid);
        if (found == owned.end()) {
            continue;
        }
        for (const ChannelObj* c : found->second) {
            texts.push_back(Print(BareChannelTree(*c)));
            BareEntry(list, *c, texts.back().get());
        }
    }
    return Print(root);
}

Printed BareCameraStatusChange(const std::string& lid, const ChannelStatusObjList& statuses) {
    cJSON* root = cJSON_CreateObject();
    cJSON* server = PushObject(PutArray(root, "autonomy_list"));
    PutText(server, "autonomy_lid", lid);
    cJSON* list = PutArray(server, "channel_status_list");
    for (const auto& s : statuses) {
        cJSON* entry = PushObject(list);
        PutInt(entry, "retrieve", 2);
        PutInt(entry, "channel_index", s->channel_index);
        PutText(entry, "channel_guid", s->channel_guid);
        cJSON* living = PutArray(entry, "living_status");
        for (const auto& l : s->living_status) {
            cJSON* item = PushObject(living);
            PutInt(item, "connection_status", l->connection_status);
            PutInt(item, "current_bitrate", l->current_bitrate);
            PutInt(item, "current_fps", l->current_fps);
            PutInt(item, "idx", l->idx);
        }
        cJSON* statistic = PutObject(entry, "recorded_statistic");
        const auto& r = s->recorded_statistic;
        PutInt(statistic, "alarm_rec_days", r.alarm_rec_days);
        PutInt(statistic, "alarm_rec_size", r.alarm_rec_size);
        PutInt(statistic, "normal_rec_days", r.normal_rec_days);
        PutInt(statistic, "normal_rec_size", r.normal_rec_size);
    }
    return Print(root);
}

Printed BareCameraListChange(const std::string& lid, const ChannelObjList& channels) {
    cJSON* root = cJSON_CreateObject();
    cJSON* server = PushObject(PutArray(root, "autonomy_list"));
    PutText(server, "autonomy_lid", lid);
    cJSON* list = PutArray(server, "channel_list");
    for (const auto& c : channels) {
        cJSON* entry = PushObject(list);
        PutText(entry, "channel_guid", c->channel_guid);
        PutInt(entry, "retrieve", c->retrieve);
        PutInt(entry, "channel_index", c->channel_index);
        PutText(entry, "channel_name", c->channel_name);
        const auto& maker = c->manufacturer;
        const size_t half = maker.umsid.size() / 2;
        cJSON* manufacturer = PutObject(entry, "manufacturer");
        PutText(manufacturer, "camera_brand", maker.umsid.substr(0, half));
        PutText(manufacturer, "camera_model", maker.umsid.substr(half));
        PutText(manufacturer, "camera_brand_text", maker.camera_brand);
        PutText(manufacturer, "camera_model_text", maker.camera_model);
        PutText(PutObject(entry, "network_setting"), "lan_addr", c->network_setting.lan_addr);
    }
    return Print(root);
}

Printed BareCameraListRefresh(const std::string& lid) {
    cJSON* root = cJSON_CreateObject();
    PutText(root, "autonomy_lid", lid);
    return Print(root);
}

cJSON* BareRestMember(const Member& r) {
    cJSON* o = cJSON_CreateObject();
    PutText(o, "autonomy_lid", r.autonomy_lid);
    PutText(o, "auth_data", r.auth_data);
    PutText(o, "autonomy_add_time", r.add_time);
    PutText(o, "autonomy_address", r.address);
    PutText(o, "autonomy_firmware", r.firmware);
    PutText(o, "autonomy_firmware_date", r.firmware_date);
    PutText(o, "machine_internal_model", r.machine_internal_model);
    PutText(o, "machine_model", r.machine_model);
    PutText(o, "machine_name", r.machine_name);
    PutText(o, "machine_name", r.machine_name);
    PutText(o, "machine_version", r.machine_version);
    PutText(o, "autonomy_id", r.autonomy_id);
    PutText(o, "autonomy_lname", r.autonomy_lname);
    PutText(o, "autonomy_mac", r.mac);
    PutText(o, "autonomy_mode", r.server_mode);
    PutText(o, "autonomy_username", r.username);
    PutText(o, "autonomy_password", r.password);
    PutText(o, "autonomy_sid", r.sid);
    PutText(o, "autonomy_token", r.token);
    PutInt(o, "autonomy_health_status", static_cast<double>(r.health_status));
    PutText(o, "autonomy_ch_num", N(r.ch_num));
    PutBool(o, "is_admin", r.is_admin);
    PutInt(o, "autonomy_group", r.group_id);
    return o;
}

Printed BareAddAutonomy(const DravoAgentData::AutonomyList& list) {
    cJSON* root = cJSON_CreateObject();
    cJSON* array = PutArray(root, "autonomy_list");
    for (const auto& r : list.autonomy_list) {
        cJSON_AddItemToArray(array, BareRestMember(*r));
    }
    return Print(root);
}

Printed BareRemoveAutonomy(const std::string& lid) {
    cJSON* root = cJSON_CreateObject();
    cJSON_AddItemToArray(PutArray(root, "autonomy_list"), cJSON_CreateString(lid.c_str()));
    return Print(root);
}

Printed BareArbitratorRemoveAutonomy(const std::string& lid) {
    cJSON* root = cJSON_CreateObject();
    cJSON* member = PushObject(PutArray(root, "autonomy_list"));
    PutText(member, "autonomy_lid", lid);
    PutInt(member, "retrieve", 1);
    return Print(root);
}

Printed BareAutonomyChange(const DravoAgentData::AutonomyList& list, bool arbitrator) {
    cJSON* root = cJSON_CreateObject();
    if (!arbitrator) {
        cJSON* reason = PutObject(root, "notice_reason");
        PutInt(reason, "type", 23);
        PutInt(reason, "action", 23000);
        PutText(reason, "command_id", "");
    }
    cJSON* array = PutArray(root, "autonomy_list");
    const Member& r = *list.autonomy_list.back();
    cJSON* o = PushObject(array);
    if (arbitrator) {
        PutInt(o, "autonomy_group", r.group_id);
    }
    PutText(o, "auth_data", r.auth_data);
    PutText(o, "autonomy_add_time", r.add_time);
    PutText(o, "autonomy_address", r.address);
    PutText(o, "autonomy_firmware", r.firmware);
    PutText(o, "autonomy_firmware_date", r.firmware_date);
    PutInt(o, "autonomy_health_status", static_cast<double>(r.health_status));
    PutText(o, "autonomy_id", r.autonomy_id);
    PutText(o, "autonomy_lid", r.autonomy_lid);
    PutText(o, "autonomy_lname", r.autonomy_lname);
    PutText(o, "autonomy_mac", r.mac);
    PutText(o, "autonomy_mode", r.server_mode);
    PutText(o, "autonomy_password", r.password);
    PutText(o, "autonomy_sid", r.sid);
    PutText(o, "autonomy_username", r.username);
    PutBool(o, "is_admin", r.is_admin);
    PutText(o, "machine_internal_model", r.machine_internal_model);
    PutText(o, "machine_model", r.machine_model);
    PutText(o, "machine_name", r.machine_name);
    PutText(o, "machine_version", r.machine_version);
    cJSON* cms = PutObject(o, "zelpro_cms_server_required");
    PutText(cms, "lower", r.cms_server_required_lower);
    PutText(cms, "upper", r.cms_server_required_upper);
    cJSON* pc = PutObject(o, "zelpro_pc_client_required");
    PutText(pc, "lower", r.cms_server_required_lower);
    PutText(pc, "upper", r.pc_client_required_upper);
    PutInt(o, "retrieve", r.retrieve);
    PutText(o, "autonomy_token", r.token);
    PutText(o, "autonomy_ch_num", N(r.ch_num));
    if (arbitrator) {
        cJSON* c = PutObject(o, "center_capabilities");
        PutBool(c, "is_support_enable_app", r.is_support_enable_app);
        PutBool(c, "is_support_update_fw", r.is_support_update_fw);
        PutBool(c, "is_support_add_server", r.is_support_add_server);
    }
    PutBool(o, "is_zep", r.is_zep);
    PutBool(o, "centralized_by_another", r.centralized_by_another);
    if (!r.thirdparty_support_list.empty()) {
        Put(o, "thirdparty_support_list", cJSON_Parse(r.thirdparty_support_list.c_str()));
    }
    PutText(o, "sys_health", r.sys_health);
    return Print(root);
}

Printed BarePrivilegeRequest(const std::string& user) {
    bool is_domain = false;
    fdrutil_check_is_domain_user(user, is_domain);
    cJSON* root = cJSON_CreateObject();
    PutInt(root, "report_type", 0);
    PutInt(root, "access_type", 0);
    PutBool(root, "is_domain", is_domain);
    const char* names[] = {user.c_str()};
    Put(root, "identifies", cJSON_CreateStringArray(names, 1));
    return Print(root);
}

Printed BareFisheyeSupport(const DravoAgentData::DravoServerInfo& info) {
    cJSON* root = cJSON_CreateObject();
    cJSON* brands = PutArray(root, "FishEyeParameterTable");
    for (const auto& brand : info.fisheye_brand_list) {
        cJSON* b = PushObject(brands);
        PutText(b, "brand_name", brand->brand_name);
        PutText(b, "brand_id", brand->brand_id);
        cJSON* models = PutArray(b, "model_list");
        for (const auto& model : brand->model_list) {
            cJSON* m = PushObject(models);
            PutText(m, "model_name", model.model_name);
            PutText(m, "model_id", model.model_id);
            cJSON* sizes = PutArray(m, "size_list");
            for (const auto& s : model.size_list) {
                cJSON* z = PushObject(sizes);
                PutInt(z, "w", s.w);
                PutInt(z, "h", s.h);
                PutInt(z, "v", s.v);
                PutInt(z, "x", s.x);
                PutInt(z, "y", s.y);
                PutInt(z, "latitude", s.latitude);
                PutInt(z, "ratio", s.ratio);
            }
        }
    }
    return Print(root);
}

Printed BareProjectionSupport(const DravoAgentData::DravoServerInfo& info) {
    cJSON* root = cJSON_CreateObject();
    cJSON* brands = PutArray(root, "ProjectionTable");
    for (const auto& brand : info.projection_brand_list) {
        cJSON* b = PushObject(brands);
        PutText(b, "brand_name", brand->brand_name);
        PutText(b, "brand_id", brand->brand_id);
        cJSON* models = PutArray(b, "model_list");
        for (const auto& model : brand->model_list) {
            cJSON* m = PushObject(models);
            PutText(m, "model_name", model.model_name);
            PutText(m, "model_id", model.model_id);
            PutText(m, "projection", model.projection);
            cJSON* sizes = PutArray(m, "size_list");
            for (const auto& s : model.size_list) {
                cJSON* z = PushObject(sizes);
                PutInt(z, "w", s.w);
                PutInt(z, "h", s.h);
                PutInt(z, "fov", s.fov);
                PutInt(z, "left_center_x", s.left_center_x);
                PutInt(z, "left_center_y", s.left_center_y);
                PutInt(z, "left_orientation", s.left_orientation);
                PutInt(z, "left_radius_x", s.left_radius_x);
                PutInt(z, "left_radius_y", s.left_radius_y);
                PutInt(z, "right_center_x", s.right_center_x);
                PutInt(z, "right_center_y", s.right_center_y);
                PutInt(z, "right_orientation", s.right_orientation);
                PutInt(z, "right_radius_x", s.right_radius_x);
                PutInt(z, "right_radius_y", s.right_radius_y);
            }
        }
    }
    return Print(root);
}

int BareParseChannelList(const char* text) {
    cJSON* root = cJSON_Parse(text);
    int parsed = 0;
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, cJSON_GetObjectItemCaseSensitive(root, "channel_list")) {
        const cJSON* data = cJSON_GetObjectItemCaseSensitive(entry, "data");
        if (cJSON_IsString(data)) {
            cJSON* channel = cJSON_Parse(data->valuestring);
            parsed += channel != nullptr ? 1 : 0;
            cJSON_Delete(channel);
        }
    }
    cJSON_Delete(root);
    return parsed;
}

namespace {

// Plain cJSON look-ups: the case-sensitive exact key, no order assumed.
const cJSON* Get(const cJSON* object, const char* key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}
void TakeText(const cJSON* object, const char* key, std::string& field) {
    const cJSON* item = Get(object, key);
    if (cJSON_IsString(item)) {
        field = item->valuestring;
    }
}
void TakeInt(const cJSON* object, const char* key, int& field) {
    const cJSON* item = Get(object, key);
    if (cJSON_IsNumber(item)) {
        field = item->valueint;
    }
}
void TakeDouble(const cJSON* object, const char* key, double& field) {
    const cJSON* item = Get(object, key);
    if (cJSON_IsNumber(item)) {
        field = item->valuedouble;
    }
}
void TakeBool(const cJSON* object, const char* key, bool& field) {
    const cJSON* item = Get(object, key);
    if (cJSON_IsBool(item)) {
        field = cJSON_IsTrue(item) != 0;
    }
}

void BareReadChannel(const cJSON* root, ChannelObj& c) {
    const cJSON* audio = Get(root, "audio");
    TakeInt(audio, "audio_out_format", c.audio.audio_out_format);
    TakeBool(audio, "audio_out_support", c.audio.audio_out_support);
    TakeBool(audio, "audio_recording_support", c.audio.audio_recording_support);
    const cJSON* cruising = Get(root, "auto_cruising");
    const cJSON* item = nullptr;
    using Preset = ChannelObj::AutoCruisingInfo::AutoCruisingPreset;
    const cJSON* presets = Get(cruising, "auto_cruising_list");
    c.auto_cruising.auto_cruising_list.reserve(static_cast<size_t>(cJSON_GetArraySize(presets)));
    cJSON_ArrayForEach(item, presets) {
        auto preset = std::make_shared<Preset>();
        TakeInt(item, "interval", preset->interval);
        TakeInt(item, "preset_index", preset->preset_index);
        TakeBool(item, "snapshot_support", preset->snapshot_support);
        c.auto_cruising.auto_cruising_list.push_back(std::move(preset));
    }
    TakeBool(cruising, "enabled", c.auto_cruising.enabled);
    TakeBool(cruising, "stop_when_ptzing", c.auto_cruising.stop_when_ptzing);
    TakeText(root, "channel_guid", c.channel_guid);
    TakeInt(root, "channel_index", c.channel_index);
    TakeText(root, "channel_name", c.channel_name);
    const cJSON* event = Get(root, "event_installation");
    cJSON_ArrayForEach(item, Get(Get(event, "input"), "input_enabled_list")) {
        c.event_installation.input.input_enabled_list.push_back(cJSON_IsTrue(item) != 0);
    }
    const cJSON* motion = Get(event, "motion");
    auto& m = c.event_installation.motion;
    TakeBool(motion, "motion_detection_settings_support", m.motion_detection_settings_support);
    TakeBool(motion, "motion_detection_support", m.motion_detection_support);
    TakeBool(motion, "motion_enabled", m.motion_enabled);
    const cJSON* fisheye = Get(root, "fisheye");
    TakeInt(fisheye, "display_mode", c.fisheye.display_mode);
    TakeInt(fisheye, "fisheye_type", c.fisheye.fisheye_type);
    TakeBool(fisheye, "immer_vision_enabled", c.fisheye.immer_vision_enabled);
    TakeInt(fisheye, "mount_type", c.fisheye.mount_type);
    TakeInt(fisheye, "panorama_pan", c.fisheye.panorama_pan);
    TakeDouble(fisheye, "latitude", c.fisheye.latitude);
    TakeDouble(fisheye, "radius_ratio", c.fisheye.radius_ratio);
    TakeDouble(fisheye, "x", c.fisheye.x);
    TakeDouble(fisheye, "y", c.fisheye.y);
    const cJSON* login = Get(root, "login_auth");
    TakeText(login, "username", c.login_auth.username);
    TakeText(login, "passowrd", c.login_auth.passowrd);
    TakeText(login, "admin_passowrd", c.login_auth.admin_passowrd);
    TakeText(login, "guest_passowrd", c.login_auth.guest_passowrd);
    const cJSON* maker = Get(root, "manufacturer");
    TakeText(maker, "camera_brand", c.manufacturer.camera_brand);
    TakeText(maker, "camera_model", c.manufacturer.camera_model);
    TakeText(maker, "umsid", c.manufacturer.umsid);
    TakeInt(maker, "umsid_undefined", c.manufacturer.umsid_undefined);
    const cJSON* network = Get(root, "network_setting");
    TakeText(network, "lan_addr", c.network_setting.lan_addr);
    TakeInt(network, "lan_port", c.network_setting.lan_port);
    TakeInt(network, "rtsp_port_1", c.network_setting.rtsp_port_1);
    TakeInt(network, "rtsp_port_2", c.network_setting.rtsp_port_2);
    TakeText(network, "wan_addr", c.network_setting.wan_addr);
    TakeInt(network, "wan_port", c.network_setting.wan_port);
    TakeInt(Get(root, "projection"), "projection_type", c.projection.projection_type);
    const cJSON* recording = Get(root, "recording_status");
    TakeBool(recording, "alarm_rec_enabled", c.recording_status.alarm_rec_enabled);
    TakeBool(recording, "manual_rec_enabled", c.recording_status.manual_rec_enabled);
    TakeBool(recording, "schedule_rec_enabled", c.recording_status.schedule_rec_enabled);
    const cJSON* streams = Get(root, "stream_info");
    const cJSON* main = Get(streams, "main_stream");
    auto& ms = c.stream_info.main_stream;
    TakeBool(main, "support_vs_dewarp", ms.support_vs_dewarp);
    TakeInt(main, "video_codec_id", ms.video_codec_id);
    TakeInt(main, "video_fps", ms.video_fps);
    TakeInt(main, "video_resolution", ms.video_resolution);
    TakeText(main, "video_resolution_str", ms.video_resolution_str);
    const cJSON* multi = Get(streams, "multi_stream_list");
    c.stream_info.multi_stream_list.reserve(static_cast<size_t>(cJSON_GetArraySize(multi)));
    cJSON_ArrayForEach(item, multi) {
        auto stream = std::make_shared<ChannelObj::MultiStreamObj>();
        TakeInt(item, "stream_id", stream->stream_id);
        TakeInt(item, "video_fps", stream->video_fps);
        TakeText(item, "video_fcc", stream->video_fcc);
        TakeText(item, "audio_fcc", stream->audio_fcc);
        TakeInt(item, "video_resolution", stream->video_resolution);
        c.stream_info.multi_stream_list.push_back(std::move(stream));
    }
    TakeBool(root, "video_setting_support", c.video_setting_support);
    cJSON_ArrayForEach(item, Get(root, "virtual_camera_list")) {
        if (!cJSON_IsObject(item)) {
            continue;
        }
        auto camera = std::make_shared<ChannelObj::VirtualCameraObj>();
        TakeInt(item, "height", camera->height);
        TakeInt(item, "horizontal", camera->horizontal);
        TakeInt(item, "index", camera->index);
        TakeInt(item, "width", camera->width);
        TakeInt(item, "vertical", camera->vertical);
        TakeText(item, "name", camera->name);
        c.virtual_camera_list.push_back(std::move(camera));
    }
}

}  // namespace

unsigned int BarePrintErrorTriple(const cJSON* root, std::string* err_str) {
    const cJSON* err_no = Get(root, "err_no");
    if (cJSON_IsString(err_no)) {
        std::printf("err_no : %s\n", err_no->valuestring);
    }
    const cJSON* text = Get(root, "err_str");
    if (cJSON_IsString(text)) {
        if (err_str != nullptr) {
            *err_str = text->valuestring;
        }
        std::printf("err_str : %s\n", text->valuestring);
    }
    unsigned int code = 0;
    const cJSON* err_code = Get(root, "err_code");
    if (cJSON_IsNumber(err_code)) {
        code = static_cast<unsigned int>(err_code->valuedouble);
        std::printf("err_code : %u\n", code);
    }
    std::fflush(stdout);
    return code;
}

unsigned int BareReadTokens(const char* text, std::string& access, std::string& refresh) {
    cJSON* root = cJSON_Parse(text);
    TakeText(root, "refresh_token", refresh);
    TakeText(root, "access_token", access);
    const unsigned int error = cJSON_IsString(Get(root, "error")) ? 1 : 0;
    cJSON_Delete(root);
    return error;
}

unsigned int BareReadWriteAnswer(const char* text, std::string& err_str) {
    cJSON* root = cJSON_Parse(text);
    const unsigned int code = BarePrintErrorTriple(root, &err_str);
    cJSON_Delete(root);
    return code;
}

namespace {

// An answer's list read element by element, each into a new record by `fill`, then the error
// triple printed.
template <typename Record, typename Fill>
unsigned int BareReadList(const char* text, const char* key,
                          std::vector<std::shared_ptr<Record>>& list, Fill fill) {
    cJSON* root = cJSON_Parse(text);
    const cJSON* elements = Get(root, key);
    list.reserve(list.size() + static_cast<size_t>(cJSON_GetArraySize(elements)));
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, elements) {
        auto record = std::make_shared<Record>();
        fill(element, *record);
        list.push_back(std::move(record));
    }
    const unsigned int code = BarePrintErrorTriple(root, nullptr);
    cJSON_Delete(root);
    return code;
}

}  // namespace

unsigned int BareReadAutonomyList(const char* text, std::vector<std::shared_ptr<Member>>& list) {
    return BareReadList(text, "autonomy_list", list, [](const cJSON* m, Member& r) {
        TakeText(m, "add_time", r.add_time);
        TakeText(m, "address", r.address);
        TakeText(m, "autonomy_id", r.autonomy_id);
        TakeText(m, "autonomy_lid", r.autonomy_lid);
        TakeText(m, "autonomy_lname", r.autonomy_lname);
        TakeInt(cJSON_GetArrayItem(Get(m, "group_list"), 0), "id", r.group_id);
        TakeText(m, "mac", r.mac);
        TakeText(m, "password", r.password);
        TakeText(m, "server_mode", r.server_mode);
        TakeText(m, "username", r.username);
    });
}

unsigned int BareReadChannelList(const char* text, std::vector<std::shared_ptr<ChannelObj>>& list) {
    return BareReadList(text, "channel_list", list, [](const cJSON* entry, ChannelObj& channel) {
        const cJSON* data = Get(entry, "data");
        if (cJSON_IsString(data)) {
            cJSON* tree = cJSON_Parse(data->valuestring);
            BareReadChannel(tree, channel);
            cJSON_Delete(tree);
        }
    });
}

}  // namespace bench
