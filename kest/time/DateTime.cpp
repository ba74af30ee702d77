#include "kest/time/DateTime.h"

#include <utility>

#include "kest/time/DateTimeImpl.h"

namespace Tallowmere {

DateTime::DateTime() : impl(new DateTimeImpl) {}

DateTime::DateTime(std::int64_t seconds) : impl(new DateTimeImpl(seconds)) {}

DateTime::DateTime(const DateTime& other) : impl(new DateTimeImpl(*other.impl)) {}

DateTime::DateTime(unsigned short year, unsigned short month, unsigned short day,
                   unsigned short hour, unsigned short minute, unsigned short second,
                   bool isLocalTime)
    : impl(new DateTimeImpl(year, month, day, hour, minute, second, isLocalTime)) {}

DateTime::DateTime(const std::wstring& text) : impl(new DateTimeImpl(text)) {}

DateTime& DateTime::operator=(const DateTime& other) {
    // The copy first: it may fail, and `other` may be this very object.
    DateTime copy(other);
    std::swap(impl, copy.impl);
    return *this;
}

DateTime::~DateTime() {
    delete impl;
    impl = nullptr;
}

DateTime& DateTime::operator+=(unsigned long seconds) {
    *impl += seconds;
    return *this;
}

std::wstring DateTime::toString(bool toLocalTime, const wchar_t* dateFormat,
                                const wchar_t* timeFormat, bool withMilliseconds) const {
    return impl->toString(toLocalTime, dateFormat, timeFormat, withMilliseconds);
}

std::wstring DateTime::timestampString() const {
    return impl->timestampString();
}

std::int64_t DateTime::getSecondsSinceEpoch() const {
    return impl->getSecondsSinceEpoch();
}

std::int64_t DateTime::getMicroSecondsSinceEpoch() const {
    return impl->getMicroSecondsSinceEpoch();
}

bool operator==(const DateTime& left, const DateTime& right) {
    return *left.impl == *right.impl;
}

bool operator!=(const DateTime& left, const DateTime& right) {
    return !(left == right);
}

bool operator<(const DateTime& left, const DateTime& right) {
    return *left.impl < *right.impl;
}

bool operator<=(const DateTime& left, const DateTime& right) {
    return left < right || left == right;
}

bool operator>(const DateTime& left, const DateTime& right) {
    return !(left <= right);
}

bool operator>=(const DateTime& left, const DateTime& right) {
    return !(left < right);
}

}  // namespace Tallowmere
