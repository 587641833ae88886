// The "/fdr/CmsChannel" answer reader: codes, records, standard-output and log lines for every
// kind of answer a service can send (answers nested too deep, cut short or huge are the
// fault-injection suite's). Run under ASan, these also show that every parsed document (the
// per-channel ones included) is released.
#include <gtest/gtest.h>

#include <functional>

#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
constexpr unsigned int kError = CFdrUtilParser::kChannelListError;
constexpr char kDataFailedLine[] = "[fedutil][ParseChannelList] parse channel data failed";

// An answer with one channel whose "data" is `channel_json`, escaped into a JSON string.
std::string OneChannel(const std::string& channel_json) {
    std::string escaped;
    for (const char c : channel_json) {
        if (c == '\n') {
            escaped += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return "{\"channel_list\":[{\"guid\":\"g\",\"data\":\"" + escaped + "\"}]}";
}

std::string Text(const std::shared_ptr<ChannelObj>& channel) {
    std::string text;
    construct_cahnnel_info_string(channel, text);
    return text;
}

struct AnswerCase {
    const char* name;
    std::string answer;
    unsigned int code;
    size_t records;
    const char* stdout_text;  // exactly what is printed
    bool data_failure_logged;
    std::function<void(const ChannelObjList&)> check;
};

TEST(ChannelJsonParser, AnswersYieldTheirCodesRecordsAndLines) {
    // Deeper than cJSON's nesting limit.
    const std::string nested = std::string(2000, '[') + std::string(2000, ']');
    const AnswerCase cases[] = {
        {"empty text", "", kError, 0, "", false, nullptr},
        {"not JSON", "<html>busy</html>", kError, 0, "", false, nullptr},
        {"no channel_list", "{\"err_code\":5}", kError, 0, "", false, nullptr},
        {"array root", "[{\"channel_list\":[]}]", kError, 0, "", false, nullptr},
        {"empty list", "{\"channel_list\":[]}", 0, 0, "", false, nullptr},
        {"empty list with err_code", "{\"channel_list\":[],\"err_code\":5}", 5, 0, "err_code : 5\n",
         false, nullptr},
        {"list as object walks its members",
         "{\"channel_list\":{\"a\":{\"data\":\"{\\\"channel_index\\\":1}\"},"
         "\"b\":{\"data\":\"{\\\"channel_index\\\":2}\"}}}",
         0, 2, "", false,
         [](const ChannelObjList& l) {
             EXPECT_EQ(l[0]->channel_index, 1);
             EXPECT_EQ(l[1]->channel_index, 2);
         }},
        {"list as text holds nothing", "{\"channel_list\":\"x\"}", 0, 0, "", false, nullptr},
        {"elements that are not objects are skipped",
         "{\"channel_list\":[1,\"x\",null,[],true,{\"data\":\"{\\\"channel_index\\\":5}\"}]}", 0, 1,
         "", false, [](const ChannelObjList& l) { EXPECT_EQ(l[0]->channel_index, 5); }},
        {"unusable data gives a default channel",
         "{\"channel_list\":[{\"data\":\"{}\"},{\"data\":5},{\"guid\":\"g\"},{\"data\":null},"
         "{\"data\":\"[]\"},{\"data\":{\"channel_index\":3}}]}",
         0, 6, "", false,
         [](const ChannelObjList& l) {
             for (const auto& channel : l) {
                 EXPECT_EQ(Text(channel), fdrtest::ReadTestData("channels/channel_default.json"));
             }
         }},
        {"bad data stops the walk",
         "{\"channel_list\":[{\"data\":\"{\\\"channel_index\\\":1}\"},{\"data\":\"{oops\"},"
         "{\"data\":\"{\\\"channel_index\\\":3}\"}]}",
         kError, 1, "", true, [](const ChannelObjList& l) { EXPECT_EQ(l[0]->channel_index, 1); }},
        {"too deep data", OneChannel(nested), kError, 0, "", true, nullptr},
        {"err_code hides a bad data",
         "{\"channel_list\":[{\"data\":\"{}\"},{\"data\":\"\"}],\"err_code\":0}", 0, 1,
         "err_code : 0\n", true, nullptr},
        {"err_code with channels",
         "{\"channel_list\":[{\"data\":\"{}\"},{\"data\":\"{}\"}],\"err_code\":5}", 5, 2,
         "err_code : 5\n", false, nullptr},
        {"error triple, negative code",
         "{\"err_no\":\"E12\",\"channel_list\":[],\"err_str\":\"busy\",\"err_code\":-1}",
         0xFFFFFFFFu, 0, "err_no : E12\nerr_str : busy\nerr_code : 4294967295\n", false, nullptr},
        {"error keys of the wrong type",
         "{\"channel_list\":[],\"err_no\":12,\"err_str\":[],\"err_code\":\"5\"}", 0, 0, "", false,
         nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto log = fdrtest::WatchCenterLog();
        ChannelObjList list;
        testing::internal::CaptureStdout();
        const unsigned int code = CFdrUtilParser::ParseChannelList(c.answer.c_str(), list);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(code, c.code);
        EXPECT_EQ(printed, c.stdout_text);
        ASSERT_EQ(list.size(), c.records);
        const auto lines = log.NewLines();
        if (c.data_failure_logged) {
            ASSERT_EQ(lines.size(), 1u);
            EXPECT_EQ(lines[0], kDataFailedLine);
        } else {
            EXPECT_TRUE(lines.empty());
        }
        if (c.check) {
            c.check(list);
        }
    }
}

TEST(ChannelJsonParser, NullTextAndRecordsAlreadyInTheList) {
    auto earlier = std::make_shared<ChannelObj>();
    ChannelObjList list = {earlier};
    EXPECT_EQ(CFdrUtilParser::ParseChannelList(nullptr, list), kError);
    EXPECT_EQ(CFdrUtilParser::ParseChannelList(
                  "{\"channel_list\":[{\"data\":\"{}\"},{\"data\":\"x\"}]}", list),
              kError);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0], earlier);
}

struct ChannelCase {
    const char* name;
    std::string channel_json;
    std::function<void(const ChannelObj&)> check;
};

TEST(ChannelJsonParser, ChannelFieldsFollowTheReadRules) {
    using Camera = ChannelObj::VirtualCameraObj;
    const ChannelCase cases[] = {
        {"presets that are not objects become default presets",
         R"({"auto_cruising":{"auto_cruising_list":[1,{"interval":3}],"enabled":true}})",
         [](const ChannelObj& c) {
             ASSERT_EQ(c.auto_cruising.auto_cruising_list.size(), 2u);
             const auto& first = *c.auto_cruising.auto_cruising_list[0];
             EXPECT_EQ(first.interval, -1);
             EXPECT_EQ(first.preset_index, -1);
             EXPECT_FALSE(first.snapshot_support);
             EXPECT_EQ(c.auto_cruising.auto_cruising_list[1]->interval, 3);
             EXPECT_EQ(c.auto_cruising.auto_cruising_list[1]->preset_index, -1);
             EXPECT_TRUE(c.auto_cruising.enabled);
         }},
        {"streams that are not objects become default streams",
         R"({"stream_info":{"multi_stream_list":["x",{"stream_id":2,"video_fcc":"H264"}]}})",
         [](const ChannelObj& c) {
             ASSERT_EQ(c.stream_info.multi_stream_list.size(), 2u);
             EXPECT_EQ(c.stream_info.multi_stream_list[0]->stream_id, -1);
             EXPECT_EQ(c.stream_info.multi_stream_list[1]->stream_id, 2);
             EXPECT_EQ(c.stream_info.multi_stream_list[1]->video_fcc, "H264");
         }},
        {"virtual cameras that are not objects are dropped",
         R"({"virtual_camera_list":[1,{"index":2,"name":"N"},"x",{}]})",
         [](const ChannelObj& c) {
             ASSERT_EQ(c.virtual_camera_list.size(), 2u);
             EXPECT_EQ(c.virtual_camera_list[0]->index, 2);
             EXPECT_EQ(c.virtual_camera_list[0]->name, "N");
             EXPECT_EQ(c.virtual_camera_list[1]->index, Camera().index);
         }},
        {"input flags keep their count; only true is true",
         R"({"event_installation":{"input":{"input_enabled_list":[true,1,null,false,"true"]}}})",
         [](const ChannelObj& c) {
             EXPECT_EQ(c.event_installation.input.input_enabled_list,
                       (std::vector<bool>{true, false, false, false, false}));
         }},
        {"retrieve is never taken", R"({"retrieve":7})",
         [](const ChannelObj& c) { EXPECT_EQ(c.retrieve, -1); }},
        {"a flag given as a number stays false",
         R"({"event_installation":{"motion":{"motion_enabled":1,"motion_detection_support":true}}})",
         [](const ChannelObj& c) {
             EXPECT_FALSE(c.event_installation.motion.motion_enabled);
             EXPECT_TRUE(c.event_installation.motion.motion_detection_support);
         }},
        {"i32 fields keep the low 32 bits, f64 fields the value",
         R"({"channel_index":4294967297,"manufacturer":{"umsid_undefined":18446744073709551615},
             "network_setting":{"lan_port":2.9,"wan_port":-1.5},
             "fisheye":{"latitude":1e308,"x":-0.0078125,"fisheye_type":-2147483648}})",
         [](const ChannelObj& c) {
             EXPECT_EQ(c.channel_index, 1);
             EXPECT_EQ(c.manufacturer.umsid_undefined, -1);
             EXPECT_EQ(c.network_setting.lan_port, 2);
             EXPECT_EQ(c.network_setting.wan_port, -1);
             EXPECT_EQ(c.fisheye.latitude, 1e308);
             EXPECT_EQ(c.fisheye.x, -0.0078125);
             EXPECT_EQ(c.fisheye.fisheye_type, INT32_MIN);
         }},
        {"a huge text is kept whole", "{\"channel_name\":\"" + std::string(1 << 24, 'n') + "\"}",
         [](const ChannelObj& c) { EXPECT_EQ(c.channel_name.size(), size_t{1} << 24); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ChannelObjList list;
        ASSERT_EQ(CFdrUtilParser::ParseChannelList(OneChannel(c.channel_json).c_str(), list), 0u);
        ASSERT_EQ(list.size(), 1u);
        c.check(*list[0]);
    }
}

TEST(ChannelJsonParser, WrongTypesEverywhereLeaveEveryDefault) {
    const char* const texts[] = {
        // Every group of another type.
        R"({"audio":[{"audio_out_format":3}],"auto_cruising":"on","event_installation":1,
            "fisheye":null,"login_auth":[],"manufacturer":true,"network_setting":"x",
            "projection":7,"recording_status":[true],"stream_info":"s","virtual_camera_list":{}})",
        // Every field of another type inside groups of the right type.
        R"({"audio":{"audio_out_format":"3","audio_out_support":1,"audio_recording_support":"true"},
            "auto_cruising":{"auto_cruising_list":{"interval":1},"enabled":null,"stop_when_ptzing":0},
            "channel_guid":5,"channel_index":"5","channel_name":["n"],
            "event_installation":{"input":{"input_enabled_list":{"a":true}},
                                  "motion":{"motion_detection_settings_support":"yes",
                                            "motion_detection_support":[],"motion_enabled":{}}},
            "fisheye":{"display_mode":true,"fisheye_type":"1","immer_vision_enabled":1,
                       "mount_type":null,"panorama_pan":[],"latitude":"1.5","radius_ratio":{},
                       "x":false,"y":"0"},
            "login_auth":{"username":1,"passowrd":true,"admin_passowrd":null,"guest_passowrd":[]},
            "manufacturer":{"camera_brand":1,"camera_model":{},"umsid":2,"umsid_undefined":"1"},
            "network_setting":{"lan_addr":1,"lan_port":"80","rtsp_port_1":true,"rtsp_port_2":[],
                               "wan_addr":null,"wan_port":{}},
            "projection":{"projection_type":"4"},
            "recording_status":{"alarm_rec_enabled":"true","manual_rec_enabled":1,
                                "schedule_rec_enabled":null},
            "stream_info":{"main_stream":{"support_vs_dewarp":1,"video_codec_id":"5",
                                          "video_fps":null,"video_resolution":true,
                                          "video_resolution_str":9},
                           "multi_stream_list":"s"},
            "video_setting_support":"true","virtual_camera_list":"v"})",
    };
    for (const char* text : texts) {
        ChannelObjList list;
        ASSERT_EQ(CFdrUtilParser::ParseChannelList(OneChannel(text).c_str(), list), 0u);
        ASSERT_EQ(list.size(), 1u);
        EXPECT_EQ(Text(list[0]), fdrtest::ReadTestData("channels/channel_default.json"));
    }
}

TEST(ChannelJsonParser, TenThousandChannels) {
    std::string answer = "{\"channel_list\":[";
    for (int i = 0; i < 10000; ++i) {
        answer += (i == 0 ? "" : ",");
        answer += "{\"guid\":\"g" + std::to_string(i) +
                  "\",\"data\":\"{\\\"channel_index\\\":" + std::to_string(i) +
                  ",\\\"virtual_camera_list\\\":[{\\\"index\\\":1}]}\"}";
    }
    answer += "]}";
    ChannelObjList list;
    ASSERT_EQ(CFdrUtilParser::ParseChannelList(answer.c_str(), list), 0u);
    ASSERT_EQ(list.size(), 10000u);
    EXPECT_EQ(list.front()->channel_index, 0);
    EXPECT_EQ(list.back()->channel_index, 9999);
    EXPECT_EQ(list.back()->virtual_camera_list.size(), 1u);
}

}  // namespace
