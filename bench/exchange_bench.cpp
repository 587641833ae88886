// End to end: operations through the library and the reference local client against the same
// local services, next to the same observable work done with the bare dependencies (bare cJSON to
// build the body or to fill the same records, one kept-alive libcurl easy handle for the
// exchange; for the token request a new handle and a socket of its own per request, and the same
// two log lines). Rows under "explain/" set the library against less: the exchange alone, or the
// bare parse that fills no record.
//
// The operations talk to their fixed ports, so this binary must run where nothing else listens on
// the eight services' ports: bench/run starts it in a private network namespace. The services are
// the service core (fdrsim::Simulator) in this process, with scripted answers; it answers one
// request per connection, so both sides connect for every exchange.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "BenchData.h"
#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "PairTimer.h"
#include "Simulator.h"
#include "log/CenterLog.h"

namespace {

using namespace bench;

constexpr double kRepetitionSeconds = 0.5;
constexpr int kNotifiedChannels = 64;
constexpr int kLoadedChannels = 256;
const std::string kLid = "member-0";

size_t Collect(char* data, size_t size, size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

// The bare client: one easy handle, kept alive, set up once per kind of request.
class BareClient {
  public:
    BareClient() {
        curl_ = curl_easy_init();
        headers_ = curl_slist_append(headers_, "Content-Type: application/json");
        headers_ = curl_slist_append(headers_, "Expect:");
        curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(curl_, CURLOPT_TCP_NODELAY, 1L);
        curl_easy_setopt(curl_, CURLOPT_PROXY, "");
        curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &Collect);
        curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &response_);
    }
    ~BareClient() {
        curl_easy_cleanup(curl_);
        curl_slist_free_all(headers_);
    }
    const std::string& Put(const std::string& url, const std::string& body) {
        response_.clear();
        curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, "PUT");
        curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        Perform();
        return response_;
    }
    const std::string& Get(const std::string& url) {
        response_.clear();
        curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, nullptr);
        curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, nullptr);
        curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
        Perform();
        return response_;
    }
    // The token form on a fresh connection, as the token request makes it.
    const std::string& PostFresh(const std::string& url, const std::string& form) {
        response_.clear();
        curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, form.data());
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(form.size()));
        curl_easy_setopt(curl_, CURLOPT_FRESH_CONNECT, 1L);
        curl_easy_setopt(curl_, CURLOPT_FORBID_REUSE, 1L);
        Perform();
        return response_;
    }

  private:
    void Perform() {
        long status = 0;
        const CURLcode rc = curl_easy_perform(curl_);
        curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
        if (rc != CURLE_OK || status != 200) {
            std::fprintf(stderr, "bare exchange failed: %s, HTTP %ld\n", curl_easy_strerror(rc),
                         status);
            std::exit(2);
        }
    }

    CURL* curl_ = nullptr;
    curl_slist* headers_ = nullptr;
    std::string response_;
};

// The token request's own work with bare libcurl: for each request a new easy handle and a
// socket of its own, which libcurl connects (libcurl 7.88 cannot take one already connected),
// shuts down and closes afterwards; the "[SEND] ..." line when the socket is connected and the
// "[RECV Http Response: ...]" line, both through the host's log function; the two tokens taken
// from the answer.
class BareTokenRequest {
  public:
    BareTokenRequest(std::string url, std::string form)
        : url_(std::move(url)), form_(std::move(form)) {}

