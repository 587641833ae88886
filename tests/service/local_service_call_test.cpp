// The one request helper through which every operation reaches a local service. Each
// endpoint's method, port and target is pinned by the case files of its operations.
#include <gtest/gtest.h>

#include "FederateUtil/LocalServiceCall.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"

namespace {

using fdr::CallLocalService;
using fdrtest::LocalServices;

class LocalServiceCall : public testing::Test {
  protected:
    LocalServices services;
    void SetUp() override { ASSERT_TRUE(services.started()); }
};

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
