// Every reading operation against local services that fail in every way a socket can: refused,
// cut short, not HTTP, error statuses with bodies, an answer of 100 MB, nesting at and beyond
// the parsers' depth limit. Each ends with its own result code, leaves its outputs as they were
// where it promises to, waits no longer than its time-out, and leaks no descriptor. No verdict
// depends on the machine's speed (support/Timing.h).
#include <dirent.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "FederateUtil/LocalServiceCall.h"
#include "support/FaultServer.h"
#include "support/LogFiles.h"
#include "support/Timing.h"

namespace {

using fdrtest::Call;
using fdrtest::FaultAnswer;
using fdrtest::FaultServer;
using fdrtest::kNoDetail;
using fdrtest::Outcome;
using fdrtest::QuietStdout;
using fdrtest::Reader;
using fdrtest::Readers;
using fdrtest::RunOnce;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// libcurl's detail numbers, as the local client reports them.
constexpr int kCouldNotConnect = 7;
constexpr int kPartialFile = 18;
constexpr int kReceiveError = 56;
constexpr int kUnsupportedProtocol = 1;  // a status line that is not HTTP (HTTP/0.9 is refused)
constexpr int kGotNothing = 52;
constexpr int kTimedOut = 28;

constexpr size_t kHugeSize = 100u << 20;

enum class Fault {
    kRefuse,
    kCloseEarly,
    kResetEarly,
    kInvalidHttp,
    k404,
    k500,
    kHuge,
    kDepth1000,
    kDepth1001
};

struct FaultCase {
    const char* name;
    Fault fault;
};

// Repeated a thousand times per reader. A body cut short by a reset stands in for one cut
// short by a close here: each server-side close leaves a TIME_WAIT on the fixed port, and
// thousands of them slow every later connection to it.
const FaultCase kFastFaults[] = {
    {"refused", Fault::kRefuse},
    {"reset mid-body", Fault::kResetEarly},
    {"invalid HTTP", Fault::kInvalidHttp},
    {"404", Fault::k404},
    {"500", Fault::k500},
};

const FaultCase kOtherFaults[] = {
    {"closed mid-body", Fault::kCloseEarly},
    {"100 MB answer", Fault::kHuge},
    {"nesting 1000 deep", Fault::kDepth1000},
    {"nesting 1001 deep", Fault::kDepth1001},
};

std::string HugeHead(const Reader& reader) {
    return reader.good.substr(0, reader.good.rfind('}')) + ",\"padding\":\"";
}

FaultAnswer AnswerFor(const Reader& reader, Fault fault) {
    switch (fault) {
        case Fault::kRefuse:
            return FaultAnswer::Refuse();
        case Fault::kCloseEarly:
            return FaultAnswer::CloseEarly(reader.good, reader.good.size() / 2);
        case Fault::kResetEarly:
            return FaultAnswer::ResetEarly(reader.good, reader.good.size() / 2);
        case Fault::kInvalidHttp:
            return FaultAnswer::InvalidHttp();
        // An error status carrying an answer the operation would read, were it to read it.
        case Fault::k404:
            return FaultAnswer::Status(404, reader.good);
        case Fault::k500:
            return FaultAnswer::Status(500, reader.good);
        case Fault::kHuge:
            return FaultAnswer::Huge(HugeHead(reader), kHugeSize, 'x', "\"}");
        case Fault::kDepth1000:
            return FaultAnswer::Status(200, fdrtest::NestedJson(reader.good, 1000));
        case Fault::kDepth1001:
            return FaultAnswer::Status(200, fdrtest::NestedJson(reader.good, 1001));
    }
    return FaultAnswer::Refuse();
}

struct Expected {
    Outcome outcome;
    int detail;  // of the local client
};

Expected Failed(const Reader& reader, int code, int detail) {
    return {{reader.returns_code ? code : 0, reader.untouched},
            reader.uses_client ? detail : kNoDetail};
}

Expected ExpectedFor(const Reader& reader, Fault fault) {
    const auto failed = [&reader](int code, int detail) { return Failed(reader, code, detail); };
    switch (fault) {
        case Fault::kRefuse:
            return failed(KFEN_ERR_TRANSPORT, kCouldNotConnect);
        case Fault::kCloseEarly:
            return failed(KFEN_ERR_TRANSPORT, kPartialFile);
        case Fault::kResetEarly:
            return failed(KFEN_ERR_TRANSPORT, kReceiveError);
        case Fault::kInvalidHttp:
            return failed(KFEN_ERR_TRANSPORT, kUnsupportedProtocol);
        case Fault::k404:
            return failed(KFEN_ERR_HTTP_STATUS, 404);
        case Fault::k500:
            return failed(KFEN_ERR_HTTP_STATUS, 500);
        case Fault::kHuge: {
            Outcome outcome = reader.read_good;
            if (reader.echoes) {
                const std::string head = HugeHead(reader);
                outcome.output = head + std::string(kHugeSize - head.size() - 2, 'x') + "\"}";
            }
            return {outcome, reader.uses_client ? 0 : kNoDetail};
        }
        case Fault::kDepth1000:
        case Fault::kDepth1001: {
            const int depth = fault == Fault::kDepth1000 ? 1000 : 1001;
            Outcome outcome = depth == 1000 ? reader.read_good : reader.not_json;
            if (reader.echoes) {
                outcome.output = fdrtest::NestedJson(reader.good, depth);
            }
            return {outcome, reader.uses_client ? 0 : kNoDetail};
        }
    }
    return {};
}

size_t OpenDescriptors() {
    size_t count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (readdir(dir) != nullptr) {
        ++count;
    }
    closedir(dir);
    return count;
}

// The 100 MB answer lands whole in the centre log (the token transport logs every answer);
// such a file is of no further use to anyone.
void DropOversizedLogs() {
    for (const std::string suffix : {"", ".1"}) {
        const std::string file = fdrtest::LogFilePath(fdr::kCenterLogPath) + suffix;
        if (FILE* f = std::fopen(file.c_str(), "rb")) {
            std::fseek(f, 0, SEEK_END);
            const long size = std::ftell(f);
            std::fclose(f);
            if (size > fdr::kLogSizeCap) {
                std::remove(file.c_str());
            }
        }
    }
}

// A 100 MB answer arrives within the time-out on an idle machine; on a loaded one or under a
// sanitizer it may not. Both ends are documented: the answer read, or a time-out that leaves the
// outputs as a time-out does.
bool IsDocumented(const Call& call, const Reader& reader, Fault fault) {
    const Expected arrived = ExpectedFor(reader, fault);
    if (call.outcome == arrived.outcome && call.detail == arrived.detail) {
        return true;
    }
    const Expected timed_out = Failed(reader, KFEN_ERR_TRANSPORT, kTimedOut);
    return fault == Fault::kHuge && call.outcome == timed_out.outcome &&
           call.detail == timed_out.detail;
}

// Parsing what arrived just before the time-out may take as long again.
Clock::duration LongestWait(const Reader& reader) {
    return 2 * reader.timeout + fdrtest::kLoadedMachineSlack;
}

TEST(FaultInjection, EveryReaderEndsWithItsDocumentedOutcome) {
    std::vector<FaultCase> faults(std::begin(kFastFaults), std::end(kFastFaults));
    faults.insert(faults.end(), std::begin(kOtherFaults), std::end(kOtherFaults));
    for (const Reader& reader : Readers()) {
        for (const FaultCase& fault : faults) {
            SCOPED_TRACE(std::string(reader.name) + ", " + fault.name);
            FaultServer server(reader.port, AnswerFor(reader, fault.fault));
            ASSERT_TRUE(server.started());
            const Call call = [&] {
                QuietStdout quiet;
                return RunOnce(reader);
            }();
            const Expected expected = ExpectedFor(reader, fault.fault);
            EXPECT_TRUE(IsDocumented(call, reader, fault.fault))
                << "outcome " << testing::PrintToString(call.outcome) << " detail " << call.detail
                << "; expected " << testing::PrintToString(expected.outcome) << " detail "
                << expected.detail;
            EXPECT_WAIT_AT_MOST(call.waited, LongestWait(reader));
            EXPECT_EQ(server.Requests(), fault.fault == Fault::kRefuse ? 0u : 1u);
        }
    }
    DropOversizedLogs();
}

// A descriptor lost now and then shows over many calls; a sanitizer, which runs each call many
// times slower, checks the same paths in far fewer.
constexpr int kRepeatedReads = fdrtest::kSanitizerBuild ? 100 : 1000;

TEST(FaultInjection, ThousandFailedReadsLeaveNoDescriptorOpen) {
    for (const Reader& reader : Readers()) {
        for (const FaultCase& fault : kFastFaults) {
            SCOPED_TRACE(std::string(reader.name) + ", " + fault.name);
            FaultServer server(reader.port, AnswerFor(reader, fault.fault));
            ASSERT_TRUE(server.started());
            const Expected expected = ExpectedFor(reader, fault.fault);
            std::vector<std::string> wrong;  // reported once standard output is back
            size_t before = 0;
            size_t after = 0;
            {
                QuietStdout quiet;
                RunOnce(reader);  // whatever is opened once per process is open from here on
                server.WaitUntilIdle(fdrtest::kEventuallyLimit);
                before = OpenDescriptors();
                for (int i = 0; i < kRepeatedReads && wrong.size() < 3; ++i) {
                    const Call call = RunOnce(reader);
                    if (!(call.outcome == expected.outcome) || call.detail != expected.detail) {
                        wrong.push_back("call " + std::to_string(i) + ": " +
                                        testing::PrintToString(call.outcome) + " detail " +
                                        std::to_string(call.detail));
                    }
                }
                // The server's side of each exchange is in this process too.
                server.WaitUntilIdle(fdrtest::kEventuallyLimit);
                after = OpenDescriptors();
            }
            EXPECT_EQ(wrong, std::vector<std::string>());
            EXPECT_EQ(after, before);
        }
    }
}

// The service goes away while a request waits for its answer: the wait ends with it, not with
// the time-out (the detail says which ended it, whatever the machine's speed).
TEST(FaultInjection, AServiceDyingMidRequestEndsTheWaitAtOnce) {
    const Reader reader = Readers().front();
    FaultServer server(reader.port, FaultAnswer::Stall());
    ASSERT_TRUE(server.started());
    Call call{};
    bool arrived = false;
    {
        QuietStdout quiet;
        std::thread waiting([&] { call = RunOnce(reader); });
        arrived = server.WaitForRequests(1, fdrtest::kEventuallyLimit);
        server.Stop();
        waiting.join();
    }
    ASSERT_TRUE(arrived);
    EXPECT_EQ(call.outcome, (Outcome{KFEN_ERR_TRANSPORT, "old"}));
    EXPECT_EQ(call.detail, kGotNothing);
}

}  // namespace
