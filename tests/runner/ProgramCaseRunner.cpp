// Runs a program as a user would, from one case file, and compares what it printed, the files it
// wrote and its exit status with the literal text in the case file.
//
//   program_case_runner --program PATH --case FILE [--var NAME=VALUE]... [--update]
//
// A case file is header lines, then sections. Header lines ("#" starts a comment):
//   args: WORDS         the program's arguments; 'single quotes' keep spaces; may repeat
//   env: NAME=VALUE     added to the program's environment; may repeat
//   background: WORDS   a program to run around the case (stopped with SIGTERM afterwards)
//   ready: PATH         wait until the background program has made this file
//   listen: PORT        hold 127.0.0.1:PORT open while the program runs
//   label: NAME         a CTest label for the case (add_program_cases reads it)
//   mask: REGEX => TEXT replace what varies from run to run in everything compared; may repeat
//   exit: N             the expected exit status (default 0)
// Sections start with "--- NAME" and hold the lines up to the next section:
//   --- write: NAME     a file made in @TMP@ before the run     --- stdin   the program's input
//   --- stdout, --- stderr, --- file: NAME (in @TMP@), --- listing: DIR (names in DIR, sorted)
// An expected section that is absent means empty; "--- NAME noeol" has no final newline.
// @TMP@ is a fresh folder of this run, @NAME@ a --var value; in what the program printed those
// values read back as @TMP@ and @NAME@, so that case files hold no paths of one build.
// --update rewrites the expected sections with what the program did (for a new case, to review).
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

#include "support/Timing.h"

namespace {

struct Section {
    std::string name;  // "stdout", "file: body.txt", ...
    std::string text;
};

struct CaseFile {
    std::vector<std::string> header;  // as written, for --update
    std::vector<std::string> args, env, background;
    std::string ready;
    std::vector<int> ports;
    std::vector<std::pair<std::regex, std::string>> masks;
    int exit_status = 0;
    std::vector<Section> inputs;    // write:, stdin
    std::vector<Section> expected;  // stdout, stderr, file:, listing:
};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos;) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
    return text;
}

std::string Substitute(std::string text, const std::map<std::string, std::string>& vars) {
    for (const auto& [name, value] : vars) {
        text = ReplaceAll(text, "@" + name + "@", value);
    }
    return text;
}

std::vector<std::string> Words(const std::string& line) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false, any = false;
    for (char c : line) {
        if (c == '\'') {
            quoted = !quoted;
            any = true;
        } else if (c == ' ' && !quoted) {
            if (any) {
                words.push_back(word);
            }
            word.clear();
            any = false;
        } else {
            word += c;
            any = true;
        }
    }
    if (any) {
        words.push_back(word);
    }
    return words;
}

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

