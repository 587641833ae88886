#include "support/ReadingOperations.h"

#include "platform/kfen_client.h"
#include "runner/Operations.h"

namespace fdrtest {

void PrintTo(const Outcome& o, std::ostream* os) {
    *os << o.result << " \"" << o.output.substr(0, 200) << "\" (" << o.output.size() << " bytes)";
}

// clang-format off
const Reader kReaders[8] = {
    {"LoadFdrFederateSetting", 10240, 5, R"({"serviceInfo":{"GUID":"fed-1"},"err_code":0})",
     "guid", {0, "fed-1"}, {-754842879, "old"}, {3, "old"}},
    {"LoadFdrAutonomyListSetting", 10240, 5,
     R"({"autonomy_list":[{"autonomy_lid":"a"},{"autonomy_lid":"b"}]})",
     "lids", {0, "a,b"}, {-754843392, "old"}, {3, "old"}},
    {"LoadFdrChannelSetting", 10241, 5, R"({"channel_list":[{"data":"{}"}]})",
     "channels", {0, "2"}, {-754842624, "1"}, {3, "1"}},
    {"SaveFdrAllChannelsSetting", 10240, 5, R"({"autonomy_list":[],"err_code":0})",
     "", {0, ""}, {-754843392, ""}, {3, ""}},
    {"GetFdrPrivilegeByUser", 10240, 30, R"({"report_type":0,"privilege_list":[]})",
     "result", {0, ""}, {0, ""}, {0, "old"}, true},
    // An answer that is not JSON still replaces the timestamp, with the empty text.
    {"GetFdrPrivilegeTime", 10241, 5, R"({"err_code":0,"config":"1715679000"})",
     "timestamp", {0, "1715679000"}, {0, ""}, {0, "old"}},
    {"AuthGetToken", 10229, 30, R"({"access_token":"AT","refresh_token":"RT"})",
     "access_token", {0, "AT"}, {0, "old"}, {0, "old"}, false, false},
    {"AuthRefreshToken", 10229, 30, R"({"access_token":"AT","refresh_token":"RT"})",
     "access_token", {0, "AT"}, {0, "old"}, {0, "old"}, false, false},
};
// clang-format on

Outcome RunReader(const Reader& reader, int* detail) {
    CFederateUtil util;
    fdrcase::CallData data;
    data.args = {{"list", {R"({"autonomy_list":[{"autonomy_lid":"old"}]})"}},
                 {"lid", {"1"}},
                 {"channels", {R"({"channel_list":[{"data":"{}"}]})"}},
                 {"servers", {R"({"autonomy_list":[]})"}},
                 {"user", {"alice"}},
                 {"second", {""}},
                 {"client_id", {"recorder"}},
                 {"client_secret", {"s3cret"}}};
    data.outputs = {
        {"guid", "old"}, {"result", "old"}, {"timestamp", "old"}, {"access_token", "old"}};
    const int result = fdrcase::OperationNamed(reader.operation)(util, data);
    if (detail != nullptr) {
        *detail = *__kfen_errno();
    }
    return {result, data.outputs[reader.output]};
}

}  // namespace fdrtest
