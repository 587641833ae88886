// The one request helper through which every operation reaches a local service.
#include <gtest/gtest.h>

#include "FederateUtil/LocalServiceCall.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"

namespace {

using fdr::CallLocalService;
using fdrtest::LocalServices;

struct EndpointCase {
    const char* name;
    const fdr::LocalEndpoint& endpoint;
    const char* method;
    const char* path;
    const char* query_in_target;  // the raw query the service sees, "" for none
};

class LocalServiceCall : public testing::Test {
  protected:
    LocalServices services;
    void SetUp() override { ASSERT_TRUE(services.started()); }
};

TEST_F(LocalServiceCall, EveryEndpointReachesItsPortPathAndMethod) {
    namespace ep = fdr::endpoint;
    const EndpointCase cases[] = {
        {"dravo notify", ep::kDravoNotify, "PUT", "/dravoService/notify", ""},
        {"apply autonomies", ep::kApplyAutonomies, "PUT", "/apply_autonomies", ""},
        {"autonomy changed", ep::kAutonomyChanged, "PUT", "/autonomy_changed", ""},
        {"channel status", ep::kChannelStatusChanged, "PUT", "/channel_status_changed", ""},
        {"channel info", ep::kChannelInfoChanged, "PUT", "/channel_info_changed", ""},
        {"channel refresh", ep::kChannelInfoRefresh, "PUT", "/channel_info_refresh", ""},
        {"refresh ready", ep::kAutonomyRefreshReady, "PUT", "/autonomy_refresh_ready", ""},
        {"aggregator", ep::kAggregatorSystemInfo, "PUT", "/aggreatorService/system_info", ""},
        {"failover", ep::kFailoverInfo, "PUT", "/cgi-bin/zelprocms/apis/fdr_cluster.cgi",
         "action=failover_info"},
        {"channel write", ep::kCmsChannelWrite, "PUT", "/fdr/CmsChannel", ""},
        {"autonomies", ep::kAutonomies, "GET", "/fdr/Autonomies", ""},
        {"service", ep::kServiceInfo, "GET", "/fdr/Service", ""},
        {"privilege report", ep::kPrivilegeReport, "POST", "/fdr/CmsAccessPrivilegeReport", ""},
        {"channel read", ep::kCmsChannelRead, "GET", "/fdr/CmsChannel", ""},
        {"config", ep::kConfig, "GET", "/fdr/Config", ""},
        {"reload autonomy", ep::kReloadAutonomy, "PUT", "/logs/reload_autonomy", ""},
        {"log add", ep::kLogAutonomyList, "POST", "/logs/autonomyList", ""},
        {"log update", ep::kLogUpdateList, "POST", "/logs/updateList", ""},
        {"log delete", ep::kLogDeleteList, "POST", "/logs/deleteList", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        services.ClearRequests();
        services.Answer(c.endpoint.port, c.method, c.path,
                        {200, "answer of " + std::string(c.name)});
        std::string response;
        EXPECT_EQ(CallLocalService(c.endpoint, response, "{\"k\":1}"), 0);
        EXPECT_EQ(response, "answer of " + std::string(c.name));
        auto request = services.OnlyRequest();
        EXPECT_EQ(request.port, c.endpoint.port);
        EXPECT_EQ(request.method, c.method);
        EXPECT_EQ(request.path, c.path);
        std::string query = request.target.find('?') == std::string::npos
                                ? ""
                                : request.target.substr(request.target.find('?') + 1);
        EXPECT_EQ(query, c.query_in_target);
        EXPECT_EQ(request.body, std::string(c.method) == "GET" ? "" : "{\"k\":1}");
    }
}

TEST_F(LocalServiceCall, QueryParametersTravelInKeyOrderAndEncoded) {
    query_object query;
    query.parameters["type"] = "1";
    query.parameters["autonomy_lid"] = "lid with space&amp";
    std::string response;
    ASSERT_EQ(CallLocalService(fdr::endpoint::kServiceInfo, response, "", &query), 0);
    auto request = services.OnlyRequest();
    EXPECT_EQ(request.target, "/fdr/Service?autonomy_lid=lid%20with%20space%26amp&type=1");
    ASSERT_EQ(request.query.size(), 2u);
    EXPECT_EQ(request.query[0].second, "lid with space&amp");
}

TEST_F(LocalServiceCall, PostWithQueryCarriesBothQueryAndBody) {
    query_object query;
    query.parameters["operator"] = "admin";
    std::string response;
    ASSERT_EQ(CallLocalService(fdr::endpoint::kPrivilegeReport, response, "{\"a\":[]}", &query), 0);
    auto request = services.OnlyRequest();
    EXPECT_EQ(request.target, "/fdr/CmsAccessPrivilegeReport?operator=admin");
    EXPECT_EQ(request.body, "{\"a\":[]}");
}

TEST_F(LocalServiceCall, FailuresAreTheClientsCodesAndKeepTheAnswer) {
    services.Answer(10240, "GET", "/fdr/Service", {500, "{\"err\":\"boom\"}"});
    std::string response;
    EXPECT_EQ(CallLocalService(fdr::endpoint::kServiceInfo, response), KFEN_ERR_HTTP_STATUS);
    EXPECT_EQ(response, "{\"err\":\"boom\"}");
    EXPECT_EQ(*__kfen_errno(), 500);

    services.Stop();
    response = "untouched?";
    EXPECT_EQ(CallLocalService(fdr::endpoint::kAutonomies, response), KFEN_ERR_TRANSPORT);
    EXPECT_TRUE(response.empty() || response == "untouched?");
}

TEST(LocalServiceReport, ConsoleLineStartsWithCarriageReturn) {
    testing::internal::CaptureStdout();
    fdr::ReportErrorToConsole(-7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r[error]n_ret=-7\n");
}

TEST(LocalServiceReport, CenterDebugLineNamesFileOperationAndLine) {
    auto debug_log = fdrtest::WatchCenterDebugLog();
    fdr::ReportErrorToCenterDebug("NotifyLogAddAutonomy", 183, 3);
    auto lines = debug_log.NewLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "[src/FederateUtil:NotifyLogAddAutonomy](183) [error] n_ret=3");
}

TEST(LocalServiceReport, CenterLogLineIsWrittenAsFormatted) {
    auto center_log = fdrtest::WatchCenterLog();
    FDR_CENTER_LOG("[fedutil] save failover info fail 0x%X, %s", 3, "resp");
    auto lines = center_log.NewLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "[fedutil] save failover info fail 0x3, resp");
}

}  // namespace
