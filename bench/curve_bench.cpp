// The cost curve: a federation loaded (LoadFdrAutonomyListSetting, then LoadFdrChannelSetting
// per member) and saved (SaveFdrAllChannelsSetting) end to end, at 1,024, 16,384 and 131,072
// channels, 256 typical cameras per member: the time per channel of each, and the peak heap of
// each save against the size of its body.
//
// Every allocation of this process goes through the malloc family defined below (the executable's
// definitions take precedence over libc's for every library, libstdc++, cJSON and libcurl
// included), which keeps a count of the bytes in use, by malloc_usable_size, and of its peak. The
// records exist before a save and are not counted. The simulated services (the service core,
// fdrsim::Simulator, seeded with the federation) run in a child process, so that neither their
// work nor their memory is counted here; they use their fixed ports: bench/run starts this in a
// private network namespace.
//
// Loads are answered by the core's own routes. Saves are answered by a script with the write
// answer: the core's route checks every channel text with jsoncpp, which at 131,072 channels (a
// 290 MB body) takes longer than the library's five-second limit on an exchange; the core still
// reads and keeps the whole body, as a service must.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "BenchData.h"
#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "Simulator.h"
#include "json/ChannelJsonFormatter.h"

// ---- Counting allocator ----

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);
}

namespace {

std::atomic<long long> g_in_use{0};
std::atomic<long long> g_peak{0};

void Count(void* p) {
    if (p != nullptr) {
        const long long now = g_in_use.fetch_add(static_cast<long long>(malloc_usable_size(p))) +
                              static_cast<long long>(malloc_usable_size(p));
        long long peak = g_peak.load(std::memory_order_relaxed);
        while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
        }
    }
}

void Uncount(void* p) {
    if (p != nullptr) {
        g_in_use.fetch_sub(static_cast<long long>(malloc_usable_size(p)));
    }
}

}  // namespace

extern "C" {
void* malloc(size_t size) {
    void* p = __libc_malloc(size);
    Count(p);
    return p;
}
void* calloc(size_t count, size_t size) {
    void* p = __libc_calloc(count, size);
    Count(p);
    return p;
}
void* realloc(void* old, size_t size) {
    Uncount(old);
    void* p = __libc_realloc(old, size);
    // A failed realloc leaves the old block in place.
    Count(p != nullptr || size == 0 ? p : old);
    return p;
}
void free(void* p) {
    Uncount(p);
    __libc_free(p);
}
void* memalign(size_t alignment, size_t size) {
    void* p = __libc_memalign(alignment, size);
    Count(p);
    return p;
}
void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void** out, size_t alignment, size_t size) {
    void* p = memalign(alignment, size);
    if (p == nullptr) {
        return ENOMEM;
    }
    *out = p;
    return 0;
}
}

namespace {

using namespace bench;
using Clock = std::chrono::steady_clock;

constexpr int kChannelsPerMember = 256;

// The federation as the simulated services hold it: the same members, each with its channels'
// texts as the library writes them.
fdrsim::FederationSeed Seed(const DravoAgentData::AutonomyList& servers,
                            const ChannelObjList& channels) {
    fdrsim::FederationSeed seed;
    seed.guid = "6b1f0d3e-2c4a-4f5e-8d9c-0a1b2c3d4e5f";
    std::map<std::string, size_t> index;
    for (const auto& r : servers.autonomy_list) {
        fdrsim::Member m;
        m.autonomy_lid = r->autonomy_lid;
        m.autonomy_id = r->autonomy_id;
        m.autonomy_lname = r->autonomy_lname;
        m.address = r->address;
        m.username = r->username;
        m.password = r->password;
        m.server_mode = r->server_mode;
        m.mac = r->mac;
        m.add_time = r->add_time;
        m.group_id = r->group_id;
        index[m.autonomy_lid] = seed.members.size();
        seed.members.push_back(std::move(m));
    }
    for (const auto& c : channels) {
        fdrsim::StoredChannel stored{c->channel_guid, c->channel_name, {}};
        construct_cahnnel_info_string(c, stored.data);
        seed.members[index.at(c->owner_lid)].channels.push_back(std::move(stored));
    }
    return seed;
}

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(2);
}

