#include "TraceTap.h"

#include <kest/kest.h>

#include <string_view>
#include <utility>

namespace Tallowmere::command {
namespace {

std::wstring withoutLineEnd(std::wstring text) {
    const std::size_t last = text.find_last_not_of(L"\r\n");
    text.resize(last == std::wstring::npos ? 0 : last + 1);
    return text;
}

/// What a line begins with on its way to the message: time, severity, thread and source, each
/// followed by a tab. Empty, and nothing stored, for a text that is no line.
struct Line {
    std::wstring_view severity;
    std::wstring_view message;
};

Line takeApart(std::wstring_view statement) {
    const std::size_t severity = statement.find(L'\t');
    std::size_t tab = severity;
    for (int field = 1; field < 4 && tab != std::wstring_view::npos; ++field) {
        tab = statement.find(L'\t', tab + 1);
    }
    if (tab == std::wstring_view::npos) {
        return {};
    }
    return {statement.substr(severity + 1), statement.substr(tab + 1)};
}

struct StepText {
    std::wstring_view begin;
    Step step;
};

constexpr StepText kSteps[] = {{L"CopyFileTransacted ", Step::copyEntry},
                               {L"CreateDirectoryTransacted ", Step::createFolder},
                               {L"DeleteFileTransacted ", Step::deleteFile},
                               {L"RemoveDirectoryTransacted ", Step::removeFolder}};

}  // namespace

TraceTap::TraceTap(File file) : m_statements(std::move(file)), m_stream(&m_statements) {
    // A stream swallows what its buffer throws, unless it is told not to.
    m_stream.exceptions(std::ios_base::badbit);
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

void TraceTap::forgetMessages() {
    m_statements.forgetMessages();
}

TraceTap::Statements::Statements(File file) : m_file(std::move(file)) {}

void TraceTap::Statements::forgetMessages() {
    m_lastError.clear();
    m_lastWarning.clear();
}

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
    // Emptied also when who hears of it throws.
    struct Emptied {
        std::wstring& text;
        ~Emptied() { text.clear(); }
    } emptied{m_statement};
    read(m_statement);
    return 0;
}

void TraceTap::Statements::read(const std::wstring& statement) {
    const Line line = takeApart(statement);
    if (line.severity.starts_with(L"ERROR   ")) {
        m_lastError = line.message;
    } else if (line.severity.starts_with(L"WARNING ")) {
        m_lastWarning = line.message;
    } else if (line.severity.starts_with(L"INFO    ")) {
        constexpr std::wstring_view kAnswer = L"SystemRestore::Restore() returned";
        if (line.message.starts_with(kAnswer)) {
            m_restoreAnswer = withoutLineEnd(std::wstring(line.message.substr(kAnswer.size())));
        }
        if (m_listener != nullptr) {
            for (const StepText& text : kSteps) {
                if (line.message.starts_with(text.begin)) {
                    m_listener->hear(text.step);
                }
            }
        }
    }
}

}  // namespace Tallowmere::command
