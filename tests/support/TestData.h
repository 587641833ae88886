// Golden texts kept as data files under tests/data, compared whole.
#pragma once

#include <string>

namespace fdrtest {

// The content of tests/data/<relative_path>, without a trailing line end (so that editors which
// add one do not change the golden text). A missing file is a test failure.
std::string ReadTestData(const std::string& relative_path);

}  // namespace fdrtest
