// Every formatter and parser of the library against the same work done with bare cJSON calls,
// side by side in one binary. Each case is named "<goal>/<what>/<size>" and reports the ratio of
// the library's median time to its baseline's (see PairTimer.h).
//
// Before registering a pair, the two sides are run once and must produce the identical text
// (formatters) or read the same answer (parsers): a baseline that does less is no baseline.
#include <benchmark/benchmark.h>
#include <json/json.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "BenchData.h"
#include "FederateUtil/CFederateUtil.h"
#include "PairTimer.h"
#include "json/AutonomyJsonFormatter.h"
#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"
#include "json/PrivilegeJsonFormatter.h"
#include "json/PrivilegeJsonParser.h"

namespace {

using namespace bench;
using F = CChannelInfoJsonFormatter;
using A = CAutonomyListJsonFormatter;

// The length of one repetition of a case; the number of rounds is fixed from it up front, which
// spares Google Benchmark's own search for an iteration count.
constexpr double kRepetitionSeconds = 0.25;

// One case: the library and its baseline run alternately, in batches of equal size, and each
// batch is timed on its own, so that the load of a shared machine falls on both sides alike.
// Counters: the medians per call of both sides (ns) and their ratio; bench/run takes the median
// of the ratio over the repetitions.
void Register(const std::string& name, std::function<void()> lib, std::function<void()> bare,
              std::function<void()> untimed = nullptr) {
    const int64_t rounds = bench::PairTimer::RoundsFor(lib, bare, kRepetitionSeconds);
    if (untimed) {
        untimed();
    }
    benchmark::RegisterBenchmark(name.c_str(),
                                 [lib, bare, untimed](benchmark::State& state) {
                                     bench::PairTimer timer(lib, bare, untimed);
                                     for (auto _ : state) {
                                         timer.Round();
                                     }
                                     timer.Report(state);
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->Iterations(rounds);
}

[[noreturn]] void Die(const std::string& name, const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), why.c_str());
    std::exit(2);
}

// A formatter: `lib` fills a std::string as the library does, `bare` prints the same tree. Both
// sides end with the body in a std::string, the form in which the local client takes it.
void Formatter(const std::string& name, std::function<void(std::string&)> lib,
               std::function<Printed()> bare) {
    std::string out;
    lib(out);
    const Printed expected = bare();
    if (!expected || out != expected.get()) {
        Die(name, "the baseline does not print the library's text");
    }
    Register(
        name,
        [lib] {
            std::string text;
            lib(text);
            benchmark::DoNotOptimize(text.data());
        },
        [bare] {
            const Printed printed = bare();
            std::string text(printed.get());
            benchmark::DoNotOptimize(text.data());
        });
}

// A reader: `lib` against `like`, the same observable work done with bare cJSON (the same
// records filled, the same standard-output lines). A second case, under "explain/", sets the
// reader against the bare parse (cJSON_Parse and cJSON_Delete) of the same text: what the
// dependency alone costs. The records a reader appends are the host's to drop: `untimed` drops
// them between batches.
void Reader(const std::string& what, const std::string& size, std::function<unsigned int()> lib,
            std::function<unsigned int()> like, std::shared_ptr<const std::string> text,
            std::function<void()> untimed = nullptr) {
    const std::string name = "parse/" + what + "/" + size;
    if (lib() != like()) {
        Die(name, "the baseline does not read the answer as the library does");
    }
    Register(
        name, [lib] { benchmark::DoNotOptimize(lib()); },
        [like] { benchmark::DoNotOptimize(like()); }, untimed);
    Register(
        "explain/" + what + "OverParseOnly/" + size, [lib] { benchmark::DoNotOptimize(lib()); },
        [text] {
            cJSON* root = cJSON_Parse(text->c_str());
            benchmark::DoNotOptimize(root);
            cJSON_Delete(root);
        },
        untimed);
}

std::string Size(int n) {
    return std::to_string(n);
}

void ChannelFormatters() {
    const auto one = std::make_shared<std::shared_ptr<ChannelObj>>(Camera("member-0", 7));
    Formatter(
        "fmt/ChannelText/1", [one](std::string& out) { construct_cahnnel_info_string(*one, out); },
        [one] { return Print(BareChannelTree(**one)); });

    for (const int n : {1, 64, 1024}) {
        const auto channels = std::make_shared<ChannelObjList>(Cameras("member-0", n));
        const auto lid = std::make_shared<std::string>("member-0");
        const struct {
            const char* name;
            unsigned int (*format)(const std::string&, const ChannelObjList&, std::string&);
            const char* mode;
        } lists[] = {
            {"AddChannelInfo", &F::FormatterAddChannelInfo, "add"},
            {"RefreshChannelInfo", &F::FormatterRefreshChannelInfo, "replace"},
            {"UpdateChannelInfo", &F::FormatterUpdateChannelInfo, "update"},
            {"RemoveChannelInfo", &F::FormatterRemoveChannelInfo, "remove"},
        };
        for (const auto& list : lists) {
            const auto format = list.format;
            const char* mode = list.mode;
            Formatter(
                std::string("fmt/") + list.name + "/" + Size(n),
                [=](std::string& out) { format(*lid, *channels, out); },
                [=] { return BareServerChannelList(*lid, *channels, mode); });
        }
        Formatter(
            "fmt/CameraListChange/" + Size(n),
            [=](std::string& out) { F::FormatterCameraListChange(*lid, *channels, out); },
            [=] { return BareCameraListChange(*lid, *channels); });
        const auto statuses = std::make_shared<ChannelStatusObjList>(Statuses(n));
        Formatter(
            "fmt/CameraStatusChange/" + Size(n),
            [=](std::string& out) { F::FormatterCameraStatusChange(*lid, *statuses, out); },
            [=] { return BareCameraStatusChange(*lid, *statuses); });
    }
    const auto lid = std::make_shared<std::string>("member-0");
    Formatter(
        "fmt/CameraListRefresh/1",
        [lid](std::string& out) { F::FormatterCameraListRefresh(*lid, out); },
        [lid] { return BareCameraListRefresh(*lid); });

    // The grouped body: channels spread over members.
    const struct { int members, channels; } grouped[] = {{1, 1}, {32, 64}, {512, 1024}};
    for (const auto& g : grouped) {
        auto servers = std::make_shared<DravoAgentData::AutonomyList>();
        auto channels = std::make_shared<ChannelObjList>();
        Federation(g.members, g.channels, *servers, *channels);
        Formatter(
            "fmt/GroupedChannelInfo/" + Size(g.members) + "x" + Size(g.channels / g.members),
            [=](std::string& out) { F::FormatterAddChannelInfo(*servers, *channels, out); },
            [=] { return BareGroupedBody(*servers, *channels); });
    }
}

void MemberFormatters() {
    const auto lid = std::make_shared<std::string>("member-7");
    // The member log's body goes into the host's stream (kept by the host between calls): the
    // baseline writes its text there too.
    const auto record = std::make_shared<std::shared_ptr<Member>>(MemberRecord(7));
    const auto lib_rest = [record] {
        static std::stringstream stream;
        stream.str(std::string());
        A::FormatRestAutonomy(*record, stream);
        return stream.str();
    };
    const auto bare_rest = [record] {
        static std::stringstream stream;
        stream.str(std::string());
        const Printed printed = Print(BareRestMember(**record));
        stream << printed.get();
        return stream.str();
    };
    if (lib_rest() != bare_rest()) {
        Die("fmt/RestAutonomy/1", "the baseline does not print the library's text");
    }
    Register(
        "fmt/RestAutonomy/1", [lib_rest] { benchmark::DoNotOptimize(lib_rest().data()); },
        [bare_rest] { benchmark::DoNotOptimize(bare_rest().data()); });
    Formatter(
        "fmt/RemoveAutonomyInfo/1",
        [lid](std::string& out) { A::FormatterRemoveAutonomyInfo(*lid, out); },
        [lid] { return BareRemoveAutonomy(*lid); });
    Formatter(
        "fmt/ArbitratorRemoveAutonomyInfo/1",
        [lid](std::string& out) { A::FormatterArbitratorRemoveAutonomyInfo(*lid, out); },
        [lid] { return BareArbitratorRemoveAutonomy(*lid); });
    for (const int n : {1, 32, 512}) {
        const auto members = std::make_shared<DravoAgentData::AutonomyList>(Members(n));
        // The add body prints, parses and prints each record by design: its own goal.
        Formatter(
            "add/AddAutonomy/" + Size(n),
            [members](std::string& out) { A::FormatterAddAutonomy(*members, out); },
            [members] { return BareAddAutonomy(*members); });
        Formatter(
            "fmt/ArbitratorAutonomyChange/" + Size(n),
            [members](std::string& out) { A::FormatterArbitratorAutonomyChange(*members, out); },
            [members] { return BareAutonomyChange(*members, true); });
        Formatter(
            "fmt/DravoServerAutonomyChange/" + Size(n),
            [members](std::string& out) { A::FormatterDravoServerAutonomyChange(*members, out); },
            [members] { return BareAutonomyChange(*members, false); });
    }
    const auto user = std::make_shared<std::string>("CORP\\operator");
    Formatter(
        "fmt/PrivilegeInfo/1",
        [user](std::string& out) {
            std::string second;
            CPrivilegeJsonFormatter::FormatterPrivilegeInfo(*user, second, out);
        },
        [user] { return BarePrivilegeRequest(*user); });
    const auto lenses = std::make_shared<DravoAgentData::DravoServerInfo>(LensCatalogues());
    const auto util = std::make_shared<CFederateUtil>();
    Formatter(
        "fmt/FisheyeSupportFile/64",
        [=](std::string& out) { out = util->FormatFisyeyeSupportFile(*lenses); },
        [=] { return BareFisheyeSupport(*lenses); });
    Formatter(
        "fmt/ProjectionSupportFile/64",
        [=](std::string& out) { out = util->FormatProjectionSupportFile(*lenses); },
        [=] { return BareProjectionSupport(*lenses); });
}

void Parsers() {
    const auto token = std::make_shared<const std::string>(TokenAnswer());
    Reader(
        "OauthAuthLoginToken", "1",
        [token] {
            // The host's token strings and the object's refresh token live on between calls.
            static std::string access, refresh;
            return CFdrUtilParser::ParseOauthAuthLoginToken(token->c_str(), access, refresh);
        },
        [token] {
            static std::string access, refresh;
            return BareReadTokens(token->c_str(), access, refresh);
        },
        token);
    const auto service = std::make_shared<const std::string>(ServiceAnswer());
    Reader(
        "FederateSetting", "1",
        [service] {
            static std::string guid;  // the host's
            return CFdrUtilParser::ParseFederateSetting(service->c_str(), guid);
        },
        [service] {
            static std::string guid;
            cJSON* root = cJSON_Parse(service->c_str());
            const cJSON* text = cJSON_GetObjectItemCaseSensitive(
                cJSON_GetObjectItemCaseSensitive(root, "serviceInfo"), "GUID");
            if (cJSON_IsString(text)) {
                guid = text->valuestring;
            }
            const cJSON* code = cJSON_GetObjectItemCaseSensitive(root, "err_code");
            const unsigned int result = cJSON_IsNumber(code) && code->valuedouble != 0 ? 1 : 0;
            cJSON_Delete(root);
            return result;
        },
        service);
    // The write answer's reader prints its three lines and copies "err_str".
    const auto written = std::make_shared<const std::string>(WriteAnswer());
    Reader(
        "FdrErrorCode", "1",
        [written] {
            std::string err_str;
            return CFdrUtilParser::ParseFdrErrorCode(written->c_str(), err_str);
        },
        [written] {
            std::string err_str;
            return BareReadWriteAnswer(written->c_str(), err_str);
        },
        written);
    for (const int n : {1, 32, 512}) {
        const auto text = std::make_shared<const std::string>(AutonomyListAnswer(n));
        const auto records = std::make_shared<std::vector<std::shared_ptr<Member>>>();
        const auto bare_records = std::make_shared<std::vector<std::shared_ptr<Member>>>();
        Reader(
            "AutonomyList", Size(n),
            [text, records] { return CFdrUtilParser::ParseAutonomyList(text->c_str(), *records); },
            [text, bare_records] { return BareReadAutonomyList(text->c_str(), *bare_records); },
            text,
            [records, bare_records] {
                records->clear();
                bare_records->clear();
            });
    }
    // Channel lists: the answer, then every "data" text, each read into its record.
    for (const int n : {1, 64, 1024}) {
        const auto text = std::make_shared<const std::string>(ChannelListAnswer(n));
        const std::string name = "parse/ChannelList/" + Size(n);
        std::vector<std::shared_ptr<ChannelObj>> check;
        std::vector<std::shared_ptr<ChannelObj>> bare_check;
        if (CFdrUtilParser::ParseChannelList(text->c_str(), check) != 0 ||
            BareReadChannelList(text->c_str(), bare_check) != 0 ||
            static_cast<int>(check.size()) != n || bare_check.size() != check.size() ||
            BareParseChannelList(text->c_str()) != n) {
            Die(name, "the answer does not read back");
        }
        const auto records = std::make_shared<std::vector<std::shared_ptr<ChannelObj>>>();
        const auto bare_records = std::make_shared<std::vector<std::shared_ptr<ChannelObj>>>();
        const auto drop = [records, bare_records] {
            records->clear();
            bare_records->clear();
        };
        Register(
            name,
            [text, records] {
                benchmark::DoNotOptimize(CFdrUtilParser::ParseChannelList(text->c_str(), *records));
            },
            [text, bare_records] {
                benchmark::DoNotOptimize(BareReadChannelList(text->c_str(), *bare_records));
            },
            drop);
        // Not a goal: against the parse of the answer and of every "data" text, no record.
        Register(
            "explain/ChannelListOverParseOnly/" + Size(n),
            [text, records] {
                benchmark::DoNotOptimize(CFdrUtilParser::ParseChannelList(text->c_str(), *records));
            },
            [text] { benchmark::DoNotOptimize(BareParseChannelList(text->c_str())); }, drop);
    }
    // The privilege timestamp is read with jsoncpp, so its baseline is jsoncpp: the same parse,
    // "err_code" looked at and "config" taken.
    const auto privilege = std::make_shared<const std::string>(PrivilegeTimeAnswer());
    const auto privilege_parse = [privilege] {
        Json::Reader reader;
        Json::Value root;
        benchmark::DoNotOptimize(reader.parse(*privilege, root, true));
        return root;
    };
    Register(
        "parse/PrivilegeTime/1",
        [privilege] {
            std::string timestamp;
            CPrivilegeJsonParser::ParsePrivilegeTime(*privilege, timestamp);
            benchmark::DoNotOptimize(timestamp.data());
        },
        [privilege_parse] {
            const Json::Value root = privilege_parse();
            benchmark::DoNotOptimize(root.get("err_code", -1).asInt());
            std::string timestamp = root.get("config", "").asString();
            benchmark::DoNotOptimize(timestamp.data());
        });
    Register(
        "explain/PrivilegeTimeOverParseOnly/1",
        [privilege] {
            std::string timestamp;
            CPrivilegeJsonParser::ParsePrivilegeTime(*privilege, timestamp);
            benchmark::DoNotOptimize(timestamp.data());
        },
        [privilege_parse] { benchmark::DoNotOptimize(privilege_parse()); });
}

}  // namespace

int main(int argc, char** argv) {
    ChannelFormatters();
    MemberFormatters();
    Parsers();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
