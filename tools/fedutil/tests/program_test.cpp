// fedutil as a user runs it, without any local service: help, refused command lines, unusable
// input files, a library that cannot be loaded, and the formatting operations end to end.
#include <json/json.h>

#include <gtest/gtest.h>

#include "Operations.h"
#include "ProgramRun.h"

namespace fedutil::test {
namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Program, HelpListsEveryOperationAndEachAnswersToItsAlias) {
    const ProgramResult overview = RunFedutil({"--help"});
    ASSERT_EQ(overview.status, 0) << overview.err;
    EXPECT_TRUE(Contains(overview.out, "demo"));
    EXPECT_TRUE(Contains(overview.out, "Exit status"));
    for (const auto& operation : AllOperations()) {
        EXPECT_TRUE(Contains(overview.out, "  " + std::string(operation.name) + " "))
            << operation.name;
        const ProgramResult help = RunFedutil({KebabName(operation.name), "--help"});
        EXPECT_EQ(help.status, 0) << operation.name << ": " << help.err;
        EXPECT_EQ(help.out.rfind("Usage: fedutil " + std::string(operation.name), 0), 0u)
            << help.out;
    }
    EXPECT_EQ(RunFedutil({"help", "demo"}).status, 0);
    EXPECT_TRUE(Contains(RunFedutil({"--version"}).out, "fedutil "));
}

