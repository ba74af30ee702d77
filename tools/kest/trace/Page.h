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
    /// What many entries have in common, each once, for as long as there is an entry that has it: a
    /// trace that names a new one in every line must not fill the memory with those of lines that
    /// are long gone.
    template <class Key>
    class Register {
    public:
        struct Use {
            std::size_t count = 0;
            /// Bytes in the page.
            std::size_t bytes = 0;
            std::optional<std::uint32_t> number;
        };
        using Shared = std::pair<const Key, Use>;

        /// Stays where it is until it was given back as often as it was taken.
        Shared& take(const Key& key) {
            Shared& shared = *m_uses.try_emplace(key).first;
            ++shared.second.count;
            return shared;
        }
        void giveBack(const Shared& shared) {
            const auto found = m_uses.find(shared.first);
            if (--found->second.count == 0) {
                m_uses.erase(found);
            }
        }
        /// Numbers it, the first time, in the order of the calls.
        void number(Shared& shared) {
            if (!shared.second.number) {
                shared.second.number = static_cast<std::uint32_t>(m_numbered.size());
                m_numbered.push_back(&shared.first);
            }
        }
        const std::vector<const Key*>& numbered() const { return m_numbered; }

    private:
        std::map<Key, Use> m_uses;
        std::vector<const Key*> m_numbered;
    };

    using Threads = Register<std::pair<std::size_t, std::int64_t>>;
    using Places = Register<std::pair<std::string, std::int64_t>>;

    struct Item {
        Instant when;
        /// The line's own time where it is another one, and known.
        Instant own;
        char kind;
        bool isUnfinished;
        bool isPart;
        bool isTimeKnown;
        std::optional<Severity> within;
        Threads::Shared* thread;
        /// Null for what is no line.
        Places::Shared* place;
        std::uint64_t number;
        /// As it stands in the page.
        std::string text;
    };

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
    Threads m_threads;
    Places m_places;
    /// The thread of a file's last line: what is no line stands in its lane.
    std::vector<std::int64_t> m_lastThreads;
};

/// The page around the data: what stands before it and behind it.
extern const std::string_view kPageHead;
extern const std::string_view kPageTail;

}  // namespace Tallowmere::command::trace
