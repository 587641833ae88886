// Every formatter and parser with each of its cJSON allocations failing in turn (through cJSON's
// allocation hooks): each ends with one of the partial results it promises for a failure at that
// point, and releases every block it took. The hooks are process-wide: these tests install them
// only around the call under test and restore cJSON's own before checking anything.
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <cinttypes>
#include <cstdlib>
#include <functional>
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
using Accepted = std::set<std::string>;

// ---- The counting allocator ----

// Counts cJSON's allocations and its live blocks, and fails the allocation numbered `fail_at`
// (0-based; -1: none).
struct Allocations {
    static inline long fail_at = -1;
    static inline long count = 0;
    static inline long live = 0;
    static void* Allocate(size_t size) {
        if (count++ == fail_at) {
            return nullptr;
        }
        void* block = std::malloc(size);
        live += block != nullptr ? 1 : 0;
        return block;
    }
    static void Release(void* block) {
        live -= block != nullptr ? 1 : 0;
        std::free(block);
    }
};

// cJSON allocates through the counter while this lives.
class CountingHooks {
  public:
    explicit CountingHooks(long fail_at) {
        Allocations::fail_at = fail_at;
        Allocations::count = 0;
        Allocations::live = 0;
        cJSON_Hooks hooks{&Allocations::Allocate, &Allocations::Release};
        cJSON_InitHooks(&hooks);
    }
    ~CountingHooks() { cJSON_InitHooks(nullptr); }
    CountingHooks(const CountingHooks&) = delete;
    CountingHooks& operator=(const CountingHooks&) = delete;
};

// What one run left behind, as text: its output and result, or the error it raised.
using Run = std::function<std::string()>;

std::string Observe(const Run& run) {
    try {
        return run();
    } catch (const std::logic_error& e) {
        return std::string("throws: ") + e.what();
    }
}

const std::string kNullTextError = "throws: basic_string: construction from null is not valid";

struct Step {
    long failed;  // the allocation that failed
    std::string seen;
    long live;  // blocks not released after the run
};

// The undisturbed run, then one run per allocation it makes, that allocation failing. Standard
// output (the parsers print their error answers) is held back until all runs are done.
std::vector<Step> Sweep(const Run& run, std::string& undisturbed) {
    std::vector<Step> steps;
    testing::internal::CaptureStdout();
    long total = 0;
    {
        CountingHooks hooks(-1);
        undisturbed = Observe(run);
        total = Allocations::count;
        steps.push_back({-1, undisturbed, Allocations::live});
    }
    for (long n = 0; n < total; ++n) {
        CountingHooks hooks(n);
        const std::string seen = Observe(run);
        steps.push_back({n, seen, Allocations::live});
    }
    testing::internal::GetCapturedStdout();
    return steps;
}

// ---- Partial documents, built with cJSON's own allocator ----

struct Document {
    cJSON* root;
    explicit Document(const std::string& text) : root(fdr::json::Parse(text)) {}
    ~Document() { cJSON_Delete(root); }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;
};

std::string Print(const cJSON* item) {
    char* text = cJSON_PrintUnformatted(item);
    std::string printed = text != nullptr ? text : "<print failed>";
    cJSON_free(text);
    return printed;
}

// Every node of `root` in document order, each with its parent.
void Walk(cJSON* node, cJSON* parent, std::vector<std::pair<cJSON*, cJSON*>>& order) {
    order.emplace_back(node, parent);
    for (cJSON* child = node->child; child != nullptr; child = child->next) {
        Walk(child, node, order);
    }
}

// `text` printed again after `edit` changed a copy of it; `edit` sees the copy's nodes in
// document order.
std::string Edited(const std::string& text,
                   const std::function<void(std::vector<std::pair<cJSON*, cJSON*>>&)>& edit) {
    Document document(text);
    EXPECT_NE(document.root, nullptr) << text;
    if (document.root == nullptr) {
        return "";
    }
    std::vector<std::pair<cJSON*, cJSON*>> order;
    Walk(document.root, nullptr, order);
    edit(order);
    return Print(document.root);
}

