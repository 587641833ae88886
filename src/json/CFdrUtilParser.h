// Readers of the local services' answers. Stateless: every member is static, takes the answer
// as a zero-terminated text (null allowed) and returns a 32-bit code, 0 for success.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "catalogue/ServiceCatalogue.h"
#include "federateutil/DravoAgentData.h"

class CFdrUtilParser {
  public:
    // Codes of the parsers (besides the service's own "err_code", passed through).
    static constexpr unsigned int kTokenError = fdr::result::kTokenError;
    static constexpr unsigned int kTokenNotJson = fdr::result::kTokenNotJson;
    static constexpr unsigned int kAnswerNotJson = fdr::result::kAnswerNotJson;
    static constexpr unsigned int kSettingError = fdr::result::kSettingError;
    static constexpr unsigned int kSettingNotJson = fdr::result::kSettingNotJson;
    static constexpr unsigned int kChannelListError = fdr::result::kChannelListError;

    // Token service answer: "access_token", "refresh_token", "error".
    static unsigned int ParseOauthAuthLoginToken(const char* text, std::string& access_token,
                                                 std::string& refresh_token);
    // "/fdr/Service" answer: "serviceInfo"."GUID".
    static unsigned int ParseFederateSetting(const char* text, std::string& guid);
    // The service's error triple after a write.
    static unsigned int ParseFdrErrorCode(const char* text, std::string& err_str);
    // "/fdr/Autonomies" answer: records appended to `list`.
    static unsigned int ParseAutonomyList(
        const char* text,
        std::vector<std::shared_ptr<DravoAgentData::AutonomyList::AutonomyListObj>>& list);
    // "/fdr/CmsChannel" answer: records appended to `list`.
    static unsigned int ParseChannelList(
        const char* text,
        std::vector<std::shared_ptr<DravoAgentData::ChannelInformation::ChannelObj>>& list);
};
