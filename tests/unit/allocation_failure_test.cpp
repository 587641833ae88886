// Every formatter and parser with each of its cJSON allocations failing in turn (through cJSON's
// allocation hooks): each ends with one of the partial results it promises for a failure at that
// point, and releases every block it took. The hooks are process-wide: they are installed only
// around the call under test.
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "json/AutonomyJsonFormatter.h"
#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"
#include "json/JsonNumber.h"
#include "json/PrivilegeJsonFormatter.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using DravoAgentData::AutonomyList;
using Record = AutonomyList::AutonomyListObj;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;
using Info = DravoAgentData::DravoServerInfo;
using Node = const cJSON*;

// ---- The driver ----

// Counts cJSON's allocations and its live blocks, failing the allocation numbered `fail_at`.
struct Allocations {
    static inline long fail_at = -1, count = 0, live = 0;
    static void* Allocate(size_t size) {
        void* block = count++ == fail_at ? nullptr : std::malloc(size);
        live += block != nullptr;
        return block;
    }
    static void Release(void* block) {
        live -= block != nullptr;
        std::free(block);
    }
};

// What one run left behind, as text: its output and result, or the error it raised.
using Run = std::function<std::string()>;

// One run with allocation `fail_at` failing (-1: none): what it left, and its unreleased blocks.
std::pair<std::string, long> RunFailing(const Run& run, long fail_at) {
    Allocations::fail_at = fail_at;
    Allocations::count = Allocations::live = 0;
    cJSON_Hooks hooks{&Allocations::Allocate, &Allocations::Release};
    cJSON_InitHooks(&hooks);
    std::string seen;
    try {
        seen = run();
    } catch (const std::logic_error& e) {
        seen = std::string("throws: ") + e.what();
    }
    cJSON_InitHooks(nullptr);
    return {seen, Allocations::live};
}

// ---- The partial documents a failure may leave ----

std::string Print(Node item) {
    char* text = cJSON_PrintUnformatted(item);
    std::string printed = text != nullptr ? text : "<print failed>";
    cJSON_free(text);
    return printed;
}

std::vector<Node> Children(Node node) {
    std::vector<Node> children;
    for (Node child = node->child; child != nullptr; child = child->next) {
        children.push_back(child);
    }
    return children;
}

std::string Key(Node node) {
    return node->string != nullptr ? node->string : "";
}
bool Equal(Node a, Node b) {
    return Key(a) == Key(b) && Print(a) == Print(b);
}
bool Containers(Node a, Node b) {
    return (cJSON_IsArray(a) && cJSON_IsArray(b)) || (cJSON_IsObject(a) && cJSON_IsObject(b));
}
bool SameHead(Node a, Node b) {
    return Key(a) == Key(b) && (Containers(a, b) || Equal(a, b));
}

// `seen` is `whole` cut after one of its nodes in document order (a builder that stops at the
// first failure); from depth `whole_at` on, only whole values are cut off.
bool Truncation(Node seen, Node whole, int whole_at = 99) {
    if (whole_at == 0 || !SameHead(seen, whole)) {
        return Equal(seen, whole);
    }
    const auto s = Children(seen), w = Children(whole);
    for (size_t i = 0; i < s.size(); ++i) {
        const bool last = i + 1 == s.size();
        if (i >= w.size() || !(last ? Truncation(s[i], w[i], whole_at - 1) : Equal(s[i], w[i]))) {
            return false;
        }
    }
    return true;
}

using Rule = std::function<bool(Node seen, Node whole)>;

// `seen` is `whole` with one node changed as `rule` allows.
bool OneChanged(Node seen, Node whole, const Rule& rule) {
    if (rule(seen, whole)) {
        return true;
    }
    const auto s = Children(seen), w = Children(whole);
    if (!SameHead(seen, whole) || s.size() != w.size()) {
        return false;
    }
    size_t changed = 0;
    bool allowed = true;
    for (size_t i = 0; i < s.size(); ++i) {
        if (!Equal(s[i], w[i])) {
            ++changed;
            allowed = OneChanged(s[i], w[i], rule);
        }
    }
    return changed == 1 && allowed;
}

