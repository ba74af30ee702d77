// Following a file that grows, is emptied, is replaced.

#include "trace/TraceFileBytes.h"

#include <gtest/gtest.h>
#include <kest/kest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "trace/Reader.h"
#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

using testing::lineAt;
using testing::ScratchFolder;

using Entries = std::vector<std::string>;

class Follower {
public:
    explicit Follower(const std::wstring& path) : m_bytes(path), m_reader(m_bytes, 0, true) {}

    /// What has come since the last look: messages, and other entries in brackets.
    Entries look() {
        Entries all;
        while (m_reader.next()) {
            const Entry& entry = m_reader.entry();
            switch (entry.kind) {
                case Entry::Kind::line:
                    all.emplace_back(entry.line.message);
                    break;
                case Entry::Kind::rolledOver:
                    all.emplace_back("[rolled over]");
                    break;
                case Entry::Kind::restarted:
                    all.push_back("[restarted, lost " + std::to_string(entry.lost) + "]");
                    break;
                default:
                    all.push_back("[" + std::string(entry.bytes) + "]");
            }
        }
        return all;
    }

private:
    GrowingFile m_bytes;
    Reader m_reader;
};

std::string line(const std::string& message) {
    return lineAt("5:35:54.123 AM", message) + "\n";
}

TEST(TraceFollowing, GivesEachLineOnceAndWhole) {
    const ScratchFolder folder;
    Follower follower(folder.write(L"a.log", line("one") + line("two").substr(0, 40)));
    EXPECT_EQ(Entries{"one"}, follower.look());
    EXPECT_EQ(Entries(), follower.look());
    folder.append(L"a.log", line("two").substr(40) + line("three"));
    EXPECT_EQ((Entries{"two", "three"}), follower.look());
    EXPECT_EQ(Entries(), follower.look());
}

TEST(TraceFollowing, WaitsForAFileThatIsNotThereYet) {
    const ScratchFolder folder;
    Follower follower(folder.path(L"\u65E5\u672C.log"));
    EXPECT_EQ(Entries(), follower.look());
    folder.write(L"\u65E5\u672C.log", line("one"));
    EXPECT_EQ(Entries{"one"}, follower.look());
}

TEST(TraceFollowing, SeesThatTheFileWasEmptied) {
    const ScratchFolder folder;
    Follower follower(folder.write(L"a.log", line("one") + line("two")));
    EXPECT_EQ((Entries{"one", "two"}), follower.look());
    folder.write(L"a.log", "");
    // Emptied by what, is not to be seen yet.
    EXPECT_EQ(Entries(), follower.look());
    folder.append(L"a.log", lineAt("6:00:00.000 AM", "again") + "\n");
    EXPECT_EQ((Entries{"[restarted, lost 0]", "again"}), follower.look());
}

TEST(TraceFollowing, SeesThatTheFileWasEmptiedAlthoughItHasGrownBeyond) {
    const ScratchFolder folder;
    Follower follower(folder.write(L"a.log", line("one") + line("two").substr(0, 60)));
    EXPECT_EQ(Entries{"one"}, follower.look());
    std::string later = "Trace file rolled over\n";
    for (int i = 0; i < 10; ++i) {
        later += lineAt("6:00:00.000 AM", std::to_string(i)) + "\n";
    }
    folder.write(L"a.log", later);
    const std::uint64_t lost = 10485760 - line("one").size() - 60;
    EXPECT_EQ((Entries{"[" + line("two").substr(0, 60) + "]",
                       "[restarted, lost " + std::to_string(lost) + "]", "[rolled over]", "0", "1",
                       "2", "3", "4", "5", "6", "7", "8", "9"}),
              follower.look());
    EXPECT_EQ(Entries(), follower.look());
}

TEST(TraceFollowing, GoesOnWithTheFileThatHasTakenTheName) {
    const ScratchFolder folder;
    Follower follower(folder.write(L"a.log", line("one")));
    EXPECT_EQ(Entries{"one"}, follower.look());
    folder.rename(L"a.log", L"a.1.log");
    folder.append(L"a.1.log", line("late"));
    EXPECT_EQ(Entries{"late"}, follower.look());
    folder.write(L"a.log", line("two"));
    EXPECT_EQ((Entries{"[restarted, lost 0]", "two"}), follower.look());
}

