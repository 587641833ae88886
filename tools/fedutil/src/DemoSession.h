// `fedutil demo`, a recording server's session played through the library against the
// simulator, each step judged by what it is documented to do and by what the services received.
#pragma once

#include <vector>

#include "CommandLine.h"

namespace fedutil {

const std::vector<CommandOption>& DemoOptions();

// Runs the whole demo for `line` (fedutil demo ...) and returns the exit status.
int RunDemo(const CommandLine& line);

}  // namespace fedutil
