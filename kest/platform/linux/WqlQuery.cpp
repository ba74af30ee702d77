#include "kest/platform/linux/WqlQuery.h"

#include <cstddef>

#include "kest/platform/linux/Mof.h"

namespace Tallowmere::platform::wql {
namespace {

/// The next name or single character; empty at the end.
std::wstring_view nextWord(std::wstring_view& text) {
    const std::size_t start = text.find_first_not_of(L" \t\r\n");
    if (start == text.npos) {
        text = {};
        return {};
    }
    text.remove_prefix(start);
    const std::size_t length = text.find_first_of(L" \t\r\n,*");
    const std::wstring_view word = text.substr(0, length == 0 ? 1 : length);
    text.remove_prefix(word.size());
    return word;
}

bool isName(std::wstring_view word) {
    constexpr std::wstring_view kParts =
        L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
    constexpr std::wstring_view kDigits = L"0123456789";
    return !word.empty() && word.find_first_not_of(kParts) == word.npos &&
           kDigits.find(word[0]) == kDigits.npos;
}

bool parseNames(std::wstring_view& text, Query& query) {
    std::wstring_view word = nextWord(text);
    if (word == L"*") {
        return mof::isSameName(nextWord(text), L"FROM");
    }
    for (;; word = nextWord(text)) {
        if (!isName(word)) {
            return false;
        }
        query.names.emplace_back(word);
        word = nextWord(text);
        if (word != L",") {
            return mof::isSameName(word, L"FROM");
        }
    }
}

}  // namespace

bool parse(std::wstring_view text, Query& query) {
    query = {};
    if (!mof::isSameName(nextWord(text), L"SELECT") || !parseNames(text, query)) {
        return false;
    }
    const std::wstring_view name = nextWord(text);
    query.className = name;
    return isName(name) && nextWord(text).empty();
}

}  // namespace Tallowmere::platform::wql
