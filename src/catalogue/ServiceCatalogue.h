// The local services on 127.0.0.1 that the library calls: their ports, methods, paths and
// time-outs, and the result codes that operations return with their meanings. Plain constants,
// so that every layer of the library and the tools (help, demo, result printing, the simulator's
// routes) read the same facts.
#pragma once

#include "platform/kfen_client.h"

namespace fdr {

enum class HttpMethod { Get, Post, PostWithQuery, Put };

// The method as it goes on the wire.
constexpr const char* MethodName(HttpMethod method) {
    return method == HttpMethod::Get ? "GET" : method == HttpMethod::Put ? "PUT" : "POST";
}

// One endpoint of a local service on 127.0.0.1.
struct LocalEndpoint {
    HttpMethod method;
    int port;
    const char* path;
    long timeout_seconds;
};

inline constexpr char kLocalHost[] = "127.0.0.1";
inline constexpr long kRequestTimeoutSeconds = 5;
// The privilege report may take the federation service a while to compile.
inline constexpr long kPrivilegeReportTimeoutSeconds = 30;

inline constexpr int kDravoServicePort = 10223;     // central video-management service
inline constexpr int kApplyAutonomiesPort = 10227;  // autonomy-mode arbitration
inline constexpr int kArbitratorPort = 10228;       // arbitrator
inline constexpr int kTokenServicePort = 10229;     // token service, reached through libcurl
inline constexpr int kAggregatorPort = 10235;       // aggregator
inline constexpr int kFederationWritePort = 10240;  // federation service: writes and most reads
inline constexpr int kFederationReadPort = 10241;   // federation service: channel and config reads
inline constexpr int kMemberLogPort = 10250;        // member log service

inline constexpr char kTokenPath[] = "/token";

enum class ServiceId {
    VideoManagement,
    ModeArbitration,
    Arbitrator,
    Token,
    Aggregator,
    FederationWrites,
    FederationReads,
    MemberLog,
};

struct LocalService {
    ServiceId id;
    int port;
    const char* key;   // short name for command lines, consoles and transcripts
    const char* name;  // what people call it
};

// Every local service, in port order.
// clang-format off
inline constexpr LocalService kLocalServices[] = {
    {ServiceId::VideoManagement,  kDravoServicePort,    "video-management", "central video-management service"},
    {ServiceId::ModeArbitration,  kApplyAutonomiesPort, "mode-arbitration", "autonomy-mode arbitration"},
    {ServiceId::Arbitrator,       kArbitratorPort,      "arbitrator",       "arbitrator"},
    {ServiceId::Token,            kTokenServicePort,    "token",            "token service"},
    {ServiceId::Aggregator,       kAggregatorPort,      "aggregator",       "aggregator"},
    {ServiceId::FederationWrites, kFederationWritePort, "federation",       "federation service"},
    {ServiceId::FederationReads,  kFederationReadPort,  "federation-reads", "federation service (reads)"},
    {ServiceId::MemberLog,        kMemberLogPort,       "member-log",       "member log service"},
};
// clang-format on

namespace endpoint {
using M = HttpMethod;
constexpr long T = kRequestTimeoutSeconds;
// clang-format off
inline constexpr LocalEndpoint kDravoNotify          {M::Put,  kDravoServicePort,    "/dravoService/notify", T};
inline constexpr LocalEndpoint kApplyAutonomies      {M::Put,  kApplyAutonomiesPort, "/apply_autonomies", T};
inline constexpr LocalEndpoint kAutonomyChanged      {M::Put,  kArbitratorPort,      "/autonomy_changed", T};
inline constexpr LocalEndpoint kChannelStatusChanged {M::Put,  kArbitratorPort,      "/channel_status_changed", T};
inline constexpr LocalEndpoint kChannelInfoChanged   {M::Put,  kArbitratorPort,      "/channel_info_changed", T};
inline constexpr LocalEndpoint kChannelInfoRefresh   {M::Put,  kArbitratorPort,      "/channel_info_refresh", T};
inline constexpr LocalEndpoint kAutonomyRefreshReady {M::Put,  kArbitratorPort,      "/autonomy_refresh_ready", T};
inline constexpr LocalEndpoint kAggregatorSystemInfo {M::Put,  kAggregatorPort,      "/aggreatorService/system_info", T};
inline constexpr LocalEndpoint kFailoverInfo         {M::Put,  kFederationWritePort, "/cgi-bin/zelprocms/apis/fdr_cluster.cgi?action=failover_info", T};
inline constexpr LocalEndpoint kCmsChannelWrite      {M::Put,  kFederationWritePort, "/fdr/CmsChannel", T};
inline constexpr LocalEndpoint kAutonomies           {M::Get,  kFederationWritePort, "/fdr/Autonomies", T};
inline constexpr LocalEndpoint kServiceInfo          {M::Get,  kFederationWritePort, "/fdr/Service", T};
inline constexpr LocalEndpoint kPrivilegeReport      {M::PostWithQuery, kFederationWritePort, "/fdr/CmsAccessPrivilegeReport", kPrivilegeReportTimeoutSeconds};
inline constexpr LocalEndpoint kCmsChannelRead       {M::Get,  kFederationReadPort,  "/fdr/CmsChannel", T};
inline constexpr LocalEndpoint kConfig               {M::Get,  kFederationReadPort,  "/fdr/Config", T};
inline constexpr LocalEndpoint kReloadAutonomy       {M::Put,  kMemberLogPort,       "/logs/reload_autonomy", T};
inline constexpr LocalEndpoint kLogAutonomyList      {M::Post, kMemberLogPort,       "/logs/autonomyList", T};
inline constexpr LocalEndpoint kLogUpdateList        {M::Post, kMemberLogPort,       "/logs/updateList", T};
inline constexpr LocalEndpoint kLogDeleteList        {M::Post, kMemberLogPort,       "/logs/deleteList", T};
// clang-format on
}  // namespace endpoint

// Result codes besides 0 (success) and the federation service's own "err_code", which is passed
// through unchanged.
namespace result {
// The parsers of the services' answers.
inline constexpr unsigned int kAnswerNotJson = 0xD3020100;     // or no "autonomy_list"
inline constexpr unsigned int kTokenError = 0xD3020200;        // the answer carried "error"
inline constexpr unsigned int kTokenNotJson = 0xD3020201;      // no text, or not JSON
inline constexpr unsigned int kSettingError = 0xD3020300;      // non-zero "err_code"
inline constexpr unsigned int kSettingNotJson = 0xD3020301;    // no text, or not JSON
inline constexpr unsigned int kChannelListError = 0xD3020400;  // bad text, list or "data"
}  // namespace result

struct ResultMeaning {
    unsigned int code;
    const char* meaning;
};

// clang-format off
inline constexpr ResultMeaning kParserResults[] = {
    {result::kAnswerNotJson,     "the answer is not JSON or has no autonomy_list"},
    {result::kTokenError,        "the token service answered with an error"},
    {result::kTokenNotJson,      "the token answer is not JSON"},
    {result::kSettingError,      "the service setting answer carries a non-zero err_code"},
    {result::kSettingNotJson,    "the service setting answer is not JSON"},
    {result::kChannelListError,  "the channel list is not usable (not JSON, no channel_list, or bad data)"},
};

// The local client's codes, passed back unchanged by the operations that return a request's code.
inline constexpr ResultMeaning kLocalClientResults[] = {
    {KFEN_ERR_ARGUMENT,    "local client: bad arguments"},
    {KFEN_ERR_SETUP,       "local client: the request could not be prepared"},
    {KFEN_ERR_TRANSPORT,   "local client: transport failure (refused, reset or timed out)"},
    {KFEN_ERR_HTTP_STATUS, "local client: the service answered with a non-2xx status"},
};
// clang-format on

// The meaning of `code` in `table`, or null.
template <typename Table>
constexpr const char* MeaningOf(const Table& table, unsigned int code) {
    for (const ResultMeaning& entry : table) {
        if (entry.code == code) {
            return entry.meaning;
        }
    }
    return nullptr;
}

// The service on `port`, or null.
constexpr const LocalService* ServiceOnPort(int port) {
    for (const LocalService& service : kLocalServices) {
        if (service.port == port) {
            return &service;
        }
    }
    return nullptr;
}

}  // namespace fdr
