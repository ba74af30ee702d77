#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Tallowmere {

/// One of the columns of a trace line after the time stamp, with the tab that ends it. Each is
/// built in a buffer of a fixed size, as by a bounded format: what does not fit, the tab included,
/// is cut off.
class TraceColumn {
public:
    static constexpr std::size_t kSize = 40;

    std::wstring_view text() const { return {m_text, m_length}; }
    /// `text` up to its first null character, cut to what has room in a buffer of `size`.
    void append(std::wstring_view text, std::size_t size);
    /// Blanks up to `width` characters.
    void pad(std::size_t width);
    /// In at least `digits` digits, of which the sign takes one.
    void append(std::int64_t number, std::size_t digits, std::size_t size);

private:
    wchar_t m_text[kSize];
    std::size_t m_length = 0;
};

/// `name` left-aligned in 8 columns. At most 33 characters.
TraceColumn severityColumn(std::wstring_view name);

/// "T" and the thread's identifier.
TraceColumn threadColumn(std::uint32_t thread);

/// At most 30 characters of `source`, ":L", `line` in at least 5 digits, padded to 36 columns. At
/// most 39 characters.
TraceColumn locationColumn(std::wstring_view source, int line);

/// A column of at most `capacity` bytes as it is in the trace file. Those behind `size` mean
/// nothing.
template <std::size_t capacity>
struct ColumnBytes {
    char bytes[capacity];
    std::size_t size;

    /// Writes them to `out`, which has room for all of them, and returns their end. A copy whose
    /// length is known beforehand takes a few instructions and no call.
    char* writeTo(char* out) const {
        std::memcpy(out, bytes, capacity);
        return out + size;
    }
};

/// The thread column, which is kept: the next line is often that of the same thread.
class ThreadMemo {
public:
    using Column = ColumnBytes<16>;

    const Column& column(std::uint32_t thread) {
        if (m_column.size == 0 || thread != m_thread) {
            make(thread);
        }
        return m_column;
    }

private:
    void make(std::uint32_t thread);

    std::uint32_t m_thread = 0;
    Column m_column{};
};

/// The location columns of statements, which are kept: a statement is often met again soon. For
/// sources whose base name is plain ASCII and no longer than a column takes.
class LocationMemo {
public:
    static constexpr std::size_t kSource = 30;
    using Column = ColumnBytes<TraceColumn::kSize>;

    /// A statement's column, twice: what goes into the file, and as much of it as can become the
    /// name in a later column. What is looked at for each line stands together.
    class Entry {
    public:
        const Column& column() const { return m_column; }
        const wchar_t* name() const { return m_name; }
        /// No other entry has or had it.
        std::uint64_t number() const { return m_number; }

    private:
        friend LocationMemo;
        static constexpr std::size_t kKey = 32;

        /// The source as it was given. A key that is kept is not empty, so an entry without a key
        /// is no statement's.
        char m_key[kKey];
        int m_line;
        std::uint32_t m_keyLength;
        std::uint64_t m_number;
        Column m_column;
        wchar_t m_name[kSource];
    };

    /// Keeps the base name of `path` for the line in progress. False when it is none for this; what
    /// was kept before is then as it was.
    bool takeName(std::string_view path);
    /// The kept name.
    std::string_view name() const { return {m_source, m_length}; }
    /// The column of the kept name and `line`.
    const Entry& column(int line) { return entryOf(name(), line); }
    /// The column of the base name of `path` and `line`; null when takeName has none for it.
    const Entry* column(std::string_view path, int line) {
        const Entry& entry = m_entries[static_cast<unsigned int>(line) % kEntries];
        if (entry.m_line == line && isKey(entry, path)) [[likely]] {
            return &entry;
        }
        return columnAnew(path, line);
    }

private:
    static constexpr std::size_t kEntries = 8;

    static bool isKey(const Entry& entry, std::string_view source) {
        const std::size_t length = source.size();
        if (length != entry.m_keyLength || length == 0) {
            return false;
        }
        // A word at a time: this is asked for each line. The last word overlaps the one before it.
        constexpr std::size_t kWord = sizeof(std::uint64_t);
        if (length < kWord) {
            return source == std::string_view(entry.m_key, length);
        }
        const auto differ = [&](std::size_t at) {
            std::uint64_t given = 0;
            std::uint64_t kept = 0;
            std::memcpy(&given, source.data() + at, kWord);
            std::memcpy(&kept, entry.m_key + at, kWord);
            return given ^ kept;
        };
        std::uint64_t difference = differ(length - kWord);
        for (std::size_t at = 0; at + kWord < length; at += kWord) {
            difference |= differ(at);
        }
        return difference == 0;
    }
    const Entry* columnAnew(std::string_view path, int line);
    const Entry& entryOf(std::string_view key, int line);

    char m_source[kSource] = {};
    std::size_t m_length = 0;
    Entry m_entries[kEntries] = {};
};

}  // namespace Tallowmere
