#include "kest/platform/linux/RegistryText.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "kest/platform/Utf8.h"
#include "kest/platform/Win32.h"
#include "kest/platform/linux/UpperCase.h"

namespace Tallowmere::platform {
namespace {

using Text = std::u16string_view;
using Id = RegistryTree::Id;

constexpr Text kHeader = u"Windows Registry Editor Version 5.00";
constexpr std::size_t kLongestKeyName = 255;

bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t';
}

bool isLineEnd(char16_t c) {
    return c == u'\n' || c == u'\r';
}

bool equalsIgnoringCase(Text a, Text b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char16_t x, char16_t y) {
        return x == y || upperCase(x) == upperCase(y);
    });
}

int hexDigit(char16_t c) {
    if (c >= u'0' && c <= u'9') {
        return c - u'0';
    }
    if (c >= u'a' && c <= u'f') {
        return c - u'a' + 10;
    }
    return c >= u'A' && c <= u'F' ? c - u'A' + 10 : -1;
}

void appendUnit(char16_t unit, std::string& bytes) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
}

/// All units of the file, without its mark; false for bytes that are no text.
bool decode(std::string_view bytes, std::u16string& text) {
    const std::string_view utf16Mark("\xFF\xFE", 2);
    const std::string_view utf8Mark("\xEF\xBB\xBF", 3);
    if (bytes.starts_with(utf16Mark)) {
        bytes.remove_prefix(utf16Mark.size());
        if (bytes.size() % 2 != 0) {
            return false;
        }
        text.reserve(bytes.size() / 2);
        for (std::size_t i = 0; i < bytes.size(); i += 2) {
            text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                                 static_cast<unsigned char>(bytes[i + 1]) << 8));
        }
        return text.find(u'\0') == std::u16string::npos;
    }
    if (bytes.starts_with(utf8Mark)) {
        bytes.remove_prefix(utf8Mark.size());
    }
    text.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        // Nearly all of nearly all registries.
        std::size_t end = at;
        while (end < bytes.size() && bytes[end] > 0) {
            ++end;
        }
        if (end != at) {
            const std::size_t before = text.size();
            text.resize(before + end - at);
            std::copy(bytes.begin() + at, bytes.begin() + end, text.begin() + before);
            at = end;
            continue;
        }
        std::uint32_t c = 0;
        const std::size_t length = utf8::decode(bytes, at, c);
        if (length == 0 || c == 0) {
            return false;
        }
        if (c > 0xFFFF) {
            text.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
            c = 0xDC00 + ((c - 0x10000) & 0x3FF);
        }
        text.push_back(static_cast<char16_t>(c));
        at += length;
    }
    return true;
}

class Reader {
public:
    Reader(Text text, RegistryTree& tree) : m_text(text), m_tree(tree) {}

    bool readAll() {
        if (!takes(kHeader) || !endsLine()) {
            return false;
        }
        while (!atEnd()) {
            if (!readLine()) {
                return false;
            }
        }
        return true;
    }

private:
    /// Where a section's values go.
    enum class Section { None, Key, Removed };

    bool atEnd() const { return m_at == m_text.size(); }
    char16_t next() const { return atEnd() ? u'\n' : m_text[m_at]; }

    void skipBlanks() {
        while (!atEnd() && isBlank(next())) {
            ++m_at;
        }
    }

    /// Goes behind `expected`, in any case, if it is next.
    bool takes(Text expected) {
        if (!equalsIgnoringCase(m_text.substr(m_at, expected.size()), expected)) {
            return false;
        }
        m_at += expected.size();
        return true;
    }

    void skipLine() {
        while (!atEnd() && !isLineEnd(next())) {
            ++m_at;
        }
        skipLineEnd();
    }

    void skipLineEnd() {
        if (!atEnd()) {
            const char16_t first = m_text[m_at++];
            if (first == u'\r' && !atEnd() && next() == u'\n') {
                ++m_at;
            }
        }
    }

    /// Goes to the next line; false when this one holds more than blanks and a comment.
    bool endsLine() {
        skipBlanks();
        if (next() == u';') {
            skipLine();
            return true;
        }
        if (!isLineEnd(next())) {
            return false;
        }
        skipLineEnd();
        return true;
    }

    bool readLine() {
        skipBlanks();
        switch (next()) {
            case u'[':
                return readSection();
            case u'"':
            case u'@':
                return readValue();
            default:
                return endsLine();
        }
    }

