// The federation service: what channel writes do to the store, mode by mode; which writes it
// rejects; and the answers of its other paths.
#include <gtest/gtest.h>

#include "ChannelChangeBody.h"
#include "FederationRoutes.h"
#include "JsonText.h"

namespace fdrsim {
namespace {

// The failover path; its action arrives in the query.
constexpr char kFailoverPath[] = "/cgi-bin/zelprocms/apis/fdr_cluster.cgi";

StoredChannel Channel(const std::string& guid, const std::string& name) {
    return {guid, name, R"({"channel_guid":")" + guid + R"("})"};
}

FederationSeed ThreeChannels() {
    FederationSeed seed;
    seed.guid = "g";
    Member member;
    member.autonomy_lid = "1";
    member.channels = {Channel("a", "A"), Channel("b", "B"), Channel("c", "C")};
    seed.members.push_back(member);
    seed.config["fdrsystem"]["priv_last_ts"] = "1715679000";
    seed.users.push_back({"guard", false, {"live_view"}, {"1"}});
    return seed;
}

// "a:A b:B": the stored channels of one lid, in order.
std::string Stored(const FederationStore& store, const std::string& lid) {
    auto channels = store.Channels(lid);
    if (!channels) {
        return "<unknown lid>";
    }
    std::string text;
    for (const auto& channel : *channels) {
        text += (text.empty() ? "" : " ") + channel.guid + ":" + channel.name;
    }
    return text;
}

bool HasProblem(const Flags& flags) {
    for (const auto& flag : flags) {
        if (flag.problem) {
            return true;
        }
    }
    return false;
}

struct StoreCase {
    const char* behaviour;
    std::vector<ChannelChange> changes;
    bool applied;
    const char* member_one;  // channels of lid "1" afterwards
    bool problem;
};

TEST(ChannelStore, AppliesEachModeKeyedByGuid) {
    // clang-format off
    const StoreCase cases[] = {
        {"add appends a new guid", {{"1", "add", {Channel("d", "D")}}}, true, "a:A b:B c:C d:D",
         false},
        {"add of a stored guid overwrites it in place", {{"1", "add", {Channel("b", "B2")}}}, true,
         "a:A b:B2 c:C", false},
        {"replace keeps exactly the given channels in order",
         {{"1", "replace", {Channel("c", "C2"), Channel("x", "X")}}}, true, "c:C2 x:X", false},
        {"replace with nothing empties the member", {{"1", "replace", {}}}, true, "", false},
        {"update overwrites a stored guid", {{"1", "update", {Channel("b", "B2")}}}, true,
         "a:A b:B2 c:C", false},
        {"update of an unknown guid changes nothing", {{"1", "update", {Channel("z", "Z")}}}, true,
         "a:A b:B c:C", true},
        {"remove deletes a stored guid", {{"1", "remove", {{"b", "B", ""}}}}, true, "a:A c:C",
         false},
        {"remove of an unknown guid changes nothing", {{"1", "remove", {{"z", "Z", ""}}}}, true,
         "a:A b:B c:C", true},
        {"entries apply in order",
         {{"1", "remove", {{"a", "", ""}}}, {"1", "add", {Channel("a", "A2")}}}, true,
         "b:B c:C a:A2", false},
        {"an unknown mode rejects the whole write",
         {{"1", "remove", {{"a", "", ""}}}, {"1", "merge", {Channel("m", "M")}}}, false,
         "a:A b:B c:C", false},
    };
    // clang-format on
    for (const auto& c : cases) {
        FederationStore store(ThreeChannels());
        Flags flags;
        std::string error;
        EXPECT_EQ(store.Apply(c.changes, flags, &error), c.applied) << c.behaviour;
        EXPECT_EQ(Stored(store, "1"), c.member_one) << c.behaviour;
        EXPECT_EQ(HasProblem(flags), c.problem) << c.behaviour;
        if (!c.applied) {
            EXPECT_NE(error.find("merge"), std::string::npos) << error;
        }
    }
}

TEST(ChannelStore, KeepsChannelsOfAnUnknownLidApartAndFlagsThem) {
    FederationStore store(ThreeChannels());
    Flags flags;
    ASSERT_TRUE(store.Apply({{"9", "add", {Channel("q", "Q")}}}, flags, nullptr));
    EXPECT_EQ(Stored(store, "9"), "q:Q");
    EXPECT_EQ(Stored(store, "1"), "a:A b:B c:C");
    EXPECT_TRUE(HasProblem(flags));
    EXPECT_EQ(store.Members().size(), 1u);
}

struct BodyCase {
    const char* behaviour;
    std::string body;
    const char* error;  // part of the rejection, or null when the body is accepted
    const char* flag;   // part of a flag's text, or null when none is expected
    bool problem;
};

TEST(ChannelChangeBody, RejectsWhatCannotBeAppliedAndFlagsOddChannelData) {
    auto body = [](const std::string& mode, const std::string& channel) {
        return R"({"autonomy_list":[{"autonomy_lid":"1","mode":")" + mode +
               R"(","channel_list":[)" + channel + "]}]}";
    };
    const std::string library_virtual_cameras =
        R"({\"channel_guid\":\"a\",\"virtual_camera_list\":[720,0,1,1280,0,\"Gate\",{}]})";
    const BodyCase cases[] = {
        {"not JSON", "mode=add", "not JSON", nullptr, false},
        {"no autonomy_list", "{}", "\"autonomy_list\" is missing", nullptr, false},
        {"entry without mode", R"({"autonomy_list":[{"autonomy_lid":"1","channel_list":[]}]})",
         "\"mode\" is missing", nullptr, false},
        {"channel without guid", body("add", R"({"name":"A","data":"{}"})"), "\"guid\" is missing",
         nullptr, false},
        {"channel that is not an object", body("add", "1"), "expected a object", nullptr, false},
        {"blank data", body("add", R"({"guid":"a","name":"A","data":""})"), nullptr, "blank data",
         true},
        {"data that is not JSON", body("add", R"({"guid":"a","name":"A","data":"{"})"), nullptr,
         "data is not JSON", true},
        {"data of another channel",
         body("update", R"({"guid":"a","name":"A","data":"{\"channel_guid\":\"b\"}"})"), nullptr,
         "names channel_guid b", true},
        {"the library's virtual camera list",
         body("replace", R"({"guid":"a","name":"A","data":")" + library_virtual_cameras + "\"}"),
         nullptr, "bare values (expected)", false},
        {"a removal's empty data", body("remove", R"({"guid":"a","name":"A","data":""})"), nullptr,
         nullptr, false},
    };
    for (const auto& c : cases) {
        std::vector<ChannelChange> changes;
        Flags flags;
        std::string error;
        const bool accepted = ReadChannelChanges(c.body, changes, flags, &error);
        EXPECT_EQ(accepted, c.error == nullptr) << c.behaviour;
        if (c.error != nullptr) {
            EXPECT_NE(error.find(c.error), std::string::npos) << c.behaviour << ": " << error;
        }
        if (c.flag == nullptr) {
            EXPECT_TRUE(flags.empty()) << c.behaviour << ": " << flags.front().text;
        } else {
            ASSERT_EQ(flags.size(), 1u) << c.behaviour;
            EXPECT_NE(flags[0].text.find(c.flag), std::string::npos) << flags[0].text;
            EXPECT_EQ(flags[0].problem, c.problem) << c.behaviour;
        }
    }
}

