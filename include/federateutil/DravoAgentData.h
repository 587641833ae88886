// Records shared by the host and the library. Their member order is part of the binary
// interface: the host and the library must agree on it, so members are never reordered.
// Every record default-constructs to its documented defaults, so std::make_shared<T>() is ready.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace DravoAgentData {

// The member servers (autonomies) of the federation.
struct AutonomyList {
    // One member server.
    struct AutonomyListObj {
        std::string server_mode;     // in "server_mode", out "autonomy_mode"
        std::string address;         // in "address", out "autonomy_address"
        std::string username;        // in "username", out "autonomy_username"
        std::string password;        // in "password", out "autonomy_password" (plain text)
        std::string autonomy_lid;    // the member's local identifier
        std::string autonomy_lname;  // the member's display name
        std::string add_time;        // when the member joined; out "autonomy_add_time"
        int32_t group_id = 1;        // "id" of the first "group_list" element; out "autonomy_group"
        std::string host_text1;      // carried for the host
        int64_t host_value1 = 0;     // carried for the host
        uint64_t health_status = 0;  // out "autonomy_health_status", full unsigned range
        int64_t host_value2 = 0;     // carried for the host
        std::string firmware;        // out "autonomy_firmware"
        std::string firmware_date;   // out "autonomy_firmware_date"
        std::string autonomy_id;     // the member's global identifier
        std::string mac;             // in "mac", out "autonomy_mac"
        std::string sid;             // out "autonomy_sid"
        std::string token;           // out "autonomy_token"
        std::string machine_internal_model;
        std::string machine_model;
        std::string machine_name;
        std::string machine_version;
        std::string auth_data;                  // opaque authentication data
        bool is_admin = false;                  // `username` has administrator rights
        std::string cms_server_required_lower;  // lowest accepted central-server version
        std::string cms_server_required_upper;  // highest accepted central-server version
        std::string pc_client_required_lower;   // lowest desktop-client version (never sent)
        std::string pc_client_required_upper;   // highest desktop-client version
        bool host_flag1 = true;                 // carried for the host
        int32_t ch_num = 0;                     // number of channels; out "autonomy_ch_num" as text
        bool host_flag2 = false;                // carried for the host
        bool host_flag3 = false;                // carried for the host
        bool is_support_enable_app = true;      // capability flags, out "center_capabilities"
        bool is_support_update_fw = true;
        bool is_support_add_server = true;
        bool is_zep = false;                  // the member is of the "zep" product kind
        bool centralized_by_another = false;  // already managed by another central server
        bool host_flag4 = false;              // carried for the host
        std::string host_text2;               // carried for the host
        std::string host_text3;               // carried for the host
        std::string thirdparty_support_list;  // JSON text, sent as parsed JSON
        int32_t retrieve = -1;                // -1: not set
        std::string sys_health = "good";      // overall health word
    };

    std::vector<std::shared_ptr<AutonomyListObj>> autonomy_list;
};

// The cameras (channels) of a member server.
struct ChannelInformation {
    struct ChannelObj {
        // A further stream of the camera.
        struct MultiStreamObj {
            std::string audio_fcc;
            std::string video_fcc;
            int32_t video_fps = -1;
            int32_t video_resolution = -1;
            int32_t stream_id = -1;
        };
        // A view area cut out of the channel.
        struct VirtualCameraObj {
            int32_t height = 0;
            int32_t horizontal = 0;
            int32_t index = 0;
            std::string name;
            int32_t vertical = 0;
            int32_t width = 0;
        };
        // The auto-cruising tour ("auto_cruising").
        struct AutoCruisingInfo {
            // One stop of the tour.
            struct AutoCruisingPreset {
                int32_t interval = -1;
                int32_t preset_index = -1;
                bool snapshot_support = false;
            };
            std::vector<std::shared_ptr<AutoCruisingPreset>> auto_cruising_list;
            bool enabled = false;
            bool stop_when_ptzing = false;
        };
        struct AudioInfo {  // "audio"
            int32_t audio_out_format = 0;
            bool audio_out_support = false;
            bool audio_recording_support = false;
        };
        struct EventInstallationInfo {                 // "event_installation"
            struct InputInfo {                         // "input"
                std::vector<bool> input_enabled_list;  // one flag per event input, in order
            };
            struct MotionInfo {  // "motion"
                bool motion_detection_settings_support = false;
                bool motion_detection_support = false;
                bool motion_enabled = false;
            };
            InputInfo input;
            MotionInfo motion;
        };
        struct FisheyeInfo {  // "fisheye"
            int32_t display_mode = 0;
            int32_t fisheye_type = -1;  // -1: not a fisheye camera
            bool immer_vision_enabled = false;
            int32_t mount_type = 0;
            int32_t panorama_pan = 0;
            double latitude = 0.0;
            double radius_ratio = 0.0;
            double x = 0.0;
            double y = 0.0;
        };
        struct ProjectionInfo {  // "projection"
            int32_t projection_type = 0;
        };
        struct LoginAuthInfo {     // "login_auth"; the misspelt keys are the service's wire names
            std::string passowrd;  // camera login password
            std::string username;
            std::string admin_passowrd;
            std::string guest_passowrd;
        };
        struct ManufacturerInfo {  // "manufacturer"
            std::string camera_brand;
            std::string camera_model;
            std::string umsid;  // brand part and model part of equal length
            int32_t umsid_undefined = 0;
        };
        struct NetworkSettingInfo {  // "network_setting"
            std::string lan_addr;
            int32_t lan_port = 0;
            int32_t rtsp_port_1 = 0;
            int32_t rtsp_port_2 = 0;
            std::string wan_addr;
            int32_t wan_port = 0;
        };
        struct RecordingStatusInfo {  // "recording_status"
            bool alarm_rec_enabled = false;
            bool manual_rec_enabled = false;
            bool schedule_rec_enabled = false;
        };
        struct StreamInfo {      // "stream_info"
            struct MainStream {  // "main_stream"
                bool support_vs_dewarp = false;
                int32_t video_codec_id = -1;
                int32_t video_fps = -1;
                int32_t video_resolution = -1;
                std::string video_resolution_str;
            };
            MainStream main_stream;
            std::vector<std::shared_ptr<MultiStreamObj>> multi_stream_list;
        };

