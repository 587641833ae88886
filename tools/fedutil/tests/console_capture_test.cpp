// The library's console lines are kept apart from fedutil's own output, and standard output is
// always given back.
#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "ConsoleCapture.h"

namespace fedutil {
namespace {

TEST(ConsoleCapture, TakesPrintfAndStreamLinesWithoutCarriageReturns) {
    ConsoleCapture outer;
    std::vector<std::string> inner_lines;
    {
        ConsoleCapture inner;
        std::printf("\r[error]n_ret=%d\n", 3);
        std::cout << "err_code : 4294967295" << std::endl;
        std::printf("\n\nno line end");
        inner_lines = inner.Finish();
    }
    // The inner capture gave standard output back to the outer one.
    std::printf("after\n");
    const std::vector<std::string> outer_lines = outer.Finish();
    EXPECT_EQ(inner_lines,
              (std::vector<std::string>{"[error]n_ret=3", "err_code : 4294967295", "no line end"}));
    EXPECT_EQ(outer_lines, std::vector<std::string>{"after"});
}

TEST(ConsoleCapture, GivesStandardOutputBackWhenTheCallThrows) {
    ConsoleCapture outer;
    try {
        ConsoleCapture inner;
        std::printf("lost\n");
        throw std::runtime_error("raised by the operation");
    } catch (const std::runtime_error&) {
    }
    std::printf("kept\n");
    EXPECT_EQ(outer.Finish(), std::vector<std::string>{"kept"});
}

}  // namespace
}  // namespace fedutil
