// Channel bodies: byte-exact against golden texts written from the key orders, the record ->
// text -> record round trip, and the arbitrator bodies' results when cJSON runs out of memory
// (the other partial bodies are the allocation-failure suite's).
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <vector>

#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using DravoAgentData::AutonomyList;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;
using fdrtest::ReadTestData;

constexpr char kGuid[] = "0f5c2a9e-7b1d-4e8a-9c3f-2d6b8e1a4c70";

// Every field away from its default: two presets, two streams, two virtual cameras and 65 input
// flags (every third one on, so the list ends in false).
std::shared_ptr<ChannelObj> FullChannel() {
    auto c = std::make_shared<ChannelObj>();
    c->audio = {3, true, true};
    using Preset = ChannelObj::AutoCruisingInfo::AutoCruisingPreset;
    c->auto_cruising.auto_cruising_list = {std::make_shared<Preset>(Preset{15, 1, true}),
                                           std::make_shared<Preset>(Preset{30, 2, false})};
    c->auto_cruising.enabled = true;
    c->auto_cruising.stop_when_ptzing = true;
    for (int i = 0; i < 65; ++i) {
        c->event_installation.input.input_enabled_list.push_back(i % 3 == 0);
    }
    c->event_installation.motion = {true, true, true};
    c->fisheye = {2, 1, true, 3, 90, 45.5, 0.875, 960.25, -540.5};
    c->host_value = 0xFEEDFACE;
    c->projection.projection_type = 4;
    c->login_auth = {"cam-pass", "viewer", "admin-pass", "guest-pass"};
    c->manufacturer = {"Acme", "AC-4K", "ACMEAC4K", 1};
    c->network_setting = {"192.168.1.64", 8080, 554, 8554, "203.0.113.7", 18080};
    c->recording_status = {true, true, true};
    c->stream_info.main_stream = {true, 5, 30, 9, "3840x2160"};
    using Stream = ChannelObj::MultiStreamObj;
    c->stream_info.multi_stream_list = {std::make_shared<Stream>(Stream{"AAC ", "H265", 15, 4, 1}),
                                        std::make_shared<Stream>(Stream{"G711", "H264", 10, 2, 2})};
    using Camera = ChannelObj::VirtualCameraObj;
    c->virtual_camera_list = {std::make_shared<Camera>(Camera{720, 10, 1, "Door", 20, 1280}),
                              std::make_shared<Camera>(Camera{360, 640, 2, "Desk", 180, 480})};
    c->channel_index = 12;
    c->channel_guid = kGuid;
    c->channel_name = "Lobby \"East\" / Caf\xC3\xA9";
    c->owner_lid = "srv-lid-1";
    c->spare_text = "not for the wire";
    c->video_setting_support = true;
    c->retrieve = 7;
    return c;
}

std::shared_ptr<ChannelObj> NamedChannel(const std::string& owner, const std::string& guid,
                                         const std::string& name) {
    auto c = std::make_shared<ChannelObj>();
    c->owner_lid = owner;
    c->channel_guid = guid;
    c->channel_name = name;
    return c;
}

std::string ChannelText(const std::shared_ptr<ChannelObj>& channel) {
    std::string text;
    construct_cahnnel_info_string(channel, text);
    return text;
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) {
        text.replace(at, from.size(), to);
    }
    return text;
}

TEST(ChannelJsonFormatter, ChannelTextFollowsTheKeyOrder) {
    EXPECT_EQ(ChannelText(FullChannel()), ReadTestData("channels/channel_full.json"));
    EXPECT_EQ(ChannelText(std::make_shared<ChannelObj>()),
              ReadTestData("channels/channel_default.json"));
    std::string text = "kept";
    construct_cahnnel_info_string(nullptr, text);
    EXPECT_EQ(text, "kept");
}

using ListFormatter = unsigned int (*)(const std::string&, const ChannelObjList&, std::string&);

struct ListBodyCase {
    const char* mode;
    ListFormatter format;
};

const ListBodyCase kListBodies[] = {
    {"add", &CChannelInfoJsonFormatter::FormatterAddChannelInfo},
    {"replace", &CChannelInfoJsonFormatter::FormatterRefreshChannelInfo},
    {"update", &CChannelInfoJsonFormatter::FormatterUpdateChannelInfo},
    {"remove", &CChannelInfoJsonFormatter::FormatterRemoveChannelInfo},
};

