#include <gtest/gtest.h>
#include <kest/kest.h>

#include <filesystem>
#include <fstream>

#include "Disk.h"
#include "FullPath.h"
#include "Plan.h"

namespace Tallowmere::command {
namespace {

namespace fs = std::filesystem;

/// A tree and a copy of it, in a folder of their own.
class Verify : public testing::Test {
protected:
    Verify() {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        m_place = fs::temp_directory_path() /
                  (std::string("kest-verify-") + test.name() + std::to_string(std::rand()) +
                   std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        fs::create_directories(source() / "sub");
        write(source() / "sub" / "one", "one");
        write(source() / "two", std::string(600000, 'x'));
        CopyDirectoryTransacted(wide(source()), wide(copy()));
    }
    ~Verify() override {
        std::error_code ignored;
        fs::remove_all(m_place, ignored);
    }

    fs::path source() const { return m_place / "source"; }
    fs::path copy() const { return m_place / "copy"; }

    static void write(const fs::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }

    static std::wstring wide(const fs::path& path) { return fullPath(path.wstring()); }

    /// Changes a file of the copy and gives both the same time.
    void change(const char* name, const std::string& text) const {
        write(copy() / name, text);
        const auto time = fs::last_write_time(source() / name);
        fs::last_write_time(source() / name, time);
        fs::last_write_time(copy() / name, time);
    }

    /// Changes what is in the copy's own folder, whose time stays where that can be had.
    template <class Body>
    void changeEntries(const Body& body) const {
        const auto time = fs::last_write_time(copy());
        body();
        std::error_code ignored;
        fs::last_write_time(copy(), time, ignored);
    }

    /// What the comparison says; whether it found nothing, in `isSame`.
    std::string compare(bool& isSame) const {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        isSame = verifyCopy(wide(source()), wide(copy()));
        const std::string errors = testing::internal::GetCapturedStderr();
        std::string all = testing::internal::GetCapturedStdout() + errors;
        std::erase(all, '\r');
        return all;
    }

private:
    fs::path m_place;
};

TEST_F(Verify, FindsNothingInATrueCopy) {
    bool isSame = false;
    EXPECT_EQ("verified: 4 entries, no difference\n", compare(isSame));
    EXPECT_TRUE(isSame);
}

TEST_F(Verify, FindsOtherContentAtTheVeryEnd) {
    bool isSame = true;
    change("two", std::string(599999, 'x') + "y");
    EXPECT_EQ("differs two: other content\nkest: the copy differs from its source in 1 place\n",
              compare(isSame));
    EXPECT_FALSE(isSame);
}

TEST_F(Verify, FindsContentThatIsShorter) {
    bool isSame = true;
    change("two", std::string(262144, 'x'));
    EXPECT_EQ("differs two: other content\nkest: the copy differs from its source in 1 place\n",
              compare(isSame));
}

TEST_F(Verify, FindsWhatIsMissing) {
    bool isSame = true;
    changeEntries([&] { fs::remove(copy() / "two"); });
    EXPECT_EQ(0U, compare(isSame).find("differs two: missing ("));
    EXPECT_FALSE(isSame);
}

TEST_F(Verify, FindsWhatTheSourceDoesNotHave) {
    bool isSame = true;
    changeEntries([&] { fs::create_directories(copy() / "more"); });
    EXPECT_EQ(
        "differs more: not in the source\nkest: the copy differs from its source in 1 place\n",
        compare(isSame));
    EXPECT_FALSE(isSame);
}

TEST_F(Verify, FindsAnotherKind) {
    bool isSame = true;
    changeEntries([&] {
        fs::remove(copy() / "two");
        fs::create_directories(copy() / "two");
    });
    EXPECT_EQ(
        "differs two: folder instead of file\n"
        "kest: the copy differs from its source in 1 place\n",
        compare(isSame));
}

TEST_F(Verify, FindsAnotherTime) {
    bool isSame = true;
    fs::last_write_time(copy() / "two",
                        fs::last_write_time(copy() / "two") - std::chrono::hours(1));
    const std::string said = compare(isSame);
    EXPECT_EQ(0U, said.find("differs two: changed ")) << said;
    EXPECT_FALSE(isSame);
}

}  // namespace
}  // namespace Tallowmere::command
