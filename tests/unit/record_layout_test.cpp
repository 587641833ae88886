// The records shared with the host are one in-memory type on both sides of the library boundary.
// Their sizes and member order are guarded by the ABI baseline (abidiff); here the compiler checks
// what that baseline does not: every record stays a plain standard-layout aggregate. A failing
// check stops the build.
#include <type_traits>

#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"

namespace {

using namespace DravoAgentData;
using Channel = ChannelInformation::ChannelObj;
using Status = RealtimeEvent::ChannelStatusObj;

template <typename... Records>
constexpr bool kStandardLayout = (std::is_standard_layout_v<Records> && ...);
static_assert(kStandardLayout<
              AutonomyList, AutonomyList::AutonomyListObj, Channel, Channel::MultiStreamObj,
              Channel::VirtualCameraObj, Channel::AutoCruisingInfo::AutoCruisingPreset, Status,
              Status::LivingStatusObj, DravoServerInfo, DravoServerInfo::FisheyeSizeObj,
              DravoServerInfo::FisheyeModelObj, DravoServerInfo::FisheyeBrandObj,
              DravoServerInfo::ProjectionSizeObj, DravoServerInfo::ProjectionModelObj,
              DravoServerInfo::ProjectionBrandObj, FederateBoxType::AutonomyInfo>);

}  // namespace