TEST(ChannelJsonFormatter, OneServerListBodiesDifferInModeAndData) {
    // A null record in the host's list is passed over.
    const ChannelObjList channels = {FullChannel(), nullptr, std::make_shared<ChannelObj>()};
    const std::string with_data = ReadTestData("channels/list_body.json");
    for (const auto& c : kListBodies) {
        SCOPED_TRACE(c.mode);
        const std::string expected = std::string(c.mode) == "remove"
                                         ? ReadTestData("channels/list_remove_body.json")
                                         : Replace(with_data, "\"mode\":\"add\"",
                                                   "\"mode\":\"" + std::string(c.mode) + "\"");
        std::string body = "previous";
        EXPECT_EQ(c.format("srv-lid-1", channels, body), 0u);
        EXPECT_EQ(body, expected);

        EXPECT_EQ(c.format("", {}, body), 0u);
        EXPECT_EQ(body, "{\"autonomy_list\":[{\"autonomy_lid\":\"\",\"mode\":\"" +
                            std::string(c.mode) + "\",\"channel_list\":[]}]}");
    }
}

TEST(ChannelJsonFormatter, GroupedBodyGivesEachServerItsOwnChannels) {
    AutonomyList servers;
    for (const char* lid : {"lid-A", "", "lid-B", "lid-C", "lid-A"}) {
        auto server = std::make_shared<AutonomyList::AutonomyListObj>();
        server->autonomy_lid = lid;
        // The empty lid stands for a missing record: the host's list may hold null.
        servers.autonomy_list.push_back(*lid == '\0' ? nullptr : server);
    }
    const ChannelObjList channels = {
        NamedChannel("lid-A", "g1", "one"),
        NamedChannel("lid-B", "g2", "two"),
        NamedChannel("lid-A ", "g3", "three"),  // lids compare byte for byte
        nullptr,
        NamedChannel("lid-A", "g4", "four"),
        NamedChannel("lid-Z", "g5", "no server"),
    };
    auto log = fdrtest::WatchCenterLog();
    std::string body;
    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers, channels, body), 0u);
    EXPECT_EQ(body, ReadTestData("channels/grouped_body.json"));
    EXPECT_TRUE(log.NewLines().empty());

    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterAddChannelInfo(AutonomyList(), channels, body),
              0u);
    EXPECT_EQ(body, "{\"autonomy_list\":[]}");
}

ChannelStatusObjList TwoStatuses() {
    using Living = ChannelStatusObj::LivingStatusObj;
    auto first = std::make_shared<ChannelStatusObj>();
    first->living_status = {std::make_shared<Living>(Living{1, 2048.5, 29.97, 0}), nullptr,
                            std::make_shared<Living>(Living{2, 512, 15, 1})};
    first->recorded_statistic = {3, 1024, 30, 65536};
    first->status_spare = 99;
    first->channel_guid = "g-1";
    first->channel_index = 1;
    auto second = std::make_shared<ChannelStatusObj>();
    second->channel_guid = "g-2";
    second->channel_index = 2;
    return {first, nullptr, second};
}

ChannelObjList TwoChangedChannels() {
    auto second = NamedChannel("", "g-2", "two");
    second->channel_index = 2;
    second->manufacturer = {"B", "M", "ABCDE", 0};
    second->network_setting.lan_addr = "10.0.0.2";
    return {FullChannel(), second};
}

TEST(ChannelJsonFormatter, ArbitratorBodies) {
    std::string body;
    EXPECT_EQ(
        CChannelInfoJsonFormatter::FormatterCameraStatusChange("srv-lid-1", TwoStatuses(), body),
        0u);
    EXPECT_EQ(body, ReadTestData("channels/status_body.json"));

    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterCameraListChange("srv-lid-1",
                                                                   TwoChangedChannels(), body),
              0u);
    EXPECT_EQ(body, ReadTestData("channels/list_change_body.json"));

    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterCameraListRefresh("srv-lid-1", body), 0u);
    EXPECT_EQ(body, ReadTestData("channels/refresh_body.json"));

    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterCameraStatusChange("x", {}, body), 0u);
    EXPECT_EQ(body, "{\"autonomy_list\":[{\"autonomy_lid\":\"x\",\"channel_status_list\":[]}]}");
    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterCameraListChange("x", {}, body), 0u);
    EXPECT_EQ(body, "{\"autonomy_list\":[{\"autonomy_lid\":\"x\",\"channel_list\":[]}]}");
}

