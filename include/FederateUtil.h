// libfederateutil: a recording server's side of a federation of servers.
// Including this header alone declares every public type and exported function.
//
//   void* p = CreateFederateUtilInstance();            // the one process-wide object
//   ICentralizedServer* fed = nullptr;
//   static_cast<IBaseInterface*>(p)->QueryInterface(FederateBoxType::CentralizedServerID,
//                                                   reinterpret_cast<void**>(&fed));
//   std::string guid;
//   int rc = fed->LoadFdrFederateSetting(guid);
#pragma once

#include "federateutil/Base64.h"
#include "federateutil/DravoAgentData.h"
#include "federateutil/Export.h"
#include "federateutil/FederateBoxType.h"
#include "federateutil/Interfaces.h"
#include "federateutil/RestConnectInfo.h"

// Returns the single process-wide library object (its IBaseInterface view); never null.
extern "C" FEDERATEUTIL_API void* CreateFederateUtilInstance();
// Clears the caller's pointer; the object itself lives until the process ends.
extern "C" FEDERATEUTIL_API void ReleaseFederateUtil(void** instance);