    bool readSection() {
        std::size_t lineEnd = m_at;
        while (lineEnd < m_text.size() && !isLineEnd(m_text[lineEnd])) {
            ++lineEnd;
        }
        // A key's name may have brackets in it: the line's last one closes.
        const Text line = m_text.substr(m_at, lineEnd - m_at);
        const std::size_t close = line.rfind(u']');
        if (close == Text::npos) {
            return false;
        }
        Text path = line.substr(1, close - 1);
        const bool removes = path.starts_with(u'-');
        path.remove_prefix(removes ? 1 : 0);
        m_at += close + 1;
        return openSection(path, removes) && endsLine();
    }

    bool openSection(Text path, bool removes) {
        const std::size_t last = std::min(path.rfind(u'\\'), path.size());
        const Text name = path.substr(std::min(last + 1, path.size()));
        if (!removes && m_parent != RegistryTree::kNone && path.substr(0, last) == m_parentPath &&
            !name.empty() && name.size() <= kLongestKeyName) {
            // A key beside the one before it.
            m_section = Section::Key;
            m_key = m_tree.makeKey(m_parent, name);
            return true;
        }
        m_parent = RegistryTree::kNone;
        const std::size_t separator = std::min(path.find(u'\\'), path.size());
        const Text rootName = path.substr(0, separator);
        std::vector<Text> parts;
        Id key = RegistryTree::kNone;
        if (equalsIgnoringCase(rootName, u"HKEY_LOCAL_MACHINE")) {
            key = RegistryTree::LocalMachine;
        } else if (equalsIgnoringCase(rootName, u"HKEY_CLASSES_ROOT")) {
            key = RegistryTree::LocalMachine;
            parts = classesPath();
        } else if (equalsIgnoringCase(rootName, u"HKEY_CURRENT_USER")) {
            key = RegistryTree::CurrentUser;
        } else if (equalsIgnoringCase(rootName, u"HKEY_USERS")) {
            key = RegistryTree::Users;
        } else if (equalsIgnoringCase(rootName, u"HKEY_CURRENT_CONFIG")) {
            key = RegistryTree::CurrentConfig;
        }
        const std::size_t aliased = parts.size();
        if (key == RegistryTree::kNone || !splitRegistryPath(path.substr(separator), parts)) {
            return false;
        }
        m_section = removes ? Section::Removed : Section::Key;
        if (!removes) {
            for (const Text part : parts) {
                m_parent = key;
                key = m_tree.makeKey(key, part);
            }
            m_key = key;
            m_parentPath = path.substr(0, last);
            if (parts.size() == aliased || name.empty()) {
                // The last part is not what the path ends in.
                m_parent = RegistryTree::kNone;
            }
            return true;
        }
        // A root stays, under whichever of its names.
        if (parts.size() == aliased) {
            return true;
        }
        for (const Text part : parts) {
            key = m_tree.findKey(key, part);
            if (key == RegistryTree::kNone) {
                return true;
            }
        }
        m_tree.removeKey(key);
        return true;
    }

    bool readValue() {
        std::u16string name;
        if (next() == u'@') {
            ++m_at;
        } else if (!readQuoted(name, false)) {
            return false;
        }
        skipBlanks();
        if (!takes(u"=") || m_section == Section::None) {
            return false;
        }
        skipBlanks();
        std::string data;
        std::uint32_t type = REG_SZ;
        bool removes = false;
        if (next() == u'"') {
            std::u16string text;
            if (!readQuoted(text, true)) {
                return false;
            }
            // The terminating zero is data as well.
            data.resize(2 * (text.size() + 1));
            char* byte = data.data();
            for (const char16_t unit : text) {
                *byte++ = static_cast<char>(unit & 0xFF);
                *byte++ = static_cast<char>(unit >> 8);
            }
        } else if (takes(u"-")) {
            removes = true;
        } else if (takes(u"dword:")) {
            type = REG_DWORD;
            std::uint32_t number = 0;
            skipBlanks();
            if (!readNumber(number)) {
                return false;
            }
            appendUnit(static_cast<char16_t>(number & 0xFFFF), data);
            appendUnit(static_cast<char16_t>(number >> 16), data);
        } else if (takes(u"hex:")) {
            type = REG_BINARY;
            if (!readBytes(data)) {
                return false;
            }
        } else if (!takes(u"hex(") || !readNumber(type) || !takes(u"):") || !readBytes(data)) {
            return false;
        }
        if (!endsLine()) {
            return false;
        }
        if (m_section == Section::Key) {
            if (removes) {
                m_tree.removeValue(m_key, name);
            } else {
                m_tree.setValue(m_key, name, type, std::move(data));
            }
        }
        return true;
    }