// Waits until `port` accepts a connection; fails when the child has ended first.
void WaitForPort(pid_t child, int port) {
    for (int i = 0; i < 15000; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool up = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
        close(fd);
        if (up) {
            return;
        }
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            Fail("the services ended before they listened: are the ports taken?");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    Fail("the services never listened");
}

void Stop(pid_t child) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// The simulated services with `seed`, in a child process, on their fixed ports.
pid_t StartSimulator(fdrsim::FederationSeed seed) {
    const pid_t pid = fork();
    if (pid == 0) {
        fdrsim::SimulatorOptions options;
        options.federation = std::move(seed);
        options.journal_capacity = 4;  // the last exchanges only: a save's body is 290 MB
        fdrsim::Simulator simulator(std::move(options));
        simulator.Script(fdr::ServiceId::FederationWrites, "PUT",
                         fdr::endpoint::kCmsChannelWrite.path, {200, WriteAnswer()});
        std::string error;
        if (!simulator.Start(&error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            _exit(2);
        }
        for (;;) {
            pause();
        }
    }
    WaitForPort(pid, fdr::kFederationReadPort);
    WaitForPort(pid, fdr::kFederationWritePort);
    return pid;
}

double Seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// CPU time (user and system, seconds) of this process, the library's.
double OwnCpuSeconds() {
    timespec own{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
    return static_cast<double>(own.tv_sec) + static_cast<double>(own.tv_nsec) / 1e9;
}

// CPU time of the services' process (clock ticks of 10 ms: summed over many repetitions).
double ServiceCpuSeconds(pid_t child) {
    std::ifstream stat("/proc/" + std::to_string(child) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // After the command name in parentheses: state, then fields 4 to 13; utime and stime follow.
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    for (int i = 3; i <= 13; ++i) {
        fields >> field;
    }
    unsigned long long user = 0, system = 0;
    fields >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// CPU time spent by the library's and the services' processes.
// The machine is shared: a burst of load stretches the wall-clock time of whatever runs at that
// moment, a ten-second step more surely than a 30 ms one, but hardly the CPU time it takes.
struct CpuClock {
    pid_t service;
    double own = OwnCpuSeconds();
    double services = ServiceCpuSeconds(service);
    explicit CpuClock(pid_t child) : service(child) {}
    // Adds the time since construction to `own_total` and `services_total`.
    void AddTo(double& own_total, double& services_total) const {
        own_total += OwnCpuSeconds() - own;
        services_total += ServiceCpuSeconds(service) - services;
    }
};

// Evicts the caches before a timed step: every step then starts as cold as the largest one, whose
// records (some 500 MB at 131,072 channels) no cache holds, instead of the small steps finding
// the records of their previous repetition still cached. Outside the timing.
void EvictCaches() {
    static std::vector<char> sweep(128u << 20);
    for (size_t i = 0; i < sweep.size(); i += 64) {
        sweep[i] = static_cast<char>(sweep[i] + 1);
    }
    benchmark::DoNotOptimize(sweep.data());
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// One size of the curve, one simulator: `repetitions` loads, then as many saves. Per channel: the
// CPU time of each process over all repetitions, and the median wall-clock time; the largest peak
// of a save.
void Curve(benchmark::State& state, int members, int repetitions) {
    const int total = members * kChannelsPerMember;
    DravoAgentData::AutonomyList servers;
    ChannelObjList channels;
    Federation(members, total, servers, channels);
    std::string body;
    CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers, channels, body);
    const double body_size = static_cast<double>(body.size());
    body = std::string();
    CFederateUtil util;
    std::vector<double> load, save;
    double load_own = 0, load_services = 0, save_own = 0, save_services = 0, peak = 0;
    int failed_saves = 0;
    for (auto _ : state) {
        const pid_t simulator = StartSimulator(Seed(servers, channels));
        for (int i = 0; i < repetitions; ++i) {
            DravoAgentData::AutonomyList loaded_members;
            ChannelObjList loaded;
            EvictCaches();
            const CpuClock cpu(simulator);
            const auto start = Clock::now();
            if (util.LoadFdrAutonomyListSetting(loaded_members) != 0) {
                Fail("the member list did not load");
            }
            for (const auto& member : loaded_members.autonomy_list) {
                if (util.LoadFdrChannelSetting(member->autonomy_lid, loaded) != 0) {
                    Fail("a member's channels did not load");
                }
            }
            load.push_back(Seconds(start));
            cpu.AddTo(load_own, load_services);
            if (static_cast<int>(loaded.size()) != total) {
                Fail("the load did not read every channel");
            }
        }
        for (int i = 0; i < repetitions; ++i) {
            EvictCaches();
            const long long before = g_in_use.load();
            g_peak = before;
            const CpuClock cpu(simulator);
            const auto start = Clock::now();
            const int result = util.SaveFdrAllChannelsSetting(servers, channels);
            if (result != 0) {
                // The library gives an exchange five seconds; the largest body takes the
                // services a good part of that, more on a loaded machine. Said, and tried again:
                // a failed save is no measurement.
                std::fprintf(stderr, "the save of %d channels failed with %d after %.1f s\n", total,
                             result, Seconds(start));
                if (++failed_saves > 3) {
                    Fail("the save keeps failing");
                }
                --i;
                continue;
            }
            save.push_back(Seconds(start));
            cpu.AddTo(save_own, save_services);
            peak = std::max(peak, static_cast<double>(g_peak.load() - before));
        }
        Stop(simulator);
    }
    const double per_channel = 1e9 / (static_cast<double>(repetitions) * total);
    state.counters["channels"] = total;
    state.counters["load_ns_per_channel"] = (load_own + load_services) * per_channel;
    state.counters["save_ns_per_channel"] = (save_own + save_services) * per_channel;
    state.counters["load_library_ns_per_channel"] = load_own * per_channel;
    state.counters["save_library_ns_per_channel"] = save_own * per_channel;
    state.counters["load_wall_ns_per_channel"] = Median(load) * 1e9 / total;
    state.counters["save_wall_ns_per_channel"] = Median(save) * 1e9 / total;
    state.counters["failed_saves"] = failed_saves;
    state.counters["peak_bytes"] = peak;
    state.counters["body_bytes"] = body_size;
}

}  // namespace

int main(int argc, char** argv) {
    // Fewer repetitions as the size grows: the services' process reports its CPU time in ticks of
    // 10 ms, which 40 loads of 1,024 channels add up to a second; the largest step takes about
    // half a minute.
    const struct { int members, repetitions; } sizes[] = {{4, 40}, {64, 4}, {512, 2}};
    for (const auto& size : sizes) {
        const int members = size.members;
        const int repetitions = size.repetitions;
        benchmark::RegisterBenchmark(
            ("curve/" + std::to_string(members * kChannelsPerMember)).c_str(),
            [members, repetitions](benchmark::State& state) { Curve(state, members, repetitions); })
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
