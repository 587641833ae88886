// The privilege report body and the token answer reader.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json/CFdrUtilParser.h"
#include "json/PrivilegeJsonFormatter.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

TEST(PrivilegeJsonFormatter, BodyNamesTheUserOrAnEmptyObject) {
    const struct {
        std::string user;
        const char* golden;
    } cases[] = {
        {"alice", "privilege/user_body.json"},
        {"", "privilege/empty_user_body.json"},  // an empty object, not an empty array
        {"CORP\\bob", "privilege/domain_user_body.json"},
    };
    for (auto c : cases) {
        std::string second = "ignored";
        std::string out = "previous text";
        EXPECT_EQ(CPrivilegeJsonFormatter::FormatterPrivilegeInfo(c.user, second, out), 0);
        EXPECT_EQ(out, fdrtest::ReadTestData(c.golden));
    }
}

TEST(TokenJsonParser, TokensAreTakenBeforeTheErrorIsLookedAt) {
    const struct {
        const char* text;
        unsigned int result;
        const char* access;
        const char* refresh;
    } cases[] = {
        {nullptr, 0xD3020201, "a0", "r0"},
        {"{\"access_token\":", 0xD3020201, "a0", "r0"},
        {R"({"access_token":"A"})", 0, "A", "r0"},
        {R"({"refresh_token":""})", 0, "a0", ""},
        {R"({"access_token":7,"refresh_token":["R"],"error":null})", 0, "a0", "r0"},
        {R"({"error":"bad"})", 0xD3020200, "a0", "r0"},
        {R"({"access_token":"A","refresh_token":"R","error":"bad"})", 0xD3020200, "A", "R"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text != nullptr ? c.text : "(null)");
        std::string access = "a0";
        std::string refresh = "r0";
        auto log = fdrtest::WatchCenterLog();
        EXPECT_EQ(CFdrUtilParser::ParseOauthAuthLoginToken(c.text, access, refresh), c.result);
        EXPECT_EQ(access + " " + refresh, std::string(c.access) + " " + c.refresh);
        EXPECT_EQ(log.NewLines(),
                  c.result == 0xD3020200
                      ? std::vector<std::string>{"[fedutil] OauthAuthLoginToken error: bad"}
                      : std::vector<std::string>{});
    }
}

}  // namespace
