#include "DemoJournal.h"

#include <curl/curl.h>
#include <json/json.h>

#include <memory>

#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

namespace {

size_t Append(char* data, size_t size, size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

std::optional<std::string> Get(const std::string& url) {
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    if (!curl) {
        return std::nullopt;
    }
    std::string body;
    long status = 0;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 10L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &body);
    if (curl_easy_perform(curl.get()) != CURLE_OK ||
        curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK ||
        status != 200) {
        return std::nullopt;
    }
    return body;
}

}  // namespace

std::optional<JournalPage> ReadJournal(int admin_port, uint64_t after_id) {
    const auto text =
        Get(std::string("http://") + fdr::kLocalHost + ":" + std::to_string(admin_port) +
            "/api/exchanges?bodies=1&since=" + std::to_string(after_id));
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    if (!text || !reader->parse(text->data(), text->data() + text->size(), &root, nullptr) ||
        !root.isObject() || !root["exchanges"].isArray()) {
        return std::nullopt;
    }
    JournalPage page;
    page.last_id = root["last_id"].asUInt64();
    for (const Json::Value& exchange : root["exchanges"]) {
        if (!exchange.isObject()) {
            return std::nullopt;
        }
        ReceivedExchange entry;
        entry.service = exchange["service"].asString();
        entry.port = exchange["port"].asInt();
        entry.method = exchange["method"].asString();
        entry.target = exchange["target"].asString();
        entry.request = exchange["request_body"].asString();
        entry.status = exchange["status"].isInt() ? exchange["status"].asInt() : 0;
        entry.answer = exchange["answer_body"].asString();
        for (const Json::Value& flag : exchange["flags"]) {
            entry.flags.push_back(flag["text"].asString());
        }
        entry.ok = exchange["ok"].asBool();
        page.exchanges.push_back(std::move(entry));
    }
    return page;
}

}  // namespace fedutil
