// JSON bodies that report member servers (autonomies) to the local services.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"

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

    // The two bodies that are concatenated rather than built as a tree: member values go in
    // raw, without escaping (a double quote in one makes the text invalid JSON), and with no
    // white space. Their receivers read exactly these texts.
    //
    // For the cluster service: {"autonomy_list":[{"autonomy_lid","version","version_date","mac",
    // "machine_model"},...]}. The comma is left out only after the record that the last entry
    // holds, compared by identity: a null last entry leaves a trailing comma, and a record that
    // also stands last gets no comma at its earlier place either.
    static int FormatterFailOverInfo(const DravoAgentData::AutonomyList& list, std::string& out);
    // For the arbitrator: {"autonomy_list":[{"lid","lname","username","password" (base64),
    // "server_mode","address","group"}]}, "group" the one bare number.
    static int FormatterAutoModeChange(const FederateBoxType::AutonomyInfo& info,
                                       const std::string& server_mode, std::string& out);
};
