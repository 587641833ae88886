// Exit statuses and the explanation of results.
#include <gtest/gtest.h>

#include <climits>

#include "ResultCodes.h"

namespace fedutil {
namespace {

TEST(ResultCodes, ExitStatusKeepsSmallResultsAndFoldsTheRestToOne) {
    const std::pair<int, int> cases[] = {
        {0, 0},       {1, 1},       {3, 3},   {63, 63},
        {64, 1},      {-1, 1},      {-38, 1}, {static_cast<int>(0xD3020100u), 1},
        {INT_MIN, 1}, {INT_MAX, 1},
    };
    for (const auto& [result, status] : cases) {
        EXPECT_EQ(ExitStatusForResult(result), status) << result;
    }
}

TEST(ResultCodes, HexShowsAllThirtyTwoBits) {
    EXPECT_EQ(HexResult(0), "0x00000000");
    EXPECT_EQ(HexResult(-1), "0xFFFFFFFF");
    EXPECT_EQ(HexResult(static_cast<int>(0xD3020400u)), "0xD3020400");
}

TEST(ResultCodes, TheServiceEchoTellsItsErrCodeFromTheClientCode) {
    const std::vector<std::string> echo = {"err_no : 3", "err_str : unknown autonomy_lid 9",
                                           "err_code : 3"};
    EXPECT_EQ(DescribeResult(3, ResultKind::RequestOrParser, echo),
              "the federation service's err_code 3: unknown autonomy_lid 9");
    EXPECT_EQ(DescribeResult(3, ResultKind::RequestOrParser, {}),
              "local client: transport failure (refused, reset or timed out)");
    // The parsers print the code as unsigned.
    EXPECT_EQ(DescribeResult(-1, ResultKind::RequestOrServiceCode, {"err_code : 4294967295"}),
              "the federation service's err_code -1");
    // An echo of another code is not this result's explanation.
    EXPECT_EQ(DescribeResult(4, ResultKind::RequestOrServiceCode, {"err_code : 0"}),
              "local client: the service answered with a non-2xx status");
}

TEST(ResultCodes, ExplainsTheParserCodesAndTheUnbuiltOperations) {
    EXPECT_NE(DescribeResult(static_cast<int>(0xD3020400u), ResultKind::RequestOrParser)
                  .find("channel list"),
              std::string::npos);
    EXPECT_EQ(DescribeResult(-38, ResultKind::RequestCode),
              "not built in this version of the library");
    EXPECT_EQ(DescribeResult(0, ResultKind::AlwaysZero), "ok");
    EXPECT_NE(DescribeResult(5, ResultKind::AlwaysZero).find("unexpected"), std::string::npos);
}

}  // namespace
}  // namespace fedutil
