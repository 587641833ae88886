// The federation service's paths: reads and writes on its main port, channel and configuration
// reads on its reads port, all answered from the federation store.
#pragma once

#include "FederationStore.h"

namespace fdrsim {

Routes FederationRoutes(FederationStore& store);

}  // namespace fdrsim
