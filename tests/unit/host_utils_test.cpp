// The reference host utilities: capped log files under FDR_LOG_ROOT and the domain-account rule.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/host_utils.h"
#include "support/Files.h"
#include "support/Text.h"
#include "support/Threads.h"

namespace fs = std::filesystem;

namespace {

// Every test logs to "/hostutil/<test>/..." below the process's own log root (main/TestMain.cpp).
class HostUtilLogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        root_ = std::getenv("FDR_LOG_ROOT");
        folder_ = std::string("/hostutil/") +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name();
        fs::remove_all(root_ + folder_);
    }
    // The path as handed to the library, and where it really lands.
    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    fs::path real(const std::string& name) const { return root_ + path(name); }

    std::string root_, folder_;
};

TEST_F(HostUtilLogTest, AppendsExactLinesCreatingFolders) {
    const std::string log = path("deep/er/a.log");
    EXPECT_EQ(0, log_File_Debug_s(log.c_str(), 1000, "value %d of %s", 5, "x"));
    EXPECT_EQ(0, log_File_Debug_s(log.c_str(), 1000, "ends in newline\n"));
    EXPECT_EQ(0, log_File_Debug_s(log.c_str(), 1000, "%s", ""));
    EXPECT_EQ("value 5 of x\nends in newline\n\n", fdrtest::ReadFile(real("deep/er/a.log")));

    const std::string long_text(100000, 'L');  // beyond any stack buffer
    EXPECT_EQ(0, log_File_Debug_s(path("long.log").c_str(), 1 << 20, "<%s>", long_text.c_str()));
    EXPECT_EQ("<" + long_text + ">\n", fdrtest::ReadFile(real("long.log")));
}

TEST_F(HostUtilLogTest, RotatesToBackupAtTheCap) {
    const std::string log = path("r.log");
    // 33-byte lines under a 100-byte cap: three fill 99 bytes, a fourth must rotate.
    auto line = [](int i) { return std::string(32, static_cast<char>('a' + i)) + "\n"; };
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(0, log_File_Debug_s(log.c_str(), 100, "%s", line(i).c_str()));
        EXPECT_LE(fs::file_size(real("r.log")), 100u);
    }
    EXPECT_EQ(line(3) + line(4) + line(5), fdrtest::ReadFile(real("r.log.1")));
    EXPECT_EQ(line(6), fdrtest::ReadFile(real("r.log")));

    // An oversized line still goes into a fresh file; the previous content becomes the backup.
    const std::string big(150, 'B');
    EXPECT_EQ(0, log_File_Debug_s(log.c_str(), 100, "%s", big.c_str()));
    EXPECT_EQ(big + "\n", fdrtest::ReadFile(real("r.log")));
    EXPECT_EQ(line(6), fdrtest::ReadFile(real("r.log.1")));
    EXPECT_EQ(0, log_File_Debug_s(path("big.log").c_str(), 100, "%s", big.c_str()));
    EXPECT_FALSE(fs::exists(real("big.log.1")));

    // A line that fills the file exactly to the cap still fits.
    EXPECT_EQ(0, log_File_Debug_s(path("exact.log").c_str(), 100, "%s", line(0).c_str()));
    EXPECT_EQ(0, log_File_Debug_s(path("exact.log").c_str(), 100, "%066d", 0));
    EXPECT_EQ(100u, fs::file_size(real("exact.log")));
    EXPECT_FALSE(fs::exists(real("exact.log.1")));
}

TEST_F(HostUtilLogTest, ConcurrentWritersNeverInterleave) {
    const std::string log = path("c.log");
    const auto line = [](int t, int i) {
        return "writer " + std::to_string(t) + " line " + std::to_string(i) + " " +
               std::string(40 + i % 50, static_cast<char>('a' + t));
    };
    std::multiset<std::string> written;
    for (int t = 0; t < 4; ++t) {
        for (int i = 0; i < 200; ++i) {
            written.insert(line(t, i));
        }
    }
    fdrtest::OnThreads(4, [&log, &line](int t) {
        for (int i = 0; i < 200; ++i) {
            log_File_Debug_s(log.c_str(), 1 << 24, "%s", line(t, i).c_str());
        }
    });
    const auto lines = fdrtest::Lines(fdrtest::ReadFile(real("c.log")));
    EXPECT_TRUE(std::multiset<std::string>(lines.begin(), lines.end()) == written);
}

TEST_F(HostUtilLogTest, FailuresAreReportedNotFatal) {
    // A regular file where a folder should be: neither the folder nor the log can be made.
    ASSERT_EQ(0, log_File_Debug_s(path("blocker").c_str(), 100, "x"));
    EXPECT_EQ(-1, log_File_Debug_s(path("blocker/sub/x.log").c_str(), 100, "lost"));
    EXPECT_EQ(-1, log_File_Debug_s(nullptr, 100, "lost"));
    const char* no_format = nullptr;
    // A null format on purpose; hardened builds reject a non-literal format otherwise.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    EXPECT_EQ(-1, log_File_Debug_s(path("n.log").c_str(), 100, no_format));
#pragma GCC diagnostic pop
    EXPECT_FALSE(fs::exists(real("n.log")));
}

