#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::GetFdrPrivilegeByUser(std::string&, std::string&, std::string&) {
    return fdr::ReportNotBuilt("GetFdrPrivilegeByUser");
}

int CFederateUtil::GetFdrPrivilegeTime(std::string&) {
    return fdr::ReportNotBuilt("GetFdrPrivilegeTime");
}
