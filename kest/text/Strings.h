#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kest/Export.h"

/// Wide-text helpers. Except where said otherwise none of them throws anything but what the standard
/// containers throw when memory runs out, none keeps state, and each may run on any thread.
namespace Tallowmere {

KEST_API std::wstring toLower(const std::wstring& text);
KEST_API std::wstring chomp(const std::wstring& text);
KEST_API void findStringDelimiters(const std::wstring& text, wchar_t delimiter,
                                   std::vector<std::uint64_t>& positions);
KEST_API void findStringDelimiters(const std::wstring& text, const wchar_t* delimiters,
                                   std::vector<std::uint64_t>& positions);
KEST_API void split(const std::wstring& text, wchar_t delimiter, std::vector<std::wstring>& fields);
KEST_API void stringReplace(std::wstring& text, wchar_t from, wchar_t to);
KEST_API std::wstring nextLine(const std::wstring& text, std::uint64_t& position);
KEST_API std::string convertToString(const wchar_t* text);
KEST_API std::wstring convertToWString(const char* text);
KEST_API const unsigned short* transcode(const wchar_t* text,
                                         std::basic_string<unsigned short>& out,
                                         unsigned long& length);
KEST_API const wchar_t* transcode(const unsigned short* text, std::wstring& out,
                                  unsigned long& length);
KEST_API bool isIpv4Address(const std::wstring& text);
KEST_API bool isAlpha(wchar_t c);
KEST_API wchar_t* allocateString(const std::wstring& text);
KEST_API wchar_t* allocateString(const char* text);
KEST_API void memcpy(void* destination, std::uint64_t destinationSize, const void* source,
                     std::uint64_t count);
KEST_API wchar_t* wcscpy(wchar_t* destination, std::uint64_t destinationSize,
                         const wchar_t* source);

}  // namespace Tallowmere
