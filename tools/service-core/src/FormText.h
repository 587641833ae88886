// Percent-encoded text as requests carry it: paths, queries and form bodies.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace fdrsim {

using FormFields = std::vector<std::pair<std::string, std::string>>;

// "%41" becomes "A"; a "%" not followed by two hex digits stays as it is.
std::string PercentDecode(const std::string& text, bool plus_is_space);
// The fields of a form body or a query in their order, percent-decoded ("+" is a space).
FormFields ParseForm(const std::string& text);
// The decoded query of a request target ("/path?a=1"), in wire order.
FormFields DecodeQuery(const std::string& target);

}  // namespace fdrsim
