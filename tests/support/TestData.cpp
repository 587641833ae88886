#include "support/TestData.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace fdrtest {

std::string ReadTestData(const std::string& relative_path) {
    std::ifstream in(std::string(FDR_TEST_DATA_DIR) + "/" + relative_path, std::ios::binary);
    EXPECT_TRUE(in.good()) << "missing test data file " << relative_path;
    std::ostringstream text;
    text << in.rdbuf();
    std::string content = text.str();
    while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) {
        content.pop_back();
    }
    return content;
}

}  // namespace fdrtest
