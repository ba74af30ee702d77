#pragma once

#include <string>

/// Work on the texts of paths in normal form: "/" between components, none doubled or at the end.
namespace Tallowmere::platform::transactions {

inline std::size_t lastSeparator(const std::wstring& text) {
    return text.rfind(L'/');
}

/// The parent of a text that is no root. A relative name's parent is the current directory.
inline std::wstring parentOf(const std::wstring& text) {
    const std::size_t at = lastSeparator(text);
    if (at == std::wstring::npos) {
        return L".";
    }
    // "/x" stands in the root "/", which is not the empty text.
    return at == 0 ? L"/" : text.substr(0, at);
}

inline std::wstring nameOf(const std::wstring& text) {
    return text.substr(lastSeparator(text) + 1);
}

/// The reverse of the two above: a name in the current directory is called by its name alone.
inline std::wstring join(const std::wstring& parent, const std::wstring& name) {
    if (parent == L".") {
        return name;
    }
    return !parent.empty() && parent.back() == L'/' ? parent + name : parent + L"/" + name;
}

inline bool isBelow(const std::wstring& text, const std::wstring& ancestor) {
    return text.size() > ancestor.size() && text.compare(0, ancestor.size(), ancestor) == 0 &&
           (ancestor.back() == L'/' || text[ancestor.size()] == L'/');
}

}  // namespace Tallowmere::platform::transactions
