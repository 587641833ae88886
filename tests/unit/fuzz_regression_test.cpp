// Replays, without libFuzzer, every kept fuzzer input through the fuzzer's own entry: the
// reproducers of fixed findings (tests/data/fuzz/<fuzzer>/) and the seed corpora
// (fuzz/corpus/<fuzzer>/). Under the ASan+UBSan build this repeats the fuzzers' sanitizer checks.
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "../../fuzz/FuzzEntries.h"
#include "support/Files.h"

namespace {

namespace fs = std::filesystem;

const fs::path kReproducers = fs::path(FDR_TEST_DATA_DIR) / "fuzz";
const fs::path kSeeds = fs::path(FDR_TEST_DATA_DIR) / ".." / ".." / "fuzz" / "corpus";

TEST(FuzzRegression, KeptInputsPassTheirFuzzersChecks) {
    for (const fdrfuzz::Entry& entry : fdrfuzz::kEntries) {
        SCOPED_TRACE(entry.name);
        size_t replayed = 0;
        for (const fs::path& folder : {kReproducers / entry.name, kSeeds / entry.name}) {
            if (!fs::is_directory(folder)) {
                continue;
            }
            for (const auto& file : fs::directory_iterator(folder)) {
                SCOPED_TRACE(file.path().string());
                const std::string input = fdrtest::ReadFile(file.path());
                // The error readers print the service's error triple.
                testing::internal::CaptureStdout();
                fdrfuzz::Verdict verdict;
                try {
                    verdict =
                        entry.run(reinterpret_cast<const uint8_t*>(input.data()), input.size());
                } catch (const std::exception& e) {
                    verdict = std::string("escaped exception: ") + e.what();
                }
                testing::internal::GetCapturedStdout();
                EXPECT_EQ(verdict, "");
                ++replayed;
            }
        }
        EXPECT_GT(replayed, 0u) << "no seed corpus";
    }
}

}  // namespace
