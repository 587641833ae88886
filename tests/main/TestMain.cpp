// Test entry point: gives every test process log files of its own.
#include <gtest/gtest.h>

#include "support/LogFiles.h"

int main(int argc, char** argv) {
    fdrtest::UseOwnLogRoot();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