size_t NodeCount(const std::string& text) {
    size_t count = 0;
    Edited(text, [&](auto& order) { count = order.size(); });
    return count;
}

// `text` with one of its nodes (and what it holds) missing, for every node but the root: what
// a builder that looks at no creation result but the root's leaves after one failure.
Accepted OneNodeMissing(const std::string& text) {
    Accepted variants;
    for (size_t i = 1; i < NodeCount(text); ++i) {
        variants.insert(Edited(text, [i](auto& order) {
            cJSON_Delete(cJSON_DetachItemViaPointer(order[i].second, order[i].first));
        }));
    }
    return variants;
}

// `text` cut after each of its nodes in document order: what a builder that stops at the first
// failure prints.
Accepted Truncations(const std::string& text) {
    Accepted variants;
    for (size_t kept = 1; kept <= NodeCount(text); ++kept) {
        variants.insert(Edited(text, [kept](auto& order) {
            for (size_t j = kept; j < order.size(); ++j) {
                // Later nodes inside a removed one go with it.
                bool parent_kept = false;
                for (size_t p = 0; p < kept; ++p) {
                    parent_kept = parent_kept || order[p].first == order[j].second;
                }
                if (parent_kept) {
                    cJSON_Delete(cJSON_DetachItemViaPointer(order[j].second, order[j].first));
                }
            }
        }));
    }
    return variants;
}

// A change body whose one member object keeps only its first k keys, each with its whole value,
// for every k; and the body whose list lost the member itself.
Accepted MemberKeyPrefixes(const std::string& body) {
    Accepted variants;
    for (size_t kept = 0;; ++kept) {
        bool cut = false;
        Document document(body);
        cJSON* list = cJSON_GetObjectItem(document.root, "autonomy_list");
        cJSON* member = cJSON_GetArrayItem(list, 0);
        while (cJSON_GetArraySize(member) > static_cast<int>(kept)) {
            cJSON_DeleteItemFromArray(member, static_cast<int>(kept));
            cut = true;
        }
        variants.insert(Print(document.root));
        if (!cut) {
            cJSON_DeleteItemFromArray(list, 0);
            variants.insert(Print(document.root));
            return variants;
        }
    }
}

// A list body with the channel text under one "data" replaced by the empty text or by the text
// with one node missing: one failure inside a channel's description, whose list goes on.
Accepted DataVariants(const std::string& body) {
    Accepted variants;
    const size_t count = NodeCount(body);
    for (size_t i = 0; i < count; ++i) {
        std::string data;
        Edited(body, [&](auto& order) {
            const cJSON* node = order[i].first;
            if (node->string != nullptr && std::string(node->string) == "data" &&
                cJSON_IsString(node) && node->valuestring[0] != '\0') {
                data = node->valuestring;
            }
        });
        if (data.empty()) {
            continue;
        }
        Accepted texts = OneNodeMissing(data);
        texts.insert("");
        for (const std::string& text : texts) {
            variants.insert(Edited(body, [&](auto& order) {
                cJSON_ReplaceItemInObjectCaseSensitive(order[i].second, "data",
                                                       cJSON_CreateString(text.c_str()));
            }));
        }
    }
    return variants;
}

Accepted Union(std::initializer_list<Accepted> sets) {
    Accepted all;
    for (const auto& set : sets) {
        all.insert(set.begin(), set.end());
    }
    return all;
}

// ---- The records ----

std::shared_ptr<Record> FirstRecord() {
    auto r = std::make_shared<Record>();
    r->autonomy_lid = "lid-1";
    r->address = "10.0.0.1";
    r->username = "admin";
    r->password = "pw1";
    r->machine_name = "NVR-1";
    r->group_id = 3;
    r->health_status = 7;
    r->ch_num = 4;
    r->cms_server_required_lower = "1.0";
    return r;
}

