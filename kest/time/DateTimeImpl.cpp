#include "kest/time/DateTimeImpl.h"

#include <bit>
#include <boost/lexical_cast.hpp>
#include <boost/throw_exception.hpp>
#include <cstring>
#include <exception>
#include <limits>
#include <ostream>
#include <string>
#include <typeinfo>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"
#include "kest/time/TimeText.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr std::int64_t kTicksPerMicrosecond = 10;
constexpr std::int64_t kTicksPerSecond = 10'000'000;

constexpr WORD kUnknownDayOfWeek = 0xFFFF;
constexpr SYSTEMTIME kInvalid = {65535, 65535, 65535, 65535, 65535, 65535, 65535, 0};

/// FileTimeToSystemTime on a signed count; false when the system refuses.
bool fromTicks(std::int64_t ticks, SYSTEMTIME& time) {
    // Both halves at once, as the system reads them; the lower one comes first. Written one after
    // the other they would not have arrived yet.
    static_assert(std::endian::native == std::endian::little && sizeof(FILETIME) == sizeof(ticks));
    FILETIME fileTime;
    std::memcpy(&fileTime, &ticks, sizeof(fileTime));
    return os().FileTimeToSystemTime(&fileTime, &time) != FALSE;
}

/// The ticks of a count of seconds; -1, which no system accepts, when they do not fit 64 bits.
std::int64_t ticksOf(std::int64_t seconds) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max() / kTicksPerSecond;
    return seconds >= -kMost && seconds <= kMost ? seconds * kTicksPerSecond : -1;
}

std::int64_t secondsOf(const std::wstring& text) {
    // The conversion would also take the grouping signs of a global locale of the host's.
    if (text.find_first_not_of(L"+-0123456789") != std::wstring::npos) {
        boost::throw_exception(boost::bad_lexical_cast(typeid(std::wstring), typeid(std::int64_t)));
    }
    return boost::lexical_cast<std::int64_t>(text);
}

/// Called on the line after the failing call, so that the last error is still that call's.
void writeLastError() {
    const std::wstring text = getSystemErrorMessage(0, nullptr);
    // Deliberate: to the error stream and not to the trace, which writes its own times with this
    // class. The system's text brings its line end with it.
    try {
        platform::consoleErrors() << text << std::flush;
    } catch (const std::exception&) {
        // A host can tell its std::wcerr to throw when writing fails. The result tells all the
        // same.
    }
}

/// In decimal, with zeros in front up to three digits.
std::wstring threeDigits(unsigned int number) {
    std::wstring digits;
    for (; number != 0 || digits.size() < 3; number /= 10) {
        digits.insert(digits.begin(), static_cast<wchar_t>(L'0' + number % 10));
    }
    return digits;
}

}  // namespace

DateTimeImpl::DateTimeImpl() : m_time{} {
    os().GetSystemTime(&m_time);
}

DateTimeImpl::DateTimeImpl(std::int64_t seconds) : m_time{} {
    // Our choice: a count that the system refuses leaves the invalid value, which every conversion
    // refuses in turn, and not a random time.
    if (!fromTicks(ticksOf(seconds), m_time)) {
        m_time = kInvalid;
    }
}

DateTimeImpl::DateTimeImpl(const std::wstring& text) : DateTimeImpl(secondsOf(text)) {}

DateTimeImpl::DateTimeImpl(Invalid) : m_time(kInvalid) {}

DateTimeImpl::DateTimeImpl(unsigned short year, unsigned short month, unsigned short day,
                           unsigned short hour, unsigned short minute, unsigned short second,
                           bool isLocalTime)
    // Deliberate: UTC fields are not checked; an impossible date shows when it is converted.
    : m_time{year, month, kUnknownDayOfWeek, day, hour, minute, second, 0} {
    if (!isLocalTime) {
        return;
    }
    const SYSTEMTIME local = m_time;
    if (!os().TzSpecificLocalTimeToSystemTime(nullptr, &local, &m_time)) {
        writeLastError();
        m_time = kInvalid;
    }
}