// `seen` is `whole` without one of its children (a builder that looks at no creation but the
// root's).
bool DroppedOne(Node seen, Node whole) {
    const auto s = Children(seen), w = Children(whole);
    if (!SameHead(seen, whole) || s.size() + 1 != w.size()) {
        return false;
    }
    size_t i = 0;
    while (i < s.size() && Equal(s[i], w[i])) {
        ++i;
    }
    for (; i < s.size(); ++i) {
        if (!Equal(s[i], w[i + 1])) {
            return false;
        }
    }
    return true;
}

using Tree = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;
Tree Parsed(const std::string& text) {
    return Tree(fdr::json::Parse(text), &cJSON_Delete);
}

bool OneMissing(Node seen, Node whole) {
    return OneChanged(seen, whole, DroppedOne);
}

// A channel's text under one "data" left blank or one node short; its list goes on.
bool DataShort(Node seen, Node whole) {
    if (Key(whole) != "data" || !cJSON_IsString(seen) || !cJSON_IsString(whole)) {
        return false;
    }
    const Tree s = Parsed(seen->valuestring), w = Parsed(whole->valuestring);
    return seen->valuestring[0] == '\0' || (s && w && OneMissing(s.get(), w.get()));
}

// ---- The records ----

std::shared_ptr<Record> Member(const char* lid, const char* thirdparty) {
    auto r = std::make_shared<Record>();
    r->autonomy_lid = lid;
    r->address = "10.0.0.1";
    r->machine_name = "NVR-1";
    r->health_status = UINT64_MAX;  // 64 bits, exact on the wire
    r->ch_num = -5;
    r->is_admin = true;
    r->thirdparty_support_list = thirdparty;  // parsed into the body
    return r;
}

AutonomyList Members(const char* thirdparty = R"(["onvif",{"v":2}])") {
    AutonomyList list;
    list.autonomy_list = {Member("A", ""), Member("B", thirdparty)};
    return list;
}

std::string Quoted(const std::string& text) {
    const Tree string(cJSON_CreateString(text.c_str()), &cJSON_Delete);
    return Print(string.get());
}

// Every field of a channel away from its default, as an answer carries it; then a short one.
const std::string kChannelList =
    R"({"channel_list":[{"guid":"g1","data":)" +
    Quoted(fdrtest::ReadTestData("channels/channel_full_service.json")) +
    R"(},{"guid":"g2","data":"{\"channel_guid\":\"g2\",\"channel_name\":\"Yard\"}"}]})";

// The rich channel, a missing one (passed over) and a short one, read before any hook is set.
const ChannelObjList kChannels = [] {
    ChannelObjList read;
    CFdrUtilParser::ParseChannelList(kChannelList.c_str(), read);
    if (read.size() != 2 || !read[0] || !read[1]) {
        // A reader that lost them fails the golden checks below instead of crashing the program
        // while its tests are listed.
        read = {std::make_shared<ChannelObj>(), std::make_shared<ChannelObj>()};
    }
    read[0]->owner_lid = "A";
    read[0]->retrieve = 7;  // the host's own, never read, written as it is
    read[1]->owner_lid = "B";
    read.insert(read.begin() + 1, nullptr);
    return read;
}();
ChannelObjList Channels() {
    return kChannels;
}

// A missing status and a missing live stream are passed over.
ChannelStatusObjList Statuses() {
    using Living = ChannelStatusObj::LivingStatusObj;
    auto first = std::make_shared<ChannelStatusObj>();
    first->living_status = {std::make_shared<Living>(Living{1, 2048.5, 29.97, 0}), nullptr,
                            std::make_shared<Living>(Living{2, 512, 15, 1})};
    first->recorded_statistic = {3, 1024, 30, 65536};
    first->status_spare = 99;
    first->channel_guid = "g-1";
    first->channel_index = 1;
    auto second = std::make_shared<ChannelStatusObj>();
    second->channel_guid = "g-2";
    second->channel_index = 2;
    return {first, nullptr, second};
}