// With a 64-bit health code and a thirdparty list that has to be parsed.
std::shared_ptr<Record> SecondRecord(const char* thirdparty = R"(["onvif",{"v":2}])") {
    auto r = std::make_shared<Record>();
    r->autonomy_lid = "lid-2";
    r->machine_name = "NVR-2";
    r->health_status = UINT64_MAX;
    r->ch_num = -5;
    r->is_admin = true;
    r->retrieve = 1;
    r->thirdparty_support_list = thirdparty;
    return r;
}

AutonomyList Members(std::vector<std::shared_ptr<Record>> records) {
    AutonomyList list;
    list.autonomy_list = std::move(records);
    return list;
}

std::shared_ptr<ChannelObj> Channel(const char* guid, const char* name, const char* owner) {
    auto c = std::make_shared<ChannelObj>();
    c->channel_guid = guid;
    c->channel_name = name;
    c->owner_lid = owner;
    c->channel_index = 2;
    return c;
}

// Every field away from its default: two presets, two streams, two virtual cameras and 65 input
// flags (every third one on, so the list ends in false).
std::shared_ptr<ChannelObj> RichChannel() {
    auto c = Channel("0f5c2a9e-7b1d-4e8a-9c3f-2d6b8e1a4c70", "Lobby \"East\" / Caf\xC3\xA9", "A");
    c->audio = {3, true, true};
    using Preset = ChannelObj::AutoCruisingInfo::AutoCruisingPreset;
    c->auto_cruising = {{std::make_shared<Preset>(Preset{15, 1, true}),
                         std::make_shared<Preset>(Preset{30, 2, false})},
                        true,
                        true};
    for (int i = 0; i < 65; ++i) {
        c->event_installation.input.input_enabled_list.push_back(i % 3 == 0);
    }
    c->event_installation.motion = {true, true, true};
    c->fisheye = {2, 1, true, 3, 90, 45.5, 0.875, 960.25, -540.5};
    c->host_value = 0xFEEDFACE;  // the host's own: never written
    c->projection.projection_type = 4;
    c->login_auth = {"cam-pass", "viewer", "admin-pass", "guest-pass"};
    c->manufacturer = {"Acme", "AC-4K", "ACMEAC4K", 1};
    c->network_setting = {"192.168.1.64", 8080, 554, 8554, "203.0.113.7", 18080};
    c->recording_status = {true, true, true};
    c->stream_info.main_stream = {true, 5, 30, 9, "3840x2160"};
    using Stream = ChannelObj::MultiStreamObj;
    c->stream_info.multi_stream_list = {std::make_shared<Stream>(Stream{"AAC ", "H265", 15, 4, 1}),
                                        std::make_shared<Stream>(Stream{"G711", "H264", 10, 2, 2})};
    using Camera = ChannelObj::VirtualCameraObj;
    c->virtual_camera_list = {std::make_shared<Camera>(Camera{720, 10, 1, "Door", 20, 1280}),
                              std::make_shared<Camera>(Camera{360, 640, 2, "Desk", 180, 480})};
    c->channel_index = 12;
    c->spare_text = "not for the wire";
    c->video_setting_support = true;
    c->retrieve = 7;  // the host's, written as it is
    return c;
}

// A missing channel is passed over.
ChannelObjList Channels() {
    return {RichChannel(), nullptr, Channel("g2", "Yard", "B"), Channel("g3", "Hall", "A")};
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
    auto acme = std::make_shared<Info::FisheyeBrandObj>();
    Info::FisheyeModelObj fe360{"m1", "FE-360", {}};
    fe360.size_list.push_back({1080, 1920, 0, 45.5, 0.75, 960.5, 540.25});
    fe360.size_list.push_back({2048, 2048, 1, 30, 0.5, 1024, 1024});
    *acme = {"b1", "Acme", {fe360, {"m2", "FE-180", {}}}};
    auto bolt = std::make_shared<Info::FisheyeBrandObj>();
    *bolt = {"b2", "Bolt", {}};
    info.fisheye_brand_list = {acme, nullptr, bolt};
    auto duo = std::make_shared<Info::ProjectionBrandObj>();
    Info::ProjectionModelObj dl2{"equirect", "p1", "DL-2", {}};
    dl2.size_list.push_back(
        {1920, 3840, 190.5, 960.25, 960.5, 90, 940, 941.5, 2880.25, 960.75, -90, 939.5, 942});
    *duo = {"b1", "Duo", {dl2}};
    info.projection_brand_list = {duo};
    return info;
}