TEST(ChannelJsonFormatter, ListChangeSplitsUmsidIntoBrandAndModelHalves) {
    const struct {
        const char* umsid;
        const char* brand;
        const char* model;
    } cases[] = {{"ABCDE", "AB", "CDE"}, {"A", "", "A"}, {"", "", ""}};  // even: the notices' test
    for (const auto& c : cases) {
        SCOPED_TRACE(c.umsid);
        auto channel = std::make_shared<ChannelObj>();
        channel->manufacturer.umsid = c.umsid;
        std::string body;
        ASSERT_EQ(CChannelInfoJsonFormatter::FormatterCameraListChange("l", {channel}, body), 0u);
        EXPECT_NE(body.find("\"manufacturer\":{\"camera_brand\":\"" + std::string(c.brand) +
                            "\",\"camera_model\":\"" + std::string(c.model) + "\","),
                  std::string::npos)
            << body;
    }
}

// ---- Round trip through the channel list parser ----

std::string Printed(const cJSON* item) {
    char* printed = cJSON_PrintUnformatted(item);
    const std::string text(printed);
    cJSON_free(printed);
    return text;
}

// A "channel_list" answer whose entries carry the given channel texts as "data".
std::string ChannelListAnswer(const std::vector<std::string>& texts) {
    cJSON* root = cJSON_CreateObject();
    cJSON* list = cJSON_AddArrayToObject(root, "channel_list");
    for (const auto& text : texts) {
        cJSON* entry = cJSON_CreateObject();
        cJSON_AddStringToObject(entry, "data", text.c_str());
        cJSON_AddItemToArray(list, entry);
    }
    const std::string answer = Printed(root);
    cJSON_Delete(root);
    return answer;
}

TEST(ChannelRoundTrip, ServiceTextToRecordsToTextKeepsEveryField) {
    const std::string partial =
        "{\"channel_guid\":\"g-3\",\"channel_index\":3,\"fisheye\":{\"latitude\":12.75},"
        "\"stream_info\":{\"multi_stream_list\":[{\"stream_id\":4}]}}";
    ChannelObjList parsed;
    ASSERT_EQ(
        CFdrUtilParser::ParseChannelList(
            ChannelListAnswer({ReadTestData("channels/channel_full_service.json"), "{}", partial})
                .c_str(),
            parsed),
        0u);
    ASSERT_EQ(parsed.size(), 3u);
    // retrieve is the host's: the parser leaves it at -1.
    EXPECT_EQ(ChannelText(parsed[0]), Replace(ReadTestData("channels/channel_full.json"),
                                              "\"retrieve\":7", "\"retrieve\":-1"));
    EXPECT_EQ(ChannelText(parsed[1]), ReadTestData("channels/channel_default.json"));
    std::string expected_partial = ReadTestData("channels/channel_default.json");
    expected_partial = Replace(expected_partial, "\"channel_guid\":\"\",\"channel_index\":0",
                               "\"channel_guid\":\"g-3\",\"channel_index\":3");
    expected_partial = Replace(expected_partial, "\"latitude\":0", "\"latitude\":12.75");
    expected_partial =
        Replace(expected_partial, "\"multi_stream_list\":[]",
                "\"multi_stream_list\":[{\"stream_id\":4,\"video_fps\":-1,\"video_fcc\":\"\","
                "\"audio_fcc\":\"\",\"video_resolution\":-1}]");
    EXPECT_EQ(ChannelText(parsed[2]), expected_partial);

    // Stored and loaded again: the list body's server entry is what the service hands back.
    std::string body;
    CChannelInfoJsonFormatter::FormatterRefreshChannelInfo("lid", parsed, body);
    cJSON* stored = cJSON_Parse(body.c_str());
    ASSERT_NE(stored, nullptr);
    const std::string server =
        Printed(cJSON_GetArrayItem(cJSON_GetObjectItem(stored, "autonomy_list"), 0));
    cJSON_Delete(stored);
    ChannelObjList reloaded;
    EXPECT_EQ(CFdrUtilParser::ParseChannelList(server.c_str(), reloaded), 0u);
    ASSERT_EQ(reloaded.size(), parsed.size());
    // The written camera list (six bare values and {} per camera) reads back as one default
    // camera per {}; everything else survives.
    EXPECT_EQ(ChannelText(reloaded[0]),
              Replace(ChannelText(parsed[0]),
                      "[720,10,1,1280,20,\"Door\",{},360,640,2,480,180,\"Desk\",{}]",
                      "[0,0,0,0,0,\"\",{},0,0,0,0,0,\"\",{}]"));
    EXPECT_EQ(ChannelText(reloaded[1]), ChannelText(parsed[1]));
    EXPECT_EQ(ChannelText(reloaded[2]), ChannelText(parsed[2]));
}

