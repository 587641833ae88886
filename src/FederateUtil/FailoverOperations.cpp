#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::FormatFailOverBody(DravoAgentData::AutonomyList&, std::string&) {
    return fdr::ReportNotBuilt("FormatFailOverBody");
}

int CFederateUtil::SaveFailOverInfo(const std::string&) {
    return fdr::ReportNotBuilt("SaveFailOverInfo");
}
