// The library's log sinks: the centre log, the aggregator log and their common size cap. Every
// layer logs through these; nothing here knows about operations or services.
#pragma once

#include "platform/host_utils.h"

namespace fdr {

inline constexpr char kCenterLogPath[] = "/Kdbglog/.fdr_center_log/.center.log";
inline constexpr char kAggregatorLogPath[] = "/Kdbglog/.fdr_center_log/.aggregator.log";
// The host's writer keeps each file below this many bytes.
inline constexpr long kLogSizeCap = 10485760;

}  // namespace fdr

// Centre log line; a macro so that the compiler still checks the format against its arguments.
#define FDR_CENTER_LOG(...) log_File_Debug_s(::fdr::kCenterLogPath, ::fdr::kLogSizeCap, __VA_ARGS__)
