// One HTTP/1.1 exchange on a raw socket, below the level at which an HTTP library would keep the
// answer well-formed: the request read (answering "Expect: 100-continue"), the answer written in
// any shape a fault needs, and the connection ended so that no TIME_WAIT piles up on the port.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Exchange.h"

namespace fdrsim {

// The fields of a form body or a query in their order, percent-decoded ("+" is a space; a "%"
// not followed by two hex digits stays as it is).
using FormFields = std::vector<std::pair<std::string, std::string>>;
FormFields ParseForm(const std::string& text);

// A signal that is set once and stays set, readable as a descriptor so that socket waits can
// end on it (the core stopping, a stalled request being released).
class WakeSignal {
  public:
    WakeSignal();
    ~WakeSignal();
    WakeSignal(const WakeSignal&) = delete;
    WakeSignal& operator=(const WakeSignal&) = delete;
    void Trigger();
    int fd() const { return fd_; }

  private:
    int fd_;
};

// The status line and headers of a complete answer of `length` bytes.
std::string AnswerHead(int status, const std::string& content_type, size_t length);

class HttpConnection {
  public:
    // Takes `fd`; every wait ends when `stop` is set.
    HttpConnection(int fd, const WakeSignal& stop);
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    // Reads one request: request line, headers, and the body its Content-Length announces; a
    // request that is not HTTP or has a chunked body is read no further and says why in
    // `unreadable`. False when the client went away or the core stopped first.
    bool ReadRequest(IncomingRequest& request);
    bool Send(const std::string& bytes) { return Send(bytes.data(), bytes.size()); }
    bool Send(const char* data, size_t size);
    // Waits `time`; false when the core stopped first.
    bool Pause(std::chrono::milliseconds time);
    // Holds the request unanswered until the client closes, the core stops (both false) or
    // `release` is set (true).
    bool Hold(const WakeSignal& release);
    // How the connection ends once the answer is out: by default the server waits for the client
    // to close first (a server-side close leaves a TIME_WAIT on the fixed port, and thousands of
    // those slow every later connect() to it); these end it from this side instead.
    void CloseAfterAnswer() { ending_ = Ending::kClose; }
    void ResetAfterAnswer() { ending_ = Ending::kReset; }
    // Ends the connection as chosen; the destructor closes the socket.
    void Finish();

  private:
    enum class Ending { kAfterClient, kClose, kReset };
    bool WaitReady(short events, int timeout_ms, int extra_fd = -1, bool* extra = nullptr);
    bool DrainUntilClosed(int timeout_ms, int extra_fd = -1, bool* extra = nullptr);

    int fd_;
    const WakeSignal& stop_;
    Ending ending_ = Ending::kAfterClient;
};

}  // namespace fdrsim
