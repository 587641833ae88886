// The reading operations as the fault and time-out tests drive them, through the case runner's
// operations: each call on a fresh object with its outputs started as "old".
#pragma once

#include <ostream>
#include <string>

namespace fdrtest {

struct Outcome {
    int result;
    std::string output;
    bool operator==(const Outcome& o) const { return result == o.result && output == o.output; }
};
void PrintTo(const Outcome& outcome, std::ostream* os);  // long outputs shortened

// A reading operation: the answer it reads, and what it ends with after that answer, after one
// its parser rejects and after a failed request.
struct Reader {
    const char* operation;
    int port;
    int timeout_seconds;
    const char* good;
    const char* output;
    Outcome read, rejected, failed;
    bool echoes = false;      // hands the answer over unread, whatever it is
    bool uses_client = true;  // through the local client, whose detail number is then readable
};

// LoadFdrFederateSetting, LoadFdrAutonomyListSetting, LoadFdrChannelSetting, the answer of
// SaveFdrAllChannelsSetting, GetFdrPrivilegeByUser, GetFdrPrivilegeTime, AuthGetToken and
// AuthRefreshToken.
extern const Reader kReaders[8];

// One call; `detail`, when given, gets the local client's detail number after it.
Outcome RunReader(const Reader& reader, int* detail = nullptr);

}  // namespace fdrtest
