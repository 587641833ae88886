// Records read from the service-format files, and printed back in those formats.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>

#include "Errors.h"
#include "JsonInput.h"
#include "JsonOutput.h"
#include "RecordFiles.h"
#include "RecordJson.h"

namespace fedutil {
namespace {

std::string Data(const char* name) {
    return std::string(FEDUTIL_TEST_DATA) + "/" + name;
}

Json::Value FromText(const std::string& text) {
    return ParseJsonInput(text, "test.json");
}

TEST(MemberFiles, ReadTheServiceKeysAndTheHostsOwnMembers) {
    const auto members = ReadMemberFile(Data("members.json"));
    ASSERT_EQ(members.autonomy_list.size(), 2u);
    const auto& first = *members.autonomy_list[0];
    EXPECT_EQ(first.autonomy_lid, "1");
    EXPECT_EQ(first.password, "Wh-North!24");
    EXPECT_EQ(first.add_time, "2024-03-02 08:15:41");
    EXPECT_EQ(first.firmware, "4.2.1");
    EXPECT_EQ(first.machine_model, "NVR-16P");
    EXPECT_EQ(first.sys_health, "good");  // defaults stay
    const auto& second = *members.autonomy_list[1];
    EXPECT_EQ(second.group_id, 2);
    EXPECT_EQ(second.health_status, UINT64_MAX);
    EXPECT_TRUE(second.is_zep);
    EXPECT_EQ(second.thirdparty_support_list, R"([{"brand":"Brightlane"}])");
}

TEST(MemberFiles, WhatIsPrintedReadsBackTheSame) {
    const auto members = ReadMemberFile(Data("members.json"));
    const JsonTree printed = MemberListJson(members);
    const auto again = ReadMembers(FromText(CompactJson(printed.get())), "printed");
    ASSERT_EQ(again.autonomy_list.size(), members.autonomy_list.size());
    for (size_t i = 0; i < members.autonomy_list.size(); ++i) {
        const auto& a = *members.autonomy_list[i];
        const auto& b = *again.autonomy_list[i];
        EXPECT_EQ(a.autonomy_lid, b.autonomy_lid);
        EXPECT_EQ(a.mac, b.mac);
        EXPECT_EQ(a.group_id, b.group_id);
        EXPECT_EQ(a.firmware_date, b.firmware_date);
        EXPECT_EQ(a.health_status, b.health_status);
        EXPECT_EQ(a.is_zep, b.is_zep);
        EXPECT_EQ(a.thirdparty_support_list, b.thirdparty_support_list);
    }
}

TEST(ChannelFiles, TakeDataAsTextAsObjectOrFromGuidAndName) {
    const auto channels = ReadChannelFile(Data("channels.json"));
    ASSERT_EQ(channels.size(), 3u);
    EXPECT_EQ(channels[0]->fisheye.fisheye_type, 2);
    EXPECT_EQ(channels[0]->manufacturer.camera_model, "FE-1200");
    ASSERT_EQ(channels[0]->virtual_camera_list.size(), 1u);
    EXPECT_EQ(channels[0]->virtual_camera_list[0]->name, "Gate");
    EXPECT_EQ(channels[1]->channel_index, 2);
    EXPECT_EQ(channels[1]->channel_name, "Aisle 3 Dome");
    EXPECT_EQ(channels[2]->channel_guid, "c1f0a7e2-0003-4b8e-9d3a-5e6f7a8b9c03");
    EXPECT_EQ(channels[2]->channel_name, "Perimeter East");
    EXPECT_EQ(channels[2]->fisheye.fisheye_type, -1);
    for (const auto& channel : channels) {
        EXPECT_EQ(channel->owner_lid, "1");
    }
}

TEST(ChannelFiles, OwnerComesFromTheEntryTheGroupOrTheFile) {
    const struct {
        const char* text;
        std::vector<std::string> owners;
    } cases[] = {
        {R"({"channel_list":[{"guid":"a"}]})", {""}},
        {R"({"autonomy_lid":"7","channel_list":[{"guid":"a"},{"guid":"b","owner_lid":"8"}]})",
         {"7", "8"}},
        {R"({"autonomy_list":[{"autonomy_lid":"1","channel_list":[{"guid":"a"}]},
                              {"autonomy_lid":"2","channel_list":[{"guid":"b"},{"guid":"c"}]}]})",
         {"1", "2", "2"}},
    };
    for (const auto& c : cases) {
        const auto channels = ReadChannels(FromText(c.text), "test.json");
        ASSERT_EQ(channels.size(), c.owners.size()) << c.text;
        for (size_t i = 0; i < channels.size(); ++i) {
            EXPECT_EQ(channels[i]->owner_lid, c.owners[i]) << c.text;
        }
    }
}

TEST(ChannelFiles, PrintedChannelsKeepTheirVirtualCameras) {
    // The library's own channel text flattens virtual cameras into bare values; printed
    // channels must read back with them intact.
    const auto channels = ReadChannelFile(Data("channels.json"));
    const JsonTree printed = ChannelListJson("1", channels);
    const auto again = ReadChannels(FromText(CompactJson(printed.get())), "printed");
    ASSERT_EQ(again.size(), channels.size());
    ASSERT_EQ(again[0]->virtual_camera_list.size(), 1u);
    EXPECT_EQ(again[0]->virtual_camera_list[0]->width, 1280);
    EXPECT_EQ(again[0]->virtual_camera_list[0]->name, "Gate");
    EXPECT_EQ(again[0]->fisheye.radius_ratio, 0.93);
    EXPECT_EQ(again[2]->channel_name, "Perimeter East");
    EXPECT_EQ(again[1]->owner_lid, "1");
}

