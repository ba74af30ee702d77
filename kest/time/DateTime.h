#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "kest/Export.h"

namespace Tallowmere {

class DateTimeImpl;

/// A point in time, kept in UTC. Seconds and microseconds are counted from 1601-01-01 00:00:00 UTC.
class KEST_API DateTime {
public:
    DateTime();
    DateTime(std::int64_t seconds);
    DateTime(const DateTime& other);
    DateTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
             unsigned short minute, unsigned short second, bool isLocalTime);
    DateTime(const std::wstring& text);
    DateTime& operator=(const DateTime& other);
    ~DateTime();

    DateTime& operator+=(unsigned long seconds);
    std::wstring toString(bool toLocalTime, const wchar_t* dateFormat, const wchar_t* timeFormat,
                          bool withMilliseconds) const;
    std::wstring timestampString() const;
    std::int64_t getSecondsSinceEpoch() const;
    std::int64_t getMicroSecondsSinceEpoch() const;

    static const DateTime s_begin;
    static const DateTime s_end;
    static const DateTime s_invalid;

private:
    friend KEST_API bool operator==(const DateTime& left, const DateTime& right);
    friend KEST_API bool operator<(const DateTime& left, const DateTime& right);

    /// Adopts `impl`. A template so that a plain 0 is a number of seconds and never a null pointer.
    template <class Pointer, class = std::enable_if_t<std::is_same_v<Pointer, DateTimeImpl*>>>
    explicit DateTime(Pointer impl) : impl(impl) {}

    DateTimeImpl* impl;
};

KEST_API bool operator==(const DateTime& left, const DateTime& right);
KEST_API bool operator!=(const DateTime& left, const DateTime& right);
KEST_API bool operator<(const DateTime& left, const DateTime& right);
KEST_API bool operator<=(const DateTime& left, const DateTime& right);
KEST_API bool operator>(const DateTime& left, const DateTime& right);
KEST_API bool operator>=(const DateTime& left, const DateTime& right);

}  // namespace Tallowmere
