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

/// The reverse of the two above: a name in the current directory is called by its name alone. Into
/// a text that is there already, whose memory is used again.
inline void joinInto(std::wstring& text, const std::wstring& parent, const std::wstring& name) {
    text.clear();
    if (parent != L".") {
        text.reserve(parent.size() + 1 + name.size());
        text.append(parent);
        if (parent.empty() || parent.back() != L'/') {
            text.push_back(L'/');
        }
    }
    text.append(name);
}

inline std::wstring join(const std::wstring& parent, const std::wstring& name) {
    std::wstring text;
    joinInto(text, parent, name);
    return text;
}

inline bool isBelow(const std::wstring& text, const std::wstring& ancestor) {
    return text.size() > ancestor.size() && text.compare(0, ancestor.size(), ancestor) == 0 &&
           (ancestor.back() == L'/' || text[ancestor.size()] == L'/');
}

/// Whether a text is join(parent, name) or below that.
inline bool isAtOrBelow(const std::wstring& text, const std::wstring& parent,
                        const std::wstring& name) {
    std::size_t at = 0;
    if (parent != L".") {
        at = parent.size() + (!parent.empty() && parent.back() == L'/' ? 0 : 1);
        if (text.size() < at + name.size() || text[at - 1] != L'/' ||
            text.compare(0, parent.size(), parent) != 0) {
            return false;
        }
    }
    return text.compare(at, name.size(), name) == 0 &&
           (text.size() == at + name.size() || text[at + name.size()] == L'/');
}

}  // namespace Tallowmere::platform::transactions