// ---- Running out of memory inside cJSON ----

long fail_at = -1;  // the cJSON allocation (0-based) that fails; -1: none
long allocations = 0;

// Runs `format` once undisturbed and once with each of its cJSON allocations failing in turn;
// `check` follows each failing run.
void EachAllocationFailing(const std::function<void()>& format,
                           const std::function<void()>& check) {
    const auto run = [&](long fail) {
        fail_at = fail;
        allocations = 0;
        cJSON_Hooks hooks{
            [](size_t size) { return allocations++ == fail_at ? nullptr : std::malloc(size); },
            [](void* p) { std::free(p); }};
        cJSON_InitHooks(&hooks);
        struct Restore {
            ~Restore() { cJSON_InitHooks(nullptr); }  // also when `format` throws
        } restore;
        format();
    };
    run(-1);
    const long total = allocations;
    ASSERT_GT(total, 0);
    for (long n = 0; n < total; ++n) {
        SCOPED_TRACE(n);
        run(n);
        check();
    }
}

bool IsJson(const std::string& text) {
    cJSON* parsed = cJSON_Parse(text.c_str());
    cJSON_Delete(parsed);
    return parsed != nullptr;
}

TEST(ChannelJsonFormatterOutOfMemory, ArbitratorBodiesReportAFailedPrint) {
    using F = CChannelInfoJsonFormatter;
    const struct {
        const char* name;
        std::function<unsigned int(std::string&)> format;
    } cases[] = {
        {"status",
         [](std::string& out) { return F::FormatterCameraStatusChange("l", TwoStatuses(), out); }},
        {"list change",
         [](std::string& out) {
             return F::FormatterCameraListChange("l", TwoChangedChannels(), out);
         }},
        {"refresh", [](std::string& out) { return F::FormatterCameraListRefresh("l", out); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string out;
        unsigned int result = 0;
        EachAllocationFailing(
            [&] {
                out = "untouched";
                result = c.format(out);
            },
            [&] {
                ASSERT_TRUE(result == 0 || result == F::kPrintFailed) << result;
                if (result == F::kPrintFailed) {
                    EXPECT_EQ(out, "untouched");
                } else {
                    // Either nothing could be started, or a shortened body was printed.
                    EXPECT_TRUE(out == "untouched" || IsJson(out)) << out;
                }
            });
        // The last allocation is the printed text.
        EXPECT_EQ(result, F::kPrintFailed);
    }
}

TEST(ChannelJsonFormatterOutOfMemory, GroupedBodyLogsChannelsLeftBlank) {
    AutonomyList servers;
    servers.autonomy_list.push_back(std::make_shared<AutonomyList::AutonomyListObj>());
    servers.autonomy_list[0]->autonomy_lid = "lid-A";
    const ChannelObjList channels = {NamedChannel("lid-A", "g1", "one")};
    auto log = fdrtest::WatchCenterLog();
    std::string out;
    int blank = 0;
    EachAllocationFailing(
        [&] {
            out = "untouched";
            try {
                CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers, channels, out);
            } catch (const std::logic_error&) {
            }
        },
        [&] {
            const auto lines = log.NewLines();
            if (lines.size() > static_cast<size_t>(blank)) {
                EXPECT_EQ(lines.back(), "[zubrik]  guid[g1] has blank data");
                EXPECT_TRUE(out == "untouched" || out.find("\"data\":\"\"") != std::string::npos)
                    << out;
                ++blank;
            }
        });
    // Failing the channel text's root object is the one way to a blank text.
    EXPECT_EQ(blank, 1);
}

}  // namespace
