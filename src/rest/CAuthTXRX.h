// Sends one token request over a connection prepared by the caller.
#pragma once

#include <memory>
#include <string>

#include "federateutil/RestConnectInfo.h"

class CAuthTXRX {
  public:
    CAuthTXRX() = default;

    // POSTs the form `body` to "/token" with no extra header, query or credentials. 0 on HTTP
    // 200; otherwise the connection's negative code (-15 time-out, -14 HTTP 404, -6 any other
    // failure, -3 and -5 when the request could not be made).
    int call_GetToken(std::shared_ptr<CRestConnectInfo>& connection, const std::string& body,
                      std::string& response);
};
