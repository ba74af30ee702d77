#include "kest/platform/transactions/Journal.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "kest/platform/testing/MemoryDisk.h"
#include "kest/platform/transactions/StageNames.h"

namespace Tallowmere::platform::transactions {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryOptions;
using platform::testing::MemoryStore;

std::string number(std::uint64_t value, int bytes) {
    std::string result;
    for (int i = 0; i < bytes; ++i) {
        result += static_cast<char>(value & 0xFF);
        value >>= 8;
    }
    return result;
}

std::string text(const std::string& ascii) {
    std::string result = number(ascii.size(), 4);
    for (const char unit : ascii) {
        result += number(static_cast<unsigned char>(unit), 4);
    }
    return result;
}

/// An entry that takes an old one away and publishes a new one, or does what `flags` says.
std::string entry(std::uint64_t directory, const std::string& name, const std::string& oldName,
                  const std::string& slot, std::uint64_t flags = 3) {
    return number(directory, 4) + text(name) + text(oldName) + text(slot) + number(flags, 1);
}

/// With a sum that is right, so that what is wrong is the content alone.
std::string summed(const std::string& content) {
    const std::string body = "KESTJOURNAL1" + content;
    std::uint64_t sum = 14695981039346656037U;
    for (const char byte : body) {
        sum ^= static_cast<unsigned char>(byte);
        sum *= 1099511628211U;
    }
    return body + number(sum, 8);
}

class JournalTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::wstring canonical;
        store.makeDirectory(L"/home");
        ASSERT_EQ(0U, disk.openDirectory(L"/home", stage, canonical));
    }
    /// What comes of reading `content`; nothing may be read of what is damaged.
    DWORD read(const std::string& content) {
        EXPECT_EQ(0U, disk.writeFile(stage, kJournalName, content));
        journal = {{L"left from before"}, {}};
        const DWORD error = readJournal(disk, stage, journal);
        if (error != ERROR_SUCCESS) {
            EXPECT_TRUE(journal.directories.empty());
            EXPECT_TRUE(journal.entries.empty());
        }
        return error;
    }

    MemoryStore store{MemoryOptions::linux()};
    MemoryDisk disk{store};
    DirectoryPtr stage;
    Journal journal;
};

const std::string kDirectories = number(2, 4) + text("") + text("/home/other");
const std::string kEntry = entry(1, "new", "OLD", "slot-0");

TEST_F(JournalTest, IsReadAsItWasWritten) {
    ASSERT_EQ(0U, read(summed(kDirectories + number(1, 4) + kEntry)));
    EXPECT_EQ((std::vector<std::wstring>{L"", L"/home/other"}), journal.directories);
    ASSERT_EQ(1U, journal.entries.size());
    EXPECT_EQ(1U, journal.entries[0].directory);
    EXPECT_EQ(L"new", journal.entries[0].name);
    EXPECT_EQ(L"OLD", journal.entries[0].oldName);
    EXPECT_EQ(L"slot-0", journal.entries[0].slot);
    EXPECT_TRUE(journal.entries[0].takesOld);
    EXPECT_TRUE(journal.entries[0].putsNew);
}

TEST_F(JournalTest, WithAByteTooFewOrTooManyIsDamaged) {
    const std::string whole = kDirectories + number(1, 4) + kEntry;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(summed(whole.substr(0, size)))) << size;
    }
    EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(summed(whole + '\0')));
    EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(""));
}

TEST_F(JournalTest, WithAnotherSumOrBeginningIsDamaged) {
    const std::string good = summed(kDirectories + number(1, 4) + kEntry);
    ASSERT_EQ(0U, read(good));
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string bad = good;
        bad[at] = static_cast<char>(bad[at] ^ 1);
        EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(bad)) << at;
    }
}

TEST_F(JournalTest, WithMoreThanThereIsIsDamaged) {
    // A text of four thousand million letters, and as many directories and entries.
    const std::string most = number(0xFFFFFFFF, 4);
    EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(summed(number(1, 4) + most + number(0, 4))));
    EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(summed(most + text("") + number(0, 4))));
    EXPECT_EQ(DWORD{ERROR_FILE_CORRUPT}, read(summed(kDirectories + most + kEntry)));
}

TEST_F(JournalTest, NamesNothingOutsideItsDirectories) {
    const auto isDamaged = [this](const std::string& only) {
        return read(summed(kDirectories + number(1, 4) + only)) == ERROR_FILE_CORRUPT;
    };
    ASSERT_FALSE(isDamaged(kEntry));
    EXPECT_TRUE(isDamaged(entry(2, "new", "old", "slot-0")));
    EXPECT_TRUE(isDamaged(entry(1, "new", "old", "slot-0", 4)));
    const std::string withZero("a\0b", 3);
    for (const std::string& name : {std::string(), std::string("."), std::string(".."),
                                    std::string("../x"), std::string("a\\b"), withZero}) {
        EXPECT_TRUE(isDamaged(entry(1, name, "old", "slot-0"))) << name;
        EXPECT_TRUE(isDamaged(entry(1, "new", name, "slot-0"))) << name;
        EXPECT_TRUE(isDamaged(entry(1, "new", "old", name))) << name;
    }
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