IncomingRequest Request(const std::string& method, const std::string& path,
                        std::multimap<std::string, std::string> query, std::string body = "") {
    return {method, path, path, std::move(query), std::move(body), {}};
}

Json::Value AnswerOf(const ServiceAnswer& answer) {
    auto document = ParseJson(answer.body);
    EXPECT_TRUE(document.has_value()) << answer.body;
    return document.value_or(Json::Value());
}

TEST(FederationRoutes, AnswerWithTheErrorTriple) {
    FederationStore store(ThreeChannels());
    FederationRoutes routes(store);
    using Query = std::multimap<std::string, std::string>;
    auto write = [&](const std::string& body) {
        return routes.WriteChannels(Request("PUT", "/fdr/CmsChannel", {}, body));
    };
    auto report = [&](const Query& query, const std::string& body) {
        return routes.PrivilegeReport(
            Request("POST", "/fdr/CmsAccessPrivilegeReport", query, body));
    };
    const Query admin{{"operator", "admin"}};
    const struct {
        const char* behaviour;
        ServiceAnswer answer;
        int err_code;
    } cases[] = {
        {"write",
         write(R"({"autonomy_list":[{"autonomy_lid":"1","mode":"remove","channel_list":[]}]})"), 0},
        {"malformed write", write("not json"), kBadRequest},
        {"unknown mode",
         write(R"({"autonomy_list":[{"autonomy_lid":"1","mode":"merge","channel_list":[]}]})"),
         kUnknownMode},
        {"service without type", routes.ServiceInfo(Request("GET", "/fdr/Service", {})),
         kBadRequest},
        {"channels of an unknown lid",
         routes.ReadChannels(Request("GET", "/fdr/CmsChannel", Query{{"autonomy_lid", "7"}})),
         kUnknownAutonomy},
        {"unknown config key",
         routes.Config(
             Request("GET", "/fdr/Config", Query{{"section", "fdrsystem"}, {"key", "other"}})),
         kUnknownConfig},
        {"report without operator", report({}, "{}"), kBadRequest},
        {"report without identifies", report(admin, R"({"report_type":0})"), kBadRequest},
        {"report for no user",
         report(admin, R"({"report_type":0,"access_type":0,"is_domain":false,"identifies":{}})"),
         0},
    };
    for (const auto& c : cases) {
        Json::Value answer = AnswerOf(c.answer);
        EXPECT_EQ(c.answer.status, 200) << c.behaviour;
        EXPECT_EQ(answer["err_code"].asInt(), c.err_code) << c.behaviour;
        EXPECT_EQ(answer["err_no"].asString(), std::to_string(c.err_code)) << c.behaviour;
        EXPECT_FALSE(answer["err_str"].asString().empty()) << c.behaviour;
    }
    // The library's error reader rejects a write answer without "autonomy_list".
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(AnswerOf(cases[i].answer).isMember("autonomy_list")) << cases[i].behaviour;
    }
    EXPECT_EQ(cases[8].answer.flags.at(0).text,
              "identifies is an empty object: no user (expected)");
}

