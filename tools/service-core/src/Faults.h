// The ways a simulated service can misbehave on purpose, for demos and tests.
#pragma once

#include <optional>
#include <string>

#include "ServiceTable.h"

namespace fdrsim {

enum class FaultMode {
    None,
    Refuse,         // nothing listens on the port: connections are refused
    Stall,          // requests are read and never answered until the simulator stops
    InternalError,  // every request is answered 500
    Garbage,        // every request is answered 200 with a body that is not JSON
    CloseEarly,     // the answer announces more bytes than it sends, then the connection closes
};

struct FaultSetting {
    Service service;
    FaultMode mode;
};

// Reads "PORT:MODE" or "SERVICE:MODE" ("federation:stall", "token:500"). Modes: refuse, stall, 500,
// garbage, close-early. On failure returns nothing and sets `error`.
std::optional<FaultSetting> ParseFault(const std::string& text, std::string* error);

// The command-line name of a mode ("close-early").
const char* FaultName(FaultMode mode);

// What the garbage mode answers: an error page of some proxy, not JSON.
inline constexpr char kGarbageBody[] =
    "<html><head><title>502 Bad Gateway</title></head><body>bad gateway</body></html>\n";
// What the close-early mode announces; only its first kCloseEarlySentBytes bytes are sent.
inline constexpr char kCloseEarlyBody[] =
    R"({"err_code":0,"err_no":"0","err_str":"ok","note":"this answer is cut short"})";
inline constexpr size_t kCloseEarlySentBytes = 16;
// What the internal-error mode answers, with status 500.
inline constexpr char kInternalErrorBody[] =
    R"json({"err_code":500,"err_no":"500","err_str":"internal error (simulated)"})json";

}  // namespace fdrsim
