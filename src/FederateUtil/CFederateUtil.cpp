#include "FederateUtil/CFederateUtil.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

#include "FederateUtil/LocalServiceCall.h"
#include "FederateUtil/NotifyLocks.h"

// Statically initialised and never destroyed: a notification may run during process exit.
std::mutex m_notify_lock1;
std::mutex m_notify_lock2;

addrinfo* CFederateUtil::m_pAddrInfo = nullptr;

CFederateUtil::CFederateUtil() {
    static std::once_flag resolved;
    std::call_once(resolved, [] {
        // A numeric address resolves without a listener; on failure the token operations hand
        // the null address on and their connection set-up refuses it.
        const std::string port = std::to_string(fdr::kTokenServicePort);
        getaddrinfo(fdr::kLocalHost, port.c_str(), nullptr, &m_pAddrInfo);
    });
}

CFederateUtil::~CFederateUtil() = default;

int CFederateUtil::QueryInterface(FederateBoxType::InterfaceClassID id, void** out) {
    switch (id) {
        case FederateBoxType::CentralizedServerID:
            *out = static_cast<ICentralizedServer*>(this);
            return 1;
        case FederateBoxType::AuthenticationControlID:
            // The object does not implement this interface; the checked cast yields null.
            *out = dynamic_cast<IAuthenticationControl*>(static_cast<IBaseInterface*>(this));
            return 1;
    }
    return 0;
}

int CFederateUtil::Init(IServerEnityNotify*, unsigned int, const char*, unsigned int, const char*,
                        bool, const char*, const char*) {
    return 0;
}

int CFederateUtil::Uninit() {
    return 1;
}

void CFederateUtil::msg(const char* format, ...) {
    if (!m_bDebug) {
        return;
    }
    char buffer[2048];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof(buffer), format, args);
    va_end(args);
    // The text is handed on as a format on purpose: a "%" in it is read a second time.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    log_File_Debug_s(fdr::kCenterLogPath, fdr::kLogSizeCap, buffer);
#pragma GCC diagnostic pop
}
