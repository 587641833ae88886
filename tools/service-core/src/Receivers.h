// The services that only receive notifications: the member log service, the arbitrator, the
// autonomy-mode arbitration, the central video-management service and the aggregator. Each
// path checks that what arrives is what that service expects, flags the rest and answers
// 200 "{}"; nothing is ever rejected.
#pragma once

#include "Exchange.h"

namespace fdrsim {

Routes ReceiverRoutes();

}  // namespace fdrsim
