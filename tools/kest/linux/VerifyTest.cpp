#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

#include "Disk.h"

namespace Tallowmere::command::disk {
namespace {

using Texts = std::vector<std::wstring>;

/// Two entries to compare, in a folder of their own.
class Differences : public testing::Test {
protected:
    Differences() {
        EXPECT_NE(nullptr, mkdtemp(m_place.data()));
        m_one = std::string(m_place.data()) + "/one";
        m_other = std::string(m_place.data()) + "/other";
    }
    ~Differences() override {
        (void)unlink(m_one.c_str());
        (void)unlink(m_other.c_str());
        (void)rmdir(m_place.data());
    }

    void makeFiles() const {
        for (const std::string& path : {m_one, m_other}) {
            EXPECT_EQ(0, mknod(path.c_str(), S_IFREG | 0600, 0));
            setTime(path, 1000000000, 5);
        }
    }
    static void setTime(const std::string& path, time_t seconds, long nanoseconds) {
        const struct timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
        EXPECT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW));
    }
    Texts compare(Kind kind) const {
        return differences({m_one.begin(), m_one.end()}, {m_other.begin(), m_other.end()}, kind);
    }

    std::array<char, 64> m_place{"/tmp/kest-differences-XXXXXX"};
    std::string m_one;
    std::string m_other;
};

TEST_F(Differences, AreNoneBetweenTwins) {
    makeFiles();
    EXPECT_EQ(Texts{}, compare(Kind::file));
}

TEST_F(Differences, TellTheMode) {
    makeFiles();
    EXPECT_EQ(0, chmod(m_other.c_str(), 04644));
    EXPECT_EQ(Texts{L"mode 4644 instead of 600"}, compare(Kind::file));
}

TEST_F(Differences, TellATimeThatIsANanosecondOff) {
    makeFiles();
    setTime(m_other, 1000000000, 6);
    ASSERT_EQ(0, setenv("TZ", "UTC", 1));
    tzset();
    EXPECT_EQ(Texts{L"changed 2001-09-09 01:46:40.000000006 instead of "
                    L"2001-09-09 01:46:40.000000005"},
              compare(Kind::file));
}

TEST_F(Differences, TellWhereALinkLeads) {
    EXPECT_EQ(0, symlink("a", m_one.c_str()));
    EXPECT_EQ(0, symlink("b", m_other.c_str()));
    setTime(m_one, 1000000000, 5);
    setTime(m_other, 1000000000, 5);
    EXPECT_EQ(Texts{L"leads elsewhere"}, compare(Kind::fileLink));
}

TEST_F(Differences, TellAttributes) {
    makeFiles();
    if (setxattr(m_one.c_str(), "user.kest", "a", 1, 0) != 0) {
        GTEST_SKIP() << "the folder for temporary files keeps no extended attributes";
    }
    EXPECT_EQ(Texts{L"attribute user.kest missing"}, compare(Kind::file));
    EXPECT_EQ(0, setxattr(m_other.c_str(), "user.kest", "b", 1, 0));
    EXPECT_EQ(Texts{L"attribute user.kest differs"}, compare(Kind::file));
}

TEST_F(Differences, TellTheReasonWhenThereIsNothing) {
    EXPECT_EQ(Texts{L"No such file or directory"}, compare(Kind::file));
}

}  // namespace
}  // namespace Tallowmere::command::disk
