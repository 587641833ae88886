#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

std::string CFederateUtil::FormatFisyeyeSupportFile(DravoAgentData::DravoServerInfo&) {
    fdr::ReportNotBuilt("FormatFisyeyeSupportFile");
    return std::string();
}

std::string CFederateUtil::FormatProjectionSupportFile(DravoAgentData::DravoServerInfo&) {
    fdr::ReportNotBuilt("FormatProjectionSupportFile");
    return std::string();
}