// A missing brand is passed over.
Info Catalogues() {
    Info info;
    Info::FisheyeModelObj fe360{"m1", "FE-360", {}};
    fe360.size_list = {{1080, 1920, 0, 45.5, 0.75, 960.5, 540.25},
                       {2048, 2048, 1, 30, 0.5, 1024, 1024}};
    auto acme = std::make_shared<Info::FisheyeBrandObj>(
        Info::FisheyeBrandObj{"b1", "Acme", {fe360, {"m2", "FE-180", {}}}});
    auto bolt = std::make_shared<Info::FisheyeBrandObj>(Info::FisheyeBrandObj{"b2", "Bolt", {}});
    info.fisheye_brand_list = {acme, nullptr, bolt};
    Info::ProjectionModelObj dl2{"equirect", "p1", "DL-2", {}};
    dl2.size_list = {
        {1920, 3840, 190.5, 960.25, 960.5, 90, 940, 941.5, 2880.25, 960.75, -90, 939.5, 942}};
    info.projection_brand_list = {
        std::make_shared<Info::ProjectionBrandObj>(Info::ProjectionBrandObj{"b1", "Duo", {dl2}})};
    return info;
}

// ---- The table ----

// What a failure may leave besides the undisturbed result.
enum class Partial {
    kNothing,     // the parsers and adders: only the literal results of the row
    kEmpty,       // the empty text
    kRecordLeft,  // the empty text, or one record left out
    kMemberKeys,  // the empty text, or the one member cut after a whole key
    kListBody,    // a body cut after any node, or one channel's text blank or one node short
    kOneMissing,  // a document one node short
    kPrintFailed  // the print-failure code with the output untouched
};

struct Case {
    std::string name;
    Partial partial;
    std::function<void(std::string& out)> run;  // starts as "untouched"
    std::set<std::string> also = {};            // literal results allowed after a failure
    const char* golden = nullptr;               // the undisturbed result, a file under tests/data
};

const std::string kNullText = "throws: basic_string: construction from null is not valid";

Rule DroppedFrom(const char* list) {
    return [list](Node s, Node w) { return Key(w) == list && DroppedOne(s, w); };
}
Rule DroppedKey(const char* key) {
    return [key](Node s, Node w) {
        return DroppedOne(s, w) && !cJSON_HasObjectItem(s, key) && cJSON_HasObjectItem(w, key);
    };
}

bool Allowed(const Case& c, const std::string& seen, const std::string& whole) {
    static const std::map<Partial, std::set<std::string>> kLiterals = {
        {Partial::kEmpty, {""}},
        {Partial::kRecordLeft, {""}},
        {Partial::kMemberKeys, {""}},
        {Partial::kListBody, {"untouched", kNullText}},
        {Partial::kOneMissing, {"untouched", kNullText}},
        {Partial::kPrintFailed, {"d2202100 untouched"}}};
    const auto literals = kLiterals.find(c.partial);
    if (seen == whole || c.also.count(seen) != 0 ||
        (literals != kLiterals.end() && literals->second.count(seen) != 0)) {
        return true;
    }
    const Tree parsed = Parsed(seen), undisturbed = Parsed(whole);
    const Node s = parsed.get(), w = undisturbed.get();
    if (s == nullptr || w == nullptr) {
        return false;
    }
    switch (c.partial) {
        case Partial::kRecordLeft:
            return OneChanged(s, w, DroppedFrom("autonomy_list"));
        case Partial::kMemberKeys:
            // A thirdparty list that cannot be parsed only drops its key, as one that is no JSON.
            return (cJSON_HasObjectItem(s, "autonomy_list") && Truncation(s, w, 3)) ||
                   OneChanged(s, w, DroppedKey("thirdparty_support_list"));
        case Partial::kListBody:
            return Truncation(s, w) || OneChanged(s, w, DataShort);
        case Partial::kOneMissing:
            return OneMissing(s, w);
        default:
            return false;
    }
}

std::string Hex(unsigned int code) {
    std::ostringstream text;
    text << std::hex << code;
    return text.str();
}

// The arbitrator bodies: made (0), or the print-failure code and the output untouched.
std::function<void(std::string&)> Coded(std::function<unsigned(std::string&)> format) {
    return [format](std::string& out) {
        const unsigned result = format(out);
        out = result == 0 ? "0" : Hex(result) + " " + out;
    };
}

