// Every reading operation against local services that fail in every way a socket can: refused,
// cut short, not HTTP, error statuses with bodies, an answer of 100 MB, nesting at and beyond
// the parsers' depth limit. Each ends with its own result code, leaves its outputs as they were
// where it promises to, waits no longer than its time-out, and leaks no descriptor. No verdict
// depends on the machine's speed (support/Timing.h).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "FederateUtil/LocalServiceCall.h"
#include "Simulator.h"
#include "support/Descriptors.h"
#include "support/LogFiles.h"
#include "support/ReadingOperations.h"
#include "support/Timing.h"

namespace {

using fdrsim::FaultMode;
using fdrtest::Call;
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

fdrsim::Fault FaultFor(const Reader& reader, Fault fault) {
    fdrsim::Fault f;
    switch (fault) {
        case Fault::kRefuse:
            f.mode = FaultMode::Refuse;
            break;
        case Fault::kCloseEarly:
        case Fault::kResetEarly:
            f.mode = fault == Fault::kCloseEarly ? FaultMode::CloseEarly : FaultMode::ResetEarly;
            f.body = reader.good;
            f.sent_bytes = reader.good.size() / 2;
            break;
        case Fault::kInvalidHttp:
            f.mode = FaultMode::InvalidHttp;
            break;
        // An error status carrying an answer the operation would read, were it to read it.
        case Fault::k404:
        case Fault::k500:
            f.mode = FaultMode::Status;
            f.status = fault == Fault::k404 ? 404 : 500;
            f.body = reader.good;
            break;
        case Fault::kHuge:
            f.mode = FaultMode::Huge;
            f.head = HugeHead(reader);
            f.huge_bytes = kHugeSize;
            f.filler = 'x';
            f.tail = "\"}";
            break;
        case Fault::kDepth1000:
        case Fault::kDepth1001:
            f.mode = FaultMode::DeepNesting;
            f.body = reader.good;
            f.depth = fault == Fault::kDepth1000 ? 1000 : 1001;
            break;
    }
    return f;
}

fdrsim::Service ServiceOn(int port) {
    return fdrsim::FindService(std::to_string(port))->id;
}

// The local services on their fixed ports, answering nothing but the faults set on them.
class FaultInjection : public testing::Test {
  protected:
    void SetUp() override {
        fdrsim::SimulatorOptions options;
        options.recorder_only = true;
        services_ = std::make_unique<fdrsim::Simulator>(std::move(options));
        std::string error;
        ASSERT_TRUE(services_->Start(&error)) << error;
    }

    // The reader's service misbehaves as `fault` says, from now on; the journal starts empty.
    void Inject(const Reader& reader, Fault fault) {
        services_->ClearFaults();
        services_->Exchanges().Clear();
        services_->SetFault(ServiceOn(reader.port), FaultFor(reader, fault));
    }

    size_t Requests() const { return services_->Exchanges().Count(); }

    std::unique_ptr<fdrsim::Simulator> services_;
};

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
                outcome.output = fdrsim::NestedJson(reader.good, depth);
            }
            return {outcome, reader.uses_client ? 0 : kNoDetail};
        }
    }
    return {};
}

using fdrtest::OpenDescriptors;

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

// How long a reader may wait for a failing service. Reading a 100 MB answer is work, not a wait:
// its duration is the machine's, so only the outcome counts there.
Clock::duration LongestWait(const Reader& reader, Fault fault) {
    return fault == Fault::kHuge ? Clock::duration::max()
                                 : reader.timeout + fdrtest::kLoadedMachineSlack;
}

TEST_F(FaultInjection, EveryReaderEndsWithItsDocumentedOutcome) {
    std::vector<FaultCase> faults(std::begin(kFastFaults), std::end(kFastFaults));
    faults.insert(faults.end(), std::begin(kOtherFaults), std::end(kOtherFaults));
    for (const Reader& reader : Readers()) {
        for (const FaultCase& fault : faults) {
            SCOPED_TRACE(std::string(reader.name) + ", " + fault.name);
            Inject(reader, fault.fault);
            const Call call = [&] {
                QuietStdout quiet;
                return RunOnce(reader);
            }();
            const Expected expected = ExpectedFor(reader, fault.fault);
            EXPECT_TRUE(IsDocumented(call, reader, fault.fault))
                << "outcome " << testing::PrintToString(call.outcome) << " detail " << call.detail
                << "; expected " << testing::PrintToString(expected.outcome) << " detail "
                << expected.detail;
            EXPECT_WAIT_AT_MOST(call.waited, LongestWait(reader, fault.fault));
            EXPECT_EQ(Requests(), fault.fault == Fault::kRefuse ? 0u : 1u);
        }
    }
    DropOversizedLogs();
}

// A descriptor lost now and then shows over many calls; a sanitizer, which runs each call many
// times slower, checks the same paths in far fewer.
constexpr int kRepeatedReads = fdrtest::kSanitizerBuild ? 100 : 1000;

TEST_F(FaultInjection, ThousandFailedReadsLeaveNoDescriptorOpen) {
    for (const Reader& reader : Readers()) {
        for (const FaultCase& fault : kFastFaults) {
            SCOPED_TRACE(std::string(reader.name) + ", " + fault.name);
            Inject(reader, fault.fault);
            const Expected expected = ExpectedFor(reader, fault.fault);
            std::vector<std::string> wrong;  // reported once standard output is back
            size_t before = 0;
            size_t after = 0;
            {
                QuietStdout quiet;
                RunOnce(reader);  // whatever is opened once per process is open from here on
                services_->WaitUntilIdle(fdrtest::kEventuallyLimit);
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
                services_->WaitUntilIdle(fdrtest::kEventuallyLimit);
                after = OpenDescriptors();
            }
            EXPECT_EQ(wrong, std::vector<std::string>());
            EXPECT_EQ(after, before);
        }
    }
}

// The service goes away while a request waits for its answer: the wait ends with it, not with
// the time-out (the detail says which ended it, whatever the machine's speed).
TEST_F(FaultInjection, AServiceDyingMidRequestEndsTheWaitAtOnce) {
    const Reader reader = Readers().front();
    fdrsim::Fault stall;
    stall.mode = FaultMode::Stall;
    services_->SetFault(ServiceOn(reader.port), stall);
    Call call{};
    bool arrived = false;
    {
        QuietStdout quiet;
        std::thread waiting([&] { call = RunOnce(reader); });
        arrived = services_->Exchanges().WaitFor({}, fdrtest::kEventuallyLimit).has_value();
        services_->Stop();
        waiting.join();
    }
    ASSERT_TRUE(arrived);
    EXPECT_EQ(call.outcome, (Outcome{KFEN_ERR_TRANSPORT, "old"}));
    EXPECT_EQ(call.detail, kGotNothing);
}

}  // namespace
