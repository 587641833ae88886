// The soak: a recording server's everyday mix (the member list, every member's channels, a
// channel-list change, the GUID, a token, the privilege timestamp) through the loaded library,
// against the simulated local services, for a number of rounds or seconds in one or more host
// threads. Prints calls per second, resident memory and open descriptors at the start and at the
// end, the failures by operation, and one line per goal:
//   goal <name>: <figure> (limit <limit>) met|MISSED|not judged
// Exit status 1 when a call failed or the descriptor count changed, whatever the machine's speed;
// the memory goal is judged only from 100,000 calls on and never changes the exit status.
//
// Usage: soak [--rounds N | --seconds S] [--threads N] [--library PATH]
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "FederateUtil.h"
#include "Simulator.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kJudgedCalls = 100000;  // the memory goal needs a long run to mean anything
constexpr long kMemoryLimitKb = 1024;  // growth of the resident set over the run
// The simulator keeps every exchange (about 2.3 kB a call): it is restarted after this many
// rounds, between rounds, so that a run of hours stays within the machine's memory.
constexpr long kRoundsPerServiceRun = 12500;

struct Options {
    long rounds = 12500;  // 8 calls a round with the sample federation: 100,000 calls
    double seconds = 0;   // when set, runs this long instead of a number of rounds
    int threads = 1;
    std::string library = FEDERATEUTIL_LIBRARY_FILE;
};

// What the sample federation answers, taken from its seed.
struct Expected {
    std::vector<std::string> lids;
    std::map<std::string, size_t> channels;  // per member lid
    std::string guid;
    std::string timestamp;
    std::string client_id;
    std::string client_secret;
};

enum Operation { kMemberList, kChannels, kListChange, kGuid, kToken, kTimestamp, kOperations };
const char* const kOperationNames[kOperations] = {
    "LoadFdrAutonomyListSetting", "LoadFdrChannelSetting", "NotifyArbitratorCameraListChange",
    "LoadFdrFederateSetting",     "AuthGetToken",          "GetFdrPrivilegeTime",
};

struct Tally {
    std::atomic<long> calls[kOperations] = {};
    std::atomic<long> failures[kOperations] = {};

    void Count(Operation op, bool ok) {
        calls[op].fetch_add(1, std::memory_order_relaxed);
        failures[op].fetch_add(ok ? 0 : 1, std::memory_order_relaxed);
    }
    long Sum(const std::atomic<long> (&counts)[kOperations]) const {
        long sum = 0;
        for (const auto& count : counts) {
            sum += count.load();
        }
        return sum;
    }
};

// One round of the mix, each call judged by its result and its output.
void Round(ICentralizedServer& federation, const Expected& want, Tally& tally) {
    DravoAgentData::AutonomyList members;
    std::vector<std::string> lids;
    const int listed = federation.LoadFdrAutonomyListSetting(members);
    for (const auto& member : members.autonomy_list) {
        lids.push_back(member->autonomy_lid);
    }
    tally.Count(kMemberList, listed == 0 && lids == want.lids);

    ChannelObjList changed;
    for (const std::string& lid : lids) {
        ChannelObjList channels;
        const int loaded = federation.LoadFdrChannelSetting(lid, channels);
        const auto expected = want.channels.find(lid);
        tally.Count(kChannels, loaded == 0 && expected != want.channels.end() &&
                                   channels.size() == expected->second);
        if (changed.empty()) {
            changed = channels;
        }
    }
    const std::string lid = lids.empty() ? want.lids.front() : lids.front();
    tally.Count(kListChange, federation.NotifyArbitratorCameraListChange(lid, changed) == 0);

    std::string guid;
    tally.Count(kGuid, federation.LoadFdrFederateSetting(guid) == 0 && guid == want.guid);

    std::string id = want.client_id;
    std::string secret = want.client_secret;
    std::string token;
    tally.Count(kToken, federation.AuthGetToken(id, secret, token) == 0 && !token.empty());

    std::string timestamp;
    tally.Count(kTimestamp,
                federation.GetFdrPrivilegeTime(timestamp) == 0 && timestamp == want.timestamp);
}

long ResidentKb() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    return -1;
}

// Bytes the allocator has handed out and not got back, over all threads' heaps: unlike the
// resident set, it does not move with how the heaps are laid out in pages.
long HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<long>(info.uordblks + info.hblkhd);
}