TEST(TraceFollowing, FailsWhereThereIsNoFileToRead) {
    const ScratchFolder folder;
    // A folder can be opened on one system and not on the other, and read on neither.
    GrowingFile bytes(folder.path(L""));
    char buffer[16];
    std::size_t count = 0;
    EXPECT_THROW(bytes.read(buffer, sizeof buffer, count), std::runtime_error);
}

/// Writes numbered lines with the library, of which about five hundred fill a file.
class Numbers {
public:
    explicit Numbers(std::wstring path) { setRecorderFile(path.data()); }
    ~Numbers() { Recorder::destroy(); }
    Numbers(const Numbers&) = delete;
    Numbers& operator=(const Numbers&) = delete;

    void write(int number) {
        std::wstring message = std::to_wstring(number) + L" " + std::wstring(10000, L'\u00E9');
        wchar_t file[] = L"Numbers";
        logMessage(file, 1, 0, message.data());
    }
};

/// The number of a line that was followed; 0 for what is none.
int numberOf(const std::string& entry) {
    return entry[0] == '[' ? 0 : std::stoi(entry);
}

TEST(TraceFollowing, LosesNothingInARealRollOverButTheLineThatIsNeverThere) {
    const ScratchFolder folder;
    const std::wstring path = folder.path(L"trace.log");
    Numbers numbers(path);
    Follower follower(path);
    constexpr int kLines = 1200;
    std::vector<int> seen;
    int restarts = 0;
    int rollOvers = 0;
    for (int i = 1; i <= kLines; ++i) {
        numbers.write(i);
        for (const std::string& entry : follower.look()) {
            if (entry.starts_with("[restarted")) {
                ++restarts;
                // The line that has filled the file is thrown away in the call that writes it.
                seen.push_back(i);
            } else if (entry == "[rolled over]") {
                ++rollOvers;
            } else {
                seen.push_back(numberOf(entry));
            }
        }
    }
    EXPECT_EQ(2, restarts);
    EXPECT_EQ(restarts, rollOvers);
    ASSERT_EQ(static_cast<std::size_t>(kLines), seen.size());
    for (int i = 1; i <= kLines; ++i) {
        ASSERT_EQ(i, seen[static_cast<std::size_t>(i) - 1]);
    }
}

TEST(TraceFollowing, KeepsUpWithAThreadThatWrites) {
    const ScratchFolder folder;
    const std::wstring path = folder.path(L"trace.log");
    Numbers numbers(path);
    Follower follower(path);
    constexpr int kLines = 3000;
    std::thread writer([&numbers] {
        for (int i = 1; i <= kLines; ++i) {
            numbers.write(i);
        }
    });
    int last = 0;
    int unreadable = 0;
    int restarts = 0;
    bool isRestartDue = false;
    while (last < kLines) {
        for (const std::string& entry : follower.look()) {
            const bool isRestart = entry.starts_with("[restarted");
            // What is no line was cut when the file was emptied, and by nothing else.
            EXPECT_TRUE(isRestart || !isRestartDue) << entry.substr(0, 200);
            isRestartDue = numberOf(entry) == 0 && !isRestart && entry != "[rolled over]";
            restarts += isRestart ? 1 : 0;
            unreadable += isRestartDue ? 1 : 0;
            if (numberOf(entry) != 0) {
                EXPECT_LT(last, numberOf(entry));
                last = numberOf(entry);
            }
        }
    }
    writer.join();
    EXPECT_LE(unreadable, restarts);
    EXPECT_LE(1, restarts);
}

TEST(TraceFollowing, SaysWhatWasGoneBeforeItLooked) {
    const ScratchFolder folder;
    const std::wstring path = folder.path(L"trace.log");
    Numbers numbers(path);
    Follower follower(path);
    int last = 0;
    std::uint64_t lost = 0;
    for (int i = 1; i <= 1200; ++i) {
        numbers.write(i);
        if (i % 400 != 0) {
            continue;
        }
        for (const std::string& entry : follower.look()) {
            if (entry.starts_with("[restarted, lost ")) {
                lost += std::stoull(entry.substr(17));
            } else if (entry != "[rolled over]") {
                // In order, and none twice.
                EXPECT_LT(last, numberOf(entry));
                last = numberOf(entry);
            }
        }
    }
    EXPECT_EQ(1200, last);
    EXPECT_LT(1000000U, lost);
}

}  // namespace
}  // namespace Tallowmere::command::trace
