#include "support/LocalServices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "FormText.h"
#include "Simulator.h"

namespace fdrtest {

namespace {

fdrsim::Service ServiceOn(int port) {
    const fdrsim::ServiceInfo* info = fdrsim::FindService(std::to_string(port));
    if (info == nullptr) {
        throw std::invalid_argument("no local service on port " + std::to_string(port));
    }
    return info->id;
}

RecordedRequest Recorded(int port, const std::string& method, const std::string& target,
                         const fdrsim::HeaderList& headers, const std::string& body) {
    RecordedRequest request;
    request.port = port;
    request.method = method;
    request.path = fdrsim::PercentDecode(target.substr(0, target.find('?')), false);
    request.target = target;
    request.query = fdrsim::DecodeQuery(target);
    request.headers.insert(headers.begin(), headers.end());
    request.body = body;
    return request;
}

}  // namespace

const std::vector<int>& LocalServices::AllPorts() {
    static const std::vector<int> ports = {10223, 10227, 10228, 10229, 10235, 10240, 10241, 10250};
    return ports;
}

LocalServices::LocalServices(const std::vector<int>& ports) {
    fdrsim::SimulatorOptions options;
    options.recorder_only = true;
    for (const auto& info : fdrsim::AllServices()) {
        if (std::find(ports.begin(), ports.end(), info.port) == ports.end()) {
            options.faults[info.id] = fdrsim::FaultMode::Refuse;
        }
    }
    simulator_ = std::make_unique<fdrsim::Simulator>(std::move(options));
    std::string error;
    started_ = simulator_->Start(&error);
    if (!started_) {
        ADD_FAILURE() << error;
    }
}

LocalServices::~LocalServices() = default;

void LocalServices::Stop() {
    simulator_->Stop();
}

void LocalServices::Answer(int port, const std::string& method, const std::string& path,
                           ScriptedAnswer answer) {
    simulator_->Script(ServiceOn(port), method, path, std::move(answer));
}

void LocalServices::AnswerWith(int port, const std::string& method, const std::string& path,
                               Responder responder) {
    simulator_->ScriptWith(
        ServiceOn(port), method, path, [port, responder](const fdrsim::IncomingRequest& request) {
            return responder(
                Recorded(port, request.method, request.target, request.headers, request.body));
        });
}

std::vector<RecordedRequest> LocalServices::Requests() const {
    std::vector<RecordedRequest> requests;
    for (const auto& e : simulator_->Exchanges().List()) {
        requests.push_back(Recorded(e.port, e.method, e.target, e.request_headers, e.request_body));
    }
    return requests;
}

std::vector<RecordedRequest> LocalServices::Requests(int port) const {
    std::vector<RecordedRequest> selected;
    for (auto& request : Requests()) {
        if (request.port == port) {
            selected.push_back(std::move(request));
        }
    }
    return selected;
}

RecordedRequest LocalServices::OnlyRequest() const {
    auto all = Requests();
    EXPECT_EQ(all.size(), 1u) << "expected exactly one request";
    return all.empty() ? RecordedRequest{} : all.front();
}

void LocalServices::ClearRequests() {
    simulator_->Exchanges().Clear();
}

bool LocalServices::WaitForRequests(size_t count, std::chrono::milliseconds timeout) const {
    return simulator_->Exchanges().WaitForCount(count, timeout);
}

}  // namespace fdrtest
