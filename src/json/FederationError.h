// The federation service's error triple ("err_no", "err_str", "err_code"), shared by its answers.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

namespace fdr {

// Prints the triple of `root` to standard output as the diagnostics "err_no : <text>",
// "err_str : <text>" and "err_code : <unsigned 32-bit value>", one line each, for the keys that
// are present with the right type (strings; a number for "err_code"). A string "err_str" is also
// copied into *err_str when that is not null. Returns true and sets `code` (the 32-bit
// truncation of the exact value) when "err_code" is a number; false leaves `code` alone.
bool ReportFederationError(const cJSON* root, std::string* err_str, uint32_t& code);

}  // namespace fdr
