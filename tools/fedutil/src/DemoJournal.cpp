#include "DemoJournal.h"

#include <json/json.h>

#include <fstream>
#include <memory>

namespace fedutil {

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
