// The federation service's copy of the channel lists ("/fdr/CmsChannel"): read on the read
// port, written on the write port.
#include <cstdio>
#include <utility>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"

int CFederateUtil::LoadFdrChannelSetting(std::string lid, ChannelObjList& channels) {
    query_object query;
    query.parameters["autonomy_lid"] = lid;
    std::string response;
    const int n_ret =
        fdr::CallLocalService(fdr::endpoint::kCmsChannelRead, response, std::string(), &query);
    if (n_ret != 0) {
        // The text names "/fdr/Autonomies" although the request went to "/fdr/CmsChannel";
        // readers of this log search for it as it stands.
        FDR_CENTER_LOG("[fedutil][%s] call /fdr/Autonomies error, ret: %d, response: %s",
                       "LoadFdrChannelSetting", n_ret, response.c_str());
        return n_ret;
    }
    const int result =
        static_cast<int>(CFdrUtilParser::ParseChannelList(response.c_str(), channels));
    if (result != 0) {
        FDR_CENTER_LOG("[fedutil][%s] Parse Error: %d, response: %s", "LoadFdrChannelSetting",
                       result, response.c_str());
    }
    return result;
}

int CFederateUtil::SaveFdrAllChannelsSetting(DravoAgentData::AutonomyList& servers,
                                             ChannelObjList& channels) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers, channels, body);
    msg("SaveFdrAllChannelsSetting start: %s", body.c_str());
    std::string response;
    // The whole federation's body is the largest the library sends: handed over, not copied.
    const int n_ret =
        fdr::CallLocalService(fdr::endpoint::kCmsChannelWrite, response, std::move(body));
    msg("SaveFdrAllChannelsSetting end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
        return n_ret;
    }
    std::string err_str;
    return static_cast<int>(CFdrUtilParser::ParseFdrErrorCode(response.c_str(), err_str));
}

// The four one-server writes below return 0 whatever happens: only the load and the whole-list
// save report failures to the caller; these leave a console or log line.

int CFederateUtil::AddFdrChannelSetting(std::string& lid, ChannelObjList& channels) {
    // The line names the save operation on purpose: log readers match it.
    std::printf("SaveChannelsSetting size = %zu\n", channels.size());
    std::fflush(stdout);
    std::string body;
    CChannelInfoJsonFormatter::FormatterAddChannelInfo(lid, channels, body);
    msg("AddFdrChannelSetting start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kCmsChannelWrite, response, body);
    msg("AddFdrChannelSetting end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::RefreshFdrChannelSetting(std::string& lid, ChannelObjList& channels) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterRefreshChannelInfo(lid, channels, body);
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kCmsChannelWrite, response, body);
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::UpdateFdrChannelSetting(std::string& lid, ChannelObjList& channels) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterUpdateChannelInfo(lid, channels, body);
    msg("UpdateFdrChannelSetting start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kCmsChannelWrite, response, body);
    msg("UpdateChannelSetting end");  // without "Fdr": log readers match this text
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::RemoveFdrChannelSetting(std::string& lid, ChannelObjList& channels) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterRemoveChannelInfo(lid, channels, body);
    msg("RemoveFdrChannelSetting start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kCmsChannelWrite, response, body);
    msg("RemoveFdrChannelSetting end");
    if (n_ret != 0) {
        FDR_CENTER_LOG("[fedutil] RemoveFdrChannelSetting req: %s", body.c_str());
    }
    return 0;
}
