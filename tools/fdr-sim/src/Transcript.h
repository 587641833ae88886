// The two renderings of an exchange: one JSON line for the transcript file and one readable
// line for the console.
#pragma once

#include <string>

#include "Exchange.h"

namespace fdrsim {

// {"time":..,"service":..,"port":..,"method":..,"target":..,"request":..,"status":..,
//  "answer":..,"flags":[..],"ok":..} without a line end. Bodies are JSON strings holding the
// exact text; "status" is null when no answer was sent.
std::string TranscriptLine(const Exchange& exchange);

// "09:30:00.123  arbitrator        PUT  /channel_info_refresh  200  in 27 B  out 2 B  [flags]",
// local time; problems are marked with "!".
std::string ReadableLine(const Exchange& exchange);

}  // namespace fdrsim
