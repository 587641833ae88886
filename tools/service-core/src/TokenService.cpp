#include "TokenService.h"

#include <cstdio>

#include "HttpConnection.h"
#include "JsonText.h"

namespace fdrsim {

namespace {

const std::string* Field(const FormFields& form, const std::string& name) {
    for (const auto& [key, value] : form) {
        if (key == name) {
            return &value;
        }
    }
    return nullptr;
}

ServiceAnswer Refusal(const std::string& error, const std::string& description, Flags flags) {
    return {200, CompactJson(JsonObject({{"error", error}, {"error_description", description}})),
            "application/json", std::move(flags)};
}

}  // namespace

TokenService::TokenService(std::vector<TokenClient> clients, std::chrono::seconds access_ttl,
                           std::chrono::seconds refresh_ttl, Now now)
    : clients_(std::move(clients)),
      access_ttl_(access_ttl),
      refresh_ttl_(refresh_ttl),
      now_(std::move(now)),
      random_(std::random_device{}()) {}

ServiceAnswer TokenService::Grant(const IncomingRequest& request) {
    const FormFields form = ParseForm(request.body);
    const std::string* grant = Field(form, "grant_type");
    if (grant == nullptr) {
        return Refusal("invalid_request", "grant_type is missing", {{"no grant_type", true}});
    }
    Flags flags;
    const bool refresh = *grant == "refresh_token";
    if (!refresh && *grant != "client_credentials") {
        AddProblem(flags, "unsupported grant_type " + *grant);
        return Refusal("unsupported_grant_type", "grant_type " + *grant + " is not supported",
                       flags);
    }
    // The library sends the fields in a fixed order, the client-credentials grant with an empty
    // trailing "undefined" field; any other order is flagged.
    std::string seen;
    for (const auto& field : form) {
        seen += (seen.empty() ? "" : ",") + field.first;
    }
    const std::string wanted = std::string("grant_type,client_id,client_secret,") +
                               (refresh ? "refresh_token" : "undefined");
    if (seen != wanted) {
        AddProblem(flags, "form fields " + seen + ", expected " + wanted);
    }
    const std::string* id = Field(form, "client_id");
    const std::string* secret = Field(form, "client_secret");
    bool known = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& client : clients_) {
            known = known || (id != nullptr && secret != nullptr && client.client_id == *id &&
                              client.client_secret == *secret);
        }
    }
    if (!known) {
        AddNote(flags, "unknown client credentials");
        return Refusal("invalid_client", "unknown client or wrong secret", flags);
    }
    if (refresh) {
        const std::string reason = UseRefreshToken(Field(form, "refresh_token"), *id);
        if (!reason.empty()) {
            AddNote(flags, reason);
            return Refusal("invalid_grant", reason, flags);
        }
    }
    Json::Value body(Json::objectValue);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const std::string token = NewToken("rt");
        refresh_tokens_[token] = {*id, now_() + refresh_ttl_};
        body["access_token"] = NewToken("at");
        body["refresh_token"] = token;
    }
    body["token_type"] = "bearer";
    body["expires_in"] = static_cast<Json::Int64>(access_ttl_.count());
    AddNote(flags, "issued tokens to " + *id);
    return {200, CompactJson(body), "application/json", flags};
}

std::string TokenService::UseRefreshToken(const std::string* token, const std::string& client_id) {
    if (token == nullptr || token->empty()) {
        return "empty refresh token";
    }
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = refresh_tokens_.find(*token);
    if (it == refresh_tokens_.end()) {
        return "unknown or already used refresh token";
    }
    if (it->second.client_id != client_id) {
        return "refresh token of another client";
    }
    const bool expired = now_() >= it->second.expires;
    refresh_tokens_.erase(it);  // rotated: a refresh token is good for one use
    return expired ? "expired refresh token" : "";
}

void TokenService::ReplaceClients(std::vector<TokenClient> clients) {
    std::lock_guard<std::mutex> lock(mutex_);
    clients_ = std::move(clients);
}

std::vector<TokenClient> TokenService::Clients() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return clients_;
}

std::string TokenService::NewToken(const char* prefix) {
    char text[40];
    std::snprintf(text, sizeof text, "%s-%016llx%016llx", prefix,
                  static_cast<unsigned long long>(random_()),
                  static_cast<unsigned long long>(random_()));
    return text;
}

}  // namespace fdrsim
