// The records shared with the host are one in-memory type on both sides of the library boundary:
// their members must keep their declared order and, on the shipped platform, their sizes. Every
// check here is made by the compiler; a failing one stops the build.
//
// offsetof is only portable for standard-layout types, so each record is first checked to be one
// (all are plain aggregates); that is also what keeps the checks free of -Winvalid-offsetof.
#include <cstddef>
#include <initializer_list>
#include <type_traits>

#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"

namespace {

// True when the offsets, listed in declaration order, strictly increase.
constexpr bool InDeclarationOrder(std::initializer_list<size_t> offsets) {
    bool first = true;
    size_t previous = 0;
    for (size_t offset : offsets) {
        if (!first && offset <= previous) {
            return false;
        }
        first = false;
        previous = offset;
    }
    return true;
}

// Nested designators ("audio.audio_out_format") walk into the embedded aggregates, so a record
// and its groups are checked as one flat sequence.
#define AT(member) offsetof(Record, member)

namespace autonomy {
using Record = DravoAgentData::AutonomyList::AutonomyListObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({
    AT(server_mode),
    AT(address),
    AT(username),
    AT(password),
    AT(autonomy_lid),
    AT(autonomy_lname),
    AT(add_time),
    AT(group_id),
    AT(host_text1),
    AT(host_value1),
    AT(health_status),
    AT(host_value2),
    AT(firmware),
    AT(firmware_date),
    AT(autonomy_id),
    AT(mac),
    AT(sid),
    AT(token),
    AT(machine_internal_model),
    AT(machine_model),
    AT(machine_name),
    AT(machine_version),
    AT(auth_data),
    AT(is_admin),
    AT(cms_server_required_lower),
    AT(cms_server_required_upper),
    AT(pc_client_required_lower),
    AT(pc_client_required_upper),
    AT(host_flag1),
    AT(ch_num),
    AT(host_flag2),
    AT(host_flag3),
    AT(is_support_enable_app),
    AT(is_support_update_fw),
    AT(is_support_add_server),
    AT(is_zep),
    AT(centralized_by_another),
    AT(host_flag4),
    AT(host_text2),
    AT(host_text3),
    AT(thirdparty_support_list),
    AT(retrieve),
    AT(sys_health),
}));
static_assert(std::is_standard_layout_v<DravoAgentData::AutonomyList>);
}  // namespace autonomy

namespace channel {
using Record = DravoAgentData::ChannelInformation::ChannelObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({
    AT(audio.audio_out_format),
    AT(audio.audio_out_support),
    AT(audio.audio_recording_support),
    AT(auto_cruising.auto_cruising_list),
    AT(auto_cruising.enabled),
    AT(auto_cruising.stop_when_ptzing),
    AT(event_installation.input.input_enabled_list),
    AT(event_installation.motion.motion_detection_settings_support),
    AT(event_installation.motion.motion_detection_support),
    AT(event_installation.motion.motion_enabled),
    AT(fisheye.display_mode),
    AT(fisheye.fisheye_type),
    AT(fisheye.immer_vision_enabled),
    AT(fisheye.mount_type),
    AT(fisheye.panorama_pan),
    AT(fisheye.latitude),
    AT(fisheye.radius_ratio),
    AT(fisheye.x),
    AT(fisheye.y),
    AT(host_value),
    AT(projection.projection_type),
    AT(login_auth.passowrd),
    AT(login_auth.username),
    AT(login_auth.admin_passowrd),
    AT(login_auth.guest_passowrd),
    AT(manufacturer.camera_brand),
    AT(manufacturer.camera_model),
    AT(manufacturer.umsid),
    AT(manufacturer.umsid_undefined),
    AT(network_setting.lan_addr),
    AT(network_setting.lan_port),
    AT(network_setting.rtsp_port_1),
    AT(network_setting.rtsp_port_2),
    AT(network_setting.wan_addr),
    AT(network_setting.wan_port),
    AT(recording_status.alarm_rec_enabled),
    AT(recording_status.manual_rec_enabled),
    AT(recording_status.schedule_rec_enabled),
    AT(stream_info.main_stream.support_vs_dewarp),
    AT(stream_info.main_stream.video_codec_id),
    AT(stream_info.main_stream.video_fps),
    AT(stream_info.main_stream.video_resolution),
    AT(stream_info.main_stream.video_resolution_str),
    AT(stream_info.multi_stream_list),
    AT(virtual_camera_list),
    AT(channel_index),
    AT(channel_guid),
    AT(channel_name),
    AT(owner_lid),
    AT(spare_text),
    AT(video_setting_support),
    AT(retrieve),
}));
}  // namespace channel

namespace multi_stream {
using Record = DravoAgentData::ChannelInformation::ChannelObj::MultiStreamObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(audio_fcc), AT(video_fcc), AT(video_fps), AT(video_resolution),
                                  AT(stream_id)}));
}  // namespace multi_stream

namespace virtual_camera {
using Record = DravoAgentData::ChannelInformation::ChannelObj::VirtualCameraObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(height), AT(horizontal), AT(index), AT(name), AT(vertical),
                                  AT(width)}));
}  // namespace virtual_camera

namespace cruising_preset {
using Record = DravoAgentData::ChannelInformation::ChannelObj::AutoCruisingInfo::AutoCruisingPreset;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(interval), AT(preset_index), AT(snapshot_support)}));
}  // namespace cruising_preset

