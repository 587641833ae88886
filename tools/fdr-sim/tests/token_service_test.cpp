// The token service: the two grants as the library sends them, refusals, rotation and expiry.
#include <gtest/gtest.h>

#include "FormText.h"
#include "JsonText.h"
#include "TokenService.h"

namespace fdrsim {
namespace {

using std::chrono::seconds;

class TokenServiceTest : public ::testing::Test {
  protected:
    TokenService::Clock::time_point now_ =
        TokenService::Clock::time_point{} + std::chrono::hours(1);
    TokenService tokens_{
        {{"recorder", "s3cret"}, {"other", "pw"}}, seconds(60), seconds(600), [this] {
            return now_;
        }};

    Json::Value Send(const std::string& form, Flags* flags = nullptr) {
        ServiceAnswer answer = tokens_.Grant({"POST", "/token", "/token", {}, form, {}});
        EXPECT_EQ(answer.status, 200) << "errors are answered with 200 too";
        if (flags != nullptr) {
            *flags = answer.flags;
        }
        return ParseJson(answer.body).value_or(Json::Value());
    }
    Json::Value Get(const std::string& id = "recorder", const std::string& secret = "s3cret") {
        return Send("grant_type=client_credentials&client_id=" + id + "&client_secret=" + secret +
                    "&undefined=");
    }
    Json::Value Refresh(const std::string& token, const std::string& id = "recorder") {
        return Send("grant_type=refresh_token&client_id=" + id + "&client_secret=" +
                    (id == "recorder" ? "s3cret" : "pw") + "&refresh_token=" + token);
    }
};

TEST_F(TokenServiceTest, ClientCredentialsIssueBearerTokens) {
    Json::Value answer = Get();
    EXPECT_EQ(answer["token_type"].asString(), "bearer");
    EXPECT_EQ(answer["expires_in"].asInt(), 60);
    EXPECT_TRUE(tokens_.IsAccessTokenValid(answer["access_token"].asString()));
    EXPECT_FALSE(answer["refresh_token"].asString().empty());
    EXPECT_NE(Get()["access_token"], answer["access_token"]);
}

TEST_F(TokenServiceTest, RefusesUnknownCredentials) {
    const std::pair<std::string, std::string> credentials[] = {
        {"recorder", "wrong"}, {"nobody", "s3cret"}, {"recorder", ""}, {"", ""}};
    for (const auto& [id, secret] : credentials) {
        Json::Value answer = Get(id, secret);
        EXPECT_EQ(answer["error"].asString(), "invalid_client") << id << "/" << secret;
        EXPECT_FALSE(answer.isMember("access_token"));
    }
    EXPECT_EQ(Refresh(Get()["refresh_token"].asString(), "nobody")["error"].asString(),
              "invalid_client");
}

TEST_F(TokenServiceTest, RefreshRotatesAndRejectsStaleTokens) {
    const std::string first = Get()["refresh_token"].asString();
    Json::Value renewed = Refresh(first);
    ASSERT_TRUE(renewed.isMember("access_token")) << renewed;
    EXPECT_NE(renewed["refresh_token"].asString(), first);

    const struct {
        const char* behaviour;
        std::string token;
        const char* id;
    } stale[] = {
        {"a used refresh token", first, "recorder"},
        {"an unknown refresh token", "rt-invented", "recorder"},
        {"an empty refresh token (refresh before any get)", "", "recorder"},
        {"another client's refresh token", renewed["refresh_token"].asString(), "other"},
    };
    for (const auto& c : stale) {
        EXPECT_EQ(Refresh(c.token, c.id)["error"].asString(), "invalid_grant") << c.behaviour;
    }
}

TEST_F(TokenServiceTest, TokensExpireAfterTheirLifetimes) {
    Json::Value answer = Get();
    const std::string access = answer["access_token"].asString();
    now_ += seconds(59);
    EXPECT_TRUE(tokens_.IsAccessTokenValid(access));
    now_ += seconds(1);
    EXPECT_FALSE(tokens_.IsAccessTokenValid(access));

    // Still within the refresh token's own lifetime.
    Json::Value renewed = Refresh(answer["refresh_token"].asString());
    ASSERT_TRUE(renewed.isMember("access_token")) << renewed;
    now_ += seconds(600);
    EXPECT_EQ(Refresh(renewed["refresh_token"].asString())["error"].asString(), "invalid_grant");
}

TEST_F(TokenServiceTest, FlagsFormsThatDifferFromTheLibrarys) {
    const struct {
        std::string form;
        bool problem;
    } cases[] = {
        {"grant_type=client_credentials&client_id=recorder&client_secret=s3cret&undefined=", false},
        {"grant_type=client_credentials&client_id=recorder&client_secret=s3cret", true},
        {"client_id=recorder&grant_type=client_credentials&client_secret=s3cret&undefined=", true},
        {"grant_type=password&client_id=recorder&client_secret=s3cret", true},
    };
    for (const auto& c : cases) {
        Flags flags;
        Send(c.form, &flags);
        bool problem = false;
        for (const auto& flag : flags) {
            problem = problem || flag.problem;
        }
        EXPECT_EQ(problem, c.problem) << c.form;
    }
    EXPECT_EQ(Send("grant_type=password")["error"].asString(), "unsupported_grant_type");
    EXPECT_EQ(Send("")["error"].asString(), "invalid_request");
}

TEST(ParseForm, DecodesFieldsInOrder) {
    using Fields = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(ParseForm("a=1&b=x%3Dy+z&c&d=&&e=%zz"),
              (Fields{{"a", "1"}, {"b", "x=y z"}, {"c", ""}, {"d", ""}, {"e", "%zz"}}));
    EXPECT_TRUE(ParseForm("").empty());
}

}  // namespace
}  // namespace fdrsim