    void Run(std::string& access, std::string& refresh) {
        Request request{this, socket(AF_INET, SOCK_STREAM, 0), {}};
        CURL* curl = curl_easy_init();
        curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(curl, CURLOPT_TIMEOUT, 30L);
        curl_easy_setopt(curl, CURLOPT_PROXY, "");
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &OwnSocket);
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, &request);
        curl_easy_setopt(curl, CURLOPT_CLOSESOCKETFUNCTION, &KeepSocket);
        curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, &LogSend);
        curl_easy_setopt(curl, CURLOPT_PREREQDATA, &request);
        curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Collect);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &request.response);
        curl_easy_setopt(curl, CURLOPT_URL, url_.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, form_.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(form_.size()));
        long status = 0;
        const CURLcode rc = curl_easy_perform(curl);
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
        curl_easy_cleanup(curl);
        shutdown(request.socket, SHUT_RDWR);
        close(request.socket);
        if (rc != CURLE_OK || status != 200) {
            std::fprintf(stderr, "bare token request failed: %s, HTTP %ld\n",
                         curl_easy_strerror(rc), status);
            std::exit(2);
        }
        log_File_Debug_s(fdr::kCenterLogPath, fdr::kLogSizeCap, "[RECV Http Response: %ld] %s",
                         status, request.response.c_str());
        BareReadTokens(request.response.c_str(), access, refresh);
    }

  private:
    struct Request {
        BareTokenRequest* owner;
        int socket;
        std::string response;
    };

    static curl_socket_t OwnSocket(void* data, curlsocktype purpose, curl_sockaddr*) {
        const auto* request = static_cast<Request*>(data);
        return purpose == CURLSOCKTYPE_IPCXN ? request->socket : CURL_SOCKET_BAD;
    }
    static int KeepSocket(void*, curl_socket_t) { return 0; }
    static int LogSend(void* data, char*, char*, int, int) {
        const auto* request = static_cast<Request*>(data);
        log_File_Debug_s(fdr::kCenterLogPath, fdr::kLogSizeCap, "[SEND] port=%u [%s]\r %s %s",
                         static_cast<unsigned int>(fdr::kTokenServicePort), "POST",
                         request->owner->url_.c_str(), request->owner->form_.c_str());
        return CURL_PREREQFUNC_OK;
    }

    const std::string url_;
    const std::string form_;
};

std::string Url(int port, const std::string& target) {
    return "http://" + std::string(fdr::kLocalHost) + ":" + std::to_string(port) + target;
}

