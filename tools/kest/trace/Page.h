#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trace/Output.h"
#include "trace/Sink.h"

namespace Tallowmere::command::trace {

/// The entries as one page for a browser, which needs nothing besides: threads as lanes over time,
/// functions as nested brackets, and the lines. Everything from the trace goes into the page as
/// data that nothing of the page takes for markup or code.
///
/// The page holds the last of the entries, as many as its limits allow, and says what it left out.
class Page : public Sink {
public:
    /// Bytes of text that a page holds at most, as they stand in it: what a browser opens without
    /// complaint. A character may take six times the room there.
    static constexpr std::size_t kBytes = 200U << 20;

    /// `query` is what the lines were chosen by, for a person; empty for all.
    Page(const FileNames& names, Output& output, std::size_t most, std::string query);
    void take(const Entry& entry) override;
    void finish() override;

private:
    struct Item {
        Instant when;
        /// The line's own time where it is another one, and known.
        Instant own;
        char kind;
        bool isUnfinished;
        bool isPart;
        bool isTimeKnown;
        std::optional<Severity> within;
        std::uint32_t thread;
        std::uint32_t place;
        std::uint64_t number;
        /// As it stands in the page.
        std::string text;
    };

    /// Numbers things in the order in which they first come.
    template <class Key>
    class Register {
    public:
        std::uint32_t numberOf(const Key& key) {
            const auto [place, isNew] =
                m_numbers.try_emplace(key, static_cast<std::uint32_t>(m_keys.size()));
            if (isNew) {
                m_keys.push_back(key);
            }
            return place->second;
        }
        const std::vector<Key>& keys() const { return m_keys; }

    private:
        std::map<Key, std::uint32_t> m_numbers;
        std::vector<Key> m_keys;
    };

    using Thread = std::pair<std::size_t, std::int64_t>;
    using Place = std::pair<std::string, std::int64_t>;

    void leaveOut();
    std::string data() const;
    void appendTables(std::string& text) const;
    void appendColumns(std::string& text) const;

    const FileNames& m_names;
    Output& m_output;
    std::size_t m_most;
    std::string m_query;
    std::deque<Item> m_items;
    std::size_t m_bytes = 0;
    std::uint64_t m_leftOut = 0;
    Instant m_leftOutFirst = kNever;
    Instant m_leftOutLast = kNever;
    Register<Thread> m_threads;
    Register<Place> m_places;
    /// The thread of a file's last line: what is no line stands in its lane.
    std::vector<std::int64_t> m_lastThreads;
};

/// The page around the data: what stands before it and behind it.
extern const std::string_view kPageHead;
extern const std::string_view kPageTail;

}  // namespace Tallowmere::command::trace
