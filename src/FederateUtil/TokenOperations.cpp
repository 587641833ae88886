#include <memory>
#include <mutex>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "json/CFdrUtilParser.h"
#include "rest/CAuthTXRX.h"

namespace {

constexpr unsigned int kTiming1 = 90;
constexpr unsigned int kTiming2 = 120;

// Concurrent token calls share the stored refresh token; this keeps its reads and writes whole
// (which call's token is kept last is still theirs to race for).
std::mutex g_refresh_token_lock;

// One exchange with the token service. The answer is read only after HTTP 200; a failed
// exchange leaves both tokens as they were, and has been logged by the transport.
void ExchangeForToken(const std::string& body, std::string& access_token,
                      std::string& stored_refresh_token) {
    auto connection = std::make_shared<CRestConnectInfo>();
    connection->SetConnectionParam("", "", fdr::kLocalHost, false, fdr::kTokenServicePort, kTiming1,
                                   kTiming2, CFederateUtil::m_pAddrInfo);
    std::string response;
    if (CAuthTXRX().call_GetToken(connection, body, response) < 0) {
        return;
    }
    std::lock_guard<std::mutex> lock(g_refresh_token_lock);
    // Its code only repeats what the answer said; callers look at the token itself.
    CFdrUtilParser::ParseOauthAuthLoginToken(response.c_str(), access_token, stored_refresh_token);
}

}  // namespace

// Both token operations return 0 whatever happened: the host learns of success only from the
// access token it is handed.
int CFederateUtil::AuthGetToken(std::string& client_id, std::string& client_secret,
                                std::string& access_token) {
    // No escaping: a value holding "&" or "=" splits the form. The token service expects the
    // empty trailing field.
    const std::string body = "grant_type=client_credentials&client_id=" + client_id +
                             "&client_secret=" + client_secret + "&undefined=";
    ExchangeForToken(body, access_token, m_strRefreshToken);
    return 0;
}

int CFederateUtil::AuthRefreshToken(std::string& client_id, std::string& client_secret,
                                    std::string& access_token) {
    std::string refresh_token;
    {
        std::lock_guard<std::mutex> lock(g_refresh_token_lock);
        refresh_token = m_strRefreshToken;
    }
    const std::string body = "grant_type=refresh_token&client_id=" + client_id +
                             "&client_secret=" + client_secret + "&refresh_token=" + refresh_token;
    ExchangeForToken(body, access_token, m_strRefreshToken);
    return 0;
}
