#include "kest/transacted/testing/TraceCapture.h"

#include <algorithm>
#include <cwctype>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/text/Strings.h"

namespace Tallowmere::testing {
namespace {

/// Takes the text up to the next tab off the front.
std::wstring nextColumn(std::wstring& line) {
    const std::size_t tab = std::min(line.find(L'\t'), line.size() - 1);
    const std::wstring column = line.substr(0, tab);
    line.erase(0, tab + 1);
    return column;
}

std::wstring trimmed(const std::wstring& column) {
    return column.substr(0, column.find_last_not_of(L' ') + 1);
}

/// "Module" of "Module:L00012   ..."; empty when the column is not so.
std::wstring moduleOf(const std::wstring& column) {
    const std::wstring location = trimmed(column);
    const std::size_t colon = location.find(L":L");
    if (column.size() != 36 || colon == std::wstring::npos || location.size() - colon != 7 ||
        !std::all_of(location.begin() + static_cast<std::ptrdiff_t>(colon) + 2, location.end(),
                     [](wchar_t c) { return c >= L'0' && c <= L'9'; })) {
        return L"";
    }
    return location.substr(0, colon);
}

std::wstring readable(const std::wstring& line) {
    std::wstring rest = line.substr(std::wstring(kStamp).size());
    if (std::count(rest.begin(), rest.end(), L'\t') < 3 || rest.back() != L'\n') {
        return L"BAD LINE: " + line;
    }
    const std::wstring severity = nextColumn(rest);
    const std::wstring thread = nextColumn(rest);
    const std::wstring module = moduleOf(nextColumn(rest));
    if (severity.size() != 8 || thread != L"T4711" || module.empty()) {
        return L"BAD LINE: " + line;
    }
    rest.pop_back();
    return trimmed(severity) + L" " + module + L": " + rest;
}

}  // namespace

TraceCapture::TraceCapture() {
    Recorder::instance()->setStream(&m_stream, nullptr, false);
}

TraceCapture::~TraceCapture() {
    Recorder::destroy();
}

std::vector<std::wstring> TraceCapture::lines() const {
    const std::wstring text = m_stream.str();
    std::vector<std::wstring> result;
    if (!text.empty() && text.compare(0, std::wstring(kStamp).size(), kStamp) != 0) {
        result.push_back(L"BAD LINE: " + text);
        return result;
    }
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t next = text.find(std::wstring(L"\n") + kStamp, start);
        const std::size_t end = next == std::wstring::npos ? text.size() : next + 1;
        result.push_back(readable(text.substr(start, end - start)));
        start = end;
    }
    return result;
}

std::wstring failureLine(const std::wstring& text, unsigned long code) {
    return L"ERROR Utilities: " + text + L" failed: " + getSystemErrorMessage(code, nullptr);
}

std::string failureText(const std::wstring& text, unsigned long code) {
    return convertToString((text + L" failed: " + getSystemErrorMessage(code, nullptr)).c_str());
}

}  // namespace Tallowmere::testing
