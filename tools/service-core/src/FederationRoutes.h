// The federation service's paths: reads and writes on its main port, channel and configuration
// reads on its reads port, all answered from the federation store.
#pragma once

#include "FederationStore.h"
#include "RouteTable.h"

namespace fdrsim {

// Error codes of the federation service's "err_code" (answered with HTTP 200, as the library
// reads the error triple of a successful exchange only).
enum FederationErrorCode {
    kFederationOk = 0,
    kBadRequest = 1,       // missing parameter or a body that is not the expected shape
    kUnknownMode = 2,      // a channel write with a mode other than add/replace/update/remove
    kUnknownAutonomy = 3,  // channels asked for a lid the federation does not know
    kUnknownConfig = 4,    // a configuration section or key that does not exist
};

class FederationRoutes {
  public:
    explicit FederationRoutes(FederationStore& store) : store_(store) {}

    // Main port: GET /fdr/Service, GET /fdr/Autonomies, PUT /fdr/CmsChannel,
    // POST /fdr/CmsAccessPrivilegeReport, PUT the failover path.
    void AddWriteRoutes(RouteTable& routes);
    // Reads port: GET /fdr/CmsChannel, GET /fdr/Config.
    void AddReadRoutes(RouteTable& routes);

    ServiceAnswer ServiceInfo(const IncomingRequest& request);
    ServiceAnswer Autonomies(const IncomingRequest& request);
    ServiceAnswer ReadChannels(const IncomingRequest& request);
    ServiceAnswer WriteChannels(const IncomingRequest& request);
    ServiceAnswer Config(const IncomingRequest& request);
    ServiceAnswer PrivilegeReport(const IncomingRequest& request);
    ServiceAnswer FailoverInfo(const IncomingRequest& request);

  private:
    using Handler = ServiceAnswer (FederationRoutes::*)(const IncomingRequest&);
    Route Bind(Handler handler);

    FederationStore& store_;
};

}  // namespace fdrsim
