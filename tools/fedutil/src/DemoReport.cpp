#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>

#include "Fedutil.h"

namespace fedutil {

namespace {

constexpr size_t kResultWidth = 6;
constexpr size_t kCheckWidth = 6;

std::string Padded(const Style& style, const Cell& cell, size_t width, bool right) {
    const size_t length = DisplayWidth(cell.text);
    const std::string pad(width > length ? width - length : 0, ' ');
    const std::string painted = style.Paint(cell.text, cell.tone);
    return right ? pad + painted : painted + pad;
}

// One row: the columns padded, the last one not, no trailing blanks.
std::string Line(const StepPrinter& printer, const std::string& number, const Cell& title,
                 const Cell& operation, const Cell& result, const Cell& check, const Cell& detail) {
    const Style& style = printer.style;
    std::string line = "  " + Padded(style, Cell(number), 2, true) + "  " +
                       Padded(style, title, printer.title_width, false) + "  " +
                       Padded(style, operation, printer.operation_width, false) + "  " +
                       Padded(style, result, kResultWidth, true) + "  " +
                       Padded(style, check, kCheckWidth, false) + "  " +
                       style.Paint(detail.text, detail.tone);
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

}  // namespace

void StepPrinter::Header() const {
    out << Line(*this, "#", Cell("step", Tone::Strong), Cell("operation", Tone::Strong),
                Cell("result", Tone::Strong), Cell("check", Tone::Strong),
                Cell("what came back", Tone::Strong))
        << '\n';
}

void StepPrinter::Row(const StepRecord& step) const {
    const Cell result = step.result ? Cell(std::to_string(*step.result),
                                           *step.result == 0 ? Tone::Plain : Tone::Warn)
                                    : Cell("-", Tone::Dim);
    const Cell check = step.passed ? Cell("ok", Tone::Good) : Cell("FAILED", Tone::Bad);
    out << Line(*this, std::to_string(step.number), Cell(step.title),
                Cell(step.operation, Tone::Dim), result, check,
                Cell(step.detail, step.passed ? Tone::Plain : Tone::Bad))
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
