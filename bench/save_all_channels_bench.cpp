// The whole-federation channel save at scale: 256 member servers with 64 channels each.
//
// SaveFdrAllChannelsSetting itself talks to a fixed port, so its two halves are measured apart:
// building the grouped body, and sending that body with the reference local client to a
// listener on an ephemeral port (plus reading the answer as the operation does).
#include <benchmark/benchmark.h>
#include <httplib.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "federateutil/DravoAgentData.h"
#include "federateutil/Interfaces.h"
#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"
#include "platform/kfen_client.h"

namespace {

using DravoAgentData::AutonomyList;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;

constexpr int kServers = 256;
constexpr int kChannelsPerServer = 64;

// A camera as a member typically describes it: presets, a second stream, virtual cameras.
std::shared_ptr<ChannelObj> Camera(const std::string& owner, int index) {
    auto c = std::make_shared<ChannelObj>();
    c->audio = {1, true, true};
    using Preset = ChannelObj::AutoCruisingInfo::AutoCruisingPreset;
    for (int i = 0; i < 4; ++i) {
        c->auto_cruising.auto_cruising_list.push_back(
            std::make_shared<Preset>(Preset{10 + i, i + 1, i % 2 == 0}));
    }
    c->event_installation.input.input_enabled_list.assign(16, true);
    c->event_installation.motion = {true, true, true};
    c->fisheye = {1, 2, true, 1, 45, 52.5, 0.9125, 1280.5, 720.25};
    c->login_auth = {"secret-pass", "operator", "admin-secret", "guest-secret"};
    c->manufacturer = {"Acme", "AC-4K-DOME", "ACMEDOME", 0};
    c->network_setting = {"10.20." + std::to_string(index % 250) + ".7",
                          80,
                          554,
                          8554,
                          "198.51.100.23",
                          10080 + index};
    c->recording_status = {true, false, true};
    c->stream_info.main_stream = {true, 5, 30, 9, "3840x2160"};
    using Stream = ChannelObj::MultiStreamObj;
    c->stream_info.multi_stream_list = {std::make_shared<Stream>(Stream{"AAC ", "H265", 15, 4, 1}),
                                        std::make_shared<Stream>(Stream{"G711", "H264", 5, 2, 2})};
    using VirtualCamera = ChannelObj::VirtualCameraObj;
    c->virtual_camera_list = {
        std::make_shared<VirtualCamera>(VirtualCamera{720, 0, 1, "Entrance", 0, 1280}),
        std::make_shared<VirtualCamera>(VirtualCamera{540, 960, 2, "Counter", 540, 960})};
    c->channel_index = index;
    c->channel_guid = owner + "-channel-" + std::to_string(index);
    c->channel_name = "Camera " + std::to_string(index) + " \"north\"";
    c->owner_lid = owner;
    c->retrieve = 0;
    return c;
}

struct Federation {
    AutonomyList servers;
    ChannelObjList channels;

    Federation() {
        for (int s = 0; s < kServers; ++s) {
            auto server = std::make_shared<AutonomyList::AutonomyListObj>();
            server->autonomy_lid = "member-" + std::to_string(s);
            servers.autonomy_list.push_back(server);
        }
        // Channels arrive interleaved across servers, the worst case for grouping.
        for (int i = 0; i < kChannelsPerServer; ++i) {
            for (const auto& server : servers.autonomy_list) {
                channels.push_back(Camera(server->autonomy_lid, i));
            }
        }
    }
};

const Federation& TheFederation() {
    static const Federation federation;
    return federation;
}

void BM_ChannelText(benchmark::State& state) {
    const auto channel = TheFederation().channels.front();
    std::string text;
    for (auto _ : state) {
        construct_cahnnel_info_string(channel, text);
        benchmark::DoNotOptimize(text.data());
    }
    state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_ChannelText);

void BM_GroupedBody(benchmark::State& state) {
    const Federation& federation = TheFederation();
    std::string body;
    for (auto _ : state) {
        CChannelInfoJsonFormatter::FormatterAddChannelInfo(federation.servers, federation.channels,
                                                           body);
        benchmark::DoNotOptimize(body.data());
    }
    state.counters["MB"] = static_cast<double>(body.size()) / 1e6;
}
BENCHMARK(BM_GroupedBody)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// A federation service stand-in on an ephemeral port that answers every PUT with no error.
class Listener {
  public:
    Listener() {
        server_.Put("/fdr/CmsChannel", [](const httplib::Request&, httplib::Response& res) {
            res.set_content("{\"autonomy_list\":[]}", "application/json");
        });
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) {
            std::this_thread::yield();
        }
    }
    ~Listener() {
        server_.stop();
        thread_.join();
    }
    int port() const { return port_; }

  private:
    httplib::Server server_;
    std::thread thread_;
    int port_ = 0;
};

// The operation's exchange: the PUT with the usual trailing arguments, then the answer read.
void PutAndRead(int port, const std::string& body) {
    char host[] = "127.0.0.1";
    char path[] = "/fdr/CmsChannel";
    std::string response;
    if (kfen_PUT_request(host, port, path, body, response, 5, false, false, 0, nullptr) != 0) {
        throw std::runtime_error("PUT failed");
    }
    std::string err_str;
    benchmark::DoNotOptimize(CFdrUtilParser::ParseFdrErrorCode(response.c_str(), err_str));
}

void BM_PutGroupedBody(benchmark::State& state) {
    const Federation& federation = TheFederation();
    std::string body;
    CChannelInfoJsonFormatter::FormatterAddChannelInfo(federation.servers, federation.channels,
                                                       body);
    Listener listener;
    for (auto _ : state) {
        PutAndRead(listener.port(), body);
    }
}
BENCHMARK(BM_PutGroupedBody)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Both halves together: what SaveFdrAllChannelsSetting spends, less the fixed port.
void BM_BuildAndPutGroupedBody(benchmark::State& state) {
    const Federation& federation = TheFederation();
    Listener listener;
    for (auto _ : state) {
        std::string body;
        CChannelInfoJsonFormatter::FormatterAddChannelInfo(federation.servers, federation.channels,
                                                           body);
        PutAndRead(listener.port(), body);
    }
}
BENCHMARK(BM_BuildAndPutGroupedBody)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
