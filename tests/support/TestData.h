// Golden texts kept as data files under tests/data, compared whole.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace fdrtest {

// The content of tests/data/<relative_path>, without a trailing line end (so that editors which
// add one do not change the golden text). A missing file is a test failure.
inline std::string ReadTestData(const std::string& relative_path) {
    std::ifstream in(std::string(FDR_TEST_DATA_DIR) + "/" + relative_path, std::ios::binary);
    EXPECT_TRUE(in.good()) << "missing test data file " << relative_path;
    std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) {
        content.pop_back();
    }
    return content;
}

}  // namespace fdrtest
