#include "TokenService.h"

#include <cstdio>

#include "FormText.h"
#include "JsonText.h"

namespace fdrsim {

namespace {

const std::string* Field(const std::vector<std::pair<std::string, std::string>>& form,
                         const std::string& name) {
    for (const auto& [key, value] : form) {
        if (key == name) {
            return &value;
        }
    }
    return nullptr;
}

// The library sends the fields in a fixed order, the client-credentials grant with an empty
// trailing "undefined" field; any other order is flagged.
void CheckFieldOrder(const std::vector<std::pair<std::string, std::string>>& form,
                     const std::vector<std::string>& expected, Flags& flags) {
    std::string seen;
    std::string wanted;
    for (const auto& field : form) {
        seen += (seen.empty() ? "" : ",") + field.first;
    }
    for (const auto& name : expected) {
        wanted += (wanted.empty() ? "" : ",") + name;
    }
    if (seen != wanted) {
        AddProblem(flags, "form fields " + seen + ", expected " + wanted);
    }
}

}  // namespace

TokenService::TokenService(std::vector<TokenClient> clients, std::chrono::seconds access_ttl,
                           std::chrono::seconds refresh_ttl, Now now)
    : clients_(std::move(clients)),
      access_ttl_(access_ttl),
      refresh_ttl_(refresh_ttl),
      now_(std::move(now)),
      random_(std::random_device{}()) {}

void TokenService::AddRoutes(RouteTable& routes) {
    routes.Add("POST", fdr::kTokenPath,
               [this](const IncomingRequest& request) { return Grant(request); });
}

ServiceAnswer TokenService::Grant(const IncomingRequest& request) {
    const Form form = ParseForm(request.body);
    const std::string* grant = Field(form, "grant_type");
    if (grant == nullptr) {
        return Refuse("invalid_request", "grant_type is missing", {{"no grant_type", true}});
    }
    Flags flags;
    const bool refresh = *grant == "refresh_token";
    if (!refresh && *grant != "client_credentials") {
        AddProblem(flags, "unsupported grant_type " + *grant);
        return Refuse("unsupported_grant_type", "grant_type " + *grant + " is not supported",
                      flags);
    }
    CheckFieldOrder(
        form, {"grant_type", "client_id", "client_secret", refresh ? "refresh_token" : "undefined"},
        flags);
    const std::optional<TokenClient> client = Authenticate(form);
    if (!client) {
        AddNote(flags, "unknown client credentials");
        return Refuse("invalid_client", "unknown client or wrong secret", flags);
    }
    if (refresh) {
        const std::string reason = UseRefreshToken(Field(form, "refresh_token"), *client);
        if (!reason.empty()) {
            AddNote(flags, reason);
            return Refuse("invalid_grant", reason, flags);
        }
    }
    ServiceAnswer answer = Issue(client->client_id);
    answer.flags.insert(answer.flags.begin(), flags.begin(), flags.end());
    return answer;
}

std::string TokenService::UseRefreshToken(const std::string* token, const TokenClient& client) {
    if (token == nullptr || token->empty()) {
        return "empty refresh token";
    }
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = refresh_tokens_.find(*token);
    if (it == refresh_tokens_.end()) {
        return "unknown or already used refresh token";
    }
    if (it->second.client_id != client.client_id) {
        return "refresh token of another client";
    }
    const bool expired = now_() >= it->second.expires;
    refresh_tokens_.erase(it);  // rotated: a refresh token is good for one use
    return expired ? "expired refresh token" : "";
}

bool TokenService::IsAccessTokenValid(const std::string& token) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = access_tokens_.find(token);
    return it != access_tokens_.end() && now_() < it->second.expires;
}

ServiceAnswer TokenService::Issue(const std::string& client_id) {
    Json::Value body(Json::objectValue);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto now = now_();
        const std::string access = NewToken("at");
        const std::string refresh = NewToken("rt");
        access_tokens_[access] = {client_id, now + access_ttl_};
        refresh_tokens_[refresh] = {client_id, now + refresh_ttl_};
        body["access_token"] = access;
        body["refresh_token"] = refresh;
    }
    body["token_type"] = "bearer";
    body["expires_in"] = static_cast<Json::Int64>(access_ttl_.count());
    ServiceAnswer answer;
    answer.body = CompactJson(body);
    AddNote(answer.flags, "issued tokens to " + client_id);
    return answer;
}

ServiceAnswer TokenService::Refuse(const std::string& error, const std::string& description,
                                   Flags flags) {
    Json::Value body(Json::objectValue);
    body["error"] = error;
    body["error_description"] = description;
    ServiceAnswer answer;
    answer.body = CompactJson(body);
    answer.flags = std::move(flags);
    return answer;
}

std::optional<TokenClient> TokenService::Authenticate(const Form& form) const {
    const std::string* id = Field(form, "client_id");
    const std::string* secret = Field(form, "client_secret");
    if (id == nullptr || secret == nullptr) {
        return std::nullopt;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& client : clients_) {
        if (client.client_id == *id && client.client_secret == *secret) {
            return client;
        }
    }
    return std::nullopt;
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