std::vector<Case> Formatters() {
    using A = CAutonomyListJsonFormatter;
    using C = CChannelInfoJsonFormatter;
    using P = Partial;
    std::string lid = "lid-1";
    // The member bodies report success (0) even when a failure cut them short: the operations
    // send what was built.
    std::vector<Case> cases = {
        {"FormatRestAutonomy", P::kEmpty,
         [](std::string& out) {
             std::stringstream stream;
             EXPECT_EQ(A::FormatRestAutonomy(Members().autonomy_list[1], stream), 0);
             out = stream.str();
         }},
        {"FormatterAddAutonomy", P::kRecordLeft,
         [](std::string& out) {
             AutonomyList list = Members();
             EXPECT_EQ(A::FormatterAddAutonomy(list, out), 0);
         }},
        {"FormatterRemoveAutonomyInfo", P::kEmpty,
         [lid](std::string& out) mutable {
             EXPECT_EQ(A::FormatterRemoveAutonomyInfo(lid, out), 0);
         }},
        {"FormatterArbitratorRemoveAutonomyInfo", P::kEmpty,
         [lid](std::string& out) mutable {
             EXPECT_EQ(A::FormatterArbitratorRemoveAutonomyInfo(lid, out), 0);
         }},
        // Only the last record is built.
        {"FormatterArbitratorAutonomyChange", P::kMemberKeys,
         [](std::string& out) {
             AutonomyList list = Members();
             EXPECT_EQ(A::FormatterArbitratorAutonomyChange(list, out), 0);
         }},
        {"FormatterDravoServerAutonomyChange", P::kMemberKeys,
         [](std::string& out) {
             AutonomyList list = Members();
             EXPECT_EQ(A::FormatterDravoServerAutonomyChange(list, out), 0);
         }},
        // Only the root's creation and the print are looked at.
        {"construct_cahnnel_info_string",
         P::kOneMissing,
         [](std::string& out) { construct_cahnnel_info_string(Channels()[0], out); },
         {},
         "channels/channel_full.json"},
        {"FormatterAddChannelInfo", P::kListBody,
         [](std::string& out) { C::FormatterAddChannelInfo("A", Channels(), out); }},
        {"FormatterRefreshChannelInfo", P::kListBody,
         [](std::string& out) { C::FormatterRefreshChannelInfo("A", Channels(), out); }},
        {"FormatterUpdateChannelInfo", P::kListBody,
         [](std::string& out) { C::FormatterUpdateChannelInfo("A", Channels(), out); }},
        {"FormatterRemoveChannelInfo", P::kListBody,
         [](std::string& out) { C::FormatterRemoveChannelInfo("A", Channels(), out); }},
        {"FormatterAddChannelInfo (grouped)", P::kListBody,
         [](std::string& out) { C::FormatterAddChannelInfo(Members(), Channels(), out); }},
        {"FormatterPrivilegeInfo", P::kEmpty,
         [](std::string& out) {
             std::string user = "corp\\alice", second;
             CPrivilegeJsonFormatter::FormatterPrivilegeInfo(user, second, out);
         }},
        {"FormatterPrivilegeInfo (no name)", P::kEmpty,
         [](std::string& out) {
             std::string user, second;
             CPrivilegeJsonFormatter::FormatterPrivilegeInfo(user, second, out);
         }},
        {"FormatFisyeyeSupportFile",
         P::kOneMissing,
         [](std::string& out) {
             Info info = Catalogues();
             out = CFederateUtil().FormatFisyeyeSupportFile(info);
         },
         {},
         "channels/fisheye_support.json"},
        {"FormatProjectionSupportFile",
         P::kOneMissing,
         [](std::string& out) {
             Info info = Catalogues();
             out = CFederateUtil().FormatProjectionSupportFile(info);
         },
         {},
         "channels/projection_support.json"},
        {"FormatterCameraStatusChange", P::kPrintFailed, Coded([](std::string& out) {
             return C::FormatterCameraStatusChange("srv-lid-1", Statuses(), out);
         })},
        {"FormatterCameraListChange", P::kPrintFailed, Coded([](std::string& out) {
             return C::FormatterCameraListChange("A", Channels(), out);
         })},
        {"FormatterCameraListRefresh", P::kPrintFailed,
         Coded([](std::string& out) { return C::FormatterCameraListRefresh("A", out); })},
    };
    return cases;
}

