// Golden texts kept as data files under tests/data, compared whole.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/Files.h"

namespace fdrtest {

// The content of tests/data/<relative_path>, without a trailing line end (so that editors which
// add one do not change the golden text). A missing file is a test failure.
inline std::string ReadTestData(const std::string& relative_path) {
    const std::string path = std::string(FDR_TEST_DATA_DIR) + "/" + relative_path;
    EXPECT_TRUE(std::ifstream(path).good()) << "missing test data file " << relative_path;
    std::string content = ReadFile(path);
    while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) {
        content.pop_back();
    }
    return content;
}

}  // namespace fdrtest
