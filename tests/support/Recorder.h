// The local services as the library's tests use them: the service core on the fixed ports with
// no routes of its own, answering what a test scripts (200 and no body otherwise) and recording
// every exchange.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "Simulator.h"

namespace fdrtest {

// Started, with `faults` set from the start; a port that cannot be bound is a test failure.
inline std::unique_ptr<fdrsim::Simulator> StartRecorder(
    std::map<fdrsim::Service, fdrsim::FaultMode> faults = {}) {
    fdrsim::SimulatorOptions options;
    options.recorder_only = true;
    options.faults = std::move(faults);
    auto services = std::make_unique<fdrsim::Simulator>(std::move(options));
    std::string error;
    EXPECT_TRUE(services->Start(&error)) << error;
    return services;
}

}  // namespace fdrtest