// Open descriptors of this process, not counting the one that lists them.
int OpenDescriptors() {
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) {
        return -1;
    }
    int count = 0;
    while (const dirent* entry = readdir(dir)) {
        count += entry->d_name[0] != '.' ? 1 : 0;
    }
    closedir(dir);
    return count - 1;
}

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        char* end = nullptr;
        if (value == nullptr) {
            return false;
        }
        ++i;
        if (arg == "--rounds") {
            options.rounds = std::strtol(value, &end, 10);
        } else if (arg == "--seconds") {
            options.seconds = std::strtod(value, &end);
        } else if (arg == "--threads") {
            options.threads = static_cast<int>(std::strtol(value, &end, 10));
        } else if (arg == "--library") {
            options.library = value;
            continue;
        } else {
            return false;
        }
        if (*end != '\0') {
            return false;
        }
    }
    return options.rounds > 0 && options.seconds >= 0 && options.threads > 0 &&
           options.threads <= 256;
}

// The simulated services in a child process, so that this process's memory and descriptors are
// the library's alone. The child stops when `stop_fd` is closed, or when this process ends.
pid_t StartServices(int& stop_fd) {
    int ready[2];
    int stop[2];
    if (pipe(ready) != 0 || pipe(stop) != 0) {
        return -1;
    }
    const pid_t pid = fork();
    if (pid < 0) {
        std::perror("soak: fork");
        return -1;
    }
    if (pid == 0) {
        close(ready[0]);
        close(stop[1]);
        fdrsim::Simulator simulator(fdrsim::SimulatorOptions{});
        std::string error;
        const bool started = simulator.Start(&error);
        const std::string word = started ? std::string("ready") : error;
        if (write(ready[1], word.data(), word.size()) < 0 || !started) {
            _exit(2);
        }
        close(ready[1]);
        char byte;
        while (read(stop[0], &byte, 1) < 0 && errno == EINTR) {
        }
        simulator.Stop();
        _exit(0);
    }
    close(ready[1]);
    close(stop[0]);
    std::string word;
    char buffer[256];
    for (ssize_t n; (n = read(ready[0], buffer, sizeof buffer)) != 0;) {
        if (n > 0) {
            word.append(buffer, static_cast<size_t>(n));
        } else if (errno != EINTR) {
            break;
        }
    }
    close(ready[0]);
    if (word != "ready") {
        std::fprintf(stderr, "soak: the simulated services did not start: %s\n", word.c_str());
        close(stop[1]);
        waitpid(pid, nullptr, 0);
        return -1;
    }
    stop_fd = stop[1];
    return pid;
}

struct ServiceProcess {
    pid_t pid = -1;
    int stop_fd = -1;

    bool Start() {
        pid = StartServices(stop_fd);
        return pid > 0;
    }
    void Stop() {
        if (pid < 0) {
            return;
        }
        close(stop_fd);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
};

Expected FromSampleFederation() {
    const fdrsim::FederationSeed seed = fdrsim::SampleFederation();
    Expected want;
    for (const auto& member : seed.members) {
        want.lids.push_back(member.autonomy_lid);
        want.channels[member.autonomy_lid] = member.channels.size();
    }
    want.guid = seed.guid;
    want.timestamp = seed.config.at("fdrsystem").at("priv_last_ts");
    want.client_id = seed.clients.at(0).client_id;
    want.client_secret = seed.clients.at(0).client_secret;
    return want;
}

ICentralizedServer* LoadLibrary(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        std::fprintf(stderr, "soak: cannot load %s: %s\n", path.c_str(), dlerror());
        return nullptr;
    }
    auto create = reinterpret_cast<void* (*)()>(dlsym(handle, "CreateFederateUtilInstance"));
    ICentralizedServer* federation = nullptr;
    if (create == nullptr ||
        static_cast<IBaseInterface*>(create())->QueryInterface(
            FederateBoxType::CentralizedServerID, reinterpret_cast<void**>(&federation)) != 1) {
        std::fprintf(stderr, "soak: %s offers no federation interface\n", path.c_str());
        return nullptr;
    }
    return federation;
}

