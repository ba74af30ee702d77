#pragma once

#include <kest/kest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trace/Bytes.h"
#include "trace/Output.h"

/// What the tests of the reader of traces work with.
namespace Tallowmere::command::trace::testing {

inline const std::string kStamp = "November 16, 2026, 5:35:54.123 AM\t";
/// A place, with the tab behind it.
inline const std::string kPlace = "Configurable:L00064                 \t";

/// A line of that time of day on one day, without its end.
inline std::string lineAt(const std::string& time, const std::string& message,
                          const std::string& severity = "INFO    ", int thread = 1) {
    return "November 16, 2026, " + time + "\t" + severity + "\tT" + std::to_string(thread) + "\t" +
           kPlace + message;
}

/// A text handed out in blocks of one size.
class TextBytes : public Bytes {
public:
    explicit TextBytes(std::string text, std::size_t block = 1U << 16)
        : m_text(std::move(text)), m_block(block) {}

    State read(char* buffer, std::size_t size, std::size_t& count) override {
        count = std::string_view(m_text).substr(m_done).copy(buffer, std::min(size, m_block));
        m_done += count;
        return count == 0 ? State::none : State::some;
    }
    void append(const std::string& text) { m_text += text; }

private:
    std::string m_text;
    std::size_t m_block;
    std::size_t m_done = 0;
};

class TextOutput : public Output {
public:
    explicit TextOutput(bool hasColours = false) : m_hasColours(hasColours) {}
    void write(std::string_view text) override { m_text += text; }
    bool hasColours() const override { return m_hasColours; }
    const std::string& text() const { return m_text; }

private:
    bool m_hasColours;
    std::string m_text;
};

/// A folder of a test's own, which is removed in the end.
class ScratchFolder {
public:
    ScratchFolder() {
        std::random_device random;
        m_path = std::filesystem::temp_directory_path() /
                 ("kest-trace-" + std::to_string(random()) + "-" + std::to_string(random()));
        std::filesystem::create_directory(m_path);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    /// The full path of a file in it.
    std::wstring path(const std::wstring& name) const { return fromNative(textOf(at(name))); }

    /// Writes the bytes into a file in it; returns its full path.
    std::wstring write(const std::wstring& name, const std::string& bytes) const {
        std::ofstream file(at(name), std::ios_base::binary);
        file << bytes;
        return path(name);
    }
    void append(const std::wstring& name, const std::string& bytes) const {
        std::ofstream file(at(name), std::ios_base::binary | std::ios_base::app);
        file << bytes;
    }
    std::string read(const std::wstring& name) const {
        std::ifstream file(at(name), std::ios_base::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    void rename(const std::wstring& from, const std::wstring& to) const {
        std::filesystem::rename(at(from), at(to));
    }

private:
    // The run-time's own conversions of wide names depend on the locale.
    std::filesystem::path at(const std::wstring& name) const {
        const std::string bytes = toUtf8(name);
        return m_path / std::u8string(bytes.begin(), bytes.end());
    }
    static std::string textOf(const std::filesystem::path& path) {
        const std::u8string text = path.u8string();
        return {text.begin(), text.end()};
    }

    std::filesystem::path m_path;
};

}  // namespace Tallowmere::command::trace::testing