TEST(OtherFiles, ReadStatusesAutonomyInfoAndLensCatalogue) {
    const auto statuses = ReadChannelStatusFile(Data("channel-status.json"));
    ASSERT_EQ(statuses.size(), 1u);
    ASSERT_EQ(statuses[0]->living_status.size(), 1u);
    EXPECT_EQ(statuses[0]->living_status[0]->current_bitrate, 2048.5);
    EXPECT_EQ(statuses[0]->recorded_statistic.normal_rec_size, 40960);

    const auto info = ReadAutonomyInfoFile(Data("autonomy.json"));
    EXPECT_EQ(info.lid, "1");
    EXPECT_EQ(info.password, "Wh-North!24");
    EXPECT_EQ(info.group, 1);

    const auto catalogue = ReadLensCatalogueFile(Data("lens-catalogue.json"));
    ASSERT_EQ(catalogue.fisheye_brand_list.size(), 1u);
    ASSERT_EQ(catalogue.fisheye_brand_list[0]->model_list.at(0).size_list.size(), 1u);
    EXPECT_EQ(catalogue.fisheye_brand_list[0]->model_list[0].size_list[0].w, 1920);
    ASSERT_EQ(catalogue.projection_brand_list.size(), 1u);
    const auto& model = catalogue.projection_brand_list[0]->model_list.at(0);
    EXPECT_EQ(model.projection, "dual_fisheye");
    EXPECT_EQ(model.size_list.at(0).right_orientation, 180.0);
}

TEST(RecordFiles, SayWhereAFileIsWrong) {
    using Reader = std::function<void(const Json::Value&)>;
    const Reader members = [](const Json::Value& v) { ReadMembers(v, "test.json"); };
    const Reader channels = [](const Json::Value& v) { ReadChannels(v, "test.json"); };
    const Reader statuses = [](const Json::Value& v) { ReadChannelStatuses(v, "test.json"); };
    const Reader autonomy = [](const Json::Value& v) { ReadAutonomyInfo(v, "test.json"); };
    const Reader lenses = [](const Json::Value& v) { ReadLensCatalogue(v, "test.json"); };
    const struct {
        const Reader* reader;
        const char* text;
        const char* message;
    } cases[] = {
        {&members, R"([])", "test.json: expected an object"},
        {&members, R"({"list":[]})", R"(expected {"autonomy_list":[...]})"},
        {&members, R"({"autonomy_list":[{"autonomy_lid":1}]})",
         "autonomy_list[0].autonomy_lid: expected a string"},
        {&members, R"({"autonomy_list":[{},"x"]})", "autonomy_list[1]: expected an object"},
        {&members, R"({"autonomy_list":[{"group_list":[{"id":"2"}]}]})",
         "autonomy_list[0].group_list[0].id: expected a whole number"},
        {&members, R"({"autonomy_list":[{"health_status":-1}]})",
         "autonomy_list[0].health_status: expected a whole number from 0"},
        {&members, R"({"autonomy_list":[{"thirdparty_support_list":5}]})",
         "expected an array, an object or JSON text"},
        {&members, R"({"err_code":3,"err_str":"busy","autonomy_list":[]})",
         R"(holds an error answer (err_code 3, "busy"), not a list)"},
        {&channels, R"({"autonomy_list":[{"channel_list":[]}]})",
         "autonomy_list[0].autonomy_lid: missing"},
        {&channels, R"({"channel_list":[{"data":"{not json"}]})", "channel_list[0].data:1:"},
        {&channels, R"({"channel_list":[{"data":"[1]"}]})",
         "channel_list[0].data: expected a JSON object in the text"},
        {&channels, R"({"channel_list":[{"data":7}]})",
         "channel_list[0].data: expected the channel's JSON text or a JSON object"},
        {&statuses, R"({"channel_status_list":[{"living_status":[1]}]})",
         "channel_status_list[0].living_status[0]: expected an object"},
        {&statuses, R"({"channel_status_list":[{"channel_index":2.5}]})",
         "channel_status_list[0].channel_index: expected a whole number"},
        {&autonomy, R"({"lname":"x"})", "test.json: lid: missing"},
        {&autonomy, R"({"lid":"1","group":"2"})", "group: expected a whole number"},
        {&lenses, R"({})", R"(expected "FishEyeParameterTable", "ProjectionTable" or both)"},
        {&lenses, R"({"ProjectionTable":[{"model_list":[{"size_list":[{"fov":"wide"}]}]}]})",
         "ProjectionTable[0].model_list[0].size_list[0].fov: expected a number"},
    };
    for (const auto& c : cases) {
        try {
            (*c.reader)(FromText(c.text));
            ADD_FAILURE() << "accepted " << c.text;
        } catch (const InputError& error) {
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos)
                << c.text << "\n  said: " << error.what();
        }
    }
}

TEST(JsonInput, PointsAtTheLineAndColumnOfASyntaxError) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"{\n  \"a\": 1,\n}", "test.json:3:1:"},
        {"{\"a\": 1, \"a\": 2}", "test.json:1:"},  // duplicate key
        {"  \n ", "test.json: empty, expected JSON"},
        {"{} {}", "test.json:1:"},
    };
    for (const auto& c : cases) {
        try {
            FromText(c.text);
            ADD_FAILURE() << "accepted " << c.text;
        } catch (const InputError& error) {
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos)
                << c.text << "\n  said: " << error.what();
        }
    }
}

}  // namespace
}  // namespace fedutil
