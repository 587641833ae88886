// The failover body built from the host's records. Kept in C++: the body joins entries by record
// identity (a record repeated, an empty entry) and reads fields no service answer carries, so no
// reader can build its input from a case file. Saving it, the autonomy-mode operations and the
// privilege operations are tests/cases/{failover,autonomy-mode,privilege}-*.case.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "support/TestData.h"

namespace {

using Record = std::shared_ptr<DravoAgentData::AutonomyList::AutonomyListObj>;

Record MakeRecord(const char* lid, const char* firmware, const char* date, const char* mac,
                  const char* model) {
    auto record = std::make_shared<DravoAgentData::AutonomyList::AutonomyListObj>();
    record->autonomy_lid = lid;
    record->firmware = firmware;
    record->firmware_date = date;
    record->mac = mac;
    record->machine_model = model;
    return record;
}

TEST(FailoverOperations, BodyJoinsEntriesByRecordIdentity) {
    const Record a = MakeRecord("L1", "2.1.0", "2024-01-31", "00:11:22:33:44:55", "NVR-8");
    const Record b = MakeRecord("L2", "2.2.1", "2024-06-30", "66:77:88:99:AA:BB", "NVR-16");
    const Record c = MakeRecord("L3", "1.9", "2023-12-01", "CC:DD:EE:FF:00:11", "NVR-32");
    const struct {
        const char* golden;
        std::vector<Record> entries;
    } cases[] = {
        {"failover/empty_list.json", {}},
        {"failover/three_records.json", {nullptr, a, b, nullptr, c}},
        {"failover/last_entry_empty.json", {a, b, nullptr}},
        {"failover/last_record_repeated.json", {a, b, a}},
        {"failover/raw_members.json", {MakeRecord("L\"1", "", "", "", "a\\b")}},
    };
    CFederateUtil util;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.golden);
        DravoAgentData::AutonomyList list;
        list.autonomy_list = c.entries;
        std::string body = "previous text";
        EXPECT_EQ(util.FormatFailOverBody(list, body), 0);
        EXPECT_EQ(body, fdrtest::ReadTestData(c.golden));
    }
}

}  // namespace
