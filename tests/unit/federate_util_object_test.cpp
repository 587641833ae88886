// The library object: one per process, its interface table and its life cycle.
#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "support/LogFiles.h"

namespace {

TEST(FederateUtilObject, ConcurrentFirstCallsBuildOneObject) {
    std::vector<void*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = CreateFederateUtilInstance(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::set<void*> distinct(seen.begin(), seen.end());
    EXPECT_EQ(distinct.size(), 1u);
    EXPECT_NE(*distinct.begin(), nullptr);
}

TEST(FederateUtilObject, FactoryPointerIsTheBaseViewAndQueryGivesTheSecondBase) {
    void* instance = CreateFederateUtilInstance();
    auto* base = static_cast<IBaseInterface*>(instance);
    auto* object = dynamic_cast<CFederateUtil*>(base);
    ASSERT_NE(object, nullptr);

    struct Case {
        int id;
        int result;
        bool touched;
        void* expected;
    } cases[] = {
        {FederateBoxType::CentralizedServerID, 1, true, static_cast<ICentralizedServer*>(object)},
        {FederateBoxType::AuthenticationControlID, 1, true, nullptr},
        {2, 0, false, nullptr},
        {-1, 0, false, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        void* sentinel = &cases;
        void* out = sentinel;
        EXPECT_EQ(base->QueryInterface(static_cast<FederateBoxType::InterfaceClassID>(c.id), &out),
                  c.result);
        EXPECT_EQ(out, c.touched ? c.expected : sentinel);
    }
}

TEST(FederateUtilObject, InitAndUninitChangeNothingInAnyOrder) {
    CFederateUtil object;
    EXPECT_EQ(object.Uninit(), 1);
    EXPECT_EQ(object.Init(nullptr, 0, nullptr, 0, nullptr, false, nullptr, nullptr), 0);
    EXPECT_EQ(object.Init(nullptr, 7, "a", 9, "b", true, "c", "d"), 0);
    EXPECT_EQ(object.Uninit(), 1);
    EXPECT_EQ(object.Uninit(), 1);
}

TEST(FederateUtilObject, TokenServiceAddressIsResolvedWithoutAListener) {
    CFederateUtil object;
    ASSERT_NE(CFederateUtil::m_pAddrInfo, nullptr);
    addrinfo* first = CFederateUtil::m_pAddrInfo;
    CFederateUtil another;
    EXPECT_EQ(CFederateUtil::m_pAddrInfo, first) << "resolved once, never again";
    EXPECT_EQ(first->ai_socktype == 0 || first->ai_socktype == SOCK_STREAM ||
                  first->ai_socktype == SOCK_DGRAM || first->ai_socktype == SOCK_RAW,
              true);
    EXPECT_EQ(first->ai_family, AF_INET);
}

TEST(FederateUtilObject, ReleaseClearsOnlyTheCallersPointer) {
    void* first = CreateFederateUtilInstance();
    void* copy = first;
    ReleaseFederateUtil(&copy);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(CreateFederateUtilInstance(), first);
    void* none = nullptr;
    ReleaseFederateUtil(&none);
    EXPECT_EQ(none, nullptr);
    ReleaseFederateUtil(nullptr);
}

TEST(FederateUtilMessageLog, SilentWhileTheDebugSwitchIsOff) {
    CFederateUtil object;
    auto log = fdrtest::WatchCenterLog();
    object.msg("NotifyArbitratorAutonomyChange start: %s", "{\"autonomy_list\":[]}");
    EXPECT_TRUE(log.NewLines().empty());
}

TEST(FederateUtilMessageLog, WithTheSwitchOnTheTextIsReadAsAFormatASecondTime) {
    CFederateUtil object;
    object.SetDebugSwitchForTesting(true);
    auto log = fdrtest::WatchCenterLog();
    object.msg("start: %s", "{\"a\":1}");
    object.msg("%s", "100%% done");  // the text "100%% done" becomes "100% done"
    object.msg("%s", std::string(3000, 'x').c_str());
    auto lines = log.NewLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "start: {\"a\":1}");
    EXPECT_EQ(lines[1], "100% done");
    EXPECT_EQ(lines[2], std::string(2047, 'x')) << "cut to the 2048-byte buffer";
}

}  // namespace
