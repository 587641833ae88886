// The token service: client-credentials and refresh-token grants on POST "/token".
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "Exchange.h"
#include "FederationSeed.h"

namespace fdrsim {

class TokenService {
  public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    // Access tokens are announced to live `access_ttl`, refresh tokens live `refresh_ttl`;
    // `now` lets tests move time.
    TokenService(std::vector<TokenClient> clients, std::chrono::seconds access_ttl,
                 std::chrono::seconds refresh_ttl, Now now = Clock::now);

    // Answers one token request. Every answer is HTTP 200, errors included, as
    // {"error":"invalid_client"|"invalid_grant"|"invalid_request"|"unsupported_grant_type",
    //  "error_description":..}: the library reads the "error" of a 200 answer only.
    ServiceAnswer Grant(const IncomingRequest& request);

    // The clients known from now on; tokens already issued stay valid.
    void ReplaceClients(std::vector<TokenClient> clients);
    std::vector<TokenClient> Clients() const;

  private:
    struct Issued {
        std::string client_id;
        Clock::time_point expires;
    };
    // Consumes the refresh token; the reason it cannot be used, or "" when it can.
    std::string UseRefreshToken(const std::string* token, const std::string& client_id);
    std::string NewToken(const char* prefix);

    std::vector<TokenClient> clients_;
    std::chrono::seconds access_ttl_;
    std::chrono::seconds refresh_ttl_;
    Now now_;
    mutable std::mutex mutex_;
    std::mt19937_64 random_;
    std::map<std::string, Issued> refresh_tokens_;  // each can be used once
};

}  // namespace fdrsim