        AudioInfo audio;
        AutoCruisingInfo auto_cruising;
        EventInstallationInfo event_installation;
        FisheyeInfo fisheye;
        uint64_t host_value = 0;  // kept for the host; never read or written here
        ProjectionInfo projection;
        LoginAuthInfo login_auth;
        ManufacturerInfo manufacturer;
        NetworkSettingInfo network_setting;
        RecordingStatusInfo recording_status;
        StreamInfo stream_info;
        std::vector<std::shared_ptr<VirtualCameraObj>> virtual_camera_list;
        int32_t channel_index = 0;
        std::string channel_guid;  // the key by which the federation knows the channel
        std::string channel_name;
        std::string owner_lid;   // lid of the member server owning the channel; set by the host
        std::string spare_text;  // kept for the host; never read or written here
        bool video_setting_support = false;
        int32_t retrieve = -1;  // kept by the host; never filled by the parser
    };
};

// Live state of channels, filled by the host and only formatted by the library.
struct RealtimeEvent {
    struct ChannelStatusObj {
        // One live stream of the channel.
        struct LivingStatusObj {
            int32_t connection_status = 0;
            double current_bitrate = 0.0;
            double current_fps = 0.0;
            int32_t idx = 0;
        };
        struct RecordedStatistic {  // "recorded_statistic"
            int32_t alarm_rec_days = 0;
            int32_t alarm_rec_size = 0;
            int32_t normal_rec_days = 0;
            int32_t normal_rec_size = 0;
        };

        std::vector<std::shared_ptr<LivingStatusObj>> living_status;
        RecordedStatistic recorded_statistic;
        uint64_t status_spare = 0;  // not used by this library
        std::string channel_guid;
        int32_t channel_index = 0;
    };
};

// The host's record of its server; the library reads only the two lens catalogues.
struct DravoServerInfo {
    // Lens parameters of a fisheye model for one image size.
    struct FisheyeSizeObj {
        int32_t h = 0;
        int32_t w = 0;
        int32_t v = 0;
        double latitude = 0.0;
        double ratio = 0.0;
        double x = 0.0;
        double y = 0.0;
    };
    struct FisheyeModelObj {
        std::string model_id;
        std::string model_name;
        std::vector<FisheyeSizeObj> size_list;
    };
    struct FisheyeBrandObj {
        std::string brand_id;
        std::string brand_name;
        std::vector<FisheyeModelObj> model_list;
    };
    // Dual-lens parameters of a projection model for one image size.
    struct ProjectionSizeObj {
        int32_t h = 0;
        int32_t w = 0;
        double fov = 0.0;
        double left_center_x = 0.0;
        double left_center_y = 0.0;
        double left_orientation = 0.0;
        double left_radius_x = 0.0;
        double left_radius_y = 0.0;
        double right_center_x = 0.0;
        double right_center_y = 0.0;
        double right_orientation = 0.0;
        double right_radius_x = 0.0;
        double right_radius_y = 0.0;
    };
    struct ProjectionModelObj {
        std::string projection;  // name of the projection model
        std::string model_id;
        std::string model_name;
        std::vector<ProjectionSizeObj> size_list;
    };
    struct ProjectionBrandObj {
        std::string brand_id;
        std::string brand_name;
        std::vector<ProjectionModelObj> model_list;
    };

    std::vector<std::shared_ptr<FisheyeBrandObj>> fisheye_brand_list;
    std::vector<std::shared_ptr<ProjectionBrandObj>> projection_brand_list;
};

}  // namespace DravoAgentData
