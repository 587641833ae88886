// fedutil, the command-line host of libfederateutil.so.1: what its parts offer one another.
// Each section names the .cpp file that holds the part.
#pragma once

#include <json/json.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "FederateUtil.h"
#include "catalogue/ServiceCatalogue.h"
#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"
#include "federateutil/Interfaces.h"
#include "json/JsonTree.h"

namespace fedutil {

// ---- Failures: each ends a run with its own exit status ----

// Exit statuses besides the operation's own result (0..63).
inline constexpr int kExitUsage = 64;        // bad command line
inline constexpr int kExitNoInput = 66;      // an input file cannot be read or is not usable
inline constexpr int kExitUnavailable = 69;  // the library (or the simulator) cannot be loaded
inline constexpr int kExitSoftware = 70;     // the operation raised an exception
inline constexpr int kExitCantCreate = 73;   // an output file cannot be written

class Failure : public std::runtime_error {
  public:
    Failure(const std::string& message, int exit_status)
        : std::runtime_error(message), status(exit_status) {}
    int status;
};

// The command line is wrong: unknown command or option, missing or malformed value.
struct UsageError : Failure {
    explicit UsageError(const std::string& message) : Failure(message, kExitUsage) {}
};
// An input file cannot be read or does not hold what the command needs. The message names the
// file and, where it can, the place in it.
struct InputError : Failure {
    explicit InputError(const std::string& message) : Failure(message, kExitNoInput) {}
};
// libfederateutil.so.1 (or the simulator the demo needs) cannot be loaded or started.
struct UnavailableError : Failure {
    explicit UnavailableError(const std::string& message) : Failure(message, kExitUnavailable) {}
};
// An output file cannot be written.
struct OutputError : Failure {
    explicit OutputError(const std::string& message) : Failure(message, kExitCantCreate) {}
};

// ---- Result codes (OutcomePrinter): what an operation's result means, and the exit status made of
// it ----

enum class ResultKind {
    AlwaysZero,            // by design; the caller checks the output instead
    RequestCode,           // the local client's code
    RequestOrParser,       // the local client's code, a parser code or the service's err_code
    RequestOrServiceCode,  // the local client's code or the service's err_code
};

// 0 for 0, the value for 1..63, 1 for any other result (negative ones included).
int ExitStatusForResult(int result);

// "0xD3020100": the result's 32 bits.
std::string HexResult(int result);

// A short explanation of `result` for an operation whose results are of `kind`: "ok",
// "local client: transport failure (refused, reset or timed out)", ... `console` is what the
// library printed during the call: its parsers echo the service's error triple there, which
// tells the service's own err_code apart from the local client's code of the same value.
std::string DescribeResult(int result, ResultKind kind,
                           const std::vector<std::string>& console = {});

// ---- TextTable: aligned text for the terminal, coloured only on a terminal ----

enum class Tone { Plain, Good, Bad, Warn, Dim, Strong };

class Style {
  public:
    explicit Style(bool colour) : colour_(colour) {}
    // Colour when `fd` is a terminal, NO_COLOR is unset and TERM is not "dumb".
    static Style ForDescriptor(int fd);

    std::string Paint(const std::string& text, Tone tone) const;

  private:
    bool colour_;
};

// Width on a terminal: UTF-8 code points, one column each.
size_t DisplayWidth(const std::string& text);
// `text` cut to `width` columns, ending in "…" when it was longer.
std::string Ellipsize(const std::string& text, size_t width);
// "1 member", "3 members".
std::string Plural(size_t count, const char* one, const char* many);

struct Cell {
    Cell(std::string text = std::string(), Tone tone = Tone::Plain)
        : text(std::move(text)), tone(tone) {}
    Cell(const char* text, Tone tone = Tone::Plain) : text(text), tone(tone) {}
    std::string text;
    Tone tone;
};

class TextTable {
  public:
    // The columns `right` are aligned right; cells wider than their column's `limits` (0 for
    // none) are cut with "…".
    explicit TextTable(std::vector<std::string> headers, std::vector<bool> right = {},
                       std::vector<size_t> limits = {});
    void AddRow(std::vector<Cell> row);
    bool Empty() const { return rows_.empty(); }

