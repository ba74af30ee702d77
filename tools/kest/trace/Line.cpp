#include "trace/Line.h"

#include <algorithm>
#include <charconv>

#include "trace/Scanner.h"

namespace Tallowmere::command::trace {
namespace {

constexpr std::size_t kSeverityColumn = 8;
constexpr std::size_t kNameAtMost = 30;
constexpr std::size_t kPlaceColumn = 36;
/// What the buffer of the place holds: a longer one loses its tab, and then its last digits.
constexpr std::size_t kPlaceAtMost = 39;
constexpr std::string_view kBeforeNumber = ":L";

/// Everything up to the next tab, which is taken too.
bool takeField(std::string_view& rest, std::string_view& field) {
    const std::size_t tab = rest.find('\t');
    if (tab == std::string_view::npos) {
        return false;
    }
    field = rest.substr(0, tab);
    rest.remove_prefix(tab + 1);
    return true;
}

bool readSeverity(std::string_view field, Severity& severity) {
    if (field.size() != kSeverityColumn) {
        return false;
    }
    const std::size_t end = field.find(' ');
    const std::string_view name = field.substr(0, end);
    if (end != std::string_view::npos &&
        field.find_first_not_of(' ', end) != std::string_view::npos) {
        return false;
    }
    for (std::size_t i = 0; i < kSeverities.size(); ++i) {
        if (name == kSeverities[i]) {
            severity = static_cast<Severity>(i);
            return true;
        }
    }
    return false;
}

bool readThread(std::string_view field, std::uint32_t& thread) {
    if (field.size() < 2 || field[0] != 'T' || (field[1] == '0' && field.size() > 2)) {
        return false;
    }
    const char* const end = field.data() + field.size();
    const auto [stop, error] = std::from_chars(field.data() + 1, end, thread);
    return error == std::errc() && stop == end;
}

/// How a column's width is counted: the trace is padded in the units of wide text, which are those
/// of UTF-16 on one system and characters on the other, and the file does not tell which.
class Width {
public:
    explicit Width(bool countsPairs) : m_countsPairs(countsPairs) {}

    std::size_t of(std::string_view text) const {
        std::size_t units = 0;
        for (const char c : text) {
            units += ofLead(c);
        }
        return units;
    }

    /// The beginning of `text` that is as wide as `units`, or all of it.
    std::string_view beginning(std::string_view text, std::size_t units) const {
        std::size_t end = 0;
        std::size_t width = 0;
        while (end < text.size() && width + ofLead(text[end]) <= units) {
            width += ofLead(text[end++]);
        }
        return text.substr(0, end);
    }

private:
    std::size_t ofLead(char c) const {
        const auto byte = static_cast<unsigned char>(c);
        const bool isContinuation = (byte & 0xC0U) == 0x80;
        const bool isPair = byte >= 0xF0;
        return isContinuation ? 0 : isPair && m_countsPairs ? 2 : 1;
    }

    bool m_countsPairs;
};

/// A number as the place has it: five columns at least, of which a sign takes one.
bool readNumber(std::string_view digits, bool isCut, std::int64_t& number) {
    const bool isNegative = digits.starts_with('-');
    const std::string_view magnitude = digits.substr(isNegative ? 1 : 0);
    if (digits.size() < 5 || (digits.size() > 5 && magnitude.starts_with('0'))) {
        return false;
    }
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && stop == end && (number != 0 || !isNegative) &&
           (isCut || (number >= -2147483648LL && number <= 2147483647LL));
}

/// The name and the number of a place without the blanks behind it.
bool splitPlace(std::string_view text, const Width& width, bool isCut, Line& line) {
    const std::size_t mark = text.rfind(kBeforeNumber);
    if (mark == std::string_view::npos) {
        return false;
    }
    line.module = text.substr(0, mark);
    return width.of(line.module) <= kNameAtMost &&
           readNumber(text.substr(mark + kBeforeNumber.size()), isCut, line.number);
}

/// The place and, behind it, the message.
bool readPlace(std::string_view rest, const Width& width, Line& line) {
    const std::string_view whole = width.beginning(rest, kPlaceAtMost);
    std::string_view message = rest;
    if (takeField(message, line.place) && width.of(line.place) < kPlaceAtMost) {
        line.message = message;
        std::size_t end = line.place.find_last_not_of(' ');
        end = end == std::string_view::npos ? 0 : end + 1;
        const std::string_view text = line.place.substr(0, end);
        const std::size_t blanks = line.place.size() - end;
        const std::size_t used = width.of(text);
        return (used < kPlaceColumn ? used + blanks == kPlaceColumn : blanks == 0) &&
               splitPlace(text, width, false, line);
    }
    // No tab: the name and the number have filled the buffer, and the message follows at once.
    line.place = whole;
    line.message = rest.substr(whole.size());
    return width.of(whole) == kPlaceAtMost && whole.find('\t') == std::string_view::npos &&
           splitPlace(whole, width, true, line);
}

/// Whether `text` begins with the columns of a severity and of a thread.
bool beginsWithColumns(std::string_view text, Severity& severity) {
    std::string_view field;
    std::uint32_t thread = 0;
    return takeField(text, field) && readSeverity(field, severity) && takeField(text, field) &&
           readThread(field, thread);
}

}  // namespace

std::optional<Severity> severityWithin(std::string_view message) {
    std::optional<Severity> worst;
    for (std::size_t tab = message.find('\t'); tab != std::string_view::npos;
         tab = message.find('\t', tab + 1)) {
        Severity severity = Severity::info;
        // More than the two columns is not looked at, however many tabs there are.
        if (beginsWithColumns(message.substr(tab + 1, 24), severity)) {
            worst = std::max(worst.value_or(Severity::info), severity);
        }
    }
    return worst;
}

Flaw readLine(std::string_view bytes, Line& line) {
    std::string_view rest = bytes;
    std::string_view field;
    if (!takeField(rest, line.time)) {
        return Flaw::time;
    }
    line.isTimeKnown = readStamp(line.time, line.instant);
    if (!line.isTimeKnown && !isForeignStamp(line.time)) {
        return Flaw::time;
    }
    if (!takeField(rest, field) || !readSeverity(field, line.severity)) {
        return Flaw::severity;
    }
    if (!takeField(rest, field) || !readThread(field, line.thread)) {
        return Flaw::thread;
    }
    return readPlace(rest, Width(false), line) || readPlace(rest, Width(true), line) ? Flaw::none
                                                                                     : Flaw::place;
}

}  // namespace Tallowmere::command::trace
