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

/// A column as the bytes that it is in the trace file. Those behind `size` mean nothing.
struct ColumnBytes {
    static constexpr std::size_t kSize = 40;

    char bytes[kSize];
    std::size_t size;
};

/// The severity column of a name that fits into it and is ASCII; false for any other.
bool plainSeverity(const wchar_t* name, ColumnBytes& column);

/// The thread column, which is kept: the next line is often that of the same thread.
class ThreadMemo {
public:
    const ColumnBytes& column(std::uint32_t thread) {
        if (m_column.size == 0 || thread != m_thread) {
            make(thread);
        }
        return m_column;
    }

private:
    void make(std::uint32_t thread);

    std::uint32_t m_thread = 0;
    ColumnBytes m_column{};
};

/// The location columns of statements, which are kept: a statement is often met again soon. For
/// sources whose base name is plain ASCII and no longer than a column takes.
class LocationMemo {
public:
    static constexpr std::size_t kSource = 30;
    static constexpr std::size_t kSourceRoom = 32;

    /// A statement's column, twice: what goes into the file, and as much of it as can become the
    /// name in a later column.
    struct Entry {
        ColumnBytes column;
        wchar_t name[kSource];
        /// No other entry has or had it.
        std::uint64_t number;

    private:
        friend LocationMemo;
        char m_source[kSourceRoom];
        int m_line;
    };

    /// Keeps the base name of `path` for the line in progress. False when it is none for this; what
    /// was kept before is then as it was.
    bool takeName(std::string_view path) { return isSame(path) || keepBaseName(path); }
    /// The kept name.
    std::string_view name() const { return {m_source, m_length}; }
    /// The column of the kept name and `line`.
    const Entry& column(int line) {
        Entry& entry = m_entries[static_cast<unsigned int>(line) % kEntries];
        if (entry.m_line != line || std::memcmp(entry.m_source, m_source, kSourceRoom) != 0) {
            fill(entry, line);
        }
        return entry;
    }

private:
    static constexpr std::size_t kEntries = 8;

    bool isSame(std::string_view name) const;
    bool keepBaseName(std::string_view path);
    void fill(Entry& entry, int line) const;

    /// Filled up with null characters, of which a name has none.
    char m_source[kSourceRoom] = {};
    std::size_t m_length = 0;
    /// A name that is kept is not empty, so an entry without a name is no statement's.
    Entry m_entries[kEntries] = {};
};

}  // namespace Tallowmere
