// Who connects a CRestConnectInfo's own socket for a request: the object itself, or libcurl.
// Chosen once per process from the libcurl loaded at run time; tests can pin either one.
#pragma once

#include <optional>

namespace fdr {
namespace rest {

enum class ConnectMode {
    // The object connects its socket (bounded by the transfer limit, abortable) and hands it to
    // libcurl as already connected: libcurl 8.0.0 and later.
    kObjectConnects,
    // libcurl is handed the object's still unconnected socket and connects it itself: libcurl
    // 7.88.x, which calls connect() again on a socket said to be connected and fails.
    kLibcurlConnects,
};

// The mode in force on the calling thread.
ConnectMode CurrentConnectMode();

// For tests: replaces the mode chosen from the libcurl version on the calling thread (nullopt
// returns to it), for the connections it sets up and the requests it makes from then on.
// Internal to the library's objects; the shared library does not export it.
void PinConnectModeForTesting(std::optional<ConnectMode> mode);

}  // namespace rest
}  // namespace fdr
