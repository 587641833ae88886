// The transcript's two renderings of one exchange: a JSON line and a readable line.
#include <gtest/gtest.h>

#include "Transcript.h"

namespace fdrsim {
namespace {

TEST(Transcript, RendersTheWholeExchangeAsOneJsonLineAndOneReadableLine) {
    Exchange answered;
    answered.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1715679000123));
    answered.service = Service::Aggregator;
    answered.port = 10235;
    answered.method = "PUT";
    answered.target = "/aggreatorService/system_info";
    answered.request_body = "mode=\"x\"";
    answered.status = 200;
    answered.answer_body = "{}";
    answered.flags = {{"not JSON", true}, {"a note", false}};
    Exchange stalled = answered;
    stalled.status = 0;
    stalled.answer_body.clear();
    stalled.flags = {{"fault stall: not answered", false}};

    EXPECT_EQ(TranscriptLine(answered),
              R"({"time":"2024-05-14T09:30:00.123Z","service":"aggregator","port":10235,)"
              R"("method":"PUT","target":"/aggreatorService/system_info","request":"mode=\"x\"",)"
              R"("status":200,"answer":"{}","flags":["not JSON","a note"],"ok":false})");
    EXPECT_NE(TranscriptLine(stalled).find(
                  R"("status":null,"answer":"","flags":["fault stall: not answered"],"ok":true})"),
              std::string::npos);
    // Local time first, then the rest.
    EXPECT_EQ(ReadableLine(answered).substr(12),
              "  aggregator        PUT  /aggreatorService/system_info  200  in 8 B  out 2 B  "
              "[!not JSON; a note]");
    EXPECT_NE(ReadableLine(stalled).find("system_info  ---  in 8 B  out 0 B"), std::string::npos);
}

}  // namespace
}  // namespace fdrsim
