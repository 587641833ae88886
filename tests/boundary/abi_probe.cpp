// A small shared library whose one exported function names every public type. The library itself
// exports none of them (hosts reach the records and interfaces through void* and virtual calls),
// so abidiff would never look at their layouts or virtual tables there; through this function it
// compares each one with abi/public-types.abi. Built with full class debug information
// (-femit-class-debug-always), never loaded.
#include "FederateUtil.h"

namespace {
namespace D = DravoAgentData;
using Channel = D::ChannelInformation::ChannelObj;
using Status = D::RealtimeEvent::ChannelStatusObj;
using Server = D::DravoServerInfo;
}  // namespace

extern "C" __attribute__((visibility("default"))) void federateutil_abi_probe(
    IBaseInterface*, ICentralizedServer*, IAuthenticationControl*,
    FederateBoxType::InterfaceClassID, FederateBoxType::AutonomyInfo*, D::AutonomyList*,
    D::AutonomyList::AutonomyListObj*, Channel*, Channel::MultiStreamObj*,
    Channel::VirtualCameraObj*, Channel::AutoCruisingInfo::AutoCruisingPreset*, Status*,
    Status::LivingStatusObj*, Server*, Server::FisheyeBrandObj*, Server::FisheyeModelObj*,
    Server::FisheyeSizeObj*, Server::ProjectionBrandObj*, Server::ProjectionModelObj*,
    Server::ProjectionSizeObj*) {}
