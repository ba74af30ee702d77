#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// How stages, and the journals in them, are called on the disk.
namespace Tallowmere::platform::transactions {

inline constexpr std::wstring_view kStagePrefix = L".kest-";
inline constexpr std::size_t kStageDigits = 32;

/// The journal once it counts, and the mark that makes it one that was given up.
inline constexpr wchar_t kJournalName[] = L"journal";
inline constexpr wchar_t kGivenUpName[] = L"journal-given-up";

/// Whether a name has the form of a stage's.
inline bool isStageName(std::wstring_view name) {
    return name.size() == kStagePrefix.size() + kStageDigits &&
           name.substr(0, kStagePrefix.size()) == kStagePrefix &&
           std::all_of(name.begin() + kStagePrefix.size(), name.end(), [](wchar_t c) {
               return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f');
           });
}

}  // namespace Tallowmere::platform::transactions
