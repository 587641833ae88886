#include "Transcript.h"

#include <json/json.h>

#include <fstream>
#include <memory>

namespace fedutil {

namespace {

bool ParseLine(const std::string& line, TranscriptEntry& entry) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(line.data(), line.data() + line.size(), &value, &errors) ||
        !value.isObject()) {
        return false;
    }
    entry.service = value["service"].asString();
    entry.port = value["port"].asInt();
    entry.method = value["method"].asString();
    entry.target = value["target"].asString();
    entry.request = value["request"].asString();
    entry.status = value["status"].isInt() ? value["status"].asInt() : 0;
    entry.answer = value["answer"].asString();
    for (const auto& flag : value["flags"]) {
        entry.flags.push_back(flag.asString());
    }
    entry.ok = value.get("ok", true).asBool();
    return true;
}

}  // namespace

std::vector<TranscriptEntry> ReadTranscript(const std::string& path) {
    std::vector<TranscriptEntry> entries;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (in.eof()) {
            break;  // no line end: still being written
        }
        TranscriptEntry entry;
        if (ParseLine(line, entry)) {
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

}  // namespace fedutil
