// What a case file cannot say about failing services: answers nested at and beyond the readers'
// depth limit, an answer of 100 MB, a thousand failed reads that leave no descriptor open, and a
// service that dies while a request waits. How each reader fails a request is
// tests/cases/readers-*.case.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "support/Descriptors.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/Timing.h"

namespace {

using fdrtest::Outcome;
using fdrtest::Reader;

class FaultInjection : public testing::Test {
  protected:
    void Inject(const Reader& reader, const fdrsim::Fault& fault) {
        services_->ClearFaults();
        services_->Exchanges().Clear();
        services_->SetFault(fdrsim::FindService(std::to_string(reader.port))->id, fault);
    }
    std::unique_ptr<fdrsim::Simulator> services_ = fdrtest::StartRecorder();
};

constexpr size_t kHugeSize = 100u << 20;

// 1000 levels are read, 1001 rejected; an answer of 100 MB is read whole (or, on a machine too
// slow to take it in within the time-out, ends as a failed request does).
TEST_F(FaultInjection, DeepAndHugeAnswersAtTheReadersLimits) {
    for (const Reader& reader : fdrtest::kReaders) {
        const std::string good = reader.good;
        const std::string head = good.substr(0, good.rfind('}')) + ",\"padding\":\"";
        for (const int depth : {1000, 1001, 0}) {
            SCOPED_TRACE(std::string(reader.operation) + " depth " + std::to_string(depth));
            fdrsim::Fault fault;
            fault.mode = depth != 0 ? fdrsim::FaultMode::DeepNesting : fdrsim::FaultMode::Huge;
            fault.body = good;
            fault.depth = depth;
            fault.head = head;
            fault.huge_bytes = kHugeSize;
            fault.filler = 'x';
            fault.tail = "\"}";
            Inject(reader, fault);
            testing::internal::CaptureStdout();
            const Outcome outcome = fdrtest::RunReader(reader);
            testing::internal::GetCapturedStdout();
            Outcome expected = depth == 1001 ? reader.rejected : reader.read;
            const auto sent = services_->Exchanges().List();
            ASSERT_EQ(sent.size(), 1u);
            if (reader.echoes) {
                expected.output =
                    depth != 0 ? sent[0].answer_body
                               : head + std::string(kHugeSize - head.size() - 2, 'x') + "\"}";
            }
            EXPECT_TRUE(outcome == expected || (depth == 0 && outcome == reader.failed))
                << testing::PrintToString(outcome);
        }
    }
    // The token transport logs every answer whole: a log of 100 MB is of no use to anyone.
    for (const char* suffix : {"", ".1"}) {
        std::remove(
            (fdrtest::LogFilePath("/Kdbglog/.fdr_center_log/.center.log") + suffix).c_str());
    }
}

// Each call ends as the first (whose outcome the case files pin). A descriptor lost now and then
// shows over many calls; a sanitizer, many times slower, checks the same paths in fewer.
TEST_F(FaultInjection, AThousandFailedReadsLeaveNoDescriptorOpen) {
    const int repeats = fdrtest::kSanitizerBuild ? 100 : 1000;
    for (const Reader& reader : fdrtest::kReaders) {
        for (const char* mode : {"refuse", "reset-early", "invalid-http", "404", "500"}) {
            SCOPED_TRACE(std::string(reader.operation) + ", " + mode);
            fdrsim::Fault fault;
            fault.mode = *fdrsim::FaultModeNamed(mode);
            Inject(reader, fault);
            testing::internal::CaptureStdout();
            const Outcome first = fdrtest::RunReader(reader);  // opens what is opened once
            // The server's side of each exchange is in this process too.
            services_->WaitUntilIdle(fdrtest::kEventuallyLimit);
            const size_t before = fdrtest::OpenDescriptors();
            int differing = 0;
            for (int i = 0; i < repeats; ++i) {
                differing += fdrtest::RunReader(reader) == first ? 0 : 1;
            }
            services_->WaitUntilIdle(fdrtest::kEventuallyLimit);
            EXPECT_EQ(fdrtest::OpenDescriptors(), before);
            testing::internal::GetCapturedStdout();
            EXPECT_EQ(differing, 0);
        }
    }
}

// The service goes away while a request waits for its answer: the wait ends with it, not with
// the time-out (the detail says which ended it, whatever the machine's speed).
TEST_F(FaultInjection, AServiceDyingMidRequestEndsTheWaitAtOnce) {
    fdrsim::Fault stall;
    stall.mode = fdrsim::FaultMode::Stall;
    Inject(fdrtest::kReaders[0], stall);
    Outcome outcome{};
    int detail = 0;
    testing::internal::CaptureStdout();
    std::thread waiting([&] { outcome = fdrtest::RunReader(fdrtest::kReaders[0], &detail); });
    const bool arrived = services_->Exchanges().WaitFor({}, fdrtest::kEventuallyLimit).has_value();
    services_->Stop();
    waiting.join();
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(arrived);
    EXPECT_EQ(outcome, (Outcome{3, "old"}));
    EXPECT_EQ(detail, 52);  // libcurl: the server sent nothing
}

}  // namespace
