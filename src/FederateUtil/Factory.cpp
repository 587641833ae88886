#include "FederateUtil/CFederateUtil.h"

extern "C" FEDERATEUTIL_API void* CreateFederateUtilInstance() {
    // Constructed once under the static-initialisation guard; destroyed at process exit.
    static CFederateUtil instance;
    return static_cast<IBaseInterface*>(&instance);
}

extern "C" FEDERATEUTIL_API void ReleaseFederateUtil(void** instance) {
    // Only the caller's pointer is cleared: the object is process-wide and lives on.
    if (instance != nullptr && *instance != nullptr) {
        *instance = nullptr;
    }
}
