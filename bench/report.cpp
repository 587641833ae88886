// Reads the JSON results of the benchmarks (Google Benchmark's --benchmark_out), prints the table
// of every case (median over the repetitions) and ends with one line per goal:
//   goal <name>: <ratio>x (limit <limit>x) met|MISSED
// A goal's ratio is the worst of its cases. Exit status 0 whatever the verdict; 2 when a result
// file cannot be read or a goal has no case.
#include <cjson/cJSON.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Goal {
    const char* prefix;  // the cases' first name part
    const char* name;
    double limit;
    const char* what;  // the table's columns
};

const Goal kGoals[] = {
    {"fmt", "formatters", 1.05, "ns"},      {"add", "add-body", 3.0, "ns"},
    {"parse", "parsers", 1.10, "ns"},       {"e2e", "end-to-end", 1.10, "ns"},
    {"token", "token-request", 1.10, "ns"}, {"curve", "scale-time", 1.25, "ns"},
    {"heap", "peak-heap", 2.5, "bytes"},
};

struct Case {
    std::string name;
    double lib = 0;   // ns, or peak bytes
    double bare = 0;  // ns, or body bytes
    double ratio = 0;
};

// One size of the cost curve (curve_bench): times per channel (CPU time of the library's and the
// services' processes, and wall-clock time), the peak heap of a save and the body it sent.
struct CurvePoint {
    double load_ns = 0;
    double save_ns = 0;
    double load_wall_ns = 0;
    double save_wall_ns = 0;
    double load_library_ns = 0;  // CPU time of the library's process alone
    double save_library_ns = 0;
    double peak = 0;
    double body = 0;
};
using Curve = std::map<long, CurvePoint>;  // by number of channels

double Number(const cJSON* object, const char* key) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(item) ? item->valuedouble : 0;
}

std::string Text(const cJSON* object, const char* key) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsString(item) ? item->valuestring : "";
}

// The cases of one result file: the median aggregate where there are repetitions, else the run.
bool Read(const char* path, std::map<std::string, Case>& cases, Curve& curve) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    cJSON* root = cJSON_Parse(text.str().c_str());
    const cJSON* runs = cJSON_GetObjectItemCaseSensitive(root, "benchmarks");
    if (!cJSON_IsArray(runs)) {
        std::fprintf(stderr, "%s: no benchmark results\n", path);
        cJSON_Delete(root);
        return false;
    }
    std::map<std::string, Case> singles;
    const cJSON* run = nullptr;
    cJSON_ArrayForEach(run, runs) {
        std::string name = Text(run, "run_name");
        name = name.substr(0, name.find("/iterations:"));
        if (name.rfind("curve/", 0) == 0) {
            curve[static_cast<long>(Number(run, "channels"))] = {
                Number(run, "load_ns_per_channel"),
                Number(run, "save_ns_per_channel"),
                Number(run, "load_wall_ns_per_channel"),
                Number(run, "save_wall_ns_per_channel"),
                Number(run, "load_library_ns_per_channel"),
                Number(run, "save_library_ns_per_channel"),
                Number(run, "peak_bytes"),
                Number(run, "body_bytes")};
            continue;
        }
        Case c{name, Number(run, "lib_ns"), Number(run, "bare_ns"), Number(run, "ratio")};
        if (Text(run, "run_type") == "aggregate") {
            if (Text(run, "aggregate_name") == "median") {
                cases[name] = c;
            }
        } else {
            singles[name] = c;
        }
    }
    for (const auto& [name, c] : singles) {
        cases.emplace(name, c);  // only where no median was reported
    }
    cJSON_Delete(root);
    return true;
}

std::string Amount(double value, const char* what) {
    char text[64];
    if (std::string(what) == "bytes") {
        std::snprintf(text, sizeof(text), "%.1f MB", value / 1e6);
    } else if (value >= 1e6) {
        std::snprintf(text, sizeof(text), "%.2f ms", value / 1e6);
    } else if (value >= 1e3) {
        std::snprintf(text, sizeof(text), "%.1f us", value / 1e3);
    } else {
        std::snprintf(text, sizeof(text), "%.0f ns", value);
    }
    return text;
}

double Ratio(double value, double base) {
    return base > 0 ? value / base : 0;
}

