#include "OutcomePrinter.h"

#include <cstdint>
#include <cstdio>

#include "JsonText.h"
#include "Operations.h"
#include "RecordFiles.h"
#include "catalogue/ServiceCatalogue.h"
#include "json/JsonNumber.h"

namespace fedutil {

// ---- Result codes ----

namespace {

constexpr int kNotBuilt = -38;

}  // namespace

int ExitStatusForResult(int result) {
    if (result >= 0 && result <= 63) {
        return result;
    }
    return 1;
}

std::string HexResult(int result) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<uint32_t>(result));
    return text;
}

namespace {

// The service's error echoed by the library's parsers: "err_code : 3" (unsigned) and
// "err_str : unknown autonomy_lid 9". Empty when the console holds no matching code.
std::optional<std::string> ServiceError(int result, const std::vector<std::string>& console) {
    const std::string code = "err_code : " + std::to_string(static_cast<uint32_t>(result));
    bool found = false;
    std::string text;
    for (const auto& line : console) {
        found = found || line == code;
        if (line.rfind("err_str : ", 0) == 0) {
            text = line.substr(10);
        }
    }
    if (!found) {
        return std::nullopt;
    }
    return "the federation service's err_code " + std::to_string(result) +
           (text.empty() ? "" : ": " + text);
}

}  // namespace

std::string DescribeResult(int result, ResultKind kind, const std::vector<std::string>& console) {
    if (result == 0) {
        return "ok";
    }
    if (result == kNotBuilt) {
        return "not built in this version of the library";
    }
    const char* client = fdr::MeaningOf(fdr::kLocalClientResults, static_cast<uint32_t>(result));
    const char* parser = fdr::MeaningOf(fdr::kParserResults, static_cast<uint32_t>(result));
    switch (kind) {
        case ResultKind::AlwaysZero:
            return "unexpected: this operation is documented to return 0";
        case ResultKind::RequestCode:
            return client != nullptr ? client : "local client: unknown code";
        case ResultKind::RequestOrParser:
        case ResultKind::RequestOrServiceCode:
            if (auto service = ServiceError(result, console)) {
                return *service;
            }
            if (parser != nullptr && kind == ResultKind::RequestOrParser) {
                return parser;
            }
            if (client != nullptr) {
                return client;
            }
            return "the federation service's err_code " + std::to_string(result);
    }
    return "unknown code";
}

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;

std::string LensOf(const ChannelObj& channel) {
    const int fisheye = channel.fisheye.fisheye_type,
              projection = channel.projection.projection_type;
    return fisheye != -1     ? "fisheye " + std::to_string(fisheye)
           : projection != 0 ? "projection " + std::to_string(projection)
                             : "plain";
}

std::string AddressOf(const ChannelObj& channel) {
    const auto& network = channel.network_setting;
    const bool port = !network.lan_addr.empty() && network.lan_port != 0;
    return network.lan_addr + (port ? ":" + std::to_string(network.lan_port) : "");
}

// A heading with its count, then the table unless it is empty.
void PrintTable(std::ostream& out, const Style& style, const std::string& heading,
                const std::string& count, const TextTable& table) {
    out << '\n' << style.Paint(heading, Tone::Strong) << " (" << count << ")\n";
    if (!table.Empty()) {
        table.Print(out, style);
    }
}

void PrintMembers(std::ostream& out, const Style& style,
                  const DravoAgentData::AutonomyList& members) {
    TextTable table({"lid", "name", "address", "user", "mode", "group", "mac", "added"},
                    {false, false, false, false, false, true}, {0, 28});
    for (const auto& member : members.autonomy_list) {
        if (member) {
            table.AddRow({member->autonomy_lid, member->autonomy_lname, member->address,
                          member->username, member->server_mode, std::to_string(member->group_id),
                          member->mac, member->add_time});
        }
    }
    PrintTable(out, style, "members", Plural(members.autonomy_list.size(), "server", "servers"),
               table);
}

void PrintChannels(std::ostream& out, const Style& style, const std::string& lid,
                   const ChannelObjList& channels) {
    TextTable table({"index", "name", "guid", "camera", "lens", "address"}, {true}, {0, 28, 0, 28});
    for (const auto& channel : channels) {
        if (channel) {
            const auto& maker = channel->manufacturer;
            std::string camera = maker.camera_brand;
            camera +=
                (camera.empty() || maker.camera_model.empty() ? "" : " ") + maker.camera_model;
            table.AddRow({std::to_string(channel->channel_index), channel->channel_name,
                          channel->channel_guid, camera, LensOf(*channel), AddressOf(*channel)});
        }
    }
    PrintTable(out, style, "channels of member " + lid,
               Plural(channels.size(), "channel", "channels"), table);
}

