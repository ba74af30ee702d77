#include "kest/platform/linux/SambaConfiguration.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>

namespace Tallowmere::platform::samba {
namespace {

using Parameters = std::map<std::string, std::string>;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

/// How the names of sections and parameters are compared: neither case nor blanks matter.
std::string keyOf(std::string_view name) {
    std::string key;
    for (const char c : name) {
        if (!isBlank(c)) {
            key.push_back(lowerCase(c));
        }
    }
    return key;
}

/// A section's title as it is shown: blanks within it count as one.
std::string titleOf(std::string_view name) {
    std::string title;
    for (const char c : trimmed(name)) {
        if (!isBlank(c)) {
            title.push_back(c);
        } else if (title.back() != ' ') {
            title.push_back(' ');
        }
    }
    return title;
}

/// The name under which a parameter is kept, whichever of its names the file uses.
std::string parameterOf(std::string_view name) {
    const std::string key = keyOf(name);
    if (key == "directory") {
        return "path";
    }
    return key == "printok" ? "printable" : key;
}

std::optional<bool> truthOf(std::string_view value) {
    const std::string key = keyOf(value);
    if (key == "yes" || key == "true" || key == "on" || key == "1") {
        return true;
    }
    if (key == "no" || key == "false" || key == "off" || key == "0") {
        return false;
    }
    return std::nullopt;
}

struct Section {
    std::string title;
    std::string key;
    Parameters parameters;
};

/// Reads files into sections.
class Reader {
public:
    Reader() { (void)section("global"); }

    int read(const std::string& path, int depth);

    std::vector<Section>& sections() { return m_sections; }
    Section& global() { return m_sections.front(); }

private:
    static constexpr int kMostIncludes = 100;

    std::size_t section(std::string_view title);
    void takeLine(std::string_view line, const std::string& path, int depth);
    void include(std::string_view value, const std::string& from, int depth);
    void copy(std::string_view from);

    std::vector<Section> m_sections;
    std::size_t m_current = 0;
    /// Files that include each other without end were met; nothing is included from then on. One
    /// that includes itself twice would be read 2 to the power of kMostIncludes times otherwise.
    bool m_isEndless = false;
};

int readWhole(const std::string& path, std::string& text) {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "re"),
                                                                  &std::fclose);
    if (file == nullptr) {
        return errno;
    }
    char piece[4096];
    std::size_t length = 0;
    while ((length = std::fread(piece, 1, sizeof piece, file.get())) > 0) {
        text.append(piece, length);
    }
    return std::ferror(file.get()) != 0 ? errno : 0;
}

/// The number of the section with that title, a new one if there is none yet: a section may be
/// continued.
std::size_t Reader::section(std::string_view title) {
    const std::string key = keyOf(title);
    for (std::size_t i = 0; i < m_sections.size(); ++i) {
        if (m_sections[i].key == key) {
            return i;
        }
    }
    m_sections.push_back({titleOf(title), key, {}});
    return m_sections.size() - 1;
}

int Reader::read(const std::string& path, int depth) {
    std::string text;
    const int error = readWhole(path, text);
    if (error != 0) {
        return error;
    }
    std::string line;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::string_view piece(text.data() + start, end - start);
        start = end + 1;
        if (!piece.empty() && piece.back() == '\r') {
            piece.remove_suffix(1);
        }
        const std::string_view content = trimmed(piece);
        if (line.empty() && (content.empty() || content[0] == ';' || content[0] == '#')) {
            continue;
        }
        // As Samba has it: blanks behind the backslash do not count, and without a line end behind
        // it the backslash is an ordinary character.
        if (!content.empty() && content.back() == '\\' && end < text.size()) {
            line.append(piece.data(), content.data() + content.size() - 1);
            continue;
        }
        line.append(piece);
        takeLine(trimmed(line), path, depth);
        line.clear();
    }
    if (!line.empty()) {
        takeLine(trimmed(line), path, depth);
    }
    return 0;
}

void Reader::takeLine(std::string_view line, const std::string& path, int depth) {
    if (line.empty()) {
        return;
    }
    if (line.front() == '[') {
        const std::size_t end = line.find(']');
        // One that is not closed, or has no title, is no title at all.
        if (end != std::string_view::npos && !keyOf(line.substr(1, end - 1)).empty()) {
            m_current = section(line.substr(1, end - 1));
        }
        return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        return;
    }
    const std::string name = parameterOf(line.substr(0, equals));
    const std::string_view value = trimmed(line.substr(equals + 1));
    if (name == "include") {
        include(value, path, depth);
    } else if (name == "copy") {
        copy(value);
    } else {
        m_sections[m_current].parameters[name] = value;
    }
}