TEST_F(HostUtilLogTest, WithoutRootThePathIsUsedAsGiven) {
    const std::string saved = root_;
    ::unsetenv("FDR_LOG_ROOT");
    const std::string absolute = root_ + path("plain.log");
    const int rc = log_File_Debug_s(absolute.c_str(), 100, "as given");
    ::setenv("FDR_LOG_ROOT", saved.c_str(), 1);
    EXPECT_EQ(0, rc);
    EXPECT_EQ("as given\n", fdrtest::ReadFile(absolute));
}

mode_t ModeOf(const fs::path& file) {
    struct stat st {};
    return ::lstat(file.c_str(), &st) == 0 ? st.st_mode & 07777 : 07777;
}

// Counts the lines of `text` that hold `what`.
long LinesWith(const std::string& text, const std::string& what) {
    const auto lines = fdrtest::Lines(text);
    return std::count_if(lines.begin(), lines.end(), [&what](const std::string& line) {
        return line.find(what) != std::string::npos;
    });
}

TEST_F(HostUtilLogTest, NewLogsAndTheirFoldersArePrivateWhateverTheUmask) {
    const mode_t saved = ::umask(0);
    const int rc = log_File_Debug_s(path("new/sub/p.log").c_str(), 100, "secret");
    ::umask(saved);
    ASSERT_EQ(0, rc);
    EXPECT_EQ(0700u, ModeOf(root_ + folder_));
    EXPECT_EQ(0700u, ModeOf(real("new")));
    EXPECT_EQ(0700u, ModeOf(real("new/sub")));
    EXPECT_EQ(0600u, ModeOf(real("new/sub/p.log")));
}

TEST_F(HostUtilLogTest, ALinkOrSpecialFileAtTheLogPathIsRefused) {
    ASSERT_EQ(0, log_File_Debug_s(path("target").c_str(), 0, "original"));
    fs::create_symlink(real("target"), real("linked.log"));
    fs::create_symlink(real("missing"), real("dangling.log"));
    ASSERT_EQ(0, ::mkfifo(real("fifo.log").c_str(), 0600));  // no reader: a write would block
    const std::pair<const char*, const char*> kRefused[] = {
        {"linked.log", ": is a symbolic link; refused"},
        {"dangling.log", ": is a symbolic link; refused"},
        {"fifo.log", ": is not a regular file; refused"}};

    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) {
        for (const auto& [name, message] : kRefused) {
            EXPECT_EQ(-1, log_File_Debug_s(path(name).c_str(), 0, "through it"));
        }
    }
    const std::string err = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ("original\n", fdrtest::ReadFile(real("target")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(real("missing"))));
    EXPECT_TRUE(fs::is_symlink(real("linked.log")));
    for (const auto& [name, message] : kRefused) {  // said once
        EXPECT_EQ(1, LinesWith(err, real(name).string() + message)) << err;
    }
}

// A host that wants a group to read its logs creates them with that mode and group; the
// library leaves them so, also across rotation, and says once that the log is not private.
TEST_F(HostUtilLogTest, AWiderLogIsKeptAcrossRotationAndReportedOnce) {
    ASSERT_EQ(0, log_File_Debug_s(path("shared.log").c_str(), 0, "first"));
    fs::permissions(real("shared.log"), fs::perms(0640));
    // A group other than the account's own where the account may give one: any, as root.
    gid_t group = ::geteuid() == 0 ? 4242 : ::getegid();
    std::vector<gid_t> groups(static_cast<size_t>(std::max(0, ::getgroups(0, nullptr))));
    if (::geteuid() != 0 && ::getgroups(static_cast<int>(groups.size()), groups.data()) > 0) {
        for (gid_t g : groups) {
            group = g != ::getegid() ? g : group;
        }
    }
    ASSERT_EQ(0, ::chown(real("shared.log").c_str(), static_cast<uid_t>(-1), group));

    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 4; ++i) {  // 10-byte lines after 6 bytes, 26-byte cap: one rotation
        EXPECT_EQ(0, log_File_Debug_s(path("shared.log").c_str(), 26, "line %04d", i));
    }
    const std::string err = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ("line 0002\nline 0003\n", fdrtest::ReadFile(real("shared.log")));
    EXPECT_EQ("first\nline 0000\nline 0001\n", fdrtest::ReadFile(real("shared.log.1")));
    EXPECT_EQ(0640u, ModeOf(real("shared.log")));
    struct stat st {};
    ASSERT_EQ(0, ::stat(real("shared.log").c_str(), &st));
    EXPECT_EQ(group, st.st_gid);
    EXPECT_EQ(1, LinesWith(err, real("shared.log").string() + ": has mode 0640")) << err;
    EXPECT_EQ(1, LinesWith(err, "fdr_hostutil: ")) << err;
}

TEST(HostUtilDomainUser, Rule) {
    const struct {
        const char* name;
        bool domain;
    } cases[] = {
        // clang-format off
        {"CORP\\alice", true}, {"alice@corp.example", true}, {"a\\b", true}, {"a@b", true},
        {"alice", false}, {"", false}, {"\\alice", false}, {"CORP\\", false}, {"@corp", false},
        {"alice@", false}, {"\\", false}, {"@", false},
        // clang-format on
    };
    for (const auto& tc : cases) {
        for (bool initial : {false, true}) {
            bool is_domain = initial;
            EXPECT_EQ(0, fdrutil_check_is_domain_user(tc.name, is_domain));
            EXPECT_EQ(tc.domain || initial, is_domain) << tc.name << " starting " << initial;
        }
    }
}

}  // namespace
