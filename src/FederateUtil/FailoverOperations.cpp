#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "json/AutonomyJsonFormatter.h"

int CFederateUtil::FormatFailOverBody(DravoAgentData::AutonomyList& list, std::string& out) {
    return CAutonomyListJsonFormatter::FormatterFailOverInfo(list, out);
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
