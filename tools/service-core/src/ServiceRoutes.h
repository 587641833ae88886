// The services' own answers, one route per endpoint of the catalogue.
#pragma once

#include "FederationStore.h"

namespace fdrsim {

// The federation service's paths: reads and writes on its main port, channel and configuration
// reads on its reads port, all answered from the federation store.
Routes FederationRoutes(FederationStore& store);

// The services that only receive notifications: the member log service, the arbitrator, the
// autonomy-mode arbitration, the central video-management service and the aggregator. Each
// path checks that what arrives is what that service expects, flags the rest and answers
// 200 "{}"; nothing is ever rejected.
Routes ReceiverRoutes();

}  // namespace fdrsim
