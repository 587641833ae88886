#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::AuthGetToken(std::string&, std::string&, std::string&) {
    return fdr::ReportNotBuilt("AuthGetToken");
}

int CFederateUtil::AuthRefreshToken(std::string&, std::string&, std::string&) {
    return fdr::ReportNotBuilt("AuthRefreshToken");
}
