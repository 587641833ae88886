// Peak heap while SaveFdrAllChannelsSetting saves 256 members x 64 channels, against the size of
// the body it sends.
//
// Every allocation of this process goes through the malloc family defined below (the executable's
// definitions take precedence over libc's for every library, libstdc++, cJSON and libcurl
// included), which keeps a count of the bytes in use, by malloc_usable_size, and of its peak. The
// records exist before the call and are not counted; the service runs in a child process, so its
// copy of the body is not counted either. Runs on the federation service's fixed port 10240:
// bench/run starts it in a private network namespace.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "BenchData.h"
#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
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

constexpr int kMembers = 256;
constexpr int kChannelsPerMember = 64;

// The federation service in a child process: answers every channel write with no error.
pid_t StartService() {
    const pid_t pid = fork();
    if (pid == 0) {
        httplib::Server server;
        server.set_tcp_nodelay(true);
        server.set_payload_max_length(1024u * 1024u * 1024u);
        const std::string answer = WriteAnswer();
        server.Put(fdr::endpoint::kCmsChannelWrite.path,
                   [&answer](const httplib::Request&, httplib::Response& res) {
                       res.set_content(answer, "application/json");
                   });
        if (!server.listen(fdr::kLocalHost, fdr::kFederationWritePort)) {
            std::fprintf(stderr, "port %d is taken: run this in a private network namespace\n",
                         fdr::kFederationWritePort);
        }
        _exit(2);
    }
    // Ready once it accepts a connection.
    for (int i = 0; i < 5000; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(fdr::kFederationWritePort);
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool up = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
        close(fd);
        if (up) {
            return pid;
        }
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            std::exit(2);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::exit(2);
}

void BM_SaveAllChannelsPeakHeap(benchmark::State& state) {
    DravoAgentData::AutonomyList servers;
    ChannelObjList channels;
    Federation(kMembers, kMembers * kChannelsPerMember, servers, channels);
    std::string body;
    CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers, channels, body);
    const double body_size = static_cast<double>(body.size());
    body = std::string();
    CFederateUtil util;
    double peak = 0;
    for (auto _ : state) {
        const long long before = g_in_use.load();
        g_peak = before;
        if (util.SaveFdrAllChannelsSetting(servers, channels) != 0) {
            state.SkipWithError("the save failed");
            return;
        }
        peak = static_cast<double>(g_peak.load() - before);
    }
    state.counters["peak_bytes"] = peak;
    state.counters["body_bytes"] = body_size;
    state.counters["ratio"] = peak / body_size;
}
BENCHMARK(BM_SaveAllChannelsPeakHeap)
    ->Name("heap/SaveFdrAllChannelsSetting/256x64")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
    const pid_t service = StartService();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    kill(service, SIGTERM);
    waitpid(service, nullptr, 0);
    return 0;
}
