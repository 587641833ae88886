// JSON bodies that report member servers (autonomies) to the local services.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "federateutil/DravoAgentData.h"

// Stateless. Every body is printed unformatted, with its keys in insertion order. Each member
// returns 0; callers look at the text instead, which stays empty when the body could not be built.
// An output string is replaced, never appended to. Null entries of a list carry no record and are
// skipped.
class CAutonomyListJsonFormatter {
  public:
    using Record = DravoAgentData::AutonomyList::AutonomyListObj;

    // One member object for the member log service, appended to `stream`; nothing is appended
    // when it cannot be built.
    static int FormatRestAutonomy(std::shared_ptr<Record>& record, std::stringstream& stream);
    // {"autonomy_list":[<FormatRestAutonomy of each record, in list order>]}
    static int FormatterAddAutonomy(DravoAgentData::AutonomyList& list, std::string& out);
    // {"autonomy_list":["<lid>"]}
    static int FormatterRemoveAutonomyInfo(std::string& lid, std::string& out);
    // {"autonomy_list":[{"autonomy_lid":"<lid>","retrieve":1}]}
    static int FormatterArbitratorRemoveAutonomyInfo(std::string& lid, std::string& out);
    // {"autonomy_list":[<member object of the last record>]}
    static int FormatterArbitratorAutonomyChange(DravoAgentData::AutonomyList& list,
                                                 std::string& out);
    // {"notice_reason":{"type":23,"action":23000,"command_id":""},"autonomy_list":[<member
    // object of the last record, without "autonomy_group" and "center_capabilities">]}
    static int FormatterDravoServerAutonomyChange(DravoAgentData::AutonomyList& list,
                                                  std::string& out);
};
