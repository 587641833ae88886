// The command line of the fdr-sim program.
#pragma once

#include <string>

#include "Simulator.h"

namespace fdrsim {

// The control API and console: outside the eight service ports, on 127.0.0.1 only.
inline constexpr int kDefaultAdminPort = 10299;

struct CommandLine {
    SimulatorOptions simulator;   // the ports, faults and token lifetimes given
    std::string seed_path;        // empty: the built-in sample federation
    std::string transcript_path;  // empty: no transcript file
    std::string ready_file;       // empty: none
    // The control API's port; 0 picks a free one. Defaults to kDefaultAdminPort, or to a free
    // port with --any-ports, so that simulators on free ports never contend for it.
    int admin_port = kDefaultAdminPort;
    bool quiet = false;
    bool help = false;
    bool version = false;
    bool print_sample_seed = false;
};

// Reads the arguments after the program name. On a usage error returns false and sets `error`.
bool ParseCommandLine(int argc, const char* const* argv, CommandLine& out, std::string* error);

std::string UsageText();

}  // namespace fdrsim
