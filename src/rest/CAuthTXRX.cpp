#include "rest/CAuthTXRX.h"

#include "catalogue/ServiceCatalogue.h"

namespace {
constexpr int kRequestFailed = -6;
}  // namespace

int CAuthTXRX::call_GetToken(std::shared_ptr<CRestConnectInfo>& connection, const std::string& body,
                             std::string& response) {
    if (!connection) {
        return kRequestFailed;
    }
    const std::string path(fdr::kTokenPath);
    const std::string header;
    const std::string query;
    const std::string userpwd;
    return connection->DoRequestPostText(path, header, query, userpwd, body, response);
}
