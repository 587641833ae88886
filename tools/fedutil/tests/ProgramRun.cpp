#include "ProgramRun.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace fedutil::test {

// Always a new, empty folder: a name made of the pid alone may meet the folder of an earlier
// process with the same pid, and a ready file left there would pass for a simulator's.
std::string NewFolder() {
    std::string name = testing::TempDir() + "fedutil-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder below " + testing::TempDir());
    }
    return name;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::string DataFile(const std::string& name) {
    return std::string(FEDUTIL_TEST_DATA) + "/" + name;
}

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::vector<std::string>& environment, const std::string& input) {
    const std::string folder = NewFolder();
    const std::string out = folder + "/stdout";
    const std::string err = folder + "/stderr";
    std::vector<std::string> words = {program};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    std::vector<std::string> variables = environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);  // the later duplicate loses to the earlier one
    }
    std::vector<char*> envp;
    for (auto& variable : variables) {
        envp.push_back(variable.data());
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = -1;
    ProgramResult result;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data()) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    result.out = ReadFile(out);
    result.err = ReadFile(err);
    return result;
}

ProgramResult RunFedutil(const std::vector<std::string>& args,
                         const std::vector<std::string>& environment) {
    return RunProgram(FEDUTIL_PROGRAM, args, environment);
}

}  // namespace fedutil::test
