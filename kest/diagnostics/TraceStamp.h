#pragma once

#include <cstddef>
#include <string>

#include "kest/diagnostics/LineText.h"
#include "kest/diagnostics/TraceColumns.h"
#include "kest/platform/Win32.h"

namespace Tallowmere {

/// The time at the beginning of a trace line: local time, "November 16, 2026, 5:35:54.123 AM".
///
/// Our choice: the text is made once a second and only its milliseconds are changed in between, so
/// that a new time zone shows from the next second on; a new language shows at once. Not for
/// several threads at a time.
class TraceStamp {
public:
    /// Now. Empty when the system knows no local time. Valid until the next call.
    const std::wstring& now();
    /// Enough for "September 16, 2026, 11:35:54.123 AM" and its tab.
    using Column = ColumnBytes<48>;
    /// The same and a tab behind it, as bytes. Null when they are more, or not ASCII: appendTo then
    /// has the same time.
    const Column* column() {
        refresh();
        return m_column.size != 0 ? &m_column : nullptr;
    }
    /// Appends the time that was asked for last, and a tab.
    void appendTo(LineText& line);

private:
    void refresh();
    void showInText();
    void make(const SYSTEMTIME& time);

    /// What the bytes say; the text does so but for its milliseconds.
    SYSTEMTIME m_second{};
    LCID m_language = 0;
    WORD m_shownInText = 0;
    /// Where the three digits of the milliseconds stand; npos when the text is not to be used
    /// again.
    std::size_t m_milliseconds = std::wstring::npos;
    /// The text and a tab, in which only the digits change; empty when they are made each time.
    Column m_column{};
    std::wstring m_text;
};

}  // namespace Tallowmere