// ---- The table ----

struct Case {
    std::string name;
    Run run;
    // The results allowed after one failed allocation, given the undisturbed one (also allowed).
    std::function<Accepted(const std::string& undisturbed)> accepted;
    const char* golden = nullptr;  // the undisturbed result, a file under tests/data
};

// Runs a formatter over an output text that starts as "untouched".
Run Formatting(const std::function<void(std::string&)>& format) {
    return [format] {
        std::string out = "untouched";
        format(out);
        return out;
    };
}

std::string Hex(unsigned int code) {
    std::ostringstream text;
    text << std::hex << code;
    return text.str();
}

std::vector<Case> Formatters() {
    using A = CAutonomyListJsonFormatter;
    using C = CChannelInfoJsonFormatter;
    const auto only = [](Accepted extra) { return [extra](const std::string&) { return extra; }; };
    const auto change = [](int (*format)(AutonomyList&, std::string&)) {
        return [format](const std::string& both) {
            std::string without_thirdparty;
            AutonomyList plain = Members({FirstRecord(), SecondRecord("")});
            format(plain, without_thirdparty);
            // Only the last record is built, and it stops at the first key whose whole value
            // cannot be added; a thirdparty list that cannot be parsed only drops its key, as a
            // list that is not JSON does. Nothing at all ("") when the frame cannot be made.
            return Union({{""}, MemberKeyPrefixes(both), {without_thirdparty}});
        };
    };
    const auto list_body = [](bool with_data) {
        return [with_data](const std::string& body) {
            return Union({{"untouched", kNullTextError},
                          Truncations(body),
                          with_data ? DataVariants(body) : Accepted{}});
        };
    };
    const auto one_node_missing = [](const std::string& text) {
        return Union({{"untouched", kNullTextError}, OneNodeMissing(text)});
    };
    std::vector<Case> cases = {
        {"FormatRestAutonomy",
         [] {
             auto record = SecondRecord();
             std::stringstream stream;
             A::FormatRestAutonomy(record, stream);
             return stream.str();
         },
         only({""})},
        {"FormatterAddAutonomy", Formatting([](std::string& out) {
             AutonomyList list = Members({FirstRecord(), SecondRecord()});
             A::FormatterAddAutonomy(list, out);
         }),
         // A record that cannot be formatted or read back is left out; the others stay.
         [](const std::string&) {
             Accepted accepted{""};
             for (const auto& record : {FirstRecord(), SecondRecord()}) {
                 AutonomyList one = Members({record});
                 std::string body;
                 A::FormatterAddAutonomy(one, body);
                 accepted.insert(body);
             }
             return accepted;
         }},
        {"FormatterRemoveAutonomyInfo", Formatting([](std::string& out) {
             std::string lid = "lid-1";
             A::FormatterRemoveAutonomyInfo(lid, out);
         }),
         only({""})},
        {"FormatterArbitratorRemoveAutonomyInfo", Formatting([](std::string& out) {
             std::string lid = "lid-1";
             A::FormatterArbitratorRemoveAutonomyInfo(lid, out);
         }),
         only({""})},
        {"FormatterArbitratorAutonomyChange", Formatting([](std::string& out) {
             AutonomyList list = Members({FirstRecord(), SecondRecord()});
             A::FormatterArbitratorAutonomyChange(list, out);
         }),
         change(&A::FormatterArbitratorAutonomyChange)},
        {"FormatterDravoServerAutonomyChange", Formatting([](std::string& out) {
             AutonomyList list = Members({FirstRecord(), SecondRecord()});
             A::FormatterDravoServerAutonomyChange(list, out);
         }),
         change(&A::FormatterDravoServerAutonomyChange)},
        // Only the root's creation and the print are looked at.
        {"construct_cahnnel_info_string",
         Formatting([](std::string& out) { construct_cahnnel_info_string(RichChannel(), out); }),
         one_node_missing, "channels/channel_full.json"},
        {"FormatterAddChannelInfo",
         Formatting([](std::string& out) { C::FormatterAddChannelInfo("A", Channels(), out); }),
         list_body(true)},
        {"FormatterRefreshChannelInfo",
         Formatting([](std::string& out) { C::FormatterRefreshChannelInfo("A", Channels(), out); }),
         list_body(true)},
        {"FormatterUpdateChannelInfo",
         Formatting([](std::string& out) { C::FormatterUpdateChannelInfo("A", Channels(), out); }),
         list_body(true)},
        {"FormatterRemoveChannelInfo",
         Formatting([](std::string& out) { C::FormatterRemoveChannelInfo("A", Channels(), out); }),
         list_body(false)},
        {"FormatterAddChannelInfo (grouped)", Formatting([](std::string& out) {
             AutonomyList servers = Members({FirstRecord(), SecondRecord()});
             servers.autonomy_list[0]->autonomy_lid = "A";
             servers.autonomy_list[1]->autonomy_lid = "B";
             C::FormatterAddChannelInfo(servers, Channels(), out);
         }),
         list_body(true)},
        {"FormatterPrivilegeInfo", Formatting([](std::string& out) {
             std::string user = "corp\\alice";
             std::string second;
             CPrivilegeJsonFormatter::FormatterPrivilegeInfo(user, second, out);
         }),
         only({""})},
        {"FormatterPrivilegeInfo (no name)", Formatting([](std::string& out) {
             std::string user;
             std::string second;
             CPrivilegeJsonFormatter::FormatterPrivilegeInfo(user, second, out);
         }),
         only({""})},
        {"FormatFisyeyeSupportFile",
         [] {
             Info info = Catalogues();
             return CFederateUtil().FormatFisyeyeSupportFile(info);
         },
         one_node_missing, "channels/fisheye_support.json"},
        {"FormatProjectionSupportFile",
         [] {
             Info info = Catalogues();
             return CFederateUtil().FormatProjectionSupportFile(info);
         },
         one_node_missing, "channels/projection_support.json"},
    };
    // The arbitrator bodies: whole, or the print-failure code with the output untouched.
    const auto whole_or_print_failed = [](const std::string&) {
        return Accepted{"0", Hex(C::kPrintFailed) + " untouched"};
    };
    const auto code = [](unsigned int result, const std::string& out) {
        return result == 0 ? std::string("0") : Hex(result) + " " + out;
    };
    cases.push_back({"FormatterCameraStatusChange", Formatting([=](std::string& out) {
                         std::string body = "untouched";
                         out = code(C::FormatterCameraStatusChange("A", Statuses(), body), body);
                     }),
                     whole_or_print_failed});
    cases.push_back({"FormatterCameraListChange", Formatting([=](std::string& out) {
                         std::string body = "untouched";
                         out = code(C::FormatterCameraListChange("A", Channels(), body), body);
                     }),
                     whole_or_print_failed});
    cases.push_back({"FormatterCameraListRefresh", Formatting([=](std::string& out) {
                         std::string body = "untouched";
                         out = code(C::FormatterCameraListRefresh("A", body), body);
                     }),
                     whole_or_print_failed});
    return cases;
}

