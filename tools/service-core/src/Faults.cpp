#include "Faults.h"

namespace fdrsim {

namespace {

struct ModeName {
    FaultMode mode;
    const char* name;
};

constexpr ModeName kModeNames[] = {
    {FaultMode::Refuse, "refuse"},          {FaultMode::Stall, "stall"},
    {FaultMode::InternalError, "500"},      {FaultMode::Garbage, "garbage"},
    {FaultMode::CloseEarly, "close-early"},
};

}  // namespace

const char* FaultName(FaultMode mode) {
    for (const auto& entry : kModeNames) {
        if (entry.mode == mode) {
            return entry.name;
        }
    }
    return "none";
}

std::optional<FaultSetting> ParseFault(const std::string& text, std::string* error) {
    auto fail = [&](const std::string& reason) -> std::optional<FaultSetting> {
        if (error != nullptr) {
            *error = "bad --fault \"" + text + "\": " + reason;
        }
        return std::nullopt;
    };
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return fail("expected PORT:MODE");
    }
    const ServiceInfo* service = FindService(text.substr(0, colon));
    if (service == nullptr) {
        return fail("no service on port or named \"" + text.substr(0, colon) + "\"");
    }
    const std::string mode = text.substr(colon + 1);
    for (const auto& entry : kModeNames) {
        if (mode == entry.name) {
            return FaultSetting{service->id, entry.mode};
        }
    }
    return fail("unknown mode \"" + mode + "\" (refuse, stall, 500, garbage, close-early)");
}

}  // namespace fdrsim
