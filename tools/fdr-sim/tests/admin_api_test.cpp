// The control API over an in-process simulator on free ports, driven by data/admin_api.cases:
// each request line is sent in turn and its answer compared with the expected line.
#include <gtest/gtest.h>
#include <httplib.h>

#include <fstream>
#include <regex>
#include <thread>

#include "AdminServer.h"
#include "support/Text.h"

namespace fdrsim::test {
namespace {

struct Answer {
    int status = 0;
    std::string body;
};

TEST(AdminApi, AnswersEveryCaseAsWritten) {
    SimulatorOptions options;
    options.any_ports = true;
    Simulator simulator(std::move(options));
    admin::AdminServer admin(simulator);
    std::string error;
    ASSERT_TRUE(simulator.Start(&error) && admin.Start(0, &error)) << error;

    // "METHOD TARGET [BODY]": TARGET /api/.. goes to the control API, SERVICE/path to a service.
    const auto send = [&](const std::string& line) {
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(line, parts, std::regex(R"((\w+) ([\w-]*)(/\S*) ?(.*))")));
        const std::string method = parts[1], target = parts[3], body = parts[4];
        const ServiceInfo* service = FindService(parts[2]);
        httplib::Client client("127.0.0.1", service ? simulator.PortOf(service->id) : admin.port());
        const auto result = method == "GET"    ? client.Get(target)
                            : method == "PUT"  ? client.Put(target, body, "application/json")
                            : method == "POST" ? client.Post(target, body, "application/json")
                                               : client.Delete(target);
        Answer answer{result ? result->status : 0, result ? result->body : ""};
        if (!answer.body.empty() && answer.body.back() == '\n') {
            answer.body.pop_back();
        }
        // Free ports differ from run to run: the case names them by service.
        for (const auto& info : AllServices()) {
            const std::string port = std::to_string(simulator.PortOf(info.id));
            answer.body = std::regex_replace(
                answer.body, std::regex("(\"port\":|127\\.0\\.0\\.1:)" + port + "\\b"),
                "$1<" + std::string(info.key) + ">");
        }
        return answer;
    };

    std::ifstream cases(FDR_SIM_TEST_DATA "/admin_api.cases");
    std::string request, expected;
    std::thread background;
    while (std::getline(cases, request)) {
        if (request.empty() || request[0] == '#') {
            continue;
        }
        if (request[0] == '&') {  // sent beside the next request, done once that one is answered
            background = std::thread([send, line = request.substr(1)] { send(line); });
            continue;
        }
        ASSERT_TRUE(std::getline(cases, expected) && expected.rfind("=> ", 0) == 0) << request;
        const Answer answer = send(request);
        if (background.joinable()) {
            background.join();
        }
        const std::string got = std::to_string(answer.status) + " " + answer.body;
        EXPECT_TRUE(fdrtest::GlobMatches(expected.substr(3), got)) << request << "\n  got " << got;
    }
}

}  // namespace
}  // namespace fdrsim::test
