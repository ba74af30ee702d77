#include "kest/text/HistoryPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;

using Texts = std::vector<std::wstring>;

/// A computer in a zone of which the test knows the rules, where formatting shows the numbers that
/// it is given.
class HistoryZoneTest : public ::testing::Test {
protected:
    static constexpr LCID kLocale = 0x1234;

    HistoryZoneTest() {
        // Central European time.
        m_record.Bias = -60;
        m_record.StandardName[0] = L'S';
        m_record.StandardDate = {0, 10, 0, 5, 3, 0, 0, 0};
        m_record.DaylightName[0] = L'D';
        m_record.DaylightDate = {0, 3, 0, 5, 2, 0, 0, 0};
        m_record.DaylightBias = -60;
    }

    static int write(const std::wstring& text, wchar_t* buffer, int size) {
        if (static_cast<int>(text.size()) >= size) {
            return 0;
        }
        std::copy(text.begin(), text.end(), buffer);
        buffer[text.size()] = L'\0';
        return static_cast<int>(text.size()) + 1;
    }

    static std::wstring numbers(unsigned a, unsigned b, unsigned c, const wchar_t* between) {
        return std::to_wstring(a) + between + std::to_wstring(b) + between + std::to_wstring(c);
    }

    TIME_ZONE_INFORMATION m_record{};
    Texts m_pictures;

    ScopedCall<&Calls::GetTimeZoneInformation> m_zone{[this](TIME_ZONE_INFORMATION* zone) {
        *zone = m_record;
        return DWORD{TIME_ZONE_ID_STANDARD};
    }};
    ScopedCall<&Calls::GetThreadLocale> m_locale{[] { return kLocale; }};
    ScopedCall<&Calls::GetDateFormatW> m_date{[this](LCID locale, DWORD flags,
                                                     const SYSTEMTIME* time, const wchar_t* picture,
                                                     wchar_t* buffer, int size) {
        EXPECT_EQ(kLocale, locale);
        EXPECT_EQ(0U, flags);
        m_pictures.push_back(picture);
        return write(numbers(time->wYear, time->wMonth, time->wDay, L"/"), buffer, size);
    }};
    ScopedCall<&Calls::GetTimeFormatW> m_time{[this](LCID locale, DWORD flags,
                                                     const SYSTEMTIME* time, const wchar_t* picture,
                                                     wchar_t* buffer, int size) {
        EXPECT_EQ(kLocale, locale);
        EXPECT_EQ(0U, flags);
        m_pictures.push_back(picture);
        return write(numbers(time->wHour, time->wMinute, time->wSecond, L":"), buffer, size);
    }};
};

/// The same with a conversion that adds two hours to any time and notes what it was given.
class HistoryTimeTest : public HistoryZoneTest {
protected:
    SYSTEMTIME m_universal{};
    ScopedCall<&Calls::SystemTimeToTzSpecificLocalTime> m_toLocal{
        [this](const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal, SYSTEMTIME* local) {
            // The very record that was read, all of it.
            EXPECT_EQ(-60, zone->Bias);
            EXPECT_STREQ(L"S", zone->StandardName);
            EXPECT_EQ(10, zone->StandardDate.wMonth);
            EXPECT_EQ(0, zone->StandardBias);
            EXPECT_STREQ(L"D", zone->DaylightName);
            EXPECT_EQ(3, zone->DaylightDate.wMonth);
            EXPECT_EQ(-60, zone->DaylightBias);
            m_universal = *universal;
            *local = *universal;
            local->wHour = static_cast<WORD>(local->wHour + 2);
            return TRUE;
        }};
};

TEST(IsHistoryPath, LooksForTheMarkerAlone) {
    EXPECT_TRUE(isHistoryPath(L"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00\\Users\\file.txt"));
    EXPECT_TRUE(isHistoryPath(L"x@GMTy"));
    EXPECT_TRUE(isHistoryPath(L"@GMT"));
    EXPECT_FALSE(isHistoryPath(L"C:\\Users"));
    EXPECT_FALSE(isHistoryPath(L"@gmt-2010.05.17-08.30.00"));
    EXPECT_FALSE(isHistoryPath(L"@GM"));
    EXPECT_FALSE(isHistoryPath(L""));
}

TEST_F(HistoryTimeTest, ALivePathIsOfNow) {
    const CallLog log(platform::testing::Time);
    EXPECT_EQ(L"Now", getTimeFromHistoryPath(L"C:\\Users\\file.txt"));
    EXPECT_EQ(L"Now", getTimeFromHistoryPath(L""));
    EXPECT_EQ(L"Now", getTimeFromHistoryPath(L"\\\\m\\C$\\@gmt-2010.05.17-08.30.00\\x"));
    EXPECT_EQ(Texts(), log.calls());
}

