// The host's two lens catalogues as the texts of the fisheye and the projection support file:
// brands, their models and each model's sizes, printed unformatted. Pure formatting; nothing is
// sent. Both throw std::logic_error when the text cannot be made.
//
// The key order of a size entry is not the member order (width before height; in the fisheye
// entry x and y before latitude and ratio): the readers of these files expect it so.
#pragma once

#include <string>

#include "federateutil/DravoAgentData.h"

namespace fdr {

// {"FishEyeParameterTable":[{"brand_name","brand_id","model_list":[{"model_name","model_id",
// "size_list":[{"w","h","v","x","y","latitude","ratio"}]}]}]}
std::string FormatFisheyeSupportFile(const DravoAgentData::DravoServerInfo& info);
// {"ProjectionTable":[...]}, each model with "projection" after "model_id", each size with "w",
// "h", "fov" and the left and right lens geometry.
std::string FormatProjectionSupportFile(const DravoAgentData::DravoServerInfo& info);

}  // namespace fdr
