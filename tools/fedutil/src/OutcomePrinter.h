// What an operation produced, printed for a reader (aligned tables) or as JSON.
#pragma once

#include <ostream>
#include <string>

#include "Operations.h"
#include "TextTable.h"

namespace fedutil {

// The result line, then the outputs: texts, member and channel tables, the produced text
// (indented JSON when it is JSON, otherwise as it is), fedutil's notes and the library's
// console lines.
void PrintOutcome(std::ostream& out, const Style& style, const OperationSpec& operation,
                  const OperationOutcome& outcome);

// {"operation","library","result","result_hex","meaning","exit_status","outputs","notes",
//  "library_console"}; member and channel outputs in the formats the record files use.
std::string OutcomeJson(const OperationSpec& operation, const OperationOutcome& outcome,
                        const std::string& library_path);

// Writes `text` to `path` exactly. Throws OutputError.
void WriteOutputFile(const std::string& path, const std::string& text);

}  // namespace fedutil
