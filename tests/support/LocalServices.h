// The local services as the library's tests use them: the service core on the fixed ports with no
// routes of its own, answering what a test scripts (200 and no body otherwise) and recording every
// exchange; and the reading operations as the fault and time-out tests drive them, through the
// case runner's operations: each call on a fresh object with its outputs started as "old".
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "Simulator.h"
#include "platform/kfen_client.h"
#include "runner/Operations.h"

namespace fdrtest {

// Started, with `faults` set from the start, on the fixed ports or (`free_ports`) on any free
// ones; a port that cannot be bound is a test failure.
inline std::unique_ptr<fdrsim::Simulator> StartRecorder(
    std::map<fdrsim::Service, fdrsim::FaultMode> faults = {}, bool free_ports = false) {
    fdrsim::SimulatorOptions options;
    options.recorder_only = true;
    options.any_ports = free_ports;
    options.faults = std::move(faults);
    auto services = std::make_unique<fdrsim::Simulator>(std::move(options));
    std::string error;
    EXPECT_TRUE(services->Start(&error)) << error;
    return services;
}

struct Outcome {
    int result;
    std::string output;
    bool operator==(const Outcome& o) const { return result == o.result && output == o.output; }
};
inline void PrintTo(const Outcome& o, std::ostream* os) {  // long outputs shortened
    *os << o.result << " \"" << o.output.substr(0, 200) << "\" (" << o.output.size() << " bytes)";
}

// A reading operation: the answer it reads, and what it ends with after that answer, after one
// its parser rejects and after a failed request.
struct Reader {
    const char* operation;
    int port;
    int timeout_seconds;
    const char* good;
    const char* output;
    Outcome read, rejected, failed;
    bool echoes = false;      // hands the answer over unread, whatever it is
    bool uses_client = true;  // through the local client, whose detail number is then readable
};

// clang-format off
inline const Reader kReaders[] = {
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

// One call; `detail`, when given, gets the local client's detail number after it.
inline Outcome RunReader(const Reader& reader, int* detail = nullptr) {
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
