#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kest/Export.h"

/// Wide-text helpers. None of them logs or throws anything but what the standard containers throw
/// when memory runs out, none keeps state, and each may run on any thread as long as no two threads
/// share an argument that is changed.
///
/// Positions and lengths count units of the text: 16 bits each on Windows, whole characters on
/// Linux, where wchar_t is wider. Where a function is about the 16-bit value of a unit, it says so.
namespace Tallowmere {

/// `text` with each unit passed through the C runtime's narrow `tolower`, in the host's locale, and
/// cut to 16 bits. In the default "C" locale only A to Z change; letters beyond ASCII stay as they
/// are.
KEST_API std::wstring toLower(const std::wstring& text);

/// `text` without the white space (all that Unicode has) at both ends; empty when there is nothing
/// else in it.
KEST_API std::wstring chomp(const std::wstring& text);

/// Puts the positions of `delimiter` in `text` into `positions`, ascending, followed by the length
/// of the text when it does not end with the delimiter. Without any delimiter in it, `positions` is
/// left empty. A zero delimiter is never found. What `positions` held before is gone.
KEST_API void findStringDelimiters(const std::wstring& text, wchar_t delimiter,
                                   std::vector<std::uint64_t>& positions);

/// The same for every unit of the zero-terminated set `delimiters`, in one ascending list. A unit
/// that stands in the set twice gives its positions twice. The length of the text is added unless
/// the text's last unit is the last of the set's members to occur at all: over "a\b/c\" the set
/// "\/" gives 1, 3, 5, 6, although the text ends in a member of the set.
KEST_API void findStringDelimiters(const std::wstring& text, const wchar_t* delimiters,
                                   std::vector<std::uint64_t>& positions);

/// Cuts `text` at each `delimiter`, trims the pieces as chomp does and puts those that are not
/// empty into `fields`, in order. What `fields` held before is gone.
KEST_API void split(const std::wstring& text, wchar_t delimiter, std::vector<std::wstring>& fields);

/// Replaces each `from` in `text` by `to`, or removes it when `to` is zero. Callers give two
/// different units; with equal ones the text stays as it is.
KEST_API void stringReplace(std::wstring& text, wchar_t from, wchar_t to);

/// The line of `text` that starts at `position`, without its line feed but with a carriage return
/// that stands before that; `position` moves behind the line feed. When no line feed follows, also
/// because `position` is at the end or beyond, the result is empty and `position` stays: a last
/// line without a line feed is never returned.
KEST_API std::wstring nextLine(const std::wstring& text, std::uint64_t& position);

/// The low 8 bits of each unit of `text`, up to its terminating zero. No code page is consulted.
/// `text` may not be null.
KEST_API std::string convertToString(const wchar_t* text);

/// One unit for each byte of `text`, up to its terminating zero: the byte, sign-extended to 16
/// bits, so that 0x80 to 0xFF become 0xFF80 to 0xFFFF. convertToString gives the same bytes back.
/// `text` may not be null.
KEST_API std::wstring convertToWString(const char* text);

/// Appends a text of no more than one unit to `out` and returns `out`'s zero-terminated buffer,
/// valid until `out` is changed; `length` is the number of units appended. A text of two or more
/// units is refused: the result is null, `length` 0 and `out` unchanged. So is a null text.
KEST_API const unsigned short* transcode(const wchar_t* text,
                                         std::basic_string<unsigned short>& out,
                                         unsigned long& length);

/// Appends all units of `text`, up to its terminating zero, to `out` and returns `out`'s
/// zero-terminated buffer, valid until `out` is changed; `length` is the number of units appended.
/// With a null text the result is null, `length` 0 and `out` unchanged.
KEST_API const wchar_t* transcode(const unsigned short* text, std::wstring& out,
                                  unsigned long& length);

/// Whether `text` begins like an IPv4 address: three full stops, before each of them a decimal
/// number from 0 to 255 (a sign and leading zeros are allowed). What follows the third full stop is
/// not looked at.
KEST_API bool isIpv4Address(const std::wstring& text);

/// Whether `c` is a letter in any script, whatever the locale is.
KEST_API bool isAlpha(wchar_t c);

/// A copy of `text`, up to its first zero, in an array of `text.size() + 1` units. The caller owns
/// it and gives it back with `deleteKESTArray` or array `delete`.
KEST_API wchar_t* allocateString(const std::wstring& text);

/// A copy of `text`, widened as by convertToWString, in an array that the caller owns as above.
/// `text` may not be null.
KEST_API wchar_t* allocateString(const char* text);

/// The C runtime's bounded `memcpy_s`: copies `count` bytes unless they do not fit into
/// `destinationSize` bytes or an address is null. A failure is not reported; the runtime then has
/// filled a destination that is not null with zeros.
KEST_API void memcpy(void* destination, std::uint64_t destinationSize, const void* source,
                     std::uint64_t count);

/// The C runtime's bounded `wcscpy_s`: copies `source` with its terminating zero into a
/// `destination` of `destinationSize` units and returns `destination`. Null when it does not fit or
/// an address is null; the runtime then has emptied a destination that is not null and has room for
/// the zero.
KEST_API wchar_t* wcscpy(wchar_t* destination, std::uint64_t destinationSize,
                         const wchar_t* source);

}  // namespace Tallowmere