    /// A text in quotation marks. One that is a value's data may have line ends in it, as the
    /// registry editor writes them.
    bool readQuoted(std::u16string& text, bool overLines) {
        ++m_at;
        while (!atEnd()) {
            const std::size_t run = plainUnits();
            text.append(m_text, m_at, run);
            m_at += run;
            if (atEnd()) {
                return false;
            }
            const char16_t c = m_text[m_at++];
            if (c == u'"') {
                return true;
            }
            if (isLineEnd(c) && !overLines) {
                return false;
            }
            if (c == u'\\' && !atEnd()) {
                readEscape(text);
            } else {
                text.push_back(c);
            }
        }
        return false;
    }

    /// How many units from here on mean nothing special in a text in quotation marks.
    std::size_t plainUnits() const {
        std::size_t end = m_at;
        while (end < m_text.size() && m_text[end] != u'"' && m_text[end] != u'\\' &&
               !isLineEnd(m_text[end])) {
            ++end;
        }
        return end - m_at;
    }

    void readEscape(std::u16string& text) {
        switch (const char16_t c = m_text[m_at]; c) {
            case u'\\':
            case u'"':
                text.push_back(c);
                break;
            case u'n':
                text.push_back(u'\n');
                break;
            case u'r':
                text.push_back(u'\r');
                break;
            case u'0':
                text.push_back(u'\0');
                break;
            default:
                // Our choice: a backslash that escapes nothing is meant to be there.
                text.push_back(u'\\');
                return;
        }
        ++m_at;
    }

    /// One to eight hexadecimal digits.
    bool readNumber(std::uint32_t& number) {
        number = 0;
        int digits = 0;
        for (; !atEnd() && hexDigit(next()) >= 0; ++m_at, ++digits) {
            number = number << 4 | static_cast<std::uint32_t>(hexDigit(next()));
        }
        return digits >= 1 && digits <= 8;
    }

    /// Bytes with commas between them; a backslash at the end of a line goes on in the next.
    bool readBytes(std::string& data) {
        for (;;) {
            skipBlanks();
            if (next() == u'\\') {
                ++m_at;
                if (!goesOnInNextLine()) {
                    return false;
                }
                continue;
            }
            if (isLineEnd(next()) || next() == u';') {
                return true;
            }
            const std::size_t start = m_at;
            std::uint32_t byte = 0;
            if (!readNumber(byte) || m_at - start > 2) {
                return false;
            }
            data.push_back(static_cast<char>(byte));
            skipBlanks();
            if (!takes(u",") && next() != u'\\' && next() != u';' && !isLineEnd(next())) {
                return false;
            }
        }
    }

    /// To the first line that is neither empty nor a comment.
    bool goesOnInNextLine() {
        if (!endsLine()) {
            return false;
        }
        for (skipBlanks(); !atEnd() && (isLineEnd(next()) || next() == u';'); skipBlanks()) {
            (void)endsLine();
        }
        return !atEnd();
    }

    Text m_text;
    RegistryTree& m_tree;
    std::size_t m_at = 0;
    Section m_section = Section::None;
    Id m_key = RegistryTree::kNone;
    /// The key above the last section's, and how its path was written; kNone when that is not
    /// known.
    Id m_parent = RegistryTree::kNone;
    Text m_parentPath;
};

}  // namespace

bool readRegistryText(std::string_view bytes, RegistryTree& tree) {
    std::u16string text;
    if (!decode(bytes, text) || !Reader(text, tree).readAll()) {
        return false;
    }
    tree.finish();
    return true;
}

bool splitRegistryPath(std::u16string_view path, std::vector<std::u16string_view>& parts) {
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(u'\\'), path.size());
        if (end > kLongestKeyName) {
            return false;
        }
        if (end > 0) {
            parts.push_back(path.substr(0, end));
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return true;
}

const std::vector<std::u16string_view>& classesPath() {
    // Never destroyed: the registry may be read until the process ends.
    static const auto* const s_path = new std::vector<std::u16string_view>{u"Software", u"Classes"};
    return *s_path;
}

}  // namespace Tallowmere::platform