// Runs `work` in `threads` host threads and waits for them all.
template <typename Work>
void InThreads(int threads, Work work) {
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back(work);
    }
    for (auto& thread : running) {
        thread.join();
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: soak [--rounds N | --seconds S] [--threads N] [--library PATH]\n");
        return 2;
    }
    // The token transport logs every request and answer: never into the real log folder.
    if (std::getenv("FDR_LOG_ROOT") == nullptr) {
        char folder[] = "/tmp/fdr-soak-XXXXXX";
        if (mkdtemp(folder) == nullptr) {
            std::perror("soak: mkdtemp");
            return 2;
        }
        setenv("FDR_LOG_ROOT", folder, 1);
        std::fprintf(stderr, "soak: logs under %s\n", folder);
    }
    // The library prints the services' error triples on standard output, a host's console: the
    // report goes to the original standard output, the library's lines to /dev/null.
    std::fflush(stdout);
    FILE* report = fdopen(dup(STDOUT_FILENO), "w");
    const int devnull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (report == nullptr || devnull < 0 || dup2(devnull, STDOUT_FILENO) < 0) {
        std::perror("soak: standard output");
        return 2;
    }
    close(devnull);
    const Expected want = FromSampleFederation();
    ServiceProcess services;
    if (!services.Start()) {
        return 2;
    }
    ICentralizedServer* federation = LoadLibrary(options.library);
    if (federation == nullptr) {
        return 2;
    }

    Tally tally;
    // One round per thread first: what a host sets up once (libcurl, the object, the threads'
    // heaps) is not what a long run must leave unchanged.
    InThreads(options.threads, [&] { Round(*federation, want, tally); });
    const long rss_start = ResidentKb();
    const long heap_start = HeapInUse();
    const int fds_start = OpenDescriptors();
    const long calls_start = tally.Sum(tally.calls);

    const auto start = Clock::now();
    const auto deadline = start + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(options.seconds));
    const auto more = [&](long done) {
        return options.seconds > 0 ? Clock::now() < deadline : done < options.rounds;
    };
    // Host threads end with each service run, and their kept connections with them.
    for (long done = 0;;) {
        const long run = options.seconds > 0
                             ? kRoundsPerServiceRun
                             : std::min(kRoundsPerServiceRun, options.rounds - done);
        std::atomic<long> next{0};
        std::atomic<long> finished{0};
        InThreads(options.threads, [&] {
            while (more(done) && next.fetch_add(1) < run) {
                Round(*federation, want, tally);
                finished.fetch_add(1);
            }
        });
        done += finished.load();
        if (!more(done)) {
            break;
        }
        services.Stop();
        if (!services.Start()) {
            return 2;
        }
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    const long rss_end = ResidentKb();
    const long heap_end = HeapInUse();
    const int fds_end = OpenDescriptors();
    services.Stop();

    const long calls = tally.Sum(tally.calls) - calls_start;
    const long failures = tally.Sum(tally.failures);
    std::fprintf(report, "soak: %ld calls in %d host thread(s) in %.1f s: %.0f calls/s\n", calls,
                 options.threads, elapsed, static_cast<double>(calls) / std::max(elapsed, 1e-9));
    std::fprintf(report, "resident memory: %ld kB at the start, %ld kB at the end (%+ld kB)\n",
                 rss_start, rss_end, rss_end - rss_start);
    std::fprintf(report, "heap in use: %ld bytes at the start, %ld bytes at the end (%+ld bytes)\n",
                 heap_start, heap_end, heap_end - heap_start);
    std::fprintf(report, "open descriptors: %d at the start, %d at the end\n", fds_start, fds_end);
    std::fprintf(report, "failures:");
    for (int op = 0; op < kOperations; ++op) {
        if (tally.failures[op] > 0) {
            std::fprintf(report, " %s %ld of %ld;", kOperationNames[op], tally.failures[op].load(),
                         tally.calls[op].load());
        }
    }
    std::fprintf(report, "%s\n", failures == 0 ? " none" : "");

    const long growth = rss_end - rss_start;
    std::fprintf(report, "goal soak-failures: %ld (limit 0) %s\n", failures,
                 failures == 0 ? "met" : "MISSED");
    std::fprintf(report, "goal soak-descriptors: %+d (limit 0) %s\n", fds_end - fds_start,
                 fds_end == fds_start ? "met" : "MISSED");
    std::fprintf(report, "goal soak-memory: %+ld kB (limit %ld kB after %ld calls) %s\n", growth,
                 kMemoryLimitKb, kJudgedCalls,
                 calls < kJudgedCalls      ? "not judged"
                 : growth < kMemoryLimitKb ? "met"
                                           : "MISSED");
    std::fclose(report);
    return failures == 0 && fds_end == fds_start ? 0 : 1;
}
