#include "FederateUtil/NotBuilt.h"

#include "FederateUtil/LocalServices.h"

namespace fdr {

int ReportNotBuilt(const char* operation) {
    FDR_CENTER_LOG("[fedutil] %s is not built in this version", operation);
    return kOperationNotBuilt;
}

}  // namespace fdr
