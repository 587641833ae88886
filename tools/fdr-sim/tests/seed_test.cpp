// The built-in sample federation and the seed file format.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "JsonText.h"
#include "SeedLoader.h"

namespace fdrsim {
namespace {

TEST(SampleFederation, EveryMemberHasFisheyeAndPlainCamerasWithReadableData) {
    FederationSeed seed = SampleFederation();
    EXPECT_FALSE(seed.guid.empty());
    ASSERT_EQ(seed.members.size(), 3u);
    for (const auto& member : seed.members) {
        int fisheye = 0;
        int plain = 0;
        for (const auto& channel : member.channels) {
            auto data = ParseJson(channel.data);
            ASSERT_TRUE(data && data->isObject()) << channel.guid;
            EXPECT_EQ((*data)["channel_guid"].asString(), channel.guid);
            EXPECT_EQ((*data)["channel_name"].asString(), channel.name);
            ((*data)["fisheye"]["fisheye_type"].asInt() >= 0 ? fisheye : plain) += 1;
        }
        EXPECT_GE(fisheye, 1) << member.autonomy_lid;
        EXPECT_GE(plain, 1) << member.autonomy_lid;
    }
    ASSERT_EQ(seed.clients.size(), 1u);
    EXPECT_EQ(seed.clients[0].client_id, "recorder");
    EXPECT_EQ(seed.config["fdrsystem"]["priv_last_ts"], "1715679000");
}

TEST(SampleFederation, IsTheShippedSampleSeedFile) {
    std::ifstream in(FDR_SIM_SAMPLE_SEED_FILE);
    std::ostringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), SampleSeedText()) << "rebuild: the compiled-in sample is stale";
}

TEST(SeedFile, KeepsTextDataByteForByteAndDefaultsTheClient) {
    FederationSeed seed;
    std::string error;
    ASSERT_TRUE(ParseSeed(R"({"guid":"g","members":[{"autonomy_lid":"1","channels":[
        {"guid":"a","data":"{ \"odd\" : 1 }"},{"guid":"b","data":{"x":0.1}}]}]})",
                          seed, &error))
        << error;
    EXPECT_EQ(seed.members[0].channels[0].data, R"({ "odd" : 1 })");
    EXPECT_EQ(seed.members[0].channels[1].data, R"({"x":0.1})");
    EXPECT_EQ(seed.members[0].group_id, 1);
    ASSERT_EQ(seed.clients.size(), 1u);
    EXPECT_EQ(seed.clients[0].client_secret, "s3cret");
}

TEST(SeedFile, ErrorsNameThePlace) {
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"{", "not JSON"},
        {"{}", "\"guid\" is missing"},
        {R"({"guid":"g","member":[]})", "unknown key \"member\""},
        {R"({"guid":"g","members":[{"autonomy_lid":1}]})",
         "members[0]: \"autonomy_lid\" must be a string"},
        {R"({"guid":"g","members":[{"autonomy_lid":"1"},{"autonomy_lid":"1"}]})",
         "members[1]: autonomy_lid \"1\" appears twice"},
        {R"({"guid":"g","members":[{"autonomy_lid":"1","channels":[{"name":"x"}]}]})",
         "members[0].channels[0]: \"guid\" is missing"},
        {R"({"guid":"g","members":[{"autonomy_lid":"1","channels":[{"guid":"a","data":[]}]}]})",
         "\"data\" must be the channel object or its JSON text"},
        {R"({"guid":"g","users":[{"name":"u","privileges":["a",1]}]})",
         "users[0].privileges[1]: expected a string"},
        {R"({"guid":"g","config":{"fdrsystem":{"priv_last_ts":1}}})",
         "config.fdrsystem: \"priv_last_ts\" must be a string"},
    };
    for (const auto& c : cases) {
        FederationSeed seed;
        std::string error;
        EXPECT_FALSE(ParseSeed(c.text, seed, &error)) << c.text;
        EXPECT_NE(error.find(c.error), std::string::npos) << c.text << "\n  gave: " << error;
    }
}

}  // namespace
}  // namespace fdrsim
