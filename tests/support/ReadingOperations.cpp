#include "support/ReadingOperations.h"

#include <gtest/gtest.h>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "json/CFdrUtilParser.h"
#include "platform/kfen_client.h"

namespace fdrtest {

void PrintTo(const Outcome& outcome, std::ostream* os) {
    *os << "{" << outcome.result << ", \""
        << (outcome.output.size() > 200 ? outcome.output.substr(0, 200) + "...(" +
                                              std::to_string(outcome.output.size()) + " bytes)"
                                        : outcome.output)
        << "\"}";
}

namespace {

// The runs of the reading operations: a fresh object each, outputs started as "old".

std::string Joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ",") + part;
    }
    return text;
}

Outcome LoadSetting() {
    CFederateUtil util;
    std::string guid = "old";
    const int r = util.LoadFdrFederateSetting(guid);
    return {r, guid};
}

Outcome LoadMembers() {
    CFederateUtil util;
    DravoAgentData::AutonomyList list;
    list.autonomy_list = {std::make_shared<DravoAgentData::AutonomyList::AutonomyListObj>()};
    list.autonomy_list[0]->autonomy_lid = "old";
    const int r = util.LoadFdrAutonomyListSetting(list);
    std::vector<std::string> lids;
    for (const auto& record : list.autonomy_list) {
        lids.push_back(record->autonomy_lid);
    }
    return {r, Joined(lids)};
}

Outcome LoadChannels() {
    CFederateUtil util;
    ChannelObjList channels = {std::make_shared<DravoAgentData::ChannelInformation::ChannelObj>()};
    channels[0]->channel_guid = "old";
    const int r = util.LoadFdrChannelSetting("1", channels);
    std::vector<std::string> guids;
    for (const auto& channel : channels) {
        guids.push_back(channel->channel_guid);
    }
    return {r, Joined(guids)};
}

Outcome SaveChannels() {
    CFederateUtil util;
    DravoAgentData::AutonomyList servers;
    ChannelObjList channels;
    return {util.SaveFdrAllChannelsSetting(servers, channels), "old"};
}

Outcome ReportPrivileges() {
    CFederateUtil util;
    std::string user = "alice";
    std::string second;
    std::string result = "old";
    const int r = util.GetFdrPrivilegeByUser(user, second, result);
    return {r, result};
}

Outcome ReadPrivilegeTime() {
    CFederateUtil util;
    std::string timestamp = "old";
    const int r = util.GetFdrPrivilegeTime(timestamp);
    return {r, timestamp};
}

// The access token and the stored refresh token.
Outcome Token(bool refresh) {
    CFederateUtil util;
    std::string id = "recorder";
    std::string secret = "s3cret";
    std::string access = "old";
    const int r =
        refresh ? util.AuthRefreshToken(id, secret, access) : util.AuthGetToken(id, secret, access);
    return {r, access + "|" + util.StoredRefreshTokenForTesting()};
}

}  // namespace

std::vector<Reader> Readers() {
    using P = CFdrUtilParser;
    const std::chrono::seconds request(fdr::kRequestTimeoutSeconds);
    const std::chrono::seconds report(fdr::kPrivilegeReportTimeoutSeconds);
    const std::chrono::seconds transfer(30);  // the token connection's fixed transfer time-out
    const auto code = [](unsigned int c) { return static_cast<int>(c); };
    const std::string tokens = R"({"access_token":"AT","refresh_token":"RT"})";
    const std::string privileges = R"({"report_type":0,"access_type":0,"privilege_list":[]})";
    const std::string channels =
        R"({"channel_list":[{"guid":"g1","name":"n","data":"{\"channel_guid\":\"g1\"}"}]})";
    // Columns: name, port, time-out, an answer read well, run, returns its code, goes through
    // the local client, outcome of the good answer, outcome of an answer that is not JSON.
    // clang-format off
    return {
        {"LoadFdrFederateSetting", 10240, request,
         R"({"serviceInfo":{"GUID":"fed-1"},"err_code":0})", LoadSetting,
         true, true, {0, "fed-1"}, {code(P::kSettingNotJson), "old"}},
        {"LoadFdrAutonomyListSetting", 10240, request,
         R"({"autonomy_list":[{"autonomy_lid":"a"},{"autonomy_lid":"b"}]})", LoadMembers,
         true, true, {0, "a,b"}, {code(P::kAnswerNotJson), "old"}},
        {"LoadFdrChannelSetting", 10241, request, channels, LoadChannels,
         true, true, {0, "old,g1"}, {code(P::kChannelListError), "old"}},
        {"SaveFdrAllChannelsSetting", 10240, request,
         R"({"autonomy_list":[],"err_code":0})", SaveChannels,
         true, true, {0, "old"}, {code(P::kAnswerNotJson), "old"}},
        // The answer is handed over unread, whatever it is.
        {"GetFdrPrivilegeByUser", 10240, report, privileges, ReportPrivileges,
         false, true, {0, privileges}, {0, "(the answer)"}, true},
        // An answer that is not JSON still replaces the timestamp, with the empty text.
        {"GetFdrPrivilegeTime", 10241, request,
         R"({"err_code":0,"config":"1715679000"})", ReadPrivilegeTime,
         false, true, {0, "1715679000"}, {0, ""}},
        {"AuthGetToken", 10229, transfer, tokens, [] { return Token(false); },
         false, false, {0, "AT|RT"}, {0, "old|"}, false, "old|"},
        {"AuthRefreshToken", 10229, transfer, tokens, [] { return Token(true); },
         false, false, {0, "AT|RT"}, {0, "old|"}, false, "old|"},
    };
    // clang-format on
}

Call RunOnce(const Reader& reader) {
    *__kfen_errno() = -1;
    const auto start = std::chrono::steady_clock::now();
    Outcome outcome = reader.run();
    const auto waited = std::chrono::steady_clock::now() - start;
    return {std::move(outcome), reader.uses_client ? *__kfen_errno() : kNoDetail, waited};
}

QuietStdout::QuietStdout() {
    testing::internal::CaptureStdout();
}

QuietStdout::~QuietStdout() {
    testing::internal::GetCapturedStdout();
}

}  // namespace fdrtest
