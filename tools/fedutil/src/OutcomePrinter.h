// What an operation produced, for a reader or as JSON, and what its result means.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "TextTable.h"

namespace fedutil {

struct OperationEntry;
struct OperationOutcome;

// ---- Result codes: what an operation's result means, and the exit status made of it ----

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

// ---- Outcomes ----

// The result line, then the outputs: texts, member and channel tables, the produced text
// (indented JSON when it is JSON, otherwise as it is), fedutil's notes and the library's
// console lines.
void PrintOutcome(std::ostream& out, const Style& style, const OperationEntry& operation,
                  const OperationOutcome& outcome);

// {"operation","library","result","result_hex","meaning","exit_status","outputs","notes",
//  "library_console"}; member and channel outputs in the formats the record files use.
std::string OutcomeJson(const OperationEntry& operation, const OperationOutcome& outcome,
                        const std::string& library_path);

}  // namespace fedutil
