#pragma once

#include "trace/Output.h"
#include "trace/Sink.h"

namespace Tallowmere::command::trace {

/// The lines for a person: each as it stands in its file, so that what is shown of one file is a
/// trace again, with escapes for what a terminal must not see. Behind the name of its file when
/// there are several. What is no line is shown behind "??" and the reason.
class Lines : public Sink {
public:
    Lines(const FileNames& names, Output& output);
    void take(const Entry& entry) override;

private:
    void appendLine(const Entry& entry);
    void appendColoured(const char* colour, std::string_view text);

    const FileNames& m_names;
    Output& m_output;
    bool m_hasColours;
    std::string m_text;
};

/// The lines for a program: an object of JSON for each, in a line of its own.
class JsonLines : public Sink {
public:
    JsonLines(const FileNames& names, Output& output) : m_names(names), m_output(output) {}
    void take(const Entry& entry) override;

private:
    void appendFields(const Entry& entry);

    const FileNames& m_names;
    Output& m_output;
    std::string m_text;
};

}  // namespace Tallowmere::command::trace