// The adders attach a number whole, or nothing.
std::vector<Case> Adders() {
    const auto adding = [](const char* value, std::function<bool(cJSON*)> add) {
        return Case{std::string("adding ") + value,
                    Partial::kNothing,
                    [add](std::string& out) {
                        cJSON* object = cJSON_CreateObject();
                        if (object == nullptr) {
                            out = "no object";
                            return;
                        }
                        out = add(object) ? "added " : "not added ";
                        out += std::to_string(cJSON_GetArraySize(object));
                        if (Node number = fdr::json::GetNumber(object, "k")) {
                            out += " " + std::to_string(fdr::json::AsDouble(number)) + " " +
                                   fdr::json::ToDecimal(fdr::json::AsInt64(number)) + " " +
                                   fdr::json::ToDecimal(fdr::json::AsUInt64(number));
                        }
                        cJSON_Delete(object);
                    },
                    {"no object", "not added 0"}};
    };
    using namespace fdr::json;
    return {
        adding("int32", [](cJSON* o) { return AddInt32(o, "k", -7); }),
        adding("int64", [](cJSON* o) { return AddInt64(o, "k", INT64_MIN); }),
        adding("uint64", [](cJSON* o) { return AddUInt64(o, "k", UINT64_MAX); }),
        adding("double", [](cJSON* o) { return AddDouble(o, "k", 2.5); }),
        adding("item", [](cJSON* o) { return AddItem(o, "k", MakeUInt64(1ull << 40)); }),
    };
}

// The parsers read a document whole or not at all: each ends either as with no allocation
// failing or as with text that is not JSON, its outputs untouched.
std::vector<Case> Parsers() {
    using P = CFdrUtilParser;
    const auto read_channels = [](std::string text) {
        return [text](std::string& out) {
            ChannelObjList list = {std::make_shared<ChannelObj>()};
            list[0]->channel_guid = "old";
            out = Hex(P::ParseChannelList(text.c_str(), list));
            for (const auto& c : list) {
                out += " " + c->channel_guid + "/" + c->channel_name + "/" +
                       std::to_string(c->stream_info.multi_stream_list.size()) + "/" +
                       std::to_string(c->virtual_camera_list.size());
            }
        };
    };
    const std::string g1 = " 0f5c2a9e-7b1d-4e8a-9c3f-2d6b8e1a4c70/Lobby \"East\" / Caf\xC3\xA9/2/2";
    const std::string with_code =
        kChannelList.substr(0, kChannelList.size() - 1) + R"(,"err_code":0})";
    return {
        {"ParseFederateSetting",
         Partial::kNothing,
         [](std::string& out) {
             std::string guid = "old";
             const char text[] = R"({"serviceInfo":{"GUID":"fed-2"},"err_code":3})";
             out = Hex(P::ParseFederateSetting(text, guid)) + " " + guid;
         },
         {"d3020301 old"}},
        {"ParseFdrErrorCode",
         Partial::kNothing,
         [](std::string& out) {
             std::string err_str = "old";
             const char text[] = R"({"autonomy_list":[],"err_code":5,"err_str":"busy"})";
             out = Hex(P::ParseFdrErrorCode(text, err_str)) + " " + err_str;
         },
         {"d3020100 old"}},
        {"ParseAutonomyList",
         Partial::kNothing,
         [](std::string& out) {
             std::vector<std::shared_ptr<Record>> list = {Member("lid-1", "")};
             const char text[] =
                 R"({"autonomy_list":[{"autonomy_lid":"a","group_list":[{"id":4294967295}]},)"
                 R"({"autonomy_lid":"b"}]})";
             out = Hex(P::ParseAutonomyList(text, list));
             for (const auto& r : list) {
                 out += " " + r->autonomy_lid + "/" + std::to_string(r->group_id);
             }
         },
         {"d3020100 lid-1/1"}},
        {"ParseOauthAuthLoginToken",
         Partial::kNothing,
         [](std::string& out) {
             std::string access = "old", refresh = "old";
             const char text[] = R"({"access_token":"AT","refresh_token":"RT","error":"late"})";
             out = Hex(P::ParseOauthAuthLoginToken(text, access, refresh)) + " " + access + " " +
                   refresh;
         },
         {"d3020201 old old"}},
        // A failure inside the conversion to exact nodes gives no document, never one with
        // cJSON's approximations.
        {"fdr::json::Parse",
         Partial::kNothing,
         [](std::string& out) {
             cJSON* document = fdr::json::Parse(
                 R"({"a":[18446744073709551615,{"b":-9223372036854775808}],"c":4294967295,)"
                 R"("d":"x","e":[1,2147483648]})");
             out = document != nullptr ? Print(document) : "none";
             cJSON_Delete(document);
         },
         {"none", "<print failed>"}},
        // A channel whose "data" cannot be read ends the list; those before it stay.
        {"ParseChannelList",
         Partial::kNothing,
         read_channels(kChannelList),
         {"d3020400 old//0/0", "d3020400 old//0/0" + g1}},
        // A numeric "err_code" is the answer, even 0, even after a "data" that failed.
        {"ParseChannelList (with err_code 0)",
         Partial::kNothing,
         read_channels(with_code),
         {"d3020400 old//0/0", "0 old//0/0", "0 old//0/0" + g1}},
    };
}

