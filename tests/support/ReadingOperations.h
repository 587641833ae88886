// The reading operations as the fault tests drive them: each on a fresh object, with the
// outcomes it promises for a good answer and for one it cannot read.
#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace fdrtest {

// What a reading operation ended with: its result and its outputs, which start as "old".
struct Outcome {
    int result = 0;
    std::string output;
    bool operator==(const Outcome& other) const {
        return result == other.result && output == other.output;
    }
};
void PrintTo(const Outcome& outcome, std::ostream* os);  // long outputs shortened

// The detail number of a request that does not go through the local client (the tokens').
inline constexpr int kNoDetail = -1;

// One reading operation, each run on a fresh object with its outputs set to "old".
struct Reader {
    const char* name;
    int port;
    std::chrono::seconds timeout;
    std::string good;  // an answer it reads successfully
    std::function<Outcome()> run;
    bool returns_code;    // false: always 0, the outputs tell
    bool uses_client;     // through the local client, whose detail number is then readable
    Outcome read_good;    // after `good`
    Outcome not_json;     // after an answer its parser rejects
    bool echoes = false;  // hands the answer over unread
    std::string untouched = "old";
};

// LoadFdrFederateSetting, LoadFdrAutonomyListSetting, LoadFdrChannelSetting, the answer of
// SaveFdrAllChannelsSetting, GetFdrPrivilegeByUser, GetFdrPrivilegeTime, AuthGetToken and
// AuthRefreshToken.
std::vector<Reader> Readers();

// One call: its outcome, the local client's detail number after it (kNoDetail for the tokens)
// and how long it took.
struct Call {
    Outcome outcome;
    int detail = kNoDetail;
    std::chrono::steady_clock::duration waited{};
};
Call RunOnce(const Reader& reader);

// Catches standard output (the console lines of failed requests) for its lifetime, also when an
// exception ends the test. One at a time.
class QuietStdout {
  public:
    QuietStdout();
    ~QuietStdout();
    QuietStdout(const QuietStdout&) = delete;
    QuietStdout& operator=(const QuietStdout&) = delete;
};

}  // namespace fdrtest