    // Header in bold, then the rows; columns two spaces apart; the last column is not padded.
    void Print(std::ostream& out, const Style& style) const;

  private:
    std::vector<std::string> headers_;
    std::vector<bool> right_;
    std::vector<size_t> limits_;
    std::vector<std::vector<Cell>> rows_;
};

// One table row, indented by two spaces: the cells padded to `widths` (on the left where
// `right`), two spaces apart, the last one not padded, no trailing blanks.
std::string TableLine(const Style& style, const std::vector<Cell>& cells,
                      const std::vector<size_t>& widths, const std::vector<bool>& right);

// ---- CommandLine: fedutil [--library PATH] [--json] COMMAND [OPTIONS] ----
// Options take their value as the next argument or after "=" (--lid=3). Global options may
// stand before or after the command.

struct CommandOption {
    const char* name;        // "--lid"
    const char* value_name;  // "LID"; null for an option without a value
    const char* help;
    bool required = false;
};

struct CommandLine {
    std::string command;  // as typed; "" when none was given
    std::string topic;    // "fedutil help TOPIC"
    std::string library;  // --library
    bool json = false;
    bool help = false;
    bool version = false;
    std::map<std::string, std::string> values;
    std::set<std::string> flags;

    bool Has(const std::string& name) const { return values.count(name) != 0; }
    bool Flag(const std::string& name) const { return flags.count(name) != 0; }
    // The value of `name`; UsageError "COMMAND needs --lid" when it was not given.
    const std::string& Required(const char* name) const;
    // The value of `name`, or `fallback`.
    std::string ValueOr(const std::string& name, const std::string& fallback) const;
};

// The options of a command; null for an unknown command.
using CommandOptions = std::function<const std::vector<CommandOption>*(const std::string& command)>;

// Parses the arguments after the program name. Throws UsageError for an unknown command or
// option, a missing value or required option (unless --help is given), an option given twice or
// an unexpected argument.
CommandLine ParseCommandLine(const std::vector<std::string>& args, const CommandOptions& options);

// The options every command accepts.
const std::vector<CommandOption>& GlobalOptions();

// ---- ConsoleCapture (Operations) ----
// The library writes its diagnostics ("\r[error]n_ret=3", "err_code : 0") to standard output.
// fedutil keeps them apart from its own output: while a capture is alive, file descriptor 1
// goes to a temporary file, and the lines are handed back when it ends.
class ConsoleCapture {
  public:
    ConsoleCapture();
    // Restores standard output if Finish was not called (an exception left the call).
    ~ConsoleCapture() { Finish(); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    // Restores standard output and returns what was written, one entry per non-empty line,
    // carriage returns removed.
    std::vector<std::string> Finish();

  private:
    std::FILE* file_ = nullptr;
    int saved_stdout_ = -1;
};

// ---- JSON output (OutcomePrinter): trees built with the library's own helpers, so that keys keep
// their order and 64-bit numbers stay exact ----

using JsonTree = fdr::jsontree::Tree;
using fdr::jsontree::AddText;

// Attaches `tree` under `key` (which must outlive `object`) or into `array`.
inline void Add(cJSON* object, const char* key, JsonTree tree) {
    fdr::jsontree::Attach(object, key, tree.release());
}
inline void Append(cJSON* array, JsonTree item) {
    if (cJSON_AddItemToArray(array, item.get())) {
        item.release();
    }
}

// One line, no spaces.
std::string CompactJson(const cJSON* tree);
// Objects one member a line, two spaces a level; arrays of a few plain values stay on one line.
std::string PrettyJson(const cJSON* tree);
// PrettyJson of `text` when it is JSON.
std::optional<std::string> PrettyJsonText(const std::string& text);

// ---- RecordFiles: records in the local services' JSON formats, read from files and printed
// back in the same formats, so that what fedutil prints can be fed back to it. Every reader
// throws InputError with the file name and the place of the problem; "-" is standard input.
// docs/fedutil.md shows each format. ----

// The whole content of `path`; "-" is standard input. Throws InputError naming the file.
std::string ReadInputText(const std::string& path);

// Parses `text` as one JSON value, strictly; `source` names it in messages
// ("members.json:3:14: ..."). Throws InputError.
Json::Value ParseJsonInput(const std::string& text, const std::string& source);

// {"autonomy_list":[{<"/fdr/Autonomies" element>, <further record members by name>}, ...]}.
DravoAgentData::AutonomyList ReadMemberFile(const std::string& path);

// {"channel_list":[{"guid","name","data"}, ...]} (the "/fdr/CmsChannel" answer; "autonomy_lid"
// beside "channel_list" names the owner) or {"autonomy_list":[{"autonomy_lid","channel_list"}]}.
// "data" is the channel's JSON text, or the channel as an object; without it the entry's guid
// and name make the channel. An entry's own "owner_lid" overrides its group's lid.
ChannelObjList ReadChannelFile(const std::string& path);

// {"channel_status_list":[{"channel_guid","channel_index","living_status":[...],
//  "recorded_statistic":{...}}, ...]}.
ChannelStatusObjList ReadChannelStatusFile(const std::string& path);

// {"lid","lname","username","password","address","group"}.
FederateBoxType::AutonomyInfo ReadAutonomyInfoFile(const std::string& path);

// {"FishEyeParameterTable":[...], "ProjectionTable":[...]}: the two support files' own shapes,
// either or both. `source` names `root` in messages.
DravoAgentData::DravoServerInfo ReadLensCatalogueFile(const std::string& path);
DravoAgentData::DravoServerInfo ReadLensCatalogue(const Json::Value& root,
                                                  const std::string& source);

// {"autonomy_list":[...]}: the service's keys, then the host's members that differ from the
// record's defaults.
JsonTree MemberListJson(const DravoAgentData::AutonomyList& members);

// {"autonomy_lid":<lid>,"channel_list":[{"guid","name","data":"<channel text>"}]}. "data" is
// the channel's text as the library sends it, except that virtual cameras are objects (the
// library's text flattens them into bare values, which no reader takes back).
JsonTree ChannelListJson(const std::string& lid, const ChannelObjList& channels);

// ---- Operations: the federation interface's operations as fedutil commands ----

// What one run of an operation produced.
struct OperationOutcome {
    int result = 0;
    std::vector<std::pair<std::string, std::string>> texts;  // named text outputs, in order
    std::optional<DravoAgentData::AutonomyList> members;
    std::optional<ChannelObjList> channels;
    std::string channels_lid;
    std::optional<std::string> document;  // a text the operation built or received, exactly
    std::string document_name;            // "body", "support_file", "result"
    std::vector<std::string> console;     // what the library wrote to standard output
    std::vector<std::string> notes;       // fedutil's remarks on the outputs
};

// What an operation needs to run: its command line and, on first use, the loaded library.
class OperationContext {
  public:
    OperationContext(const CommandLine& line, std::function<ICentralizedServer&()> federation)
        : line_(line), federation_(std::move(federation)) {}

