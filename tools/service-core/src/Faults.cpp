#include "Faults.h"

#include <iterator>

namespace fdrsim {

namespace {

struct ModeName {
    FaultMode mode;
    const char* name;
};

// In the order of FaultMode.
constexpr ModeName kModeNames[] = {
    {FaultMode::None, "none"},
    {FaultMode::Refuse, "refuse"},
    {FaultMode::Stall, "stall"},
    {FaultMode::Status, "status"},
    {FaultMode::InternalError, "500"},
    {FaultMode::NotFound, "404"},
    {FaultMode::Garbage, "garbage"},
    {FaultMode::CloseEarly, "close-early"},
    {FaultMode::ResetEarly, "reset-early"},
    {FaultMode::Drip, "drip"},
    {FaultMode::Huge, "huge"},
    {FaultMode::InvalidHttp, "invalid-http"},
    {FaultMode::DeepNesting, "deep-nesting"},
};

static_assert(std::size(kModeNames) == static_cast<size_t>(FaultMode::DeepNesting) + 1);

std::string ModeList() {
    std::string list;
    for (const auto& entry : kModeNames) {
        list += (list.empty() ? "" : ", ") + std::string(entry.name);
    }
    return list;
}

}  // namespace

const char* FaultName(FaultMode mode) {
    return kModeNames[static_cast<int>(mode)].name;  // the table is in the order of FaultMode
}

std::optional<FaultMode> FaultModeNamed(const std::string& name) {
    for (const auto& entry : kModeNames) {
        if (name == entry.name) {
            return entry.mode;
        }
    }
    return std::nullopt;
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
    if (auto found = FaultModeNamed(mode)) {
        return FaultSetting{service->id, *found};
    }
    return fail("unknown mode \"" + mode + "\" (" + ModeList() + ")");
}

std::string NestedJson(const std::string& object, int depth) {
    const size_t close = object.rfind('}');
    const size_t open = object.find('{');
    if (close == std::string::npos || open == std::string::npos || depth < 2) {
        return object;
    }
    const bool empty = object.find_first_not_of(" \t\r\n", open + 1) == close;
    const auto arrays = static_cast<size_t>(depth - 1);
    return object.substr(0, close) + (empty ? "" : ",") + "\"deep\":" + std::string(arrays, '[') +
           std::string(arrays, ']') + object.substr(close);
}

}  // namespace fdrsim