TEST_F(HistoryTimeTest, TheStampEndsAtTheNearerSeparator) {
    const wchar_t* const expected = L"2010/5/17, 10:30:0";
    for (const wchar_t* path :
         {L"\\\\m\\C$\\@GMT-2010.05.17-08.30.00\\x", L"\\\\m\\C$\\@GMT-2010.05.17-08.30.00/x",
          L"\\\\m\\C$\\@GMT-2010.05.17-08.30.00\\", L"\\\\m\\C$\\@GMT-2010.05.17-08.30.00\\x/y",
          L"\\\\m\\C$\\@GMT-2010.05.17-08.30.00/x\\y",
          // What stands between marker and time is not looked at.
          L"@GMT\\2010.05.17-08.30.00\\x", L"@GMTx2010.05.17-08.30.00/"}) {
        EXPECT_EQ(expected, getTimeFromHistoryPath(path)) << path;
    }
}

TEST_F(HistoryTimeTest, AStampWithoutSeparatorBehindItHasNoTime) {
    const CallLog log(platform::testing::Time);
    for (const wchar_t* path :
         {L"\\\\m\\C$\\@GMT-2010.05.17-08.30.00", L"@GMT", L"@GMT-", L"x\\@GMT\\",
          L"@GMT-\\2010.05.17-08.30.00", L"@GMT-2010.05.17-08.30.0\\x"}) {
        EXPECT_EQ(L"", getTimeFromHistoryPath(path)) << path;
    }
    EXPECT_EQ(Texts(), log.calls());
}

TEST_F(HistoryTimeTest, TheFirstMarkerCounts) {
    EXPECT_EQ(L"2010/5/17, 10:30:0",
              getTimeFromHistoryPath(L"@GMT-2010.05.17-08.30.00\\@GMT-2011.06.18-09.31.01\\x"));
    EXPECT_EQ(L"", getTimeFromHistoryPath(L"@GMT\\@GMT-2011.06.18-09.31.01\\x"));
}

TEST_F(HistoryTimeTest, ConvertsUtcAndFormatsWithTheDefaultPictures) {
    const CallLog log(platform::testing::Time);
    EXPECT_EQ(L"2010/5/17, 10:30:59", localizeHistoryTime(L"2010.05.17-08.30.59"));
    EXPECT_EQ(2010, m_universal.wYear);
    EXPECT_EQ(5, m_universal.wMonth);
    EXPECT_EQ(0xFFFF, m_universal.wDayOfWeek);
    EXPECT_EQ(17, m_universal.wDay);
    EXPECT_EQ(8, m_universal.wHour);
    EXPECT_EQ(30, m_universal.wMinute);
    EXPECT_EQ(59, m_universal.wSecond);
    EXPECT_EQ(0, m_universal.wMilliseconds);
    EXPECT_EQ((Texts{L"dddd, MMMM d, yyyy", L"h':'mm':'ss tt"}), m_pictures);
    EXPECT_EQ((Texts{L"GetTimeZoneInformation", L"SystemTimeToTzSpecificLocalTime",
                     L"GetThreadLocale", L"GetDateFormatW", L"GetThreadLocale", L"GetTimeFormatW"}),
              log.names());
}

TEST_F(HistoryTimeTest, ReadsTheZoneAfreshEachTime) {
    (void)localizeHistoryTime(L"2010.05.17-08.30.00");
    (void)localizeHistoryTime(L"2010.05.17-08.30.00");
    EXPECT_EQ(2, m_zone.count());
    EXPECT_EQ(2, m_toLocal.count());
}

TEST_F(HistoryTimeTest, ChecksLengthAndPunctuationBeforeAnythingElse) {
    const CallLog log(platform::testing::Time);
    for (const wchar_t* text :
         {L"", L"2010.05.17-08.30.0", L"2010.05.17-08.30.000", L"2010-05-17-08.30.00",
          L"2010-05.17-08.30.00", L"2010.05-17-08.30.00", L"2010.05.17.08.30.00",
          L"2010.05.17-08:30.00", L"2010.05.17-08.30:00", L"2010.05.17 08.30.00"}) {
        EXPECT_EQ(L"", localizeHistoryTime(text)) << text;
    }
    EXPECT_EQ(Texts(), log.calls());
}

