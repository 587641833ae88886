// Interface identifiers and the member-server description of an autonomy-mode change.
#pragma once

#include <cstdint>
#include <string>

namespace FederateBoxType {

// Identifiers accepted by IBaseInterface::QueryInterface.
enum InterfaceClassID { CentralizedServerID = 0, AuthenticationControlID = 1 };

// The member server that a new autonomy mode applies to (NotifyArbitratorAutoModeChange).
struct AutonomyInfo {
    std::string lid;       // local identifier of the member server
    std::string lname;     // display name
    std::string username;  // login account on that server
    std::string password;  // its password in clear; sent base64-encoded
    std::string address;   // network address, passed through unchanged
    int32_t group = 0;     // group number, sent as a bare decimal
};

}  // namespace FederateBoxType
