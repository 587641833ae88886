// fedutil's failures: each ends a run with its own exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace fedutil {

// Exit statuses besides the operation's own result (0..63).
inline constexpr int kExitUsage = 64;        // bad command line
inline constexpr int kExitNoInput = 66;      // an input file cannot be read or is not usable
inline constexpr int kExitUnavailable = 69;  // the library (or the simulator) cannot be loaded
inline constexpr int kExitSoftware = 70;     // the operation raised an exception
inline constexpr int kExitCantCreate = 73;   // an output file cannot be written

class Failure : public std::runtime_error {
  public:
    Failure(const std::string& message, int exit_status)
        : std::runtime_error(message), status(exit_status) {}
    int status;
};

// The command line is wrong: unknown command or option, missing or malformed value.
struct UsageError : Failure {
    explicit UsageError(const std::string& message) : Failure(message, kExitUsage) {}
};
// An input file cannot be read or does not hold what the command needs. The message names the
// file and, where it can, the place in it.
struct InputError : Failure {
    explicit InputError(const std::string& message) : Failure(message, kExitNoInput) {}
};
// libfederateutil.so.1 (or the simulator the demo needs) cannot be loaded or started.
struct UnavailableError : Failure {
    explicit UnavailableError(const std::string& message) : Failure(message, kExitUnavailable) {}
};
// An output file cannot be written.
struct OutputError : Failure {
    explicit OutputError(const std::string& message) : Failure(message, kExitCantCreate) {}
};

}  // namespace fedutil
