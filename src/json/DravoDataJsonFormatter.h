// The host's own notice for the central video-management service (NotifyDravoData), passed
// through with the member server's identifier added.
#pragma once

#include <string>

namespace fdr {

enum class DravoDataResult { kFormatted, kNotJson, kPrintFailed };

// Reads `json` (whole numbers up to 64 bits pass digit for digit), takes its "server" member or,
// without one, the whole document, and adds "autonomy_lid":`lid`: under "notice_reason"."input"
// when the notice has a "notice_reason", else beside the other members. `out` receives the
// formatted (indented) print, the one body not printed unformatted; it is left alone unless the
// result is kFormatted.
DravoDataResult FormatDravoData(const std::string& lid, const std::string& json, std::string& out);

}  // namespace fdr