void Register(const std::string& name, std::function<void()> lib, std::function<void()> bare,
              std::function<void()> untimed = nullptr) {
    const int64_t rounds = PairTimer::RoundsFor(lib, bare, kRepetitionSeconds);
    benchmark::RegisterBenchmark(name.c_str(),
                                 [lib, bare, untimed](benchmark::State& state) {
                                     PairTimer timer(lib, bare, untimed);
                                     for (auto _ : state) {
                                         timer.Round();
                                     }
                                     timer.Report(state);
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->Iterations(rounds);
}

}  // namespace

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_ALL);
    // The service core, in this process, answering as the local services do: scripted answers
    // on the three ports the operations use, nothing else routed; a journal of one exchange.
    fdrsim::SimulatorOptions options;
    options.recorder_only = true;
    options.journal_capacity = 1;
    fdrsim::Simulator services(std::move(options));
    services.Script(fdr::ServiceId::Arbitrator, "PUT", fdr::endpoint::kChannelInfoChanged.path,
                    {200, "{}"});
    services.Script(fdr::ServiceId::FederationReads, "GET", fdr::endpoint::kCmsChannelRead.path,
                    {200, ChannelListAnswer(kLoadedChannels)});
    services.Script(fdr::ServiceId::Token, "POST", fdr::kTokenPath, {200, TokenAnswer()});
    std::string error;
    if (!services.Start(&error)) {
        std::fprintf(stderr, "%s: run this in a private network namespace\n", error.c_str());
        return 2;
    }

    const auto util = std::make_shared<CFederateUtil>();
    const auto bare = std::make_shared<BareClient>();

    // One notification with 64 channels: build, PUT, answer not examined.
    const auto channels = std::make_shared<ChannelObjList>(Cameras(kLid, kNotifiedChannels));
    const std::string notify_url =
        Url(fdr::kArbitratorPort, fdr::endpoint::kChannelInfoChanged.path);
    Register(
        "e2e/CameraListChange/64", [=] { util->NotifyArbitratorCameraListChange(kLid, *channels); },
        [=] {
            const Printed printed = BareCameraListChange(kLid, *channels);
            const std::string body(printed.get());
            benchmark::DoNotOptimize(bare->Put(notify_url, body).data());
        });

    // One channel-list load of 256 channels: GET, then the answer and every "data" text read
    // into its record, and the error triple's three lines.
    const auto loaded = std::make_shared<ChannelObjList>();
    const auto bare_loaded = std::make_shared<ChannelObjList>();
    const auto drop = [loaded, bare_loaded] {
        loaded->clear();
        bare_loaded->clear();
    };
    const std::string load_url =
        Url(fdr::kFederationReadPort,
            std::string(fdr::endpoint::kCmsChannelRead.path) + "?autonomy_lid=" + kLid);
    const auto load = [=] {
        if (util->LoadFdrChannelSetting(kLid, *loaded) != 0) {
            std::fprintf(stderr, "load failed\n");
            std::exit(2);
        }
    };
    Register(
        "e2e/LoadChannelSetting/256", load,
        [=] {
            benchmark::DoNotOptimize(
                BareReadChannelList(bare->Get(load_url).c_str(), *bare_loaded));
        },
        drop);

    // Not goals: the same operations against the exchange alone, without the JSON, and the load
    // against the bare parse that fills no record.
    const auto notify_body = std::make_shared<const std::string>(
        Print(cJSON_Parse(BareCameraListChange(kLid, *channels).get())).get());
    Register(
        "explain/CameraListChangeOverExchangeOnly/64",
        [=] { util->NotifyArbitratorCameraListChange(kLid, *channels); },
        [=] { benchmark::DoNotOptimize(bare->Put(notify_url, *notify_body).data()); });
    Register(
        "explain/LoadChannelSettingOverExchangeOnly/256", load,
        [=] { benchmark::DoNotOptimize(bare->Get(load_url).data()); }, drop);
    Register(
        "explain/LoadChannelSettingOverParseOnly/256", load,
        [=] { benchmark::DoNotOptimize(BareParseChannelList(bare->Get(load_url).c_str())); }, drop);

    // The token request: its own socket, a fresh connection each time; the answer read.
    const auto id = std::make_shared<std::string>("fedutil-client");
    const auto secret = std::make_shared<std::string>("0a1b2c3d4e5f");
    const auto access = std::make_shared<std::string>();
    const std::string token_url = Url(fdr::kTokenServicePort, fdr::kTokenPath);
    const auto form =
        std::make_shared<const std::string>("grant_type=client_credentials&client_id=" + *id +
                                            "&client_secret=" + *secret + "&undefined=");
    const auto bare_access = std::make_shared<std::string>();
    const auto bare_refresh = std::make_shared<std::string>();
    const auto bare_token = std::make_shared<BareTokenRequest>(token_url, *form);
    Register(
        "token/AuthGetToken/1", [=] { util->AuthGetToken(*id, *secret, *access); },
        [=] { bare_token->Run(*bare_access, *bare_refresh); });

    // Not goals: the token request against a bare POST on a reused handle with a fresh
    // connection (what the dependency alone costs), and against one that, like the token
    // request, sets up a new easy handle for each request but has no socket of its own and
    // writes no line.
    const auto bare_fresh = std::make_shared<BareClient>();
    Register(
        "explain/AuthGetTokenOverReusedHandle/1",
        [=] { util->AuthGetToken(*id, *secret, *access); },
        [=] {
            cJSON* root = cJSON_Parse(bare_fresh->PostFresh(token_url, *form).c_str());
            benchmark::DoNotOptimize(root);
            cJSON_Delete(root);
        });
    Register(
        "explain/AuthGetTokenOverFreshHandle/1", [=] { util->AuthGetToken(*id, *secret, *access); },
        [=] {
            BareClient fresh;
            cJSON* root = cJSON_Parse(fresh.PostFresh(token_url, *form).c_str());
            benchmark::DoNotOptimize(root);
            cJSON_Delete(root);
        });

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
