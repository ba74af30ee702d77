#pragma once

#include <cstddef>
#include <cstdint>
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

/// The location column of a statement, which is kept: the next line is often that of the same
/// statement.
class LocationMemo {
public:
    const TraceColumn& column(std::wstring_view source, int line);

private:
    static constexpr std::size_t kSource = 30;

    wchar_t m_source[kSource];
    std::size_t m_length = 0;
    int m_line = 0;
    bool m_isFilled = false;
    TraceColumn m_column;
};

}  // namespace Tallowmere
