// The records shared with the host are one in-memory type on both sides of the library boundary.
// Their member order is guarded by the ABI baseline (abidiff); here the compiler checks what that
// baseline cannot see on a host build: every record stays a plain standard-layout aggregate and,
// on the shipped platform, keeps its size. A failing check stops the build.
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

// Sizes on the shipped platform (x86-64, libstdc++ with its C++11 string; std::string 32 bytes,
// std::vector 24, std::vector<bool> 40, std::shared_ptr 16). A member added anywhere, or a
// change of a member's type, moves one of these.
#if defined(__x86_64__) && defined(__GLIBCXX__) && _GLIBCXX_USE_CXX11_ABI && \
    !defined(_GLIBCXX_DEBUG)
static_assert(sizeof(AutonomyList) == 24);
static_assert(sizeof(AutonomyList::AutonomyListObj) == 928);
static_assert(sizeof(Channel) == 728);
static_assert(sizeof(Channel::MultiStreamObj) == 80);
static_assert(sizeof(Channel::VirtualCameraObj) == 56);
static_assert(sizeof(Channel::AutoCruisingInfo) == 32);
static_assert(sizeof(Channel::AutoCruisingInfo::AutoCruisingPreset) == 12);
static_assert(sizeof(Channel::AudioInfo) == 8);
static_assert(sizeof(Channel::EventInstallationInfo) == 48);
static_assert(sizeof(Channel::FisheyeInfo) == 56);
static_assert(sizeof(Channel::ProjectionInfo) == 4);
static_assert(sizeof(Channel::LoginAuthInfo) == 128);
static_assert(sizeof(Channel::ManufacturerInfo) == 104);
static_assert(sizeof(Channel::NetworkSettingInfo) == 88);
static_assert(sizeof(Channel::RecordingStatusInfo) == 3);
static_assert(sizeof(Channel::StreamInfo) == 72);
static_assert(sizeof(Channel::StreamInfo::MainStream) == 48);
static_assert(sizeof(Status) == 88);
static_assert(sizeof(Status::LivingStatusObj) == 32);
static_assert(sizeof(Status::RecordedStatistic) == 16);
static_assert(sizeof(DravoServerInfo) == 48);
static_assert(sizeof(DravoServerInfo::FisheyeSizeObj) == 48);
static_assert(sizeof(DravoServerInfo::FisheyeModelObj) == 88);
static_assert(sizeof(DravoServerInfo::FisheyeBrandObj) == 88);
static_assert(sizeof(DravoServerInfo::ProjectionSizeObj) == 96);
static_assert(sizeof(DravoServerInfo::ProjectionModelObj) == 120);
static_assert(sizeof(DravoServerInfo::ProjectionBrandObj) == 88);
static_assert(sizeof(FederateBoxType::AutonomyInfo) == 168);
#endif

}  // namespace
