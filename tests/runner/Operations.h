// The operations of CFederateUtil that case files call, by name.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "FederateUtil/CFederateUtil.h"

namespace fdrcase {

// The arguments a case gives (text, or records as JSON in the services' formats) and the outputs
// the call leaves, as text. An argument given several times goes to the calls in turn, the last
// one repeating.
struct CallData {
    std::map<std::string, std::vector<std::string>> args;
    size_t call = 0;  // the call being made, from 0
    std::map<std::string, std::string> outputs;
    const std::string& Arg(const std::string& name) const;  // throws when the case lacks it
    std::string Arg(const std::string& name, const std::string& fallback) const;
};

using Operation = std::function<int(CFederateUtil&, CallData&)>;

// The named operation; throws std::out_of_range for an unknown name.
const Operation& OperationNamed(const std::string& name);

}  // namespace fdrcase
