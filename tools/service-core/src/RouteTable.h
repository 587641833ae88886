// The paths one service answers, by method and path, and the answers for everything else.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "Exchange.h"
#include "catalogue/ServiceCatalogue.h"

namespace fdrsim {

using Route = std::function<ServiceAnswer(const IncomingRequest&)>;

class RouteTable {
  public:
    void Add(const std::string& method, const std::string& path, Route route);
    // The endpoint's method and path (its query, if any, is left to the route).
    void Add(const fdr::LocalEndpoint& endpoint, Route route);
    // The route's answer; 404 for an unknown path and 405 for a known path with another
    // method, each flagged as a problem.
    ServiceAnswer Dispatch(const IncomingRequest& request) const;

  private:
    std::map<std::pair<std::string, std::string>, Route> routes_;  // (path, method)
};

// The answer of the receivers that only record: 200 with "{}".
ServiceAnswer Acknowledgement(Flags flags);

}  // namespace fdrsim
