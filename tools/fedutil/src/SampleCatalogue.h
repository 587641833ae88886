// The lens catalogue the demo hands to the support-file operations: what a recording server
// would hold for a few fisheye and dual-lens camera models.
#pragma once

#include "federateutil/DravoAgentData.h"

namespace fedutil {

DravoAgentData::DravoServerInfo SampleLensCatalogue();

}  // namespace fedutil
