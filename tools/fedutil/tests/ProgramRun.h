// Running fedutil (or the simulator) as a child process, as a user or a script would.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace fedutil::test {

struct ProgramResult {
    int status = -1;  // exit status; 128 + signal when a signal ended it
    std::string out;
    std::string err;
};

// Runs `program` with `args` to its end, standard input from `input` (a file).
ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::vector<std::string>& environment = {},
                         const std::string& input = "/dev/null");

// fedutil itself.
ProgramResult RunFedutil(const std::vector<std::string>& args,
                         const std::vector<std::string>& environment = {});

// A fresh, empty folder of this test run.
std::string NewFolder();
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);
std::string DataFile(const std::string& name);

}  // namespace fedutil::test
