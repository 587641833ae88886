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
    {"fmt", "formatters", 1.15, "ns"},      {"add", "add-body", 3.0, "ns"},
    {"parse", "parsers", 1.3, "ns"},        {"e2e", "end-to-end", 1.10, "ns"},
    {"token", "token-request", 1.10, "ns"}, {"heap", "peak-heap", 4.0, "bytes"},
};

struct Case {
    std::string name;
    double lib = 0;   // ns, or peak bytes
    double bare = 0;  // ns, or body bytes
    double ratio = 0;
};

double Number(const cJSON* object, const char* key) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(item) ? item->valuedouble : 0;
}

std::string Text(const cJSON* object, const char* key) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsString(item) ? item->valuestring : "";
}

// The cases of one result file: the median aggregate where there are repetitions, else the run.
bool Read(const char* path, std::map<std::string, Case>& cases) {
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
        Case c{name, Number(run, "lib_ns"), Number(run, "bare_ns"), Number(run, "ratio")};
        if (name.rfind("heap/", 0) == 0) {
            c.lib = Number(run, "peak_bytes");
            c.bare = Number(run, "body_bytes");
        }
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

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, Case> cases;
    for (int i = 1; i < argc; ++i) {
        if (!Read(argv[i], cases)) {
            return 2;
        }
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
