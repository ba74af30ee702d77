#include "Watch.h"

#include <gtest/gtest.h>
#include <kest/kest.h>

#include <filesystem>
#include <fstream>

#include "FullPath.h"

namespace Tallowmere::command {
namespace {

namespace fs = std::filesystem;

class WatchedTree : public testing::Test {
protected:
    WatchedTree() {
        m_place = fs::temp_directory_path() /
                  ("kest-watch-" +
                   std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        fs::create_directories(m_place / "source" / "sub");
        std::ofstream(m_place / "source" / "sub" / "one") << "one";
        std::ofstream(m_place / "source" / "two") << "two";
    }
    ~WatchedTree() override {
        std::error_code ignored;
        fs::remove_all(m_place, ignored);
    }

    std::wstring wide(const char* name) const { return fullPath((m_place / name).wstring()); }

    std::size_t entriesHere() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(m_place), fs::directory_iterator()));
    }

    fs::path m_place;
};

TEST_F(WatchedTree, IsCopiedWhenNobodyInterrupts) {
    TraceTap trace(nullptr);
    Watch watch(trace, Watch::Operation::copy, wide("source"), wide("copy"));
    CopyDirectoryTransacted(wide("source"), wide("copy"));
    watch.end(true);
    EXPECT_TRUE(fs::exists(m_place / "copy" / "sub" / "one"));
    EXPECT_FALSE(Interruption::isRequested());
}

TEST_F(WatchedTree, IsTakenBackWhenACopyIsInterrupted) {
    TraceTap trace(nullptr);
    {
        Watch watch(trace, Watch::Operation::copy, wide("source"), wide("copy"));
        Interruption::request();
        EXPECT_THROW(CopyDirectoryTransacted(wide("source"), wide("copy")), Interrupted);
    }
    EXPECT_EQ(1U, entriesHere());
    // The trace, and the next operation, go on as if nothing had been.
    trace.forgetMessages();
    CopyDirectoryTransacted(wide("source"), wide("copy"));
    EXPECT_NE(L"", trace.lastError());
    EXPECT_TRUE(fs::exists(m_place / "copy" / "two"));
}

TEST_F(WatchedTree, IsTakenBackInTheMiddleOfACopy) {
    /// Interrupts when so many steps were told.
    class Late : public StepListener {
    public:
        explicit Late(int steps) : m_steps(steps) {}
        void hear(Step) override {
            if (--m_steps == 0) {
                throw Interrupted();
            }
        }
        virtual ~Late() = default;

    private:
        int m_steps;
    };
    // Two folders are made; one of them and two files are copied.
    for (int steps = 1; steps <= 5; ++steps) {
        TraceTap trace(nullptr);
        Late late(steps);
        trace.setListener(&late);
        EXPECT_THROW(CopyDirectoryTransacted(wide("source"), wide("copy")), Interrupted) << steps;
        trace.setListener(nullptr);
        trace.resume();
        EXPECT_EQ(1U, entriesHere()) << steps;
    }
}

TEST_F(WatchedTree, IsThereWhenADeletionIsInterrupted) {
    TraceTap trace(nullptr);
    Watch watch(trace, Watch::Operation::deletion, wide("source"), wide("source"));
    Interruption::request();
    EXPECT_THROW(DeleteDirectoryTransacted(wide("source")), Interrupted);
    EXPECT_TRUE(fs::exists(m_place / "source" / "sub" / "one"));
    EXPECT_TRUE(fs::exists(m_place / "source" / "two"));
    EXPECT_EQ(1U, entriesHere());
}

}  // namespace
}  // namespace Tallowmere::command
