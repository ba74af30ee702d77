#include "kest/diagnostics/Utf8Buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <vector>

namespace Tallowmere {
namespace {

/// Records each write; takes at most `room` bytes in all.
class Disk : public std::streambuf {
public:
    std::vector<std::string> writes;
    std::streamsize room = 1 << 30;

    std::string text() const {
        std::string all;
        for (const std::string& write : writes) {
            all += write;
        }
        return all;
    }

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        const std::streamsize taken = std::min(count, room);
        room -= taken;
        if (taken > 0) {
            writes.emplace_back(bytes, static_cast<std::size_t>(taken));
        }
        return taken;
    }
};

wchar_t unit(std::uint32_t value) {
    return static_cast<wchar_t>(value);
}

class Utf8BufferTest : public ::testing::Test {
protected:
    std::string written(const std::wstring& text) {
        {
            Utf8Buffer buffer(disk);
            buffer.sputn(text.data(), static_cast<std::streamsize>(text.size()));
            buffer.pubsync();
        }
        return disk.text();
    }

    Disk disk;
};

TEST_F(Utf8BufferTest, WritesOneToFourBytesForACharacter) {
    EXPECT_EQ("az\n\x7F", written(L"az\n\x7F"));
    disk.writes.clear();
    EXPECT_EQ("\xC2\x80\xC3\xA9\xDF\xBF", written({unit(0x80), unit(0xE9), unit(0x7FF)}));
    disk.writes.clear();
    EXPECT_EQ("\xE0\xA0\x80\xE6\x97\xA5\xEF\xBF\xBF",
              written({unit(0x800), unit(0x65E5), unit(0xFFFF)}));
    disk.writes.clear();
    EXPECT_EQ("\xF0\x9F\x98\x80", written(L"\U0001F600"));
    disk.writes.clear();
    EXPECT_EQ(std::string(1, '\0'), written(std::wstring(1, L'\0')));
}

TEST_F(Utf8BufferTest, JoinsAPairOfSurrogates) {
    EXPECT_EQ("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
              written({unit(0xD800), unit(0xDC00), unit(0xDBFF), unit(0xDFFF)}));
}

TEST_F(Utf8BufferTest, JoinsAPairWhoseHalvesArriveApart) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    stream << std::wstring(1, unit(0xD83D)) << std::flush << std::wstring(1, unit(0xDE00))
           << std::flush;
    EXPECT_EQ("\xF0\x9F\x98\x80", disk.text());
}

TEST_F(Utf8BufferTest, ReplacesHalfAPair) {
    EXPECT_EQ("\xEF\xBF\xBD\n", written({unit(0xD83D), L'\n'}));
    disk.writes.clear();
    EXPECT_EQ("\xEF\xBF\xBD\n", written({unit(0xDE00), L'\n'}));
    disk.writes.clear();
    EXPECT_EQ("\xEF\xBF\xBD\xF0\x9F\x98\x80", written({unit(0xD83D), unit(0xD83D), unit(0xDE00)}));
    disk.writes.clear();
    // At the very end.
    EXPECT_EQ("a\xEF\xBF\xBD", written({L'a', unit(0xD83D)}));
}

TEST_F(Utf8BufferTest, ReplacesWhatIsNoCharacter) {
    if (sizeof(wchar_t) > 2) {
        EXPECT_EQ("\xEF\xBF\xBD\xEF\xBF\xBD", written({unit(0x110000), unit(0xFFFFFFFF)}));
    } else {
        // No unit of sixteen bits is out of range; the last one is a character like others.
        EXPECT_EQ("\xEF\xBF\xBF", written({unit(0xFFFF)}));
    }
}

TEST_F(Utf8BufferTest, HandsOnALineInOneWrite) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    const std::wstring text(50000, L'x');
    stream << L"a" << 5 << ' ' << text << L'\n';
    EXPECT_TRUE(disk.writes.empty());
    stream.flush();
    const std::vector<std::string> expected = {"a5 " + std::string(50000, 'x') + "\n"};
    EXPECT_EQ(expected, disk.writes);
    stream.flush();
    EXPECT_EQ(expected, disk.writes);
}

TEST_F(Utf8BufferTest, DoesNotGatherWithoutEnd) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    stream << std::wstring(1 << 16, L'x');
    EXPECT_EQ(std::vector<std::string>{std::string(1 << 16, 'x')}, disk.writes);
}

TEST_F(Utf8BufferTest, HandsOnTheRestInTheEnd) {
    {
        Utf8Buffer buffer(disk);
        std::wostream(&buffer) << L"rest";
    }
    EXPECT_EQ("rest", disk.text());
}

TEST_F(Utf8BufferTest, GoesOnAfterAFullDiskWithoutTheLinesInBetween) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    stream << L"first\n" << std::flush;
    disk.room = 0;
    stream << L"second\n" << std::flush << L"third\n" << std::flush;
    EXPECT_TRUE(stream.good());
    disk.room = 1000;
    stream << L"fourth\n" << std::flush;
    EXPECT_EQ("first\nfourth\n", disk.text());
}

TEST_F(Utf8BufferTest, BeginsANewLineAfterOneThatWasCut) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    disk.room = 3;
    stream << L"first\n" << std::flush << L"second\n" << std::flush;
    disk.room = 1000;
    stream << L"third\n" << std::flush << L"fourth\n" << std::flush;
    EXPECT_EQ("fir\nthird\nfourth\n", disk.text());
}

TEST_F(Utf8BufferTest, BeginsANewLineAfterPiecesWhoseRestWasLost) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    stream << L"begun " << std::flush;
    disk.room = 0;
    stream << L"lost\n" << std::flush;
    disk.room = 1000;
    stream << L"next\n" << std::flush;
    EXPECT_EQ("begun \nnext\n", disk.text());
}

TEST_F(Utf8BufferTest, LeavesALineThatGoesOnInOnePiece) {
    Utf8Buffer buffer(disk);
    std::wostream stream(&buffer);
    stream << L"begun " << std::flush << L"ended\n" << std::flush;
    EXPECT_EQ("begun ended\n", disk.text());
}

}  // namespace
}  // namespace Tallowmere