// The adders attach a number whole, or nothing.
std::vector<Case> Adders() {
    const auto adding = [](const char* value, const std::function<bool(cJSON*)>& add) {
        return Case{std::string("adding ") + value,
                    [add] {
                        cJSON* object = cJSON_CreateObject();
                        if (object == nullptr) {
                            return std::string("no object");
                        }
                        const bool added = add(object);
                        const cJSON* number = fdr::json::GetNumber(object, "k");
                        std::string seen = std::string(added ? "added " : "not added ") +
                                           std::to_string(cJSON_GetArraySize(object));
                        if (number != nullptr) {
                            seen += " " + std::to_string(fdr::json::AsDouble(number)) + " " +
                                    fdr::json::ToDecimal(fdr::json::AsInt64(number)) + " " +
                                    fdr::json::ToDecimal(fdr::json::AsUInt64(number));
                        }
                        cJSON_Delete(object);
                        return seen;
                    },
                    [](const std::string&) {
                        return Accepted{"no object", "not added 0"};
                    }};
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
    const auto either = [](std::string not_json) {
        return [not_json](const std::string&) { return Accepted{not_json}; };
    };
    const std::string rich = [] {
        std::string text;
        construct_cahnnel_info_string(RichChannel(), text);
        return text;
    }();
    const auto escaped = [](const std::string& text) {
        Document document("{}");
        cJSON_AddItemToObject(document.root, "s", cJSON_CreateString(text.c_str()));
        const std::string printed = Print(document.root);
        return printed.substr(5, printed.size() - 6);  // the quoted string alone
    };
    const std::string channels = R"({"channel_list":[{"guid":"g1","data":)" + escaped(rich) +
                                 R"(},{"guid":"g2","data":"{\"channel_guid\":\"g2\"}"}])";
    const auto read_channels = [](std::string text) {
        return [text] {
            std::vector<std::shared_ptr<ChannelObj>> list = {Channel("old", "", "")};
            const unsigned int code = P::ParseChannelList(text.c_str(), list);
            std::string seen = Hex(code);
            for (const auto& c : list) {
                seen += " " + c->channel_guid + "/" + c->channel_name + "/" +
                        std::to_string(c->stream_info.multi_stream_list.size()) + "/" +
                        std::to_string(c->virtual_camera_list.size());
            }
            return seen;
        };
    };
    const std::string old = " old//0/0";
    const std::string g1 = " 0f5c2a9e-7b1d-4e8a-9c3f-2d6b8e1a4c70/Lobby \"East\" / Caf\xC3\xA9/2/2";
    const std::string failed = Hex(P::kChannelListError);
    return {
        {"ParseFederateSetting",
         [] {
             std::string guid = "old";
             const char text[] = R"({"serviceInfo":{"GUID":"fed-2"},"err_code":3})";
             return Hex(P::ParseFederateSetting(text, guid)) + " " + guid;
         },
         either(Hex(P::kSettingNotJson) + " old")},
        {"ParseFdrErrorCode",
         [] {
             std::string err_str = "old";
             const char text[] = R"({"autonomy_list":[],"err_code":5,"err_str":"busy"})";
             return Hex(P::ParseFdrErrorCode(text, err_str)) + " " + err_str;
         },
         either(Hex(P::kAnswerNotJson) + " old")},
        {"ParseAutonomyList",
         [] {
             std::vector<std::shared_ptr<Record>> list = {FirstRecord()};
             const char text[] =
                 R"({"autonomy_list":[{"autonomy_lid":"a","group_list":[{"id":4294967295}]},)"
                 R"({"autonomy_lid":"b"}]})";
             std::string seen = Hex(P::ParseAutonomyList(text, list));
             for (const auto& r : list) {
                 seen += " " + r->autonomy_lid + "/" + std::to_string(r->group_id);
             }
             return seen;
         },
         either(Hex(P::kAnswerNotJson) + " lid-1/3")},
        {"ParseOauthAuthLoginToken",
         [] {
             std::string access = "old";
             std::string refresh = "old";
             const char text[] = R"({"access_token":"AT","refresh_token":"RT","error":"late"})";
             return Hex(P::ParseOauthAuthLoginToken(text, access, refresh)) + " " + access + " " +
                    refresh;
         },
         either(Hex(P::kTokenNotJson) + " old old")},
        // A channel whose "data" cannot be read ends the list; those before it stay.
        {"ParseChannelList", read_channels(channels),
         [=](const std::string&) {
             return Accepted{failed + old, failed + old + g1};
         }},
        // A numeric "err_code" is the answer, even 0, even after a "data" that failed.
        {"ParseChannelList (with err_code 0)",
         read_channels(channels.substr(0, channels.size() - 1) + R"(,"err_code":0})"),
         [=](const std::string&) {
             return Accepted{failed + old, "0" + old, "0" + old + g1};
         }},
    };
}