    const CommandLine& Line() const { return line_; }

    // Loads the library if needed, then runs `call` on it with the library's console output
    // captured into `outcome.console`. Returns what `call` returns.
    template <typename Call>
    auto Invoke(OperationOutcome& outcome, Call&& call) {
        ICentralizedServer& federation = federation_();
        ConsoleCapture capture;
        auto result = call(federation);
        outcome.console = capture.Finish();
        return result;
    }

  private:
    const CommandLine& line_;
    std::function<ICentralizedServer&()> federation_;
};

// The request an operation makes, as its help states it.
struct OperationRequest {
    std::string text;                              // "PUT /autonomy_changed to the arbitrator ..."
    const fdr::LocalEndpoint* endpoint = nullptr;  // null for none
};

struct OperationEntry {
    const char* name;     // the interface's own name
    const char* summary;  // one line
    OperationRequest sends;
    const char* result;  // how to read the result
    ResultKind result_kind;
    std::vector<CommandOption> options;
    std::function<OperationOutcome(OperationContext&)> run;
};

// The 30 operations, in the interface's order.
const std::vector<OperationEntry>& AllOperations();

// The operation that `typed` names, ignoring case, "-" and "_": "LoadFdrChannelSetting",
// "loadfdrchannelsetting", "load-fdr-channel-setting". Null when none does.
const OperationEntry* FindOperation(const std::string& typed);

// ---- OutcomePrinter: what an operation produced, for a reader or as JSON ----

// The result line, then the outputs: texts, member and channel tables, the produced text
// (indented JSON when it is JSON, otherwise as it is), fedutil's notes and the library's
// console lines.
void PrintOutcome(std::ostream& out, const Style& style, const OperationEntry& operation,
                  const OperationOutcome& outcome);

// {"operation","library","result","result_hex","meaning","exit_status","outputs","notes",
//  "library_console"}; member and channel outputs in the formats the record files use.
std::string OutcomeJson(const OperationEntry& operation, const OperationOutcome& outcome,
                        const std::string& library_path);

// ---- FederationLibrary: libfederateutil.so.1 loaded as a recording server loads it: dlopen,
// the factory, and QueryInterface for the federation interface ----

class FederationLibrary {
  public:
    // Loads `path`, or when it is empty "<exe dir>/<build tree>/libfederateutil.so.1",
    // "<exe dir>/<installed lib dir>/...", then the plain soname. Throws UnavailableError saying
    // what was tried and why it failed. The library is never unloaded, as a recording server
    // never unloads it.
    static FederationLibrary Load(const std::string& path);

