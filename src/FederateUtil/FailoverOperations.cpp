#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServices.h"

// The cluster service reads this text as it has always been built: plain concatenation, member
// values copied raw (a double quote in one makes the text invalid JSON), no white space.
int CFederateUtil::FormatFailOverBody(DravoAgentData::AutonomyList& list, std::string& out) {
    out = "{\"autonomy_list\":[";
    const auto& entries = list.autonomy_list;
    for (const auto& record : entries) {
        if (!record) {
            continue;
        }
        out += "{";
        out += "\"autonomy_lid\":\"" + record->autonomy_lid + "\",";
        out += "\"version\":\"" + record->firmware + "\",";
        out += "\"version_date\":\"" + record->firmware_date + "\",";
        out += "\"mac\":\"" + record->mac + "\",";
        out += "\"machine_model\":\"" + record->machine_model + "\"";
        out += "}";
        // The separator is left out only after the record that the last entry holds, compared by
        // identity: an empty last entry leaves a trailing comma, and a record that also stands
        // last gets no comma at its earlier place either. The service's reader expects exactly
        // this.
        if (record != entries.back()) {
            out += ",";
        }
    }
    out += "]}";
    return 0;
}

int CFederateUtil::SaveFailOverInfo(const std::string& body) {
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kFailoverInfo, response, body);
    if (n_ret != 0) {
        FDR_CENTER_LOG("[fedutil] save failover info fail 0x%X, %s",
                       static_cast<unsigned int>(n_ret), response.c_str());
    }
    return n_ret;
}
