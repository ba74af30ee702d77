#include "trace/Query.h"

#include <kest/kest.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "FullPath.h"
#include "trace/Text.h"

namespace Tallowmere::command::trace {
namespace {

bool readSeverity(const std::wstring& text, Severity& severity) {
    const std::string name = toUtf8(text);
    for (std::size_t i = 0; i < kSeverities.size(); ++i) {
        if (isSame(name, kSeverities[i])) {
            severity = static_cast<Severity>(i);
            return true;
        }
    }
    return text.empty();
}

bool readThread(const std::wstring& text, std::uint32_t& thread) {
    std::string digits = toUtf8(text);
    if (digits.starts_with('T') || digits.starts_with('t')) {
        digits.erase(0, 1);
    }
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, thread);
    return error == std::errc() && stop == end;
}

std::wstring timeMistake(const wchar_t* option, const std::wstring& text) {
    return std::wstring(option) + L" needs a time like 2026-11-16, \"2026-11-16 05:35\" or " +
           L"2026-11-16T05:35:54.123, not " + text;
}

bool readEnds(const Options& options, Query& query, std::wstring& mistake) {
    Instant other = 0;
    if (!options.since.empty() && !readTime(toUtf8(options.since), query.since, other)) {
        mistake = timeMistake(L"--since", options.since);
        return false;
    }
    if (!options.until.empty() && !readTime(toUtf8(options.until), other, query.until)) {
        mistake = timeMistake(L"--until", options.until);
        return false;
    }
    return true;
}

}  // namespace

bool readQuery(const Options& options, Query& query, std::wstring& mistake) {
    if (!readSeverity(options.severity, query.least)) {
        mistake = L"--severity needs info, warning, error or critical, not " + options.severity;
        return false;
    }
    if (!readEnds(options, query, mistake)) {
        return false;
    }
    for (const std::wstring& text : options.threads) {
        std::uint32_t thread = 0;
        if (!readThread(text, thread)) {
            mistake = L"--thread needs a thread's number like 4711 or T4711, not " + text;
            return false;
        }
        query.threads.push_back(thread);
    }
    for (const std::wstring& module : options.modules) {
        query.modules.push_back(toUtf8(plainText(module)));
    }
    for (const std::wstring& text : options.texts) {
        query.texts.push_back(toUtf8(plainText(text)));
    }
    return true;
}

bool Filter::passes(const Entry& entry) {
    File& file = m_files[entry.file];
    switch (entry.kind) {
        case Entry::Kind::line:
            file.areFieldsWanted = areFieldsWanted(entry);
            file.isShown = file.areFieldsWanted && hasTexts(entry.line.message);
            return file.isShown;
        case Entry::Kind::blank:
            return file.isShown;
        case Entry::Kind::unreadable: {
            const bool isWanted = file.isShown || (file.areFieldsWanted && hasTexts(entry.bytes));
            m_unreadableNotShown += isWanted ? 0 : 1;
            return isWanted;
        }
        default:
            return true;
    }
}

bool Filter::areFieldsWanted(const Entry& entry) {
    const Line& line = entry.line;
    const auto hasModule = [&line](const std::string& name) { return isSame(line.module, name); };
    if (std::max(line.severity, entry.within.value_or(Severity::info)) < m_query.least) {
        return false;
    }
    if (!m_query.threads.empty() && std::find(m_query.threads.begin(), m_query.threads.end(),
                                              line.thread) == m_query.threads.end()) {
        return false;
    }
    if (!m_query.modules.empty() &&
        std::none_of(m_query.modules.begin(), m_query.modules.end(), hasModule)) {
        return false;
    }
    if (m_query.hasTimes() && !line.isTimeKnown) {
        ++m_timesNotKnown;
    }
    const Instant when = line.isTimeKnown ? line.instant : entry.when;
    // A file that has not told any time yet is shown rather than passed over.
    return when == kNever || (when >= m_query.since && when <= m_query.until);
}

bool Filter::hasTexts(std::string_view text) const {
    return std::all_of(m_query.texts.begin(), m_query.texts.end(),
                       [text](const std::string& part) { return contains(text, part); });
}

}  // namespace Tallowmere::command::trace