// The curve's rows: each size's CPU time per channel (both processes) against the smallest
// size's ("curve/"), each save's peak heap against its body ("heap/"), and, with no goal of their
// own ("explain/"), the library's process alone and the wall-clock times.
void AddCurveCases(const Curve& curve, std::map<std::string, Case>& cases) {
    if (curve.empty()) {
        return;
    }
    const CurvePoint& base = curve.begin()->second;
    const auto against_base = [&cases](const std::string& name, double value, double first) {
        cases[name] = {name, value, first, Ratio(value, first)};
    };
    for (const auto& [channels, point] : curve) {
        const std::string size = std::to_string(channels);
        against_base("curve/Load/" + size, point.load_ns, base.load_ns);
        against_base("curve/Save/" + size, point.save_ns, base.save_ns);
        against_base("explain/LoadLibraryCpu/" + size, point.load_library_ns, base.load_library_ns);
        against_base("explain/SaveLibraryCpu/" + size, point.save_library_ns, base.save_library_ns);
        against_base("explain/LoadWallClock/" + size, point.load_wall_ns, base.load_wall_ns);
        against_base("explain/SaveWallClock/" + size, point.save_wall_ns, base.save_wall_ns);
        cases["heap/Save/" + size] = {"", point.peak, point.body, Ratio(point.peak, point.body)};
    }
}

// The curve as columns for gnuplot: channels; load and save CPU time per channel (us); the save's
// peak heap per byte of body; load and save wall-clock time per channel (us); load and save CPU
// time of the library's process alone (us).
bool WriteCurve(const char* path, const Curve& curve) {
    std::FILE* out = std::fopen(path, "w");
    if (out == nullptr) {
        return false;
    }
    std::fprintf(out,
                 "# channels load_cpu save_cpu peak_per_body load_wall save_wall "
                 "load_library save_library\n");
    for (const auto& [channels, point] : curve) {
        std::fprintf(out, "%ld %.3f %.3f %.3f %.3f %.3f %.3f %.3f\n", channels, point.load_ns / 1e3,
                     point.save_ns / 1e3, Ratio(point.peak, point.body), point.load_wall_ns / 1e3,
                     point.save_wall_ns / 1e3, point.load_library_ns / 1e3,
                     point.save_library_ns / 1e3);
    }
    return std::fclose(out) == 0;
}

}  // namespace

// Usage: bench_report [--curve-data FILE] RESULT.json...
int main(int argc, char** argv) {
    std::map<std::string, Case> cases;
    Curve curve;
    const char* curve_data = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--curve-data" && i + 1 < argc) {
            curve_data = argv[++i];
        } else if (!Read(argv[i], cases, curve)) {
            return 2;
        }
    }
    AddCurveCases(curve, cases);
    if (curve_data != nullptr && !WriteCurve(curve_data, curve)) {
        std::fprintf(stderr, "%s: cannot write the curve\n", curve_data);
        return 2;
    }
    std::printf("| case | library | baseline | ratio | limit |\n");
    std::printf("|------|--------:|---------:|------:|------:|\n");
    std::vector<std::string> verdicts;
    int status = 0;
    for (const Goal& goal : kGoals) {
        double worst = -1;
        const std::string prefix = std::string(goal.prefix) + "/";
        for (const auto& [name, c] : cases) {
            if (name.rfind(prefix, 0) != 0) {
                continue;
            }
            std::printf("| %s | %s | %s | %.3fx | %.2fx |\n", name.c_str(),
                        Amount(c.lib, goal.what).c_str(), Amount(c.bare, goal.what).c_str(),
                        c.ratio, goal.limit);
            worst = c.ratio > worst ? c.ratio : worst;
        }
        char line[160];
        if (worst < 0) {
            std::snprintf(line, sizeof(line), "goal %s: no result (limit %.2fx) MISSED", goal.name,
                          goal.limit);
            status = 2;
        } else {
            std::snprintf(line, sizeof(line), "goal %s: %.2fx (limit %.2fx) %s", goal.name, worst,
                          goal.limit, worst <= goal.limit ? "met" : "MISSED");
        }
        verdicts.push_back(line);
    }
    // Cases that explain a ratio; no goal of their own.
    for (const auto& [name, c] : cases) {
        if (name.rfind("explain/", 0) == 0) {
            std::printf("| %s | %s | %s | %.3fx | - |\n", name.c_str(), Amount(c.lib, "ns").c_str(),
                        Amount(c.bare, "ns").c_str(), c.ratio);
        }
    }
    std::printf("\n");
    for (const std::string& line : verdicts) {
        std::printf("%s\n", line.c_str());
    }
    return status;
}