    ICentralizedServer& Federation() const { return *federation_; }
    // The file that was loaded, as the dynamic loader resolved it.
    const std::string& Path() const { return path_; }

  private:
    FederationLibrary(std::string path, ICentralizedServer* federation)
        : path_(std::move(path)), federation_(federation) {}

    std::string path_;
    ICentralizedServer* federation_;
};

// The folder of the running executable (from /proc/self/exe); "" when unknown.
std::string ExecutableDirectory();

// ---- SimulatorProcess: the local-services simulator as the demo runs it ----

// True when something accepts connections on the federation service's main port on 127.0.0.1.
bool FederationServiceAnswers();

// `explicit_path` when given (it must exist), else "<exe dir>/../fdr-sim/fdr-sim" of the build
// tree, "<exe dir>/fdr-sim", then the first fdr-sim on PATH. Throws UnavailableError.
std::string FindSimulator(const std::string& explicit_path);

class SimulatorProcess {
  public:
    // Starts `program --quiet --transcript <folder>/transcript.jsonl --ready-file ...` and waits
    // at most `timeout` for the ready file. Throws UnavailableError with the simulator's own
    // message when it exits first, or when it does not get ready in time. Unless `may_outlive`,
    // the simulator ends with fedutil however fedutil ends.
    static std::unique_ptr<SimulatorProcess> Start(const std::string& program,
                                                   const std::string& folder,
                                                   std::chrono::milliseconds timeout,
                                                   bool may_outlive);
    ~SimulatorProcess() { Stop(); }
    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    // SIGTERM, then SIGKILL if it has not ended within five seconds. Idempotent.
    void Stop();
    // Leaves the simulator running after fedutil ends (started with `may_outlive`).
    void Leave() { pid_ = -1; }

    pid_t Pid() const { return pid_; }
    const std::string& TranscriptPath() const { return transcript_; }
    // The port of its control API and console, from the ready file; 0 when it names none.
    int AdminPort() const { return admin_port_; }

  private:
    SimulatorProcess(pid_t pid, std::string transcript)
        : pid_(pid), transcript_(std::move(transcript)) {}

    pid_t pid_;
    std::string transcript_;
    int admin_port_ = 0;
};

// ---- DemoSession: `fedutil demo`, a recording server's session played through the library
// against the simulator, each step judged by what it is documented to do and by what the
// services received ----

const std::vector<CommandOption>& DemoOptions();

// Runs the whole demo for `line` (fedutil demo ...) and returns the exit status.
int RunDemo(const CommandLine& line);

}  // namespace fedutil
