// The library's own HTTP(S) connection over libcurl's easy interface. One object is one
// connection to one host and port; it owns its curl handle and its own TCP socket, which is what
// makes a running request abortable from another thread (AbortConnection shuts the socket down).
#pragma once

#include <curl/curl.h>
#include <netdb.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "federateutil/Export.h"

// The results of CRestConnectInfo's set-up and requests; 0 is success.
namespace RestResult {
constexpr int kInvalidArgument = -1;  // SetConnectionParam: a null user, password, host or address
constexpr int kNotConnected = -3;     // aborted, or the socket did not connect: nothing was sent
constexpr int kNoHeaderList = -5;     // the header list could not be made: nothing was sent
constexpr int kRequestFailed = -6;    // any other failure or HTTP status
constexpr int kNoSocket = -9;         // SetConnectionParam: the socket could not be created
constexpr int kNoCurlHandle = -12;    // the curl handle could not be made
constexpr int kRedirected = -13;      // GET only: an HTTP 3xx answer
constexpr int kNotFound = -14;        // an HTTP 404 answer
constexpr int kTimedOut = -15;        // the 30-second limit of the request ran out
}  // namespace RestResult

class FEDERATEUTIL_API CRestConnectInfo {
  public:
    CRestConnectInfo();
    // Shuts the socket down and closes it, and cleans up the curl handle.
    ~CRestConnectInfo();
    CRestConnectInfo(const CRestConnectInfo&) = delete;
    CRestConnectInfo& operator=(const CRestConnectInfo&) = delete;

    // Prepares handle and socket. 0; -1 for a null user, password, host or address; -12 when
    // curl_easy_init fails; -9 when the socket cannot be created.
    int SetConnectionParam(const char* user, const char* password, const char* host, bool secure,
                           unsigned port, unsigned timing1, unsigned timing2, addrinfo* address);
    // Stores a new port and rebuilds the base URL with it.
    void SetPortInfo(unsigned port);
    // Connects the object's socket to the stored address, waiting at most 30 seconds: false when
    // the object is aborted (before or while connecting), or the connection is refused or not
    // completed in time; true when connected, or when there is no address or socket.
    bool ConnectSocket();
    bool IsAbort();
    // true: aborts the running and every later request; false: clears the abort. Returns 1.
    int AbortConnection(bool abort);
    // Appends received body bytes to the response buffer.
    void WriteHTTPData(const char* data, size_t length);
    // One GET: 0 on HTTP 200, -13 (3xx), -14 (404), -15 (time-out), -6 (other), -3 (could not
    // connect), -5 (no header list).
    int DoRequestGetText(const std::string& path, const std::string& header,
                         const std::string& query, const std::string& userpwd,
                         const std::string& useragent, std::string& response);
    // One POST: 0 on HTTP 200, -14 (404), -15 (time-out), -6 (other), -3, -5 as for the GET.
    int DoRequestPostText(const std::string& path, const std::string& header,
                          const std::string& query, const std::string& userpwd,
                          const std::string& body, std::string& response);
    // Makes a new connection with the same settings, its own socket and a duplicated handle.
    int DupConnectInfo(std::shared_ptr<CRestConnectInfo>& copy);
    std::string GetUserNameInfo();

    // libcurl callbacks: the object's own socket, "already connected", the body sink.
    static curl_socket_t CURLRestOpenSocketCallback2(void* clientp, curlsocktype purpose,
                                                     struct curl_sockaddr* address);
    static int CURLRestSocketOptCallback2(void* clientp, curl_socket_t fd, curlsocktype purpose);
    static size_t CURLRestWriteCallback2(void* data, size_t size, size_t count, void* object);
    // A libcurl debug callback logging the traffic to the centre log (not installed by default).
    static int debugMessage(CURL* handle, curl_infotype type, char* data, size_t size, void* userp);

    // Number of POST requests whose socket connected, process-wide.
    static std::atomic<unsigned int> m_CGICount;

  private:
    std::atomic<bool> m_bAbort{false};
    bool m_bSecure = false;
    unsigned int m_uTiming1 = 90;
    unsigned int m_uTiming2 = 120;
    unsigned int m_uPort = 0;
    std::string m_strBaseUrl;
    std::string m_strUserName;
    std::string m_strPassword;
    std::string m_strExtra;
    CURL* m_pCurl = nullptr;
    std::string m_strResponse;
    addrinfo* m_pAddrInfo = nullptr;
    int* m_pSocket = nullptr;
};
