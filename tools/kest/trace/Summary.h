#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "trace/Brackets.h"
#include "trace/Output.h"
#include "trace/Sink.h"

namespace Tallowmere::command::trace {

/// What the entries are about, instead of them: how many of which severity and module, where a
/// thread let the longest time pass between two lines, the functions that took longest, and each
/// thread's lines over time. Its memory depends on how many threads, modules and functions there
/// are, not on how many lines.
class Summary : public Sink {
public:
    /// With `isJson` one object of JSON, otherwise text for a person.
    Summary(const FileNames& names, Output& output, bool isJson);
    void take(const Entry& entry) override;
    void finish() override;

    static constexpr std::size_t kGaps = 10;
    static constexpr std::size_t kFunctions = 10;
    static constexpr std::size_t kCells = 60;
    /// More modules, functions or threads than that are counted together.
    static constexpr std::size_t kNames = 10000;

private:
    using Counts = std::array<std::uint64_t, kSeverities.size()>;

    struct Cell {
        std::uint64_t lines = 0;
        Severity worst = Severity::info;
    };

    struct Lane {
        Counts counts{};
        std::uint64_t lines = 0;
        Instant first = kNever;
        Instant last = kNever;
        /// Where and what the last line was, for the gap behind it.
        std::string place;
        std::string message;
        std::size_t deepest = 0;
        Brackets brackets;
        std::array<Cell, kCells> cells{};
    };

    struct Gap {
        Instant length;
        std::size_t file;
        std::uint32_t thread;
        Instant from;
        std::string place;
        std::string message;
    };

    struct Calls {
        std::uint64_t count = 0;
        Instant total = 0;
        Instant longest = 0;
    };

    using Thread = std::pair<std::size_t, std::uint32_t>;

    void takeLine(const Entry& entry);
    void noteGap(const Entry& entry, const Lane& lane, Instant when);
    void noteFunction(const Line& line, Lane& lane, Instant when);
    void mark(Lane& lane, Severity severity, Instant when);
    std::vector<std::pair<std::string, Calls>> slowestFunctions() const;
    std::string drawn(const Lane& lane, std::uint64_t most) const;
    std::uint64_t fullestCell() const;

    void appendHead(std::string& text) const;
    void appendModules(std::string& text) const;
    void appendGaps(std::string& text) const;
    void appendFunctions(std::string& text) const;
    void appendLanes(std::string& text) const;
    std::string asText() const;
    std::string asJson() const;

    const FileNames& m_names;
    Output& m_output;
    bool m_isJson;
    std::uint64_t m_lines = 0;
    std::uint64_t m_unreadable = 0;
    std::uint64_t m_rolledOver = 0;
    std::uint64_t m_runsBack = 0;
    std::uint64_t m_timesNotKnown = 0;
    Instant m_first = kNever;
    Instant m_last = kNever;
    Counts m_counts{};
    std::map<std::string, Counts, std::less<>> m_modules;
    Counts m_otherModules{};
    std::map<Thread, Lane> m_lanes;
    /// The lines of threads beyond the number of those that are told apart.
    std::uint64_t m_otherThreads = 0;
    /// The longest, the longest first; of equal ones the earliest first.
    std::vector<Gap> m_gaps;
    std::map<std::string, Calls, std::less<>> m_functions;
    /// How long a cell of the lanes is; it doubles as the time goes on.
    Instant m_cell = 1;
};

}  // namespace Tallowmere::command::trace
