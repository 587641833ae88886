// The control API of fdr-sim: routes under /api and their JSON, over a running Simulator.
#pragma once

#include <atomic>

#include "Simulator.h"

namespace httplib {
class Server;
}

namespace fdrsim::admin {

// Adds every /api route to `server`. Waits end early once `stopping` is set.
void AddApiRoutes(httplib::Server& server, Simulator& simulator, const std::atomic<bool>& stopping);

}  // namespace fdrsim::admin