/// Our choice: a relative name is looked for beside the file that includes it.
void Reader::include(std::string_view value, const std::string& from, int depth) {
    m_isEndless = m_isEndless || depth == kMostIncludes;
    if (value.empty() || m_isEndless) {
        return;
    }
    std::string path(value);
    const std::size_t folder = from.rfind('/');
    if (path.front() != '/' && folder != std::string::npos) {
        path = from.substr(0, folder + 1) + path;
    }
    (void)read(path, depth + 1);
}

/// Takes over what another section says and this one has not said itself.
void Reader::copy(std::string_view from) {
    const std::string key = keyOf(from);
    const auto found = std::find_if(m_sections.begin(), m_sections.end(),
                                    [&](const Section& one) { return one.key == key; });
    if (found != m_sections.end()) {
        const Parameters others = found->parameters;
        m_sections[m_current].parameters.insert(others.begin(), others.end());
    }
}

/// What a section says, or what "global" says for all.
class View {
public:
    View(const Section& section, const Section& global) : m_section(section), m_global(global) {}

    std::string text(const std::string& name) const {
        std::string value = find(name);
        // A text may be quoted as a whole.
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"' &&
            value.find('"', 1) == value.size() - 1) {
            value = value.substr(1, value.size() - 2);
        }
        return value;
    }

    bool truth(const std::string& name, bool otherwise) const {
        return truthOf(find(name)).value_or(otherwise);
    }

private:
    std::string find(const std::string& name) const {
        for (const Section* const one : {&m_section, &m_global}) {
            const auto found = one->parameters.find(name);
            if (found != one->parameters.end()) {
                return found->second;
            }
        }
        return "";
    }

    const Section& m_section;
    const Section& m_global;
};

std::string hostName() {
    char name[256] = "";
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

/// Replaces what a text may say of the share and the machine. What only a user who connects has,
/// such as "%U", stays as it is.
std::string expanded(const std::string& text, const std::string& share,
                     const std::string& computer) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char next = text[at] == '%' && at + 1 < text.size() ? text[at + 1] : '\0';
        if (next == 'S') {
            result += share;
        } else if (next == 'h') {
            result += hostName();
        } else if (next == 'L') {
            result += computer.empty() ? hostName() : computer;
        } else {
            result += text[at];
            continue;
        }
        ++at;
    }
    return result;
}

/// Whether a name is one that a system gives to the shares which it makes for its administrators:
/// "C$" for the root of a drive, and "ADMIN$".
bool isAdministrators(const std::string& key) {
    return key == "admin$" || (key.size() == 2 && key[0] >= 'a' && key[0] <= 'z' && key[1] == '$');
}

DWORD typeOf(const std::string& key, const View& view) {
    if (key == "ipc$") {
        return STYPE_IPC | STYPE_SPECIAL;
    }
    const bool isPrinter = key == "printers" || view.truth("printable", false);
    const bool isSpecial = view.truth("administrativeshare", isAdministrators(key));
    return (isPrinter ? STYPE_PRINTQ : STYPE_DISKTREE) | (isSpecial ? STYPE_SPECIAL : 0);
}

}  // namespace

int readConfiguration(const std::string& path, Configuration& configuration) {
    Reader reader;
    const int error = reader.read(path, 0);
    if (error != 0) {
        return error;
    }
    const Section& global = reader.global();
    configuration.computerName = View(global, global).text("netbiosname");
    for (const Section& section : reader.sections()) {
        const View view(section, global);
        if (&section == &global || section.key == "homes" || !view.truth("available", true)) {
            continue;
        }
        Share share;
        share.name = section.title;
        share.type = typeOf(section.key, view);
        share.path = expanded(view.text("path"), share.name, configuration.computerName);
        share.comment = expanded(view.text("comment"), share.name, configuration.computerName);
        const long maximum = std::strtol(view.text("maxconnections").c_str(), nullptr, 10);
        if (maximum > 0) {
            share.maximum = static_cast<DWORD>(maximum);
        }
        if (share.path.empty() && (share.type & ~STYPE_SPECIAL) == STYPE_DISKTREE) {
            continue;
        }
        configuration.shares.push_back(std::move(share));
    }
    return 0;
}

}  // namespace Tallowmere::platform::samba
