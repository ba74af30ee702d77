#include "kest/diagnostics/TraceStamp.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "kest/platform/Calls.h"
#include "kest/time/DateTimeImpl.h"

namespace Tallowmere {

using platform::os;

namespace {

/// The milliseconds are the last of the fields.
constexpr std::size_t kFieldsOfSecond = offsetof(SYSTEMTIME, wMilliseconds);

bool isSameSecond(const SYSTEMTIME& left, const SYSTEMTIME& right) {
    return std::memcmp(&left, &right, kFieldsOfSecond) == 0;
}

template <class Character>
void showMilliseconds(Character* digits, unsigned int milliseconds) {
    digits[0] = static_cast<Character>('0' + milliseconds / 100 % 10);
    digits[1] = static_cast<Character>('0' + milliseconds / 10 % 10);
    digits[2] = static_cast<Character>('0' + milliseconds % 10);
}

}  // namespace

const std::wstring& TraceStamp::now() {
    refresh();
    showInText();
    return m_text;
}

void TraceStamp::appendTo(LineText& line) {
    showInText();
    line.append(m_text);
    line.append(L'\t');
}

void TraceStamp::showInText() {
    if (m_milliseconds != std::wstring::npos && m_shownInText != m_second.wMilliseconds) {
        showMilliseconds(m_text.data() + m_milliseconds, m_second.wMilliseconds);
        m_shownInText = m_second.wMilliseconds;
    }
}

[[gnu::hot]] void TraceStamp::refresh() {
    SYSTEMTIME time;
    os().GetSystemTime(&time);
    if (m_milliseconds == std::wstring::npos || !isSameSecond(time, m_second) ||
        os().GetThreadLocale() != m_language) [[unlikely]] {
        make(time);
    } else if (time.wMilliseconds != m_second.wMilliseconds) {
        m_second.wMilliseconds = time.wMilliseconds;
        if (m_column.size != 0) {
            showMilliseconds(m_column.bytes + m_milliseconds, time.wMilliseconds);
        }
    }
}

void TraceStamp::make(const SYSTEMTIME& time) {
    m_milliseconds = std::wstring::npos;
    m_column.size = 0;
    m_text = DateTimeImpl(time).toString(true, L"MMMM d, yyyy", nullptr, true);
    // Half a text is what is left when the system could not write the date or the time: it is asked
    // again for the next line.
    if (m_text.empty() || m_text.front() == L',' || time.wMilliseconds > 999) {
        return;
    }
    m_second = time;
    m_shownInText = time.wMilliseconds;
    m_language = os().GetThreadLocale();
    const std::size_t point = DateTimeImpl::positionOfMilliseconds(m_text);
    // A text of another form than the usual one, whatever a language may write, is made each time.
    if (point >= 5 && m_text[point - 4] == L'.' && m_text[point - 5] != L',') {
        m_milliseconds = point - 3;
        LineText line;
        line.append(m_text);
        line.append(L'\t');
        const std::string_view bytes = line.bytes();
        const bool isAscii = bytes.size() == m_text.size() + 1;
        if (isAscii && bytes.size() <= sizeof(m_column.bytes)) {
            m_column.size = bytes.copy(m_column.bytes, bytes.size());
        }
    }
}

}  // namespace Tallowmere
