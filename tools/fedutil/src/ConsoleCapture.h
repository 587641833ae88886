// What the library prints while fedutil calls it, kept apart from fedutil's own output.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace fedutil {

// The library writes its diagnostics ("\r[error]n_ret=3", "err_code : 0") to standard output.
// fedutil keeps them apart from its own output: while a capture is alive, file descriptor 1
// goes to a temporary file, and the lines are handed back when it ends.
class ConsoleCapture {
  public:
    ConsoleCapture();
    // Restores standard output if Finish was not called (an exception left the call).
    ~ConsoleCapture() { Finish(); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    // Restores standard output and returns what was written, one entry per non-empty line,
    // carriage returns removed.
    std::vector<std::string> Finish();

  private:
    std::FILE* file_ = nullptr;
    int saved_stdout_ = -1;
};

}  // namespace fedutil
