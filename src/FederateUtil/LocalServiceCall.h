// The one way the library talks to the local services, and the three ways it reports a failure.
#pragma once

#include <string>

#include "catalogue/ServiceCatalogue.h"
#include "log/CenterLog.h"
#include "platform/kfen_client.h"

namespace fdr {

// Makes the endpoint's one request with the fixed conventions: host 127.0.0.1, the endpoint's
// time-out, the trailing arguments false, false, 0, null, and `body` (ignored by GET). The client
// takes the body by value: a caller done with its body moves it in, so that a large one is not
// held twice during the exchange. `query` is used by GET and POST-with-query; null means no
// parameters. Returns the client's code.
int CallLocalService(const LocalEndpoint& endpoint, std::string& response,
                     std::string body = std::string(), query_object* query = nullptr);

// The three ways of reporting a failed request.
// Console: "\r[error]n_ret=%d\n" on standard output.
void ReportErrorToConsole(int n_ret);
// Centre debug line: "[src/FederateUtil:<operation>](<line>) [error] n_ret=<n_ret>".
void ReportErrorToCenterDebug(const char* operation, int line, int n_ret);

}  // namespace fdr
