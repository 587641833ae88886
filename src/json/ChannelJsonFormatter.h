// JSON bodies about channels: one channel's full description, the channel lists stored in the
// federation service, and the camera notifications of the arbitrator. Bodies are printed
// unformatted and replace the content of the caller's text; records are only read.
#pragma once

#include <memory>
#include <string>

#include "federateutil/DravoAgentData.h"
#include "federateutil/Interfaces.h"

// One channel's description, the text that travels as "data" (JSON inside a JSON string).
// Leaves `out` alone when the tree cannot be started; throws std::logic_error when the finished
// tree cannot be printed. A null `channel` leaves `out` alone. (The name is the symbol's own.)
void construct_cahnnel_info_string(
    const std::shared_ptr<DravoAgentData::ChannelInformation::ChannelObj>& channel,
    std::string& out);

class CChannelInfoJsonFormatter {
  public:
    // Printing the finished tree failed; `out` is unchanged.
    static constexpr unsigned int kPrintFailed = 0xD2202100;

    // The one-server list bodies: {"autonomy_list":[{"autonomy_lid", "mode", "channel_list"}]}.
    // All return 0, also when nothing could be built (`out` then stays as it was).
    static unsigned int FormatterAddChannelInfo(const std::string& lid,
                                                const ChannelObjList& channels, std::string& out);
    static unsigned int FormatterRefreshChannelInfo(const std::string& lid,
                                                    const ChannelObjList& channels,
                                                    std::string& out);
    static unsigned int FormatterUpdateChannelInfo(const std::string& lid,
                                                   const ChannelObjList& channels,
                                                   std::string& out);
    // Every channel with "data":"".
    static unsigned int FormatterRemoveChannelInfo(const std::string& lid,
                                                   const ChannelObjList& channels,
                                                   std::string& out);

    // Every server of `servers` with the channels whose owner_lid is its autonomy_lid, each
    // with "mode":"replace". Returns 0.
    static unsigned int FormatterAddChannelInfo(const DravoAgentData::AutonomyList& servers,
                                                const ChannelObjList& channels, std::string& out);

    // Arbitrator bodies: 0, or kPrintFailed.
    static unsigned int FormatterCameraStatusChange(std::string lid,
                                                    const ChannelStatusObjList& statuses,
                                                    std::string& out);
    static unsigned int FormatterCameraListChange(const std::string& lid,
                                                  const ChannelObjList& channels, std::string& out);
    static unsigned int FormatterCameraListRefresh(const std::string& lid, std::string& out);
};