// Bad arguments are reported before any library is looked for: --library names none here. What
// the command-line parser refuses is its own test's; here, how the program reports it.
TEST(Program, BadArgumentsExitWith64AndSayWhatIsWrong) {
    const struct {
        std::vector<std::string> args;
        const char* message;
        const char* hint;
    } cases[] = {
        // clang-format off
        {{}, "no command given", "Try 'fedutil --help'"},
        {{"load-fdr-channel-setting", "--lid", "1", "--lid", "2"}, "--lid is given twice",
         "Try 'fedutil LoadFdrChannelSetting --help'"},
        {{"ChangeAutonomyMode"}, "needs either --body TEXT or --body-file FILE",
         "Try 'fedutil ChangeAutonomyMode --help'"},
        {{"ChangeAutonomyMode", "--body", "{}", "--body-file", "x"}, "needs either --body",
         "Try 'fedutil ChangeAutonomyMode --help'"},
        {{"NotifyDravoData", "--lid", "1"}, "needs either --data JSON or --data-file FILE", ""},
        {{"demo", "--ready-timeout", "0"}, "--ready-timeout needs a whole number",
         "Try 'fedutil demo --help'"},
        {{"demo", "--json"}, "--json is for the operations", "Try 'fedutil demo --help'"},
        {{"help", "Nope"}, "no help for unknown command 'Nope'", ""},
        // clang-format on
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = c.args;
        args.insert(args.end(), {"--library", "/nonexistent/libfederateutil.so.1"});
        if (c.args.empty() || c.args[0] == "help") {
            args = c.args;
        }
        const ProgramResult run = RunFedutil(args);
        EXPECT_EQ(run.status, 64) << testing::PrintToString(c.args) << ": " << run.err;
        EXPECT_TRUE(Contains(run.err, c.message)) << run.err;
        EXPECT_TRUE(Contains(run.err, c.hint)) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

// Input files are read before the library is loaded, so these exit 66, not 69.
TEST(Program, UnusableInputFilesExitWith66AndNameTheFile) {
    const std::string folder = NewFolder();
    const struct {
        std::string command;
        std::string option;
        const char* content;  // null: the file does not exist
        const char* message;
    } cases[] = {
        {"FormatFailOverBody", "--members", nullptr, "cannot read"},
        {"FormatFailOverBody", "--members", "{\"autonomy_list\":[}", ":1:19:"},
        {"NotifyLogAddAutonomy", "--members", "{\"autonomy_list\":[{\"mac\":false}]}",
         "autonomy_list[0].mac: expected a string"},
        {"RemoveFdrChannelSetting", "--channels", "{\"channel_list\":[{\"data\":\"{\"}]}",
         "channel_list[0].data:1:"},
        {"FormatFisyeyeSupportFile", "--catalogue", "{\"brands\":[]}", "FishEyeParameterTable"},
        {"ChangeAutonomyMode", "--body-file", nullptr, "cannot read"},
    };
    int index = 0;
    for (const auto& c : cases) {
        const std::string file = folder + "/input-" + std::to_string(++index) + ".json";
        if (c.content != nullptr) {
            WriteFile(file, c.content);
        }
        std::vector<std::string> args = {c.command, c.option, file, "--library", "/nonexistent"};
        if (c.command == "RemoveFdrChannelSetting") {
            args.insert(args.end(), {"--lid", "1"});
        }
        const ProgramResult run = RunFedutil(args);
        EXPECT_EQ(run.status, 66) << c.command << ": " << run.err;
        EXPECT_TRUE(Contains(run.err, file)) << run.err;
        EXPECT_TRUE(Contains(run.err, c.message)) << run.err;
    }
}

TEST(Program, ALibraryThatCannotBeLoadedExitsWith69) {
    for (const std::string& library :
         {std::string("/nonexistent/libfederateutil.so.1"), DataFile("members.json")}) {
        const ProgramResult run = RunFedutil(
            {"FormatFailOverBody", "--members", DataFile("members.json"), "--library", library});
        EXPECT_EQ(run.status, 69) << run.err;
        EXPECT_TRUE(Contains(run.err, "cannot load " + library)) << run.err;
    }
}

TEST(Program, FormatsFromFilesThroughTheLibrary) {
    const std::string folder = NewFolder();
    const struct {
        std::vector<std::string> args;
        const char* expected;
    } cases[] = {
        {{"FormatFailOverBody", "--members", DataFile("members.json")},
         R"({"autonomy_list":[{"autonomy_lid":"1","version":"4.2.1","version_date":"2024-11-02",)"
         R"("mac":"00:1E:8C:4A:12:01","machine_model":"NVR-16P"},{"autonomy_lid":"2",)"
         R"("version":"4.2.2","version_date":"2024-12-09","mac":"00:1E:8C:4A:20:0B",)"
         R"("machine_model":"NVR-8"}]})"},
        {{"format-fisyeye-support-file", "--catalogue", DataFile("lens-catalogue.json")},
         R"({"FishEyeParameterTable":[{"brand_name":"Acuvia","brand_id":"ACUV","model_list":)"
         R"([{"model_name":"FE-1200","model_id":"FE12","size_list":[{"w":1920,"h":1080,"v":0,)"
         R"("x":0.5,"y":0.5,"latitude":0,"ratio":0.93}]}]}]})"},
    };
    for (const auto& c : cases) {
        const std::string output = folder + "/" + c.args[0] + ".out";
        std::vector<std::string> args = c.args;
        args.insert(args.end(), {"--output", output});
        const ProgramResult readable = RunFedutil(args);
        ASSERT_EQ(readable.status, 0) << readable.err;
        EXPECT_TRUE(Contains(readable.out, "result 0 (0x00000000)  ok")) << readable.out;
        EXPECT_EQ(ReadFile(output), c.expected);

        args = c.args;
        args.push_back("--json");
        const ProgramResult json = RunFedutil(args);
        ASSERT_EQ(json.status, 0) << json.err;
        Json::Value root;
        std::istringstream(json.out) >> root;
        EXPECT_EQ(root["result"].asInt(), 0);
        EXPECT_EQ(root["exit_status"].asInt(), 0);
        const Json::Value& outputs = root["outputs"];
        ASSERT_EQ(outputs.size(), 1u) << json.out;
        EXPECT_EQ(outputs[outputs.getMemberNames()[0]].asString(), c.expected);
    }
}

TEST(Program, AnOutputFileThatCannotBeWrittenExitsWith73) {
    const ProgramResult run =
        RunFedutil({"FormatFailOverBody", "--members", DataFile("members.json"), "--output",
                    "/nonexistent/body.txt"});
    EXPECT_EQ(run.status, 73);
    EXPECT_TRUE(Contains(run.err, "cannot write /nonexistent/body.txt")) << run.err;
    EXPECT_TRUE(Contains(run.out, "result 0")) << "the result is still shown";
}

}  // namespace
}  // namespace fedutil::test
