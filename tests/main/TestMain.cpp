// Test entry point: gives every test process log files of its own, so that tests running in
// parallel never read each other's log lines.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    const char* root = std::getenv("FDR_LOG_ROOT");
    std::string base = (root != nullptr && *root != '\0') ? root : "/tmp/federateutil-tests";
    std::string own = base + "/pid-" + std::to_string(getpid());
    setenv("FDR_LOG_ROOT", own.c_str(), 1);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
