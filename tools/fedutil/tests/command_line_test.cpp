// The command line: where options may stand, what is refused, and how commands are named.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "CommandLine.h"
#include "DemoSession.h"
#include "Errors.h"
#include "Operations.h"

namespace fedutil {
namespace {

const std::vector<OptionSpec>* OptionsOf(const std::string& command) {
    if (command == "demo") {
        return &DemoOptions();
    }
    const OperationSpec* operation = FindOperation(command);
    return operation != nullptr ? &operation->options : nullptr;
}

CommandLine Parse(const std::vector<std::string>& args) {
    return ParseCommandLine(args, OptionsOf);
}

TEST(CommandLine, GlobalOptionsStandBeforeOrAfterTheCommand) {
    const CommandLine before =
        Parse({"--library", "/x/lib.so", "--json", "LoadFdrChannelSetting", "--lid", "3"});
    const CommandLine after =
        Parse({"load-fdr-channel-setting", "--lid=3", "--json", "--library=/x/lib.so"});
    for (const CommandLine& line : {before, after}) {
        EXPECT_EQ(line.library, "/x/lib.so");
        EXPECT_TRUE(line.json);
        EXPECT_EQ(line.Required("--lid"), "3");
    }
}

TEST(CommandLine, HelpNeedsNoRequiredOption) {
    EXPECT_TRUE(Parse({"LoadFdrChannelSetting", "-h"}).help);
    const CommandLine line = Parse({"help", "demo"});
    EXPECT_EQ(line.command, "help");
    EXPECT_EQ(line.topic, "demo");
}

TEST(CommandLine, ValuesMayLookLikeAnything) {
    EXPECT_EQ(Parse({"ChangeAutonomyMode", "--body", "-"}).Required("--body"), "-");
    EXPECT_EQ(Parse({"ChangeAutonomyMode", "--body={\"a\":\"=\"}"}).Required("--body"),
              "{\"a\":\"=\"}");
    EXPECT_TRUE(
        Parse({"AuthRefreshToken", "--client-id", "c", "--client-secret", "s", "--get-first"})
            .Flag("--get-first"));
}

TEST(CommandLine, RefusesWhatItCannotRun) {
    const struct {
        std::vector<std::string> args;
        const char* message;
    } cases[] = {
        {{"Nope"}, "unknown command 'Nope'"},
        {{"--bogus"}, "unknown option --bogus"},
        {{"LoadFdrChannelSetting"}, "needs --lid LID"},
        {{"LoadFdrChannelSetting", "--lid"}, "--lid needs a value (LID)"},
        {{"LoadFdrChannelSetting", "--lid="}, "--lid needs a non-empty value"},
        {{"LoadFdrChannelSetting", "--lid", "1", "--lid", "2"}, "--lid is given twice"},
        {{"LoadFdrChannelSetting", "--lid", "1", "extra"}, "unexpected argument 'extra'"},
        {{"LoadFdrChannelSetting", "--lid", "1", "--members", "m"}, "unknown option --members"},
        {{"NotifyArbitratorRefreshReady", "--json=yes"}, "--json takes no value"},
        {{"--library", "a", "--library", "b", "demo"}, "--library is given twice"},
    };
    for (const auto& c : cases) {
        try {
            Parse(c.args);
            ADD_FAILURE() << "accepted " << testing::PrintToString(c.args);
        } catch (const UsageError& error) {
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos) << error.what();
        }
    }
}

TEST(Operations, EveryOperationOfTheInterfaceAnswersToItsNamesOnce) {
    const auto& operations = AllOperations();
    ASSERT_EQ(operations.size(), 30u);
    std::set<std::string> aliases;
    for (const auto& operation : operations) {
        const std::string name = operation.name;
        std::string lower;
        for (char c : name) {
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        std::string snake = KebabName(name);
        std::replace(snake.begin(), snake.end(), '-', '_');
        for (const std::string& typed : {name, lower, KebabName(name), snake}) {
            const OperationSpec* found = FindOperation(typed);
            ASSERT_NE(found, nullptr) << typed;
            EXPECT_STREQ(found->name, operation.name) << typed;
        }
        EXPECT_TRUE(aliases.insert(KebabName(name)).second) << name;
    }
    EXPECT_EQ(FindOperation("demo"), nullptr);
    EXPECT_EQ(KebabName("NotifyArbitratorAutoModeChange"), "notify-arbitrator-auto-mode-change");
}

}  // namespace
}  // namespace fedutil
