#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "kest/platform/SpareBlocks.h"
#include "kest/platform/Win32.h"

namespace Tallowmere {

/// What stands behind a DateTime: the calendar fields, in UTC. The operations are those of DateTime
/// and are described there. Internal.
class DateTimeImpl final {
public:
    /// Asks for the value of s_invalid.
    struct Invalid {};

    /// Now.
    DateTimeImpl();
    explicit DateTimeImpl(std::int64_t seconds);
    explicit DateTimeImpl(const std::wstring& text);
    explicit DateTimeImpl(Invalid);
    /// Takes the fields as they are.
    explicit DateTimeImpl(const SYSTEMTIME& time) : m_time(time) {}
    DateTimeImpl(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                 unsigned short minute, unsigned short second, bool isLocalTime);

    DateTimeImpl& operator+=(unsigned long seconds);

    std::wstring toString(bool toLocalTime, const wchar_t* dateFormat, const wchar_t* timeFormat,
                          bool withMilliseconds) const;
    /// In front of which character of such a text the milliseconds go.
    static std::size_t positionOfMilliseconds(const std::wstring& text);
    std::wstring timestampString() const;
    std::int64_t getSecondsSinceEpoch() const;
    std::int64_t getMicroSecondsSinceEpoch() const;

    const SYSTEMTIME& time() const { return m_time; }

    /// Memory of the heap, which is used again: see SpareBlocks.h.
    static void* operator new(std::size_t size) {
        void* const spare = platform::takeSpareBlock();
        return spare != nullptr ? spare : ::operator new(size);
    }
    static void operator delete(void* memory) noexcept {
        if (memory != nullptr && !platform::keepSpareBlock(memory)) {
            ::operator delete(memory);
        }
    }

    friend bool operator==(const DateTimeImpl& left, const DateTimeImpl& right);
    friend bool operator!=(const DateTimeImpl& left, const DateTimeImpl& right);
    friend bool operator<(const DateTimeImpl& left, const DateTimeImpl& right);
    friend bool operator<=(const DateTimeImpl& left, const DateTimeImpl& right);
    friend bool operator>(const DateTimeImpl& left, const DateTimeImpl& right);
    friend bool operator>=(const DateTimeImpl& left, const DateTimeImpl& right);

    /// What the constants of DateTime are copied from; they are built with them, in
    /// exports/Load.cpp.
    static const DateTimeImpl s_begin;
    static const DateTimeImpl s_end;
    static const DateTimeImpl s_invalid;

private:
    /// Converts with SystemTimeToFileTime; false when the system refuses.
    bool toTicks(std::int64_t& ticks) const;
    /// The fields that count in comparisons, the first one most.
    std::array<WORD, 7> fields() const;

    SYSTEMTIME m_time;
};

static_assert(sizeof(DateTimeImpl) == platform::kSpareBlockSize);

}  // namespace Tallowmere
