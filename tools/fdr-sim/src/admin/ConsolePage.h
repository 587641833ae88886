// The live console: one HTML page with its style and script, compiled into fdr-sim.
#pragma once

#include <string>

namespace fdrsim::admin {

const std::string& ConsolePageHtml();

}  // namespace fdrsim::admin