// Every operation that produces a text takes --output.
void PrintDocument(std::ostream& out, const Style& style, const std::string& name,
                   const std::string& text) {
    const std::string heading = name + " (" + Plural(text.size(), "byte", "bytes") +
                                (text.empty() ? "" : "; --output FILE writes the exact text");
    out << '\n' << style.Paint(heading + ")", Tone::Strong) << '\n';
    if (text.empty()) {
        out << style.Paint("  (empty)", Tone::Dim) << '\n';
        return;
    }
    if (auto pretty = PrettyJsonText(text)) {
        out << *pretty << '\n';
    } else {
        out << text << (text.back() == '\n' ? "" : "\n");
        out << style.Paint("  (not valid JSON; shown exactly as produced)", Tone::Warn) << '\n';
    }
}

// The parsers echo the service's error triple on every answer; on success that says nothing.
bool OnlyServiceEcho(const std::vector<std::string>& console) {
    for (const auto& line : console) {
        if (line.rfind("err_no : ", 0) != 0 && line.rfind("err_str : ", 0) != 0 &&
            line.rfind("err_code : ", 0) != 0) {
            return false;
        }
    }
    return true;
}

void AddStrings(cJSON* object, const char* key, const std::vector<std::string>& lines) {
    cJSON* array = fdr::jsontree::AddArray(object, key);
    for (const auto& line : lines) {
        Append(array, JsonTree(cJSON_CreateString(line.c_str())));
    }
}

}  // namespace

void PrintOutcome(std::ostream& out, const Style& style, const OperationEntry& operation,
                  const OperationOutcome& outcome) {
    const bool ok = outcome.result == 0;
    out << style.Paint(operation.name, Tone::Strong) << "  result " << outcome.result << " ("
        << HexResult(outcome.result) << ")  "
        << style.Paint(DescribeResult(outcome.result, operation.result_kind, outcome.console),
                       ok ? Tone::Good : Tone::Bad)
        << '\n';

    if (!outcome.texts.empty()) {
        TextTable texts({"output", "value"});
        for (const auto& [name, value] : outcome.texts) {
            texts.AddRow({name, value.empty() ? Cell("(empty)", Tone::Dim) : Cell(value)});
        }
        out << '\n';
        texts.Print(out, style);
    }
    // An empty list after a failure says nothing the result line has not said.
    if (outcome.members && (ok || !outcome.members->autonomy_list.empty())) {
        PrintMembers(out, style, *outcome.members);
    }
    if (outcome.channels && (ok || !outcome.channels->empty())) {
        PrintChannels(out, style, outcome.channels_lid, *outcome.channels);
    }
    if (outcome.document) {
        PrintDocument(out, style, outcome.document_name, *outcome.document);
    }
    if (!outcome.notes.empty()) {
        out << '\n';
        for (const auto& note : outcome.notes) {
            out << style.Paint("note: " + note, Tone::Warn) << '\n';
        }
    }
    if (!outcome.console.empty() &&
        (!ok || !outcome.notes.empty() || !OnlyServiceEcho(outcome.console))) {
        out << '\n' << style.Paint("library console", Tone::Strong) << '\n';
        for (const auto& line : outcome.console) {
            out << "  " << style.Paint(line, Tone::Dim) << '\n';
        }
    }
}

std::string OutcomeJson(const OperationEntry& operation, const OperationOutcome& outcome,
                        const std::string& library_path) {
    JsonTree root = JsonTree(cJSON_CreateObject());
    AddText(root.get(), "operation", operation.name);
    AddText(root.get(), "library", library_path);
    fdr::jsontree::AddInt32(root.get(), "result", outcome.result);
    AddText(root.get(), "result_hex", HexResult(outcome.result));
    AddText(root.get(), "meaning",
            DescribeResult(outcome.result, operation.result_kind, outcome.console));
    fdr::jsontree::AddInt32(root.get(), "exit_status", ExitStatusForResult(outcome.result));

    cJSON* outputs = fdr::jsontree::AddObject(root.get(), "outputs");
    for (const auto& [name, value] : outcome.texts) {
        AddText(outputs, name.c_str(), value);
    }
    if (outcome.members) {
        Add(outputs, "members", MemberListJson(*outcome.members));
    }
    if (outcome.channels) {
        Add(outputs, "channels", ChannelListJson(outcome.channels_lid, *outcome.channels));
    }
    if (outcome.document) {
        AddText(outputs, outcome.document_name.c_str(), *outcome.document);
    }
    AddStrings(root.get(), "notes", outcome.notes);
    AddStrings(root.get(), "library_console", outcome.console);
    return PrettyJson(root.get()) + "\n";
}

}  // namespace fedutil