namespace channel_status {
using Record = DravoAgentData::RealtimeEvent::ChannelStatusObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({
    AT(living_status),
    AT(recorded_statistic.alarm_rec_days),
    AT(recorded_statistic.alarm_rec_size),
    AT(recorded_statistic.normal_rec_days),
    AT(recorded_statistic.normal_rec_size),
    AT(status_spare),
    AT(channel_guid),
    AT(channel_index),
}));
}  // namespace channel_status

namespace living_status {
using Record = DravoAgentData::RealtimeEvent::ChannelStatusObj::LivingStatusObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(connection_status), AT(current_bitrate), AT(current_fps),
                                  AT(idx)}));
}  // namespace living_status

namespace server_info {
using Record = DravoAgentData::DravoServerInfo;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(fisheye_brand_list), AT(projection_brand_list)}));
}  // namespace server_info

namespace fisheye_size {
using Record = DravoAgentData::DravoServerInfo::FisheyeSizeObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(h), AT(w), AT(v), AT(latitude), AT(ratio), AT(x), AT(y)}));
}  // namespace fisheye_size

namespace fisheye_model {
using Record = DravoAgentData::DravoServerInfo::FisheyeModelObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(model_id), AT(model_name), AT(size_list)}));
}  // namespace fisheye_model

namespace fisheye_brand {
using Record = DravoAgentData::DravoServerInfo::FisheyeBrandObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(brand_id), AT(brand_name), AT(model_list)}));
}  // namespace fisheye_brand

namespace projection_size {
using Record = DravoAgentData::DravoServerInfo::ProjectionSizeObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({
    AT(h),
    AT(w),
    AT(fov),
    AT(left_center_x),
    AT(left_center_y),
    AT(left_orientation),
    AT(left_radius_x),
    AT(left_radius_y),
    AT(right_center_x),
    AT(right_center_y),
    AT(right_orientation),
    AT(right_radius_x),
    AT(right_radius_y),
}));
}  // namespace projection_size

namespace projection_model {
using Record = DravoAgentData::DravoServerInfo::ProjectionModelObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(projection), AT(model_id), AT(model_name), AT(size_list)}));
}  // namespace projection_model

namespace projection_brand {
using Record = DravoAgentData::DravoServerInfo::ProjectionBrandObj;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(brand_id), AT(brand_name), AT(model_list)}));
}  // namespace projection_brand

namespace autonomy_info {
using Record = FederateBoxType::AutonomyInfo;
static_assert(std::is_standard_layout_v<Record>);
static_assert(InDeclarationOrder({AT(lid), AT(lname), AT(username), AT(password), AT(address),
                                  AT(group)}));
}  // namespace autonomy_info

#undef AT

// Sizes on the shipped platform (x86-64, libstdc++ with its C++11 string; std::string 32 bytes,
// std::vector 24, std::vector<bool> 40, std::shared_ptr 16). A member added anywhere, or a
// change of a member's type, moves one of these.
#if defined(__x86_64__) && defined(__GLIBCXX__) && _GLIBCXX_USE_CXX11_ABI && \
    !defined(_GLIBCXX_DEBUG)
namespace sizes {
using namespace DravoAgentData;
using Channel = ChannelInformation::ChannelObj;
static_assert(sizeof(AutonomyList) == 24);
static_assert(sizeof(AutonomyList::AutonomyListObj) == 928);
static_assert(sizeof(Channel) == 728);
static_assert(sizeof(Channel::MultiStreamObj) == 80);
static_assert(sizeof(Channel::VirtualCameraObj) == 56);
static_assert(sizeof(Channel::AutoCruisingInfo) == 32);
static_assert(sizeof(Channel::AutoCruisingInfo::AutoCruisingPreset) == 12);
static_assert(sizeof(Channel::AudioInfo) == 8);
static_assert(sizeof(Channel::EventInstallationInfo) == 48);
static_assert(sizeof(Channel::FisheyeInfo) == 56);
static_assert(sizeof(Channel::ProjectionInfo) == 4);
static_assert(sizeof(Channel::LoginAuthInfo) == 128);
static_assert(sizeof(Channel::ManufacturerInfo) == 104);
static_assert(sizeof(Channel::NetworkSettingInfo) == 88);
static_assert(sizeof(Channel::RecordingStatusInfo) == 3);
static_assert(sizeof(Channel::StreamInfo) == 72);
static_assert(sizeof(Channel::StreamInfo::MainStream) == 48);
static_assert(sizeof(RealtimeEvent::ChannelStatusObj) == 88);
static_assert(sizeof(RealtimeEvent::ChannelStatusObj::LivingStatusObj) == 32);
static_assert(sizeof(RealtimeEvent::ChannelStatusObj::RecordedStatistic) == 16);
static_assert(sizeof(DravoServerInfo) == 48);
static_assert(sizeof(DravoServerInfo::FisheyeSizeObj) == 48);
static_assert(sizeof(DravoServerInfo::FisheyeModelObj) == 88);
static_assert(sizeof(DravoServerInfo::FisheyeBrandObj) == 88);
static_assert(sizeof(DravoServerInfo::ProjectionSizeObj) == 96);
static_assert(sizeof(DravoServerInfo::ProjectionModelObj) == 120);
static_assert(sizeof(DravoServerInfo::ProjectionBrandObj) == 88);
static_assert(sizeof(FederateBoxType::AutonomyInfo) == 168);
}  // namespace sizes
#endif

}  // namespace
