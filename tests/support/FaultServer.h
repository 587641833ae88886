// A local service that misbehaves on purpose: a raw-socket listener on one fixed port of
// 127.0.0.1 that gives every connection the same faulty treatment, below the level at which an
// HTTP library would keep the answer well-formed. Below it, the reading operations as the fault
// tests drive them.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace fdrtest {

// What the service does with each connection, after reading the request.
class FaultAnswer {
  public:
    enum class Kind { kRefuse, kStall, kRaw, kHuge };

    // Nothing listens on the port: connections are refused.
    static FaultAnswer Refuse();
    // The request is read and never answered; the connection is held until the client gives up
    // or the server stops.
    static FaultAnswer Stall();
    // A complete HTTP/1.1 answer with this status and body.
    static FaultAnswer Status(int status, const std::string& body);
    // A 200 answer announcing body.size() bytes, of which only the first `sent` are sent before
    // the connection is closed (FIN).
    static FaultAnswer CloseEarly(const std::string& body, size_t sent);
    // The same, ended by a reset (RST) instead: the client's read fails rather than ending
    // short. Unlike a server-side close, it leaves no TIME_WAIT behind, so it can be repeated
    // thousands of times without slowing later connections to the port.
    static FaultAnswer ResetEarly(const std::string& body, size_t sent);
    // Bytes that are not HTTP at all where the status line should be.
    static FaultAnswer InvalidHttp();
    // A 200 answer of exactly `total` body bytes: `head`, then `filler` repeated, then `tail`.
    // Streamed, so that the server holds no copy of it.
    static FaultAnswer Huge(const std::string& head, size_t total, char filler,
                            const std::string& tail);

    Kind kind() const { return kind_; }

  private:
    friend class FaultServer;
    // How the server ends a connection once its answer is out. Every answer that the client can
    // read to its end waits for the client to close first: a server-side close leaves a TIME_WAIT
    // on the fixed port, and thousands of those slow every later connect() to it by milliseconds.
    enum class Ending { kAfterClient, kClose, kReset };
    Kind kind_ = Kind::kRefuse;
    Ending ending_ = Ending::kAfterClient;
    std::string bytes_;  // kRaw: everything sent; kHuge: the header
    std::string head_;
    std::string tail_;
    size_t total_ = 0;
    char filler_ = ' ';
};

// `object` (a JSON object text) with one more member whose arrays make the whole document
// `depth` levels deep, counting the object itself as the first level.
std::string NestedJson(const std::string& object, int depth);

class FaultServer {
  public:
    // Starts listening (except for Refuse). A port that cannot be bound is a test failure naming
    // the port.
    FaultServer(int port, FaultAnswer answer);
    ~FaultServer();
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    bool started() const { return started_; }
    // Requests read so far.
    size_t Requests() const { return requests_; }
    // Waits until `count` requests were read; true when they were in time.
    bool WaitForRequests(size_t count, std::chrono::milliseconds timeout) const;
    // Waits until the server has closed every connection it accepted; true when it had in time.
    bool WaitUntilIdle(std::chrono::milliseconds timeout) const;
    // Stops listening and drops every connection at once, stalled ones included.
    void Stop();

  private:
    struct Connection;
    void AcceptLoop();
    void Serve(int fd);
    void Reap(bool all);
    void Changed();

    const int port_;
    const FaultAnswer answer_;
    int listen_fd_ = -1;
    int wake_fd_ = -1;  // readable once the server stops
    bool started_ = false;
    std::thread acceptor_;
    std::list<std::unique_ptr<Connection>> connections_;  // touched by the acceptor only
    std::atomic<size_t> requests_{0};
    std::atomic<size_t> open_{0};
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
};

// ---- The reading operations, as the fault tests drive them ----

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
