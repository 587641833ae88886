// The records shared with the host are one in-memory type on both sides of the library boundary.
// Their member order is guarded by the ABI baseline (abidiff); here the compiler checks what that
// baseline cannot see on a host build: every record stays a plain standard-layout aggregate and,
// on the shipped platform, keeps its size. A failing check stops the build.
#include <type_traits>

#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"

namespace {

static_assert(std::is_standard_layout_v<DravoAgentData::AutonomyList::AutonomyListObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::ChannelInformation::ChannelObj>);
static_assert(
    std::is_standard_layout_v<DravoAgentData::ChannelInformation::ChannelObj::MultiStreamObj>);
static_assert(
    std::is_standard_layout_v<DravoAgentData::ChannelInformation::ChannelObj::VirtualCameraObj>);
static_assert(
    std::is_standard_layout_v<
        DravoAgentData::ChannelInformation::ChannelObj::AutoCruisingInfo::AutoCruisingPreset>);
static_assert(std::is_standard_layout_v<DravoAgentData::RealtimeEvent::ChannelStatusObj>);
static_assert(
    std::is_standard_layout_v<DravoAgentData::RealtimeEvent::ChannelStatusObj::LivingStatusObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo::FisheyeSizeObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo::FisheyeModelObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo::FisheyeBrandObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo::ProjectionSizeObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo::ProjectionModelObj>);
static_assert(std::is_standard_layout_v<DravoAgentData::DravoServerInfo::ProjectionBrandObj>);
static_assert(std::is_standard_layout_v<FederateBoxType::AutonomyInfo>);
static_assert(std::is_standard_layout_v<DravoAgentData::AutonomyList>);

// Sizes on the shipped platform (x86-64, libstdc++ with its C++11 string; std::string 32 bytes,
// std::vector 24, std::vector<bool> 40, std::shared_ptr 16). A member added anywhere, or a
// change of a member's type, moves one of these.
#if defined(__x86_64__) && defined(__GLIBCXX__) && _GLIBCXX_USE_CXX11_ABI && \
    !defined(_GLIBCXX_DEBUG)
namespace sizes {
using namespace DravoAgentData;
using Channel = ChannelInformation::ChannelObj;
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
static_assert(sizeof(RealtimeEvent::ChannelStatusObj) == 88);
static_assert(sizeof(RealtimeEvent::ChannelStatusObj::LivingStatusObj) == 32);
static_assert(sizeof(RealtimeEvent::ChannelStatusObj::RecordedStatistic) == 16);
static_assert(sizeof(DravoServerInfo) == 48);
static_assert(sizeof(DravoServerInfo::FisheyeSizeObj) == 48);
static_assert(sizeof(DravoServerInfo::FisheyeModelObj) == 88);
static_assert(sizeof(DravoServerInfo::FisheyeBrandObj) == 88);
static_assert(sizeof(DravoServerInfo::ProjectionSizeObj) == 96);
static_assert(sizeof(DravoServerInfo::ProjectionModelObj) == 120);
static_assert(sizeof(DravoServerInfo::ProjectionBrandObj) == 88);
static_assert(sizeof(FederateBoxType::AutonomyInfo) == 168);
}  // namespace sizes
#endif

}  // namespace
