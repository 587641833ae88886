#include "SimulatorClient.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/kfen_client.h"

namespace fdrsim::test {

namespace {

using Clock = std::chrono::steady_clock;

template <typename Call>
Reply Timed(Call call) {
    Reply reply;
    const auto start = Clock::now();
    reply.code = call(reply.body);
    reply.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    reply.detail = *__kfen_errno();
    return reply;
}

char* Text(const std::string& text) {
    return const_cast<char*>(text.c_str());
}

}  // namespace

SimulatorOptions FreePortOptions() {
    SimulatorOptions options;
    options.any_ports = true;
    return options;
}

std::unique_ptr<Simulator> StartSimulator(SimulatorOptions options) {
    auto simulator = std::make_unique<Simulator>(std::move(options));
    std::string error;
    if (!simulator->Start(&error)) {
        ADD_FAILURE() << "the simulator did not start: " << error;
        return nullptr;
    }
    return simulator;
}

Reply Get(int port, const std::string& path, const std::map<std::string, std::string>& query,
          long timeout_seconds) {
    query_object parameters;
    parameters.parameters = query;
    return Timed([&](std::string& response) {
        return kfen_GET_request(Text("127.0.0.1"), port, Text(path), &parameters, response,
                                timeout_seconds, false, false, 0, nullptr);
    });
}

TakenPort::TakenPort() : socket_(BoundLoopbackSocket(0)) {
    if (socket_ >= 0 && ::listen(socket_, 4) == 0) {
        port_ = PortOfSocket(socket_);
    }
}

TakenPort::~TakenPort() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

}  // namespace fdrsim::test
