// Operations that this version does not build yet answer with one clear code and one log line.
#pragma once

namespace fdr {

inline constexpr int kOperationNotBuilt = -38;  // -ENOSYS

// Writes "[fedutil] <operation> is not built in this version" to the centre log and returns
// kOperationNotBuilt.
int ReportNotBuilt(const char* operation);

}  // namespace fdr
