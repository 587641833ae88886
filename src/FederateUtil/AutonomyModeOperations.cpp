#include <mutex>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "FederateUtil/NotifyLocks.h"
#include "json/AutonomyJsonFormatter.h"

// Fire-and-forget: a failed notice is logged and still returns 0.
int CFederateUtil::NotifyArbitratorAutoModeChange(FederateBoxType::AutonomyInfo info,
                                                  std::string server_mode) {
    msg("NotifyArbitratorAutoModeChange start");
    std::lock_guard<std::mutex> lock(m_notify_lock1);

    std::string body;
    CAutonomyListJsonFormatter::FormatterAutoModeChange(info, server_mode, body);

    msg("NotifyArbitratorAutoModeChange request start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kApplyAutonomies, response, body);
    msg("NotifyArbitratorAutoModeChange request end, n_ret=%d, %s", n_ret, response.c_str());
    if (n_ret != 0) {
        msg("[error]n_ret=%d", n_ret);
    } else {
        msg("NotifyArbitratorAutoModeChange response=%s", response.c_str());
    }
    return 0;
}

int CFederateUtil::ChangeAutonomyMode(std::string body) {
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kAggregatorSystemInfo, response, body);
    FDR_CENTER_LOG("[fedutil] change autonomy mode %s", body.c_str());
    if (n_ret != 0) {
        FDR_CENTER_LOG("[fedutil] change autonomy mode fail 0x%X, %s",
                       static_cast<unsigned int>(n_ret), response.c_str());
    } else {
        FDR_CENTER_LOG("[fedutil] change autonomy mode ok");
    }
    return n_ret;
}
