// One libFuzzer target: FDR_FUZZ_NAME picks its entry from FuzzEntries.h. A non-empty verdict
// aborts, so libFuzzer keeps the input as a crash artifact.
#include <cstdio>
#include <cstdlib>

#include "FuzzEntries.h"

namespace {

const fdrfuzz::EntryFunction kEntry = fdrfuzz::Find(FDR_FUZZ_NAME);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (kEntry == nullptr) {
        std::fprintf(stderr, "no fuzzer entry named %s\n", FDR_FUZZ_NAME);
        std::abort();
    }
    const fdrfuzz::Verdict verdict = kEntry(data, size);
    if (!verdict.empty()) {
        std::fprintf(stderr, "%s: %s\n", FDR_FUZZ_NAME, verdict.c_str());
        std::abort();
    }
    return 0;
}
