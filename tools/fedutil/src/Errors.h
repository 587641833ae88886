// The failures that end a fedutil run, each with its own exit status (see ResultCodes.h).
#pragma once

#include <stdexcept>
#include <string>

namespace fedutil {

// The command line is wrong: unknown command or option, missing or malformed value.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// An input file cannot be read or does not hold what the command needs. The message names the
// file and, where it can, the place in it.
class InputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// libfederateutil.so.1 (or the simulator the demo needs) cannot be loaded or started.
class UnavailableError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// An output file cannot be written.
class OutputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace fedutil
