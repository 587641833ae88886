// Runs one case file (see tests/cases/README.md): starts the local services with nothing but the
// case's answers, makes the case's calls on one CFederateUtil and compares every section. Exit
// status 0 when all match; otherwise each differing section is printed expected (-) vs actual (+).
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <mutex>
#include <set>
#include <sstream>

#include "FederateUtil/NotifyLocks.h"
#include "Simulator.h"
#include "runner/Operations.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

struct Section {
    std::string name;
    std::map<std::string, std::string> attributes;  // a bare attribute has the value ""
    std::string text;
    int line = 0;
    const std::string& operator[](const char* key) const { return attributes.at(key); }
};

std::runtime_error Malformed(int line, const std::string& why) {
    return std::runtime_error("line " + std::to_string(line) + ": " + why);
}

// `<name a=1 b>` opens a section on a line of its own and `</name>` closes it; the text between
// is kept byte for byte, without the final line end. `<name>text</name>` is a one-line section.
// Lines outside sections that start with '#' are comments.
std::vector<Section> ReadCaseFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + file);
    }
    std::vector<Section> sections;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const size_t close = line.find('>');
        if (line[0] != '<' || close == std::string::npos) {
            throw Malformed(number, "expected a section tag: " + line);
        }
        Section s;
        s.line = number;
        std::istringstream words(line.substr(1, close - 1));
        words >> s.name;
        for (std::string word; words >> word;) {
            const size_t eq = word.find('=');
            s.attributes[word.substr(0, eq)] = eq == std::string::npos ? "" : word.substr(eq + 1);
        }
        const std::string rest = line.substr(close + 1), end = "</" + s.name + ">";
        bool closed = !rest.empty() && rest.size() >= end.size() &&
                      rest.compare(rest.size() - end.size(), end.size(), end) == 0;
        if (closed) {
            s.text = rest.substr(0, rest.size() - end.size());
        }
        for (bool first = true; rest.empty() && !closed && std::getline(in, line); first = false) {
            ++number;
            closed = line == end;
            s.text += closed ? "" : (first ? "" : "\n") + line;
        }
        if (!closed) {
            throw Malformed(s.line, "missing " + end);
        }
        sections.push_back(std::move(s));
    }
    return sections;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A line as the diff shows it: a carriage return made visible.
std::string Shown(std::string line) {
    for (size_t at; (at = line.find('\r')) != std::string::npos;)
        line.replace(at, 1, "^M");
    return line;
}

// Common leading lines kept, the rest shown as removed (expected) and added (actual).
bool Compare(const std::string& what, const std::string& expected, const std::string& actual) {
    if (expected == actual) {
        return true;
    }
    const auto want = Split(expected), got = Split(actual);
    std::cout << "--- expected " << what << "\n+++ actual " << what << "\n";
    size_t same = 0;
    while (same < want.size() && same < got.size() && want[same] == got[same]) {
        std::cout << " " << Shown(want[same++]) << "\n";
    }
    for (size_t i = same; i < want.size(); ++i)
        std::cout << "-" << Shown(want[i]) << "\n";
    for (size_t i = same; i < got.size(); ++i)
        std::cout << "+" << Shown(got[i]) << "\n";
    if (want == got) {
        std::cout << "(line ends differ)\n";
    }
    return false;
}

fdrsim::Service ServiceOn(const std::string& port) {
    const fdrsim::ServiceInfo* info = fdrsim::FindService(port);
    if (info == nullptr) {
        throw std::runtime_error("no local service on port " + port);
    }
    return info->id;
}

// "METHOD PORT TARGET", the headers the case names, a blank line, the body.
std::string RequestText(const fdrsim::Exchange& e, const Section& expected) {
    std::string text = e.method + " " + std::to_string(e.port) + " " + e.target;
    for (const auto& line : Split(expected.text)) {
        const size_t colon = line.find(": ");
        if (line.empty())
            break;
        for (const auto& [name, value] : e.request_headers) {
            if (colon != std::string::npos && name == line.substr(0, colon))
                text += "\n" + name + ": " + value;
        }
    }
    return (e.request_body.empty() ? text : text + "\n\n" + e.request_body) + "\n=====\n";
}

std::string ExpectedRequest(const Section& s) {
    const auto body = s.attributes.find("body-file");
    return (body == s.attributes.end() ? s.text
                                       : s.text + "\n\n" + fdrtest::ReadTestData(body->second)) +
           "\n=====\n";
}

// Which notification locks are held, seen from another thread.
std::string HeldLocks() {
    std::string held;
    for (auto [name, lock] : {std::pair{"lock1", &m_notify_lock1}, {"lock2", &m_notify_lock2}}) {
        if (lock->try_lock()) {
            lock->unlock();
        } else {
            held += (held.empty() ? "" : ",") + std::string(name);
        }
    }
    return held.empty() ? "none" : held;
}