CaseFile ParseCase(const std::string& text) {
    CaseFile c;
    std::istringstream lines(text);
    std::string line;
    Section* section = nullptr;
    while (std::getline(lines, line)) {
        if (StartsWith(line, "--- ")) {
            Section next{line.substr(4), ""};
            const bool input = StartsWith(next.name, "write:") || next.name == "stdin";
            auto& list = input ? c.inputs : c.expected;
            list.push_back(next);
            section = &list.back();
        } else if (section != nullptr) {
            section->text += line + "\n";
        } else {
            c.header.push_back(line);
            const size_t colon = line.find(": ");
            const std::string key = line.substr(0, colon), value = line.substr(colon + 2);
            if (line.empty() || line[0] == '#' || colon == std::string::npos) {
                continue;
            } else if (key == "args" || key == "background") {
                auto& list = key == "args" ? c.args : c.background;
                for (auto& word : Words(value)) {
                    list.push_back(word);
                }
            } else if (key == "env") {
                c.env.push_back(value);
            } else if (key == "ready") {
                c.ready = value;
            } else if (key == "listen") {
                c.ports.push_back(std::stoi(value));
            } else if (key == "exit") {
                c.exit_status = std::stoi(value);
            } else if (key == "mask") {
                const size_t arrow = value.find(" => ");
                c.masks.emplace_back(std::regex(value.substr(0, arrow)), value.substr(arrow + 4));
            }
        }
    }
    for (auto* list : {&c.inputs, &c.expected}) {
        for (auto& s : *list) {
            if (s.name.size() > 6 && s.name.compare(s.name.size() - 6, 6, " noeol") == 0) {
                s.name.resize(s.name.size() - 6);
                s.text.pop_back();
            }
        }
    }
    return c;
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

// What the program produced for section `name`, in the case file's terms.
std::string Actual(const std::string& name, const std::string& tmp, const CaseFile& c,
                   const std::map<std::string, std::string>& vars) {
    std::string text;
    if (name == "stdout" || name == "stderr") {
        text = ReadFile(tmp + "/." + name);
    } else if (StartsWith(name, "file: ")) {
        text = ReadFile(tmp + "/" + name.substr(6));
    } else if (StartsWith(name, "listing: ")) {
        text = Listing(Substitute(name.substr(9), vars));
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
    for (const auto& [pattern, replacement] : c.masks) {
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
    const CaseFile c = ParseCase(ReadFile(case_path));
    std::string tmp = std::filesystem::temp_directory_path() / "program-case-XXXXXX";
    if (mkdtemp(tmp.data()) == nullptr) {
        std::cerr << "cannot make a folder like " << tmp << "\n";
        return 2;
    }
    vars["TMP"] = tmp;

    std::string input = "/dev/null";
    for (const auto& section : c.inputs) {
        const std::string path =
            section.name == "stdin" ? tmp + "/.stdin" : tmp + "/" + section.name.substr(7);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << Substitute(section.text, vars);
        if (section.name == "stdin") {
            input = path;
        }
    }
    auto expand = [&vars](std::vector<std::string> list) {
        for (auto& item : list) {
            item = Substitute(item, vars);
        }
        return list;
    };
    pid_t background = -1;
    if (!c.background.empty()) {
        background = Spawn(expand(c.background), {}, "/dev/null", tmp + "/.background.out",
                           tmp + "/.background.err");
        if (background < 0 ||
            (!c.ready.empty() && !WaitForFile(Substitute(c.ready, vars), background))) {
            std::cerr << "the background program did not get ready:\n"
                      << ReadFile(tmp + "/.background.err");
            return 1;
        }
    }
    std::vector<int> held;
    for (int port : c.ports) {
        held.push_back(HoldPort(port));
        if (held.back() < 0) {
            std::cerr << "cannot hold port " << port << "\n";
            return 1;
        }
    }
    std::vector<std::string> words = expand(c.args);
    words.insert(words.begin(), program);
    const pid_t pid = Spawn(words, expand(c.env), input, tmp + "/.stdout", tmp + "/.stderr");
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

    // Every expected section, plus stdout and stderr, which are empty unless the case says so.
    std::vector<Section> expected = c.expected;
    for (const char* stream : {"stdout", "stderr"}) {
        if (std::none_of(expected.begin(), expected.end(),
                         [stream](const Section& s) { return s.name == stream; })) {
            expected.push_back({stream, ""});
        }
    }
    bool passed = status == c.exit_status;
    if (!passed) {
        std::cout << "exit status " << status << ", expected " << c.exit_status << "\n";
    }
    std::ostringstream rewritten;
    bool exit_written = false;
    for (const auto& line : c.header) {
        const bool exit_line = StartsWith(line, "exit: ");
        exit_written = exit_written || exit_line;
        rewritten << (exit_line ? "exit: " + std::to_string(status) : line) << "\n";
    }
    if (!exit_written && status != 0) {
        rewritten << "exit: " << status << "\n";
    }
    auto rewrite = [&rewritten](const std::string& name, const std::string& text) {
        const bool eol = text.empty() || text.back() == '\n';
        rewritten << "--- " << name << (eol ? "\n" : " noeol\n") << text << (eol ? "" : "\n");
    };
    for (const auto& section : c.inputs) {
        rewrite(section.name, section.text);
    }
    for (const auto& section : expected) {
        const std::string actual = Actual(section.name, tmp, c, vars);
        if (!actual.empty() || (section.name != "stdout" && section.name != "stderr")) {
            rewrite(section.name, actual);
        }
        if (actual != section.text) {
            passed = false;
            std::cout << "--- " << section.name << " differs. Expected:\n"
                      << section.text << "--- but was:\n"
                      << actual << "---\n";
        }
    }
    if (update) {
        std::ofstream(case_path, std::ios::binary | std::ios::trunc) << rewritten.str();
    }
    if (passed || update) {
        std::filesystem::remove_all(tmp);
    }
    return passed || update ? 0 : 1;
}
