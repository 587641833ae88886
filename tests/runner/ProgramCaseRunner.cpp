// Runs a program as a user would, from one case file, and compares what it printed, the files it
// wrote and its exit status with the literal text in the case file.
//
//   program_case_runner --program PATH --case FILE [--var NAME=VALUE]... [--update]
//
// The case file's syntax and its sections are in tests/cases/README.md. @TMP@ is a fresh folder
// of this run, @NAME@ a --var value; in what the program printed those values read back as @TMP@
// and @NAME@, so that case files hold no paths of one build. --update rewrites the expected
// sections and the exit status with what the program did (for a new case, to review).
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "runner/CaseFile.h"
#include "support/Files.h"
#include "support/Text.h"
#include "support/Timing.h"

namespace {

using fdrcase::Section;

using fdrtest::ReplaceAll;

std::string Substitute(std::string text, const std::map<std::string, std::string>& vars) {
    for (const auto& [name, value] : vars) {
        text = ReplaceAll(text, "@" + name + "@", value);
    }
    return text;
}

// The text of every section of that name, in order, with the given values put in.
std::vector<std::string> Texts(const std::vector<Section>& sections, const std::string& name,
                               const std::map<std::string, std::string>& vars = {}) {
    std::vector<std::string> texts;
    for (const auto& s : sections) {
        if (s.name == name) {
            texts.push_back(Substitute(s.text, vars));
        }
    }
    return texts;
}

// The words of every section of that name, split at spaces.
std::vector<std::string> Words(const std::vector<Section>& sections, const std::string& name,
                               const std::map<std::string, std::string>& vars) {
    std::vector<std::string> words;
    for (const auto& text : Texts(sections, name, vars)) {
        std::istringstream in(text);
        for (std::string word; in >> word;) {
            words.push_back(word);
        }
    }
    return words;
}

bool IsExpected(const Section& s) {
    return s.name == "stdout" || s.name == "stderr" || s.name == "file" || s.name == "listing";
}

pid_t Spawn(const std::vector<std::string>& words, const std::vector<std::string>& env,
            const std::string& in, const std::string& out, const std::string& err) {
    std::vector<std::string> args = words, variables = env;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);  // the later duplicate loses to the earlier one
    }
    std::vector<char*> argv, envp;
    for (auto& word : args) {
        argv.push_back(word.data());
    }
    for (auto& variable : variables) {
        envp.push_back(variable.data());
    }
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) {
        pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

int HoldPort(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const int yes = 1;  // earlier runs leave connections in TIME_WAIT on the port
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, 1) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool WaitForFile(const std::string& path, pid_t owner) {
    const auto limit = std::chrono::steady_clock::now() + fdrtest::kEventuallyLimit;
    while (access(path.c_str(), F_OK) != 0) {
        if (waitpid(owner, nullptr, WNOHANG) == owner || std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string Listing(const std::string& folder) {
    std::vector<std::string> names;
    if (DIR* dir = opendir(folder.c_str())) {
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.') {
                names.emplace_back(entry->d_name);
            }
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const auto& name : names) {
        text += name + "\n";
    }
    return text;
}

// What the program produced for an expected section, in the case file's terms.
std::string Actual(const Section& s, const std::string& tmp,
                   const std::vector<std::pair<std::regex, std::string>>& masks,
                   const std::map<std::string, std::string>& vars) {
    std::string text;
    if (s.name == "stdout" || s.name == "stderr") {
        text = fdrtest::ReadFile(tmp + "/." + s.name);
    } else if (s.name == "file") {
        text = fdrtest::ReadFile(tmp + "/" + s["name"]);
    } else if (s.name == "listing") {
        text = Listing(Substitute(s["dir"], vars));
    }
    std::vector<std::pair<std::string, std::string>> values;
    for (const auto& [key, value] : vars) {
        values.emplace_back(value, "@" + key + "@");
    }
    // The longest first, so that @TMP@ inside a longer value does not split it.
    std::sort(values.begin(), values.end(),
              [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    for (const auto& [value, placeholder] : values) {
        text = ReplaceAll(text, value, placeholder);
    }
    for (const auto& [pattern, replacement] : masks) {
        text = std::regex_replace(text, pattern, replacement);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    std::string program, case_path;
    std::map<std::string, std::string> vars;
    bool update = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--update") {
            update = true;
        } else if (i + 1 < argc && arg == "--program") {
            program = argv[++i];
        } else if (i + 1 < argc && arg == "--case") {
            case_path = argv[++i];
        } else if (i + 1 < argc && arg == "--var") {
            const std::string var = argv[++i];
            vars[var.substr(0, var.find('='))] = var.substr(var.find('=') + 1);
        }
    }
    if (program.empty() || case_path.empty()) {
        std::cerr << "usage: program_case_runner --program P --case F [--var N=V]... [--update]\n";
        return 2;
    }
    std::vector<Section> sections;
    try {
        sections = fdrcase::ReadCaseFile(
            case_path, {"args", "env", "background", "ready", "listen", "label", "mask", "exit",
                        "write", "stdin", "stdout", "stderr", "file", "listing"});
    } catch (const std::exception& e) {
        std::cout << case_path << ": " << e.what() << "\n";
        return 2;
    }
    std::vector<std::pair<std::regex, std::string>> masks;
    for (const auto& mask : Texts(sections, "mask")) {
        const size_t arrow = mask.find(" => ");
        masks.emplace_back(std::regex(mask.substr(0, arrow)), mask.substr(arrow + 4));
    }
    std::string tmp = std::filesystem::temp_directory_path() / "program-case-XXXXXX";
    if (mkdtemp(tmp.data()) == nullptr) {
        std::cerr << "cannot make a folder like " << tmp << "\n";
        return 2;
    }
    vars["TMP"] = tmp;

    std::string input = "/dev/null";
    for (const auto& s : sections) {
        if (s.name != "stdin" && s.name != "write") {
            continue;
        }
        const std::string path = s.name == "stdin" ? tmp + "/.stdin" : tmp + "/" + s["name"];
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << Substitute(fdrcase::WholeLines(s), vars);
        if (s.name == "stdin") {
            input = path;
        }
    }
    const auto ready = Texts(sections, "ready", vars);
    pid_t background = -1;
    if (const auto words = Words(sections, "background", vars); !words.empty()) {
        background =
            Spawn(words, {}, "/dev/null", tmp + "/.background.out", tmp + "/.background.err");
        if (background < 0 || (!ready.empty() && !WaitForFile(ready.back(), background))) {
            std::cerr << "the background program did not get ready:\n"
                      << fdrtest::ReadFile(tmp + "/.background.err");
            return 1;
        }
    }
    std::vector<int> held;
    for (const auto& port : Texts(sections, "listen")) {
        held.push_back(HoldPort(std::stoi(port)));
        if (held.back() < 0) {
            std::cerr << "cannot hold port " << port << "\n";
            return 1;
        }
    }
    std::vector<std::string> words = Words(sections, "args", vars);
    words.insert(words.begin(), program);
    const pid_t pid =
        Spawn(words, Texts(sections, "env", vars), input, tmp + "/.stdout", tmp + "/.stderr");
    int status = -1;
    if (pid > 0) {
        int raw = 0;
        waitpid(pid, &raw, 0);
        status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    }
    for (int fd : held) {
        close(fd);
    }
    if (background > 0) {
        kill(background, SIGTERM);
        waitpid(background, nullptr, 0);
    }

    // Absent means exit status 0 and nothing printed; the status is set before the output.
    for (const std::string name : {"exit", "stdout", "stderr"}) {
        if (Texts(sections, name).empty()) {
            const bool exit = name == "exit";
            auto at =
                exit ? std::find_if(sections.begin(), sections.end(), IsExpected) : sections.end();
            Section& s = *sections.insert(at, Section{});
            s.name = name;
            s.text = exit ? "0" : "";
            s.one_line = exit;
        }
    }
    bool passed = true;
    for (auto& s : sections) {
        if (s.name == "exit") {
            passed &= fdrcase::Compare("exit status", s.text, std::to_string(status));
            s.text = std::to_string(status);
        } else if (IsExpected(s)) {
            const std::string actual = Actual(s, tmp, masks, vars);
            const std::string place = s.Has("name") ? s["name"] : s.Has("dir") ? s["dir"] : "";
            passed &= fdrcase::Compare(s.name + (place.empty() ? "" : " " + place),
                                       fdrcase::WholeLines(s), actual);
            fdrcase::SetWholeLines(s, actual);
        }
    }
    if (update) {  // what is as when absent is left out
        sections.erase(std::remove_if(sections.begin(), sections.end(),
                                      [](const Section& s) {
                                          return s.text == (s.name == "exit" ? "0" : "") &&
                                                 (s.name == "exit" || s.name == "stdout" ||
                                                  s.name == "stderr");
                                      }),
                       sections.end());
        fdrcase::WriteCaseFile(case_path, sections);
    }
    if (passed || update) {
        std::filesystem::remove_all(tmp);
    }
    return passed || update ? 0 : 1;
}