TEST_F(HistoryTimeTest, ReadsLeadingDigitsOfEachField) {
    const struct {
        const wchar_t* text;
        WORD year, month, day, hour, minute, second;
    } cases[] = {
        {L"abcd.05.17-08.30.00", 0, 5, 17, 8, 30, 0},
        {L"2010.1x.x7- 8.+3.\t9", 2010, 1, 0, 8, 3, 9},
        {L"  19.--.+--- .  .xx", 19, 0, 0, 0, 0, 0},
        {L"0x10.99.00-24.60.61", 0, 99, 0, 24, 60, 61},
        // A minus sign counts down from 65536 in an unsigned field.
        {L"-100.-1.-0--2.-3.-9", 65436, 65535, 0, 65534, 65533, 65527},
        {L"+201.+5.\u00A07-\u30008.30.00", 201, 5, 7, 8, 30, 0},
        // A field ends where it ends: the punctuation is no digit, and neither is what is behind
        // it.
        {L"1   .2 .3 -4 .5 .6 ", 1, 2, 3, 4, 5, 6},
        // The digits of other scripts are digits.
        {L"\uFF12\uFF10\uFF11\uFF10.\u0660\u0665.17-08.30.00", 2010, 5, 17, 8, 30, 0},
        {L"20\u00B21.05.17-08.30.00", 20, 5, 17, 8, 30, 0},
    };
    for (const auto& c : cases) {
        m_universal = {};
        (void)localizeHistoryTime(c.text);
        EXPECT_EQ(c.year, m_universal.wYear) << c.text;
        EXPECT_EQ(c.month, m_universal.wMonth) << c.text;
        EXPECT_EQ(c.day, m_universal.wDay) << c.text;
        EXPECT_EQ(c.hour, m_universal.wHour) << c.text;
        EXPECT_EQ(c.minute, m_universal.wMinute) << c.text;
        EXPECT_EQ(c.second, m_universal.wSecond) << c.text;
    }
}

TEST_F(HistoryTimeTest, IsEmptyWhenTheZoneCannotBeRead) {
    const ScopedCall<&Calls::GetTimeZoneInformation> zone([](TIME_ZONE_INFORMATION*) {
        return failing(DWORD{TIME_ZONE_ID_INVALID}, ERROR_INVALID_PARAMETER);
    });
    EXPECT_EQ(L"", localizeHistoryTime(L"2010.05.17-08.30.00"));
    EXPECT_EQ(1, zone.count());
    EXPECT_EQ(0, m_toLocal.count());
    EXPECT_EQ(0, m_date.count());
}

TEST_F(HistoryTimeTest, TakesEveryOtherZoneAnswer) {
    for (const DWORD answer : {DWORD{0}, DWORD{1}, DWORD{2}}) {
        ScopedCall<& Calls::GetTimeZoneInformation>* self = nullptr;
        ScopedCall<&Calls::GetTimeZoneInformation> zone([&](TIME_ZONE_INFORMATION* record) {
            (void)self->original(record);
            return answer;
        });
        self = &zone;
        EXPECT_EQ(L"2010/5/17, 10:30:0", localizeHistoryTime(L"2010.05.17-08.30.00"));
    }
}

TEST_F(HistoryTimeTest, IsEmptyWhenTheTimeCannotBeConverted) {
    const ScopedCall<&Calls::SystemTimeToTzSpecificLocalTime> conversion(
        [](auto...) { return failing<BOOL>(FALSE, ERROR_INVALID_PARAMETER); });
    EXPECT_EQ(L"", localizeHistoryTime(L"2010.13.17-08.30.00"));
    EXPECT_EQ(L"", getTimeFromHistoryPath(L"C$\\@GMT-2010.13.17-08.30.00\\x"));
    EXPECT_EQ(2, conversion.count());
    EXPECT_EQ(0, m_date.count());
    EXPECT_EQ(0, m_time.count());
}

// From here on the conversion is the system's own.

TEST_F(HistoryZoneTest, ShowsTheOffsetOfTheDayOfTheSnapshot) {
    const struct {
        const wchar_t* universal;
        const wchar_t* local;
    } cases[] = {
        {L"2010.01.17-08.30.00", L"2010/1/17, 9:30:0"},
        {L"2010.05.17-08.30.00", L"2010/5/17, 10:30:0"},
        // On both sides of both changes.
        {L"2010.03.28-00.59.59", L"2010/3/28, 1:59:59"},
        {L"2010.03.28-01.00.00", L"2010/3/28, 3:0:0"},
        {L"2010.10.31-00.59.59", L"2010/10/31, 2:59:59"},
        {L"2010.10.31-01.00.00", L"2010/10/31, 2:0:0"},
        {L"2009.12.31-23.30.00", L"2010/1/1, 0:30:0"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.local, localizeHistoryTime(c.universal)) << c.universal;
    }
}

TEST_F(HistoryZoneTest, IsEmptyForATimeThatIsNone) {
    for (const wchar_t* text :
         {L"2010.13.17-08.30.00", L"2010.00.17-08.30.00", L"2010.05.00-08.30.00",
          L"2010.02.30-08.30.00", L"2010.05.17-24.00.00", L"2010.05.17-08.60.00",
          L"2010.05.17-08.30.60", L"abcd.05.17-08.30.00", L"2010.05.xx-08.30.00"}) {
        EXPECT_EQ(L"", localizeHistoryTime(text)) << text;
    }
    EXPECT_EQ(Texts(), m_pictures);
}

}  // namespace
}  // namespace Tallowmere
