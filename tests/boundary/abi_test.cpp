// The binary interface of the built library against the checked-in files of abi/: the exported
// symbols, abidiff's view of the library and of the public types, the soname. When a change is
// intended, abi/update regenerates the files (abi/README.md).
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace {

struct CommandResult {
    int status = -1;  // exit status, -1 when the command could not run
    std::string output;
};

CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        result.output.append(buffer, n);
    }
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

bool ToolInstalled(const char* tool) {
    return RunCommand(std::string("command -v ") + tool + " >/dev/null").status == 0;
}

const std::string kAbiDir = FEDERATEUTIL_ABI_DIR;
const char kUpdateHint[] = "\nIf the change is intended, run abi/update and commit abi/.";

TEST(BinaryInterface, ExportsExactlyTheCheckedInSymbolsInOneVersionUnderItsSoname) {
    const CommandResult nm =
        RunCommand(std::string("nm -D --defined-only --demangle ") + FEDERATEUTIL_LIBRARY_FILE);
    ASSERT_EQ(nm.status, 0) << nm.output;
    // "<address> <type> <demangled name>@@<version>"; the version node itself has type A.
    std::set<std::string> exported;
    std::istringstream lines(nm.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            continue;
        }
        const size_t type = line.find(' ') + 1;
        const std::string symbol = line.substr(type + 2);
        if (line.compare(type, 2, "A ") == 0) {
            EXPECT_EQ(symbol, "FEDERATEUTIL_1");
            continue;
        }
        const size_t at = symbol.find('@');
        EXPECT_EQ(at == std::string::npos ? "" : symbol.substr(at), "@@FEDERATEUTIL_1") << symbol;
        exported.insert(symbol.substr(0, at));
    }

    std::ifstream file(kAbiDir + "/exported-symbols.txt");
    std::set<std::string> listed;
    for (std::string line; std::getline(file, line);) {
        listed.insert(line);
    }
    ASSERT_FALSE(listed.empty()) << "cannot read " << kAbiDir << "/exported-symbols.txt";
    EXPECT_EQ(exported, listed) << kUpdateHint;

    const CommandResult dynamic =
        RunCommand(std::string("readelf -d ") + FEDERATEUTIL_LIBRARY_FILE);
    EXPECT_NE(dynamic.output.find("Library soname: [libfederateutil.so.1]"), std::string::npos)
        << dynamic.output;
    EXPECT_STREQ(FEDERATEUTIL_SONAME, "libfederateutil.so.1");
}

// The library itself covers the exported functions and CRestConnectInfo's layout; the probe, which
// names every record and interface, covers their layouts and the interfaces' virtual tables (the
// library exports none of them, so abidiff sees them only there).
TEST(BinaryInterface, MatchesTheAbiBaselines) {
    if (!ToolInstalled("abidiff")) {
        GTEST_SKIP() << "abidiff is not installed (Debian package abigail-tools); the ABI "
                        "baselines in abi/ were not compared";
    }
    const struct {
        const char* baseline;
        const char* binary;
    } cases[] = {
        {"libfederateutil.abi", FEDERATEUTIL_LIBRARY_FILE},
        {"public-types.abi", FEDERATEUTIL_ABI_PROBE_FILE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.binary);
        // Without debug information abidiff would only compare symbol names.
        const CommandResult sections = RunCommand(std::string("readelf -S ") + c.binary);
        ASSERT_NE(sections.output.find(".debug_info"), std::string::npos)
            << c.binary << " has no debug information: build with -g (RelWithDebInfo or Debug)";

        // Exit status: 0 same interface; bit 4 a change, bit 8 an incompatible change; 1 and 2
        // are abidiff's own errors.
        const CommandResult diff = RunCommand("abidiff --exported-interfaces-only " + kAbiDir +
                                              "/" + c.baseline + " " + c.binary + " 2>&1");
        EXPECT_EQ(diff.status, 0) << "abidiff " << c.baseline << " " << c.binary << " (exit status "
                                  << diff.status << "):\n"
                                  << diff.output << kUpdateHint;
    }
}

}  // namespace