TEST(FederationRoutes, PrivilegeReportListsTheChannelsOfTheUsersMembers) {
    FederationStore store(ThreeChannels());
    FederationRoutes routes(store);
    ServiceAnswer answer = routes.PrivilegeReport(
        Request("POST", "/fdr/CmsAccessPrivilegeReport", {{"operator", "admin"}},
                R"({"report_type":0,"access_type":0,"is_domain":false,"identifies":["guard"]})"));
    const Json::Value member = AnswerOf(answer)["privilege_list"][0]["autonomy_list"][0];
    EXPECT_EQ(member["autonomy_lid"].asString(), "1");
    EXPECT_EQ(member["channel_list"].size(), 3u);
    EXPECT_EQ(member["channel_list"][2]["privilege_list"][0].asString(), "live_view");
}

TEST(FederationRoutes, FailoverInfoIsStoredAsSentAndNonJsonIsFlaggedAsExpected) {
    FederationStore store(ThreeChannels());
    FederationRoutes routes(store);
    const std::multimap<std::string, std::string> action{{"action", "failover_info"}};
    const std::string entry =
        R"({"autonomy_lid":"1","version":"2.1","version_date":"2024-01-01","mac":"m","machine_model":"X"})";
    const struct {
        std::string body;
        const char* flag;
        bool problem;
    } cases[] = {
        {R"({"autonomy_list":[)" + entry + "]}", nullptr, false},
        // An empty last list entry leaves a comma before "]}".
        {R"({"autonomy_list":[)" + entry + ",]}", "not JSON (expected)", false},
        {R"({"autonomy_list":[{"autonomy_lid":"1"}]})", "\"version\" is missing", true},
    };
    for (const auto& c : cases) {
        ServiceAnswer answer = routes.FailoverInfo(Request("PUT", kFailoverPath, action, c.body));
        EXPECT_EQ(AnswerOf(answer)["err_code"].asInt(), 0);
        EXPECT_EQ(store.FailoverInfo(), c.body);
        if (c.flag == nullptr) {
            EXPECT_TRUE(answer.flags.empty()) << answer.flags.front().text;
        } else {
            ASSERT_FALSE(answer.flags.empty()) << c.body;
            EXPECT_NE(answer.flags[0].text.find(c.flag), std::string::npos) << answer.flags[0].text;
            EXPECT_EQ(answer.flags[0].problem, c.problem);
        }
    }
}

}  // namespace
}  // namespace fdrsim
