#include "TraceTap.h"

#include <kest/kest.h>

#include <utility>

namespace Tallowmere::command {
namespace {

std::wstring withoutLineEnd(std::wstring text) {
    const std::size_t last = text.find_last_not_of(L"\r\n");
    text.resize(last == std::wstring::npos ? 0 : last + 1);
    return text;
}

/// The message of a line of that severity (padded to its column), which is: time, severity, thread,
/// source, message, each but the last followed by a tab. False for any other text.
bool readMessage(const std::wstring& statement, const wchar_t* wanted, std::wstring& message) {
    const std::size_t severity = statement.find(L'\t');
    if (severity == std::wstring::npos || statement.compare(severity + 1, 8, wanted) != 0) {
        return false;
    }
    std::size_t tab = severity;
    for (int field = 1; field < 4 && tab != std::wstring::npos; ++field) {
        tab = statement.find(L'\t', tab + 1);
    }
    if (tab == std::wstring::npos) {
        return false;
    }
    message = statement.substr(tab + 1);
    return true;
}

/// The number at the end of the line that tells what the system answered to a restore.
void readRestoreAnswer(const std::wstring& statement, std::wstring& answer) {
    const std::wstring begin = L"\tSystemRestore::Restore() returned";
    const std::size_t found = statement.find(begin);
    if (found != std::wstring::npos) {
        answer = withoutLineEnd(statement.substr(found + begin.size()));
    }
}

}  // namespace

TraceTap::TraceTap(File file) : m_statements(std::move(file)), m_stream(&m_statements) {
    Recorder::instance()->setStream(&m_stream, nullptr, false);
}

TraceTap::~TraceTap() {
    // The recorder must forget the stream before it ends.
    Recorder::destroy();
}

std::wstring TraceTap::messageOf(const std::exception& error) const {
    const std::wstring& whole = m_statements.lastError();
    const std::wstring cut = convertToWString(error.what());
    // The two belong together when cutting the line gives the exception's text; other exceptions
    // (memory ran out) have no line.
    const bool belongs = withoutLineEnd(convertToWString(convertToString(whole.c_str()).c_str())) ==
                         withoutLineEnd(cut);
    return withoutLineEnd(belongs ? whole : cut);
}

std::wstring TraceTap::lastError() const {
    return withoutLineEnd(m_statements.lastError());
}

std::wstring TraceTap::lastWarning() const {
    return withoutLineEnd(m_statements.lastWarning());
}

TraceTap::Statements::Statements(File file) : m_file(std::move(file)) {}

TraceTap::Statements::int_type TraceTap::Statements::overflow(int_type unit) {
    if (!traits_type::eq_int_type(unit, traits_type::eof())) {
        m_statement.push_back(traits_type::to_char_type(unit));
    }
    return traits_type::not_eof(unit);
}

std::streamsize TraceTap::Statements::xsputn(const wchar_t* text, std::streamsize count) {
    m_statement.append(text, static_cast<std::size_t>(count));
    return count;
}

int TraceTap::Statements::sync() {
    if (m_file) {
        // A full disk costs the trace, not the copy.
        const std::string bytes = toUtf8(m_statement);
        std::fwrite(bytes.data(), 1, bytes.size(), m_file.get());
        std::fflush(m_file.get());
    }
    readMessage(m_statement, L"ERROR   ", m_lastError);
    readMessage(m_statement, L"WARNING ", m_lastWarning);
    readRestoreAnswer(m_statement, m_restoreAnswer);
    m_statement.clear();
    return 0;
}

}  // namespace Tallowmere::command