DateTimeImpl& DateTimeImpl::operator+=(unsigned long seconds) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    std::int64_t ticks = 0;
    // A count of ticks with its top bit set, which some systems give, is beyond all conversion.
    if (!toTicks(ticks) || ticks < 0) {
        return *this;
    }
    // Our choice: where unsigned long has 64 bits they all count. A sum that does not fit is no
    // time of the calendar and leaves the value as it is, like one that the system refuses.
    if (seconds <= static_cast<std::uint64_t>((kMost - ticks) / kTicksPerSecond)) {
        SYSTEMTIME moved{};
        if (fromTicks(ticks + static_cast<std::int64_t>(seconds) * kTicksPerSecond, moved)) {
            m_time = moved;
        }
    }
    return *this;
}

std::wstring DateTimeImpl::toString(bool toLocalTime, const wchar_t* dateFormat,
                                    const wchar_t* timeFormat, bool withMilliseconds) const {
    SYSTEMTIME shown = m_time;
    if (toLocalTime && !os().SystemTimeToTzSpecificLocalTime(nullptr, &m_time, &shown)) {
        writeLastError();
        return std::wstring();
    }
    std::wstring text = systemTimeToStringHuman(shown, dateFormat, timeFormat);
    if (withMilliseconds) {
        const std::size_t position = positionOfMilliseconds(text);
        text.insert(position, L'.' + threeDigits(shown.wMilliseconds));
    }
    return text;
}

std::size_t DateTimeImpl::positionOfMilliseconds(const std::wstring& text) {
    std::size_t position = text.find(L" PM");
    if (position == std::wstring::npos) {
        position = text.find(L" AM");
    }
    // Deliberate: the last character is meant to be the blank of a time whose language has no AM
    // and PM. In front of a last digit the milliseconds tear the second apart: "8:30:0.0070".
    return position == std::wstring::npos ? text.size() - 1 : position;
}

std::wstring DateTimeImpl::timestampString() const {
    std::int64_t ticks = 0;
    if (!toTicks(ticks)) {
        return std::wstring();
    }
    // No stream: it would give a part of the digits when memory runs out, and a global locale of the
    // host's would group them.
    return std::to_wstring(ticks / kTicksPerSecond);
}

std::int64_t DateTimeImpl::getSecondsSinceEpoch() const {
    std::int64_t ticks = 0;
    return toTicks(ticks) ? ticks / kTicksPerSecond : -1;
}

std::int64_t DateTimeImpl::getMicroSecondsSinceEpoch() const {
    std::int64_t ticks = 0;
    return toTicks(ticks) ? ticks / kTicksPerMicrosecond : -1;
}

bool DateTimeImpl::toTicks(std::int64_t& ticks) const {
    FILETIME fileTime{};
    if (!os().SystemTimeToFileTime(&m_time, &fileTime)) {
        return false;
    }
    ticks = static_cast<std::int64_t>(std::uint64_t{fileTime.dwHighDateTime} << 32 |
                                      fileTime.dwLowDateTime);
    return true;
}

std::array<WORD, 7> DateTimeImpl::fields() const {
    return {m_time.wYear,   m_time.wMonth,  m_time.wDay,         m_time.wHour,
            m_time.wMinute, m_time.wSecond, m_time.wMilliseconds};
}

bool operator==(const DateTimeImpl& left, const DateTimeImpl& right) {
    return left.fields() == right.fields();
}

bool operator!=(const DateTimeImpl& left, const DateTimeImpl& right) {
    return !(left == right);
}

bool operator<(const DateTimeImpl& left, const DateTimeImpl& right) {
    return left.fields() < right.fields();
}

bool operator<=(const DateTimeImpl& left, const DateTimeImpl& right) {
    return left < right || left == right;
}

bool operator>(const DateTimeImpl& left, const DateTimeImpl& right) {
    return !(left <= right);
}

bool operator>=(const DateTimeImpl& left, const DateTimeImpl& right) {
    return !(left < right);
}

}  // namespace Tallowmere