int Run(const std::string& file) {
    const auto sections = ReadCaseFile(file);
    fdrsim::SimulatorOptions options;
    options.recorder_only = true;
    fdrsim::Simulator services(std::move(options));
    std::string error;
    if (!services.Start(&error)) {
        std::cout << "the local services did not start: " << error << "\n";
        return 1;
    }
    fdrcase::CallData data;
    std::mutex held_mutex;  // written on a service's thread
    std::string held = "none";
    std::vector<std::string> calls;
    std::map<std::string, std::vector<fdrsim::ScriptedAnswer>> answers;
    CFederateUtil util;
    const std::set<std::string> known = {"call",       "arg",       "answer",         "fault",
                                         "result",     "output",    "request",        "console",
                                         "center-log", "debug-log", "aggregator-log", "locks-held"};
    for (const auto& s : sections) {
        if (!known.count(s.name)) {  // a misspelt expectation would otherwise pass unseen
            throw Malformed(s.line, "no section " + s.name);
        }
        if (s.name == "call") {
            calls = Split(s.text);
            util.SetDebugSwitchForTesting(s.attributes.count("debug") != 0);
        } else if (s.name == "arg") {
            data.args[s["name"]].push_back(s.text);
        } else if (s.name == "output" && s.attributes.count("before")) {
            data.outputs[s["name"]] = s["before"];
        } else if (s.name == "answer") {
            answers[s["port"] + " " + s["method"] + " " + s["path"]].push_back(
                {std::stoi(s["status"]), s.text});
        } else if (s.name == "fault") {
            fdrsim::Fault fault;
            fault.mode = *fdrsim::FaultModeNamed(s["mode"]);
            services.SetFault(ServiceOn(s["port"]), fault);
        }
    }
    // Answers to one method and path are given in turn; the last one repeats.
    for (const auto& [key, list] : answers) {
        std::istringstream words(key);
        std::string port, method, path;
        words >> port >> method >> path;
        services.ScriptWith(
            ServiceOn(port), method, path,
            [list = list, next = std::make_shared<size_t>(0), &held, &held_mutex](const auto&) {
                std::lock_guard<std::mutex> guard(held_mutex);
                held = HeldLocks();
                return list[std::min((*next)++, list.size() - 1)];
            });
    }
    auto center = fdrtest::WatchCenterLog();
    auto debug = fdrtest::WatchCenterDebugLog();
    auto aggregator = fdrtest::WatchAggregatorLog();
    std::vector<std::string> results;
    testing::internal::CaptureStdout();  // the console lines
    for (const auto& name : calls) {
        data.call = results.size();
        try {
            results.push_back(std::to_string(fdrcase::OperationNamed(name)(util, data)));
        } catch (const Json::LogicError&) {
            results.push_back("throws Json::LogicError");
        }
    }
    std::map<std::string, std::string> actual = {
        {"console", testing::internal::GetCapturedStdout()},
        {"result", Joined(results)},
        {"locks-after", HeldLocks()},
        {"center-log", Joined(center.NewLines())},
        {"debug-log", Joined(debug.NewLines())},
        {"aggregator-log", Joined(aggregator.NewLines())}};
    services.Stop();
    std::lock_guard<std::mutex> guard(held_mutex);
    actual["locks-held"] = held;
    const auto exchanges = services.Exchanges().List();
    std::map<std::string, std::string> expected = {{"console", ""},         {"locks-held", "none"},
                                                   {"locks-after", "none"}, {"center-log", ""},
                                                   {"debug-log", ""},       {"aggregator-log", ""}};
    std::string expected_requests, actual_requests;
    size_t request = 0;
    bool same = true;
    for (const auto& s : sections) {
        if (s.name == "request") {
            expected_requests += ExpectedRequest(s);
            actual_requests += request < exchanges.size() ? RequestText(exchanges[request], s) : "";
            ++request;
        } else if (s.name == "output") {
            same &= Compare("output " + s["name"], s.text, data.outputs[s["name"]]);
        } else if (s.name == "console") {  // whole lines, each ending in a line end
            expected[s.name] = s.text + "\n";
        } else if (actual.count(s.name)) {
            expected[s.name] = s.text;
        }
    }
    for (size_t i = request; i < exchanges.size(); ++i) {
        actual_requests += RequestText(exchanges[i], Section{});
    }
    same &= Compare("requests", expected_requests, actual_requests);
    for (const auto& [name, text] : actual) {
        same &= Compare(name, expected.count(name) ? expected[name] : "(missing section)", text);
    }
    return same ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: case_runner FILE.case\n";
        return 2;
    }
    // Log files of its own, as every test process has (see main/TestMain.cpp).
    const char* root = std::getenv("FDR_LOG_ROOT");
    const std::string base = (root != nullptr && *root != '\0') ? root : "/tmp/federateutil-tests";
    setenv("FDR_LOG_ROOT", (base + "/pid-" + std::to_string(getpid())).c_str(), 1);
    try {
        return Run(argv[1]);
    } catch (const std::exception& e) {
        std::cout << argv[1] << ": " << e.what() << "\n";
        return 2;
    }
}
