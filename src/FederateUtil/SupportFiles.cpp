// The lens catalogues for the host; nothing is sent.
#include "FederateUtil/CFederateUtil.h"
#include "json/SupportFileJsonFormatter.h"

std::string CFederateUtil::FormatFisyeyeSupportFile(DravoAgentData::DravoServerInfo& info) {
    return fdr::FormatFisheyeSupportFile(info);
}

std::string CFederateUtil::FormatProjectionSupportFile(DravoAgentData::DravoServerInfo& info) {
    return fdr::FormatProjectionSupportFile(info);
}