// The undisturbed run, then one run per allocation it makes, that allocation failing.
void Check(const Case& c) {
    SCOPED_TRACE(c.name);
    const Run run = [&c] {
        std::string out = "untouched";
        c.run(out);
        return out;
    };
    testing::internal::CaptureStdout();  // the parsers print their error answers
    std::vector<std::pair<std::string, long>> runs = {RunFailing(run, -1)};
    for (long n = 0, total = Allocations::count; n < total; ++n) {
        runs.push_back(RunFailing(run, n));
    }
    testing::internal::GetCapturedStdout();
    const std::string& undisturbed = runs[0].first;
    ASSERT_GT(runs.size(), 1u) << "no allocation at all";
    if (c.golden != nullptr) {
        EXPECT_EQ(undisturbed, fdrtest::ReadTestData(c.golden));
    }
    int wrong = 0;
    for (size_t n = 0; n < runs.size(); ++n) {
        const auto& [seen, live] = runs[n];
        EXPECT_EQ(live, 0) << "after failing allocation " << n - 1;
        if (!Allowed(c, seen, undisturbed) && ++wrong <= 3) {
            ADD_FAILURE() << "failing allocation " << n - 1 << " of " << runs.size() - 1
                          << " leaves\n  " << seen << "\nundisturbed:\n  " << undisturbed;
        }
    }
    EXPECT_EQ(wrong, 0);
    if (c.partial == Partial::kPrintFailed) {  // the last allocation: the text
        EXPECT_EQ(runs.back().first, "d2202100 untouched");
    }
}

TEST(AllocationFailure, EveryBuilderAndReaderEndsWithAPromisedResultAndReleasesEverything) {
    for (const auto& table : {Formatters(), Adders(), Parsers()}) {
        for (const Case& c : table) {
            Check(c);
        }
    }
}

// Failing the channel text's root object is the one way to a blank text, and it is logged.
TEST(AllocationFailure, GroupedBodyLogsAChannelLeftBlank) {
    auto log = fdrtest::WatchCenterLog();
    auto one = std::make_shared<ChannelObj>();
    one->channel_guid = "g1";
    one->owner_lid = "A";
    Check({"grouped", Partial::kListBody, [one](std::string& out) {
               AutonomyList servers;
               servers.autonomy_list = {Member("A", "")};
               CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers, {one}, out);
           }});
    EXPECT_EQ(log.NewLines(), std::vector<std::string>{"[zubrik]  guid[g1] has blank data"});
}

TEST(AllocationFailure, StatusBodyCarriesEveryLiveStream) {
    std::string body;
    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterCameraStatusChange("srv-lid-1", Statuses(), body),
              0u);
    EXPECT_EQ(body, fdrtest::ReadTestData("channels/status_body.json"));
}

}  // namespace
