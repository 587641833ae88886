// The local services on 127.0.0.1 that the library calls: their ports, methods, paths and
// time-outs. Plain constants with no dependencies, so that every layer and the tools read the same
// facts.
#pragma once

namespace fdr {

enum class HttpMethod { Get, Post, PostWithQuery, Put };

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

inline constexpr char kTokenServicePortText[] = "10229";
inline constexpr char kTokenPath[] = "/token";

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

}  // namespace fdr
