// Reading the body of a "/fdr/CmsChannel" write into store changes.
#pragma once

#include <string>
#include <vector>

#include "Exchange.h"
#include "FederationStore.h"

namespace fdrsim {

// Reads {"autonomy_list":[{"autonomy_lid":..,"mode":..,"channel_list":[{"guid":..,"name":..,
// "data":"<channel JSON text>"},..]},..]}. Returns false with `error` when the body cannot be
// applied (not JSON, or not that shape). Whatever is odd about a channel's "data" text (blank,
// not JSON, another channel_guid) is only flagged: the service stores the text it was given.
bool ReadChannelChanges(const std::string& body, std::vector<ChannelChange>& changes, Flags& flags,
                        std::string* error);

}  // namespace fdrsim
