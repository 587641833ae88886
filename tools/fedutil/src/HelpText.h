// fedutil's help texts: the overview of every command and the usage of each one.
#pragma once

#include <string>
#include <vector>

#include "CommandLine.h"
#include "Operations.h"

namespace fedutil {

std::string OverviewHelp();
std::string OperationHelp(const OperationSpec& operation);
std::string DemoHelp(const std::vector<OptionSpec>& demo_options);

// "fedutil 1.0.0".
std::string VersionText();

// The exit statuses, as the help texts and messages state them.
std::string ExitStatusHelp();

}  // namespace fedutil
