// Runs one case file (see tests/cases/README.md): starts the local services with nothing but the
// case's answers, makes the case's calls on one CFederateUtil and compares every section. Exit
// status 0 when all match; otherwise each differing section is printed expected (-) vs actual (+).
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <mutex>
#include <sstream>

#include "FederateUtil/NotifyLocks.h"
#include "Simulator.h"
#include "runner/CaseFile.h"
#include "runner/Operations.h"
#include "support/LogFiles.h"
#include "support/TestData.h"
#include "support/Text.h"

namespace {

using fdrcase::Compare;
using fdrcase::Section;
using fdrtest::Lines;

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
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
    for (const auto& line : Lines(expected.text)) {
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
    const auto sections = fdrcase::ReadCaseFile(
        file, {"call", "arg", "answer", "fault", "result", "output", "request", "console",
               "center-log", "debug-log", "aggregator-log", "locks-held"});
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
    for (const auto& s : sections) {
        if (s.name == "call") {
            calls = Lines(s.text);
            util.SetDebugSwitchForTesting(s.Has("debug"));
        } else if (s.name == "arg") {
            data.args[s["name"]].push_back(s.text);
        } else if (s.name == "output" && s.Has("before")) {
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
        } else if (s.name == "console") {
            expected[s.name] = fdrcase::WholeLines(s);
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
    fdrtest::UseOwnLogRoot();
    try {
        return Run(argv[1]);
    } catch (const std::exception& e) {
        std::cout << argv[1] << ": " << e.what() << "\n";
        return 2;
    }
}
