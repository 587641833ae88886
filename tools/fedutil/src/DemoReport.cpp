#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>

#include "Fedutil.h"

namespace fedutil {

namespace {

// #, step, operation, result, check, what came back.
std::string Line(const StepPrinter& printer, std::vector<Cell> cells) {
    return TableLine(printer.style, cells,
                     {2, printer.title_width, printer.operation_width, 6, 6, 0},
                     {true, false, false, true, false, false});
}

}  // namespace

void StepPrinter::Header() const {
    out << Line(*this, {"#", Cell("step", Tone::Strong), Cell("operation", Tone::Strong),
                        Cell("result", Tone::Strong), Cell("check", Tone::Strong),
                        Cell("what came back", Tone::Strong)})
        << '\n';
}

void StepPrinter::Row(const StepRecord& step) const {
    const Cell result = step.result ? Cell(std::to_string(*step.result),
                                           *step.result == 0 ? Tone::Plain : Tone::Warn)
                                    : Cell("-", Tone::Dim);
    const Cell check = step.passed ? Cell("ok", Tone::Good) : Cell("FAILED", Tone::Bad);
    out << Line(*this, {std::to_string(step.number), step.title, Cell(step.operation, Tone::Dim),
                        result, check, Cell(step.detail, step.passed ? Tone::Plain : Tone::Bad)})
        << std::endl;
}

std::string ByteSize(size_t bytes) {
    if (bytes < 1024) {
        return std::to_string(bytes) + " B";
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f kB", static_cast<double>(bytes) / 1024.0);
    return text;
}

void PrintReceived(std::ostream& out, const Style& style,
                   const std::vector<ReceivedExchange>& exchanges) {
    out << '\n'
        << style.Paint("What each service received", Tone::Strong) << " (" << exchanges.size()
        << (exchanges.size() == 1 ? " exchange" : " exchanges") << ")\n";
    std::map<int, std::vector<const ReceivedExchange*>> by_port;
    for (const auto& exchange : exchanges) {
        by_port[exchange.port].push_back(&exchange);
    }
    TextTable table({"service", "port", "request", "status", "sent", "the service noted"});
    table.AlignRight(1);
    table.AlignRight(3);
    table.AlignRight(4);
    table.LimitWidth(2, 66);
    for (const auto& [port, entries] : by_port) {
        bool first = true;
        for (const ReceivedExchange* entry : entries) {
            const bool answered_ok = entry->status >= 200 && entry->status < 300;
            const Tone notes = entry->ok ? Tone::Dim : Tone::Bad;
            table.AddRow({first ? Cell(entry->service) : Cell(), first ? std::to_string(port) : "",
                          entry->method + " " + entry->target,
                          Cell(entry->status == 0 ? "none" : std::to_string(entry->status),
                               answered_ok ? Tone::Plain : Tone::Bad),
                          ByteSize(entry->request.size()),
                          Cell(entry->flags.empty() ? "" : entry->flags[0], notes)});
            // One note a line keeps the columns readable.
            for (size_t i = 1; i < entry->flags.size(); ++i) {
                table.AddRow({"", "", "", "", "", Cell(entry->flags[i], notes)});
            }
            first = false;
        }
    }
    if (!table.Empty()) {
        table.Print(out, style);
    }
}

std::string SummaryLine(const std::vector<StepRecord>& steps) {
    std::string failed;
    size_t passed = 0;
    for (const auto& step : steps) {
        if (step.passed) {
            ++passed;
        } else {
            failed += (failed.empty() ? "" : ", ") + std::to_string(step.number);
        }
    }
    std::string line =
        "demo: " + std::to_string(steps.size()) + " steps, " + std::to_string(passed) + " ok";
    if (!failed.empty()) {
        line += ", " + std::to_string(steps.size() - passed) + " failed (" + failed + ")";
    }
    return line;
}

std::vector<ReceivedExchange> ReadTranscript(const std::string& path, size_t& seen) {
    std::vector<ReceivedExchange> exchanges;
    std::ifstream in(path, std::ios::binary);
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string line;
    for (size_t index = 0; std::getline(in, line) && !in.eof(); ++index) {
        Json::Value exchange;
        if (index < seen) {
            continue;
        }
        if (!reader->parse(line.data(), line.data() + line.size(), &exchange, nullptr) ||
            !exchange.isObject()) {
            break;
        }
        ReceivedExchange entry;
        entry.service = exchange["service"].asString();
        entry.port = exchange["port"].asInt();
        entry.method = exchange["method"].asString();
        entry.target = exchange["target"].asString();
        entry.request = exchange["request"].asString();
        entry.status = exchange["status"].isInt() ? exchange["status"].asInt() : 0;
        for (const Json::Value& flag : exchange["flags"]) {
            entry.flags.push_back(flag.asString());
        }
        entry.ok = exchange["ok"].asBool();
        exchanges.push_back(std::move(entry));
        seen = index + 1;
    }
    return exchanges;
}

}  // namespace fedutil
