// The ways a simulated service can misbehave on purpose, for demos and tests.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "Exchange.h"

namespace fdrsim {

enum class FaultMode {
    None,    // answer normally (with Fault::delay, a slow but correct answer)
    Refuse,  // nothing listens: connections are refused (the port reopens when cleared)
    Stall,   // requests are read and never answered until the fault is cleared or the core stops
    Status,  // a complete answer with Fault::status and Fault::body
    InternalError,  // 500 with the canned internal-error body
    NotFound,       // 404 with a canned body
    Garbage,        // 200 with a body that is not JSON (an error page of some proxy)
    CloseEarly,   // 200 announcing the whole body, only sent_bytes sent, then the connection closes
    ResetEarly,   // the same ended by a reset (RST)
    Drip,         // the normal answer, one byte per drip_interval
    Huge,         // 200 of huge_bytes: head, filler, tail; streamed, never held in memory
    InvalidHttp,  // bytes that are not HTTP where the status line should be
    DeepNesting,  // 200 whose JSON body nests `depth` levels deep
};

struct Fault {
    FaultMode mode = FaultMode::None;
    std::chrono::milliseconds delay{0};  // wait before answering or misbehaving
    int remaining = -1;                  // applies to the next N requests; -1: until cleared
    int status = 500;                    // Status
    std::string
        body;  // Status / CloseEarly / ResetEarly / DeepNesting; empty: canned or the route's
    size_t sent_bytes = 16;  // CloseEarly / ResetEarly
    std::string head;        // Huge
    std::string tail;
    char filler = ' ';
    size_t huge_bytes = 100u << 20;
    int depth = 100000;                           // DeepNesting
    std::chrono::milliseconds drip_interval{50};  // Drip
};

struct FaultSetting {
    Service service;
    FaultMode mode;
};

// Reads "PORT:MODE" or "SERVICE:MODE" ("federation:stall", "token:500"). On failure returns
// nothing and sets `error`.
std::optional<FaultSetting> ParseFault(const std::string& text, std::string* error);

// The name of a mode ("close-early"), as the command line and the admin API spell it.
const char* FaultName(FaultMode mode);
std::optional<FaultMode> FaultModeNamed(const std::string& name);

// What the garbage mode answers: an error page of some proxy, not JSON.
inline constexpr char kGarbageBody[] =
    "<html><head><title>502 Bad Gateway</title></head><body>bad gateway</body></html>\n";
// What the close-early and reset-early modes announce when given no body.
inline constexpr char kCloseEarlyBody[] =
    R"({"err_code":0,"err_no":"0","err_str":"ok","note":"this answer is cut short"})";
// What the internal-error mode answers, with status 500.
inline constexpr char kInternalErrorBody[] =
    R"json({"err_code":500,"err_no":"500","err_str":"internal error (simulated)"})json";
// What the not-found mode answers, with status 404.
inline constexpr char kNotFoundBody[] =
    R"json({"err_code":404,"err_no":"404","err_str":"not found (simulated)"})json";
// What the invalid-HTTP mode sends where the status line should be.
inline constexpr char kInvalidHttpBytes[] =
    "GARBAGE/9 what is this\r\nno: headers\r\n\r\n{\"err_code\":0}";

// `object` (a JSON object text) with one more member whose arrays make the whole document
// `depth` levels deep, counting the object itself as the first level.
std::string NestedJson(const std::string& object, int depth);

}  // namespace fdrsim
