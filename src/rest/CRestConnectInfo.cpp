// Not built in this version: every request reports -6 (a failed exchange).
#include "federateutil/RestConnectInfo.h"

std::atomic<unsigned int> CRestConnectInfo::m_CGICount{0};

CRestConnectInfo::CRestConnectInfo() = default;
CRestConnectInfo::~CRestConnectInfo() = default;
int CRestConnectInfo::SetConnectionParam(const char*, const char*, const char*, bool, unsigned,
                                         unsigned, unsigned, addrinfo*) {
    return -6;
}
void CRestConnectInfo::SetPortInfo(unsigned) {}
bool CRestConnectInfo::ConnectSocket() {
    return false;
}
bool CRestConnectInfo::IsAbort() {
    return m_bAbort;
}
int CRestConnectInfo::AbortConnection(bool abort) {
    m_bAbort = abort;
    return 1;
}
void CRestConnectInfo::WriteHTTPData(const char* data, size_t length) {
    m_strResponse.append(data, length);
}
int CRestConnectInfo::DoRequestGetText(const std::string&, const std::string&, const std::string&,
                                       const std::string&, const std::string&, std::string&) {
    return -6;
}
int CRestConnectInfo::DoRequestPostText(const std::string&, const std::string&, const std::string&,
                                        const std::string&, const std::string&, std::string&) {
    return -6;
}
int CRestConnectInfo::DupConnectInfo(std::shared_ptr<CRestConnectInfo>&) {
    return -6;
}
std::string CRestConnectInfo::GetUserNameInfo() {
    return m_strUserName;
}
curl_socket_t CRestConnectInfo::CURLRestOpenSocketCallback2(void*, curlsocktype, curl_sockaddr*) {
    return CURL_SOCKET_BAD;
}
int CRestConnectInfo::CURLRestSocketOptCallback2(void*, curl_socket_t, curlsocktype) {
    return CURL_SOCKOPT_ALREADY_CONNECTED;
}
size_t CRestConnectInfo::CURLRestWriteCallback2(void*, size_t, size_t, void*) {
    return 0;
}
int CRestConnectInfo::debugMessage(CURL*, curl_infotype, char*, size_t, void*) {
    return 0;
}
