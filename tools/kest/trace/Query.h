#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trace/Entry.h"
#include "trace/Options.h"

namespace Tallowmere::command::trace {

/// What the lines must be like that are shown.
struct Query {
    Severity least = Severity::info;
    Instant since = kNever;
    Instant until = std::numeric_limits<Instant>::max();
    /// Each is satisfied by any of its members, and by everything when it has none.
    std::vector<std::uint32_t> threads;
    std::vector<std::string> modules;
    /// All of them must stand in the message.
    std::vector<std::string> texts;

    bool hasTimes() const { return since != kNever || until != Query().until; }
};

/// Reads the query of the options; false, with what is wrong for a person, when they make no sense.
bool readQuery(const Options& options, Query& query, std::wstring& mistake);

/// Lets the entries pass that a query asks for. What is no line of a trace belongs to the line
/// before it in its file and passes with it, or because a text that is looked for stands in it.
class Filter {
public:
    Filter(Query query, std::size_t files) : m_query(std::move(query)), m_files(files) {}

    bool passes(const Entry& entry);

    /// How many entries that are no lines did not pass.
    std::uint64_t unreadableNotShown() const { return m_unreadableNotShown; }
    /// How many lines were taken for as late as the line before, since their own time was not
    /// known, although times were asked for.
    std::uint64_t timesNotKnown() const { return m_timesNotKnown; }

private:
    /// What became of the last line of a file.
    struct File {
        bool areFieldsWanted = true;
        bool isShown = true;
    };

    bool areFieldsWanted(const Entry& entry);
    bool hasTexts(std::string_view text) const;

    Query m_query;
    std::vector<File> m_files;
    std::uint64_t m_unreadableNotShown = 0;
    std::uint64_t m_timesNotKnown = 0;
};

}  // namespace Tallowmere::command::trace
