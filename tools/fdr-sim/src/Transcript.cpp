#include "Transcript.h"

#include <cstdio>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <utility>

#include "JsonText.h"

namespace fdrsim {

namespace {

// "2024-05-14T09:30:00.123Z" in UTC, or "09:30:00.123" in local time.
std::string FormatTime(std::chrono::system_clock::time_point time, bool utc) {
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = millis / 1000;
    std::tm parts{};
    utc ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts);
    char text[64];
    const size_t length =
        std::strftime(text, sizeof text, utc ? "%Y-%m-%dT%H:%M:%S" : "%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03d%s", static_cast<int>(millis % 1000),
                  utc ? "Z" : "");
    return text;
}

}  // namespace

std::string TranscriptLine(const Exchange& exchange) {
    // Written field by field: a JSON object of jsoncpp would sort the keys.
    const Json::Value flags = JsonArray(exchange.flags, [](const Flag& flag) { return flag.text; });
    const std::pair<const char*, Json::Value> fields[] = {
        {"time", FormatTime(exchange.time, true)},
        {"service", InfoOf(exchange.service).key},
        {"port", exchange.port},
        {"method", exchange.method},
        {"target", exchange.target},
        {"request", exchange.request_body},
        {"status", exchange.status == 0 ? Json::Value() : Json::Value(exchange.status)},
        {"answer", exchange.answer_body},
        {"flags", flags},
        {"ok", exchange.ok()},
    };
    std::string line = "{";
    for (const auto& [key, value] : fields) {
        line += (line.size() > 1 ? ",\"" : "\"") + std::string(key) + "\":" + CompactJson(value);
    }
    return line + "}";
}

std::string ReadableLine(const Exchange& exchange) {
    std::ostringstream out;
    out << FormatTime(exchange.time, false) << "  " << std::left << std::setw(17)
        << InfoOf(exchange.service).key << ' ' << std::setw(4) << exchange.method << ' '
        << exchange.target << "  "
        << (exchange.status == 0 ? "---" : std::to_string(exchange.status)) << "  in "
        << exchange.request_body.size() << " B  out " << exchange.answer_body.size() << " B";
    if (!exchange.flags.empty()) {
        out << "  [";
        const char* separator = "";
        for (const auto& flag : exchange.flags) {
            out << separator << (flag.problem ? "!" : "") << flag.text;
            separator = "; ";
        }
        out << ']';
    }
    return out.str();
}

}  // namespace fdrsim
