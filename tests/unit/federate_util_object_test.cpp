// The library object: one per process, built once under concurrent first calls; the token
// service's address resolved once; the debug message log. Its interfaces as a host reaches them:
// tests/boundary.
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "support/LogFiles.h"
#include "support/Threads.h"

namespace {

TEST(FederateUtilObject, ConcurrentFirstCallsBuildOneObject) {
    std::vector<void*> seen(8, nullptr);
    fdrtest::OnThreads(8, [&seen](int i) { seen[i] = CreateFederateUtilInstance(); });
    EXPECT_EQ(std::set<void*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_NE(seen[0], nullptr);
}

TEST(FederateUtilObject, TokenServiceAddressIsResolvedOnceWithoutAListener) {
    CFederateUtil object;
    addrinfo* first = CFederateUtil::m_pAddrInfo;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->ai_family, AF_INET);
    CFederateUtil another;
    EXPECT_EQ(CFederateUtil::m_pAddrInfo, first);
}

// Silent while the debug switch is off; with it on, the text is read as a format a second time
// and cut to the 2048-byte buffer.
TEST(FederateUtilObject, MessageLogFollowsTheDebugSwitch) {
    CFederateUtil object;
    auto log = fdrtest::WatchCenterLog();
    object.msg("NotifyArbitratorAutonomyChange start: %s", "{\"autonomy_list\":[]}");
    EXPECT_TRUE(log.NewLines().empty());
    object.SetDebugSwitchForTesting(true);
    object.msg("start: %s", "{\"a\":1}");
    object.msg("%s", "100%% done");
    object.msg("%s", std::string(3000, 'x').c_str());
    EXPECT_EQ(log.NewLines(),
              (std::vector<std::string>{"start: {\"a\":1}", "100% done", std::string(2047, 'x')}));
}

}  // namespace
