// Wall-clock bounds in tests. A verdict never depends on how fast the machine is: an upper bound
// on a wait is checked only in plain builds, where it says something about the code, and with
// the slack a loaded two-core machine needs. Sanitizer builds run 5 to 20 times slower; there
// the outcome is what counts.
#pragma once

#include <chrono>

namespace fdrtest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitizerBuild = true;
#else
inline constexpr bool kSanitizerBuild = false;
#endif
inline constexpr bool kWallClockBoundsChecked = !kSanitizerBuild;

// What a loaded machine may add to a fixed time-out before the wait ends.
inline constexpr std::chrono::seconds kLoadedMachineSlack{3};

// How long a test waits for something that normally happens at once (a server closing its side,
// a request arriving). Returning early is the rule; the limit only keeps a broken build from
// hanging.
inline constexpr std::chrono::seconds kEventuallyLimit{60};

}  // namespace fdrtest

// An upper bound on a wait, checked where wall-clock bounds are meaningful.
#define EXPECT_WAIT_AT_MOST(waited, limit)      \
    do {                                        \
        if (fdrtest::kWallClockBoundsChecked) { \
            EXPECT_LE((waited), (limit));       \
        }                                       \
    } while (false)
