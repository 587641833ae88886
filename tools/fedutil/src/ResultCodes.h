// What an operation's result means, and the exit status fedutil makes of it.
#pragma once

#include <string>
#include <vector>

namespace fedutil {

// How an operation's result is to be read.
enum class ResultKind {
    AlwaysZero,            // by design; the caller checks the output instead
    RequestCode,           // the local client's code
    RequestOrParser,       // the local client's code, a parser code or the service's err_code
    RequestOrServiceCode,  // the local client's code or the service's err_code
    Text,                  // the operation returns text, not a status
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

}  // namespace fedutil