// Where `seen` first departs from `undisturbed`, with a little context.
std::string Departure(const std::string& seen, const std::string& undisturbed) {
    size_t at = 0;
    while (at < seen.size() && at < undisturbed.size() && seen[at] == undisturbed[at]) {
        ++at;
    }
    const size_t from = at < 40 ? 0 : at - 40;
    return "at byte " + std::to_string(at) + " of " + std::to_string(seen.size()) + ":\n  " +
           seen.substr(from, 120) + "\nundisturbed:\n  " + undisturbed.substr(from, 120);
}

void Check(const Case& c) {
    SCOPED_TRACE(c.name);
    std::string undisturbed;
    const std::vector<Step> steps = Sweep(c.run, undisturbed);
    ASSERT_GT(steps.size(), 1u) << "no allocation at all";
    if (c.golden != nullptr) {
        EXPECT_EQ(undisturbed, fdrtest::ReadTestData(c.golden));
    }
    Accepted accepted = c.accepted(undisturbed);
    const bool any = accepted.count("*") != 0;
    accepted.insert(undisturbed);
    int wrong = 0;
    for (const Step& step : steps) {
        EXPECT_EQ(step.live, 0) << "after failing allocation " << step.failed;
        if (!any && accepted.count(step.seen) == 0 && ++wrong <= 3) {
            ADD_FAILURE() << "failing allocation " << step.failed << " of " << steps.size() - 1
                          << " departs " << Departure(step.seen, undisturbed);
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST(AllocationFailure, FormattersEndWithTheirPartialBodiesAndReleaseEverything) {
    for (const Case& c : Formatters()) {
        Check(c);
    }
}

TEST(AllocationFailure, ArbitratorBodiesReportTheFailedPrint) {
    const std::string printed = Hex(CChannelInfoJsonFormatter::kPrintFailed) + " untouched";
    for (const Case& c : Formatters()) {
        if (c.name.rfind("FormatterCamera", 0) == 0) {
            std::string undisturbed;
            EXPECT_EQ(Sweep(c.run, undisturbed).back().seen, printed)
                << c.name;  // the last: the text
        }
    }
}

TEST(AllocationFailure, StatusBodyCarriesEveryLiveStream) {
    std::string body;
    EXPECT_EQ(CChannelInfoJsonFormatter::FormatterCameraStatusChange("srv-lid-1", Statuses(), body),
              0u);
    EXPECT_EQ(body, fdrtest::ReadTestData("channels/status_body.json"));
}

// Failing the channel text's root object is the one way to a blank text, and it is logged.
TEST(AllocationFailure, GroupedBodyLogsAChannelLeftBlank) {
    AutonomyList servers = Members({FirstRecord()});
    servers.autonomy_list[0]->autonomy_lid = "A";
    auto log = fdrtest::WatchCenterLog();
    std::string undisturbed;
    Sweep(Formatting([&](std::string& out) {
              CChannelInfoJsonFormatter::FormatterAddChannelInfo(servers,
                                                                 {Channel("g1", "one", "A")}, out);
          }),
          undisturbed);
    EXPECT_EQ(log.NewLines(), std::vector<std::string>{"[zubrik]  guid[g1] has blank data"});
}

TEST(AllocationFailure, NumberAddersAttachWholeNumbersOrNothing) {
    for (const Case& c : Adders()) {
        Check(c);
    }
}

TEST(AllocationFailure, ParsersReadWholeDocumentsOrNoneAndReleaseEverything) {
    for (const Case& c : Parsers()) {
        Check(c);
    }
}

}  // namespace
