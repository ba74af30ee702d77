#include "trace/Lines.h"

#include <string>

#include "trace/Text.h"

namespace Tallowmere::command::trace {
namespace {

constexpr const char* kPlain = "";
constexpr const char* kDim = "\x1b[2m";
constexpr const char* kMagenta = "\x1b[35m";
constexpr const char* kCyan = "\x1b[36m";

const char* colourOf(Severity severity) {
    switch (severity) {
        case Severity::warning:
            return "\x1b[33m";
        case Severity::error:
            return "\x1b[31m";
        case Severity::critical:
            return "\x1b[1;31m";
        default:
            return kPlain;
    }
}

/// What stands behind a line that is more, or less, than it should be.
std::string_view remarkOf(const Entry& entry) {
    return entry.isUnfinished ? " [cut here]" : entry.isPart ? " [goes on]" : "";
}

std::string noteOf(const Entry& entry, const std::string& name) {
    std::string shown;
    appendShown(shown, name);
    if (entry.lost == 0) {
        return "-- " + shown + " has begun anew";
    }
    return "-- " + shown + " was rolled over: at least " + grouped(entry.lost) +
           " bytes were gone before they could be read";
}

std::string_view kindOf(const Entry& entry) {
    switch (entry.kind) {
        case Entry::Kind::line:
            return "line";
        case Entry::Kind::rolledOver:
            return "rolled over";
        case Entry::Kind::blank:
            return "blank";
        case Entry::Kind::restarted:
            return "begun anew";
        default:
            return "unreadable";
    }
}

}  // namespace

Lines::Lines(const FileNames& names, Output& output)
    : m_names(names), m_output(output), m_hasColours(output.hasColours()) {}

void Lines::take(const Entry& entry) {
    if (entry.kind == Entry::Kind::blank) {
        // It is the end of the line before, which is shown without it.
        return;
    }
    m_text.clear();
    if (m_names.size() > 1 && entry.kind != Entry::Kind::restarted) {
        std::string name;
        appendShown(name, m_names[entry.file]);
        appendColoured(kDim, name);
        m_text += '\t';
    }
    switch (entry.kind) {
        case Entry::Kind::line:
            appendLine(entry);
            break;
        case Entry::Kind::restarted:
            appendColoured(kMagenta, noteOf(entry, m_names[entry.file]));
            break;
        case Entry::Kind::rolledOver:
            appendColoured(kMagenta, kRolledOver);
            break;
        default: {
            std::string text;
            appendShown(text, entry.bytes);
            appendColoured(kMagenta, "?? " + std::string(reasonOf(entry)) + ":");
            m_text += ' ';
            m_text += text;
            appendColoured(kMagenta, remarkOf(entry));
        }
    }
    m_text += '\n';
    m_output.write(m_text);
}

void Lines::appendLine(const Entry& entry) {
    const Line& line = entry.line;
    std::string text;
    appendShown(text, line.time);
    appendColoured(kDim, text);
    m_text += '\t';
    std::string severity(nameOf(line.severity));
    severity.resize(8, ' ');
    appendColoured(colourOf(line.severity), severity);
    m_text += "\tT" + std::to_string(line.thread) + '\t';
    text.clear();
    appendShown(text, line.place);
    appendColoured(kCyan, text);
    m_text += '\t';
    std::string_view message = line.message;
    if (message.ends_with('\r')) {
        // With the empty line behind it the end of a text of the system's.
        message.remove_suffix(1);
    }
    text.clear();
    appendShown(text, message);
    appendColoured(colourOf(line.severity), text);
    appendColoured(kMagenta, remarkOf(entry));
    if (entry.within) {
        appendColoured(kMagenta,
                       " [another line stands in it: " + std::string(nameOf(*entry.within)) + "]");
    }
    if (entry.runsBack) {
        appendColoured(kMagenta, " [earlier than a line before it]");
    }
}

void Lines::appendColoured(const char* colour, std::string_view text) {
    if (!m_hasColours || *colour == '\0' || text.empty()) {
        m_text += text;
        return;
    }
    m_text += colour;
    m_text += text;
    m_text += "\x1b[0m";
}

void JsonLines::take(const Entry& entry) {
    m_text = "{\"file\":";
    appendJson(m_text, m_names[entry.file]);
    if (entry.kind != Entry::Kind::restarted) {
        m_text += ",\"number\":" + std::to_string(entry.number);
    }
    m_text += ",\"kind\":";
    appendJson(m_text, kindOf(entry));
    if (entry.kind == Entry::Kind::line) {
        appendFields(entry);
    } else if (entry.kind == Entry::Kind::unreadable) {
        m_text += ",\"reason\":";
        appendJson(m_text, reasonOf(entry));
        m_text += ",\"text\":";
        appendJson(m_text, entry.bytes);
    } else if (entry.kind == Entry::Kind::restarted) {
        m_text += ",\"lost\":" + std::to_string(entry.lost);
    }
    if (!isUtf8(entry.bytes)) {
        m_text += ",\"bytes\":\"";
        appendHex(m_text, entry.bytes);
        m_text += '"';
    }
    m_text += entry.isUnfinished ? ",\"cut\":true" : "";
    m_text += entry.isPart ? ",\"goesOn\":true" : "";
    m_text += entry.runsBack ? ",\"runsBack\":true" : "";
    if (entry.within) {
        m_text += ",\"within\":";
        appendJson(m_text, nameOf(*entry.within));
    }
    m_text += "}\n";
    m_output.write(m_text);
}

void JsonLines::appendFields(const Entry& entry) {
    const Line& line = entry.line;
    m_text += ",\"time\":";
    if (line.isTimeKnown) {
        appendJson(m_text, isoOf(line.instant));
    } else {
        m_text += "null";
    }
    m_text += ",\"stamp\":";
    appendJson(m_text, line.time);
    m_text += ",\"severity\":";
    appendJson(m_text, nameOf(line.severity));
    m_text += ",\"thread\":" + std::to_string(line.thread) + ",\"module\":";
    appendJson(m_text, line.module);
    m_text += ",\"line\":" + std::to_string(line.number) + ",\"message\":";
    appendJson(m_text, line.message);
}

}  // namespace Tallowmere::command::trace
