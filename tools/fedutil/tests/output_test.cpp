// What fedutil prints: indented JSON, the outcome of an operation, and the demo's sizes (its
// summary line is the demo tests').
#include <gtest/gtest.h>

#include <sstream>

#include "DemoReport.h"
#include "JsonOutput.h"
#include "OutcomePrinter.h"

namespace fedutil {
namespace {

TEST(PrettyJson, IndentsObjectsAndKeepsShortPlainArraysOnOneLine) {
    const auto pretty = PrettyJsonText(
        R"({"a":[true,false],"b":{"c":[],"d":{}},"e":[{"f":1}],"big":18446744073709551615})");
    ASSERT_TRUE(pretty);
    EXPECT_EQ(*pretty,
              "{\n"
              "  \"a\": [true, false],\n"
              "  \"b\": {\n"
              "    \"c\": [],\n"
              "    \"d\": {}\n"
              "  },\n"
              "  \"e\": [\n"
              "    {\n"
              "      \"f\": 1\n"
              "    }\n"
              "  ],\n"
              "  \"big\": 18446744073709551615\n"
              "}");
    EXPECT_FALSE(PrettyJsonText(R"({"autonomy_list":[{},]})"));
    EXPECT_EQ(*PrettyJsonText(R"({"k\"ey":"va\"lue"})"), "{\n  \"k\\\"ey\": \"va\\\"lue\"\n}");
}

const OperationSpec& Operation(const char* name) {
    const OperationSpec* operation = FindOperation(name);
    EXPECT_NE(operation, nullptr);
    return *operation;
}

std::string Printed(const OperationSpec& operation, const OperationOutcome& outcome) {
    std::ostringstream out;
    PrintOutcome(out, Style(false), operation, outcome);
    return out.str();
}

TEST(OutcomePrinter, ShowsTheLibraryConsoleOnlyWhenItSaysSomething) {
    const OperationSpec& load = Operation("LoadFdrAutonomyListSetting");
    OperationOutcome success;
    success.members.emplace();
    success.console = {"err_no : 0", "err_str : ok", "err_code : 0"};
    EXPECT_EQ(Printed(load, success).find("library console"), std::string::npos);

    OperationOutcome failure = success;
    failure.result = 5;
    failure.console = {"err_no : 5", "err_str : busy", "err_code : 5"};
    const std::string printed = Printed(load, failure);
    EXPECT_NE(printed.find("result 5 (0x00000005)  the federation service's err_code 5: busy"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("library console\n  err_no : 5"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("members"), std::string::npos) << "no empty table after a failure";

    // An operation that always returns 0 reports a failed request only there.
    OperationOutcome notice;
    notice.console = {"[error]n_ret=3"};
    EXPECT_NE(Printed(Operation("NotifyArbitratorRefreshReady"), notice).find("[error]n_ret=3"),
              std::string::npos);
}

TEST(OutcomePrinter, JsonCarriesResultOutputsAndConsole) {
    OperationOutcome outcome;
    outcome.result = static_cast<int>(0xD3020400u);
    outcome.channels.emplace();
    outcome.channels_lid = "4";
    outcome.console = {"[error]n_ret=3"};
    const std::string json = OutcomeJson(Operation("LoadFdrChannelSetting"), outcome, "/lib.so");
    for (const char* part :
         {R"("result": -754842624)", R"("result_hex": "0xD3020400")", R"("exit_status": 1)",
          R"("library": "/lib.so")", R"("autonomy_lid": "4")",
          R"("library_console": ["[error]n_ret=3"])"}) {
        EXPECT_NE(json.find(part), std::string::npos) << part << "\n" << json;
    }
}

TEST(DemoReport, SizesReadNaturally) {
    EXPECT_EQ(ByteSize(0), "0 B");
    EXPECT_EQ(ByteSize(1023), "1023 B");
    EXPECT_EQ(ByteSize(1024), "1.0 kB");
    EXPECT_EQ(ByteSize(13517), "13.2 kB");
}

}  // namespace
}  // namespace fedutil
