#include "Watch.h"

#include <algorithm>
#include <system_error>

#include "Readable.h"
#include "Terminal.h"

namespace Tallowmere::command {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kBetweenDraws = std::chrono::milliseconds(100);
/// What is done sooner is done before it could be read.
constexpr auto kBeforeFirst = std::chrono::milliseconds(250);

std::uint64_t millisecondsSince(Clock::time_point begin) {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count());
}

/// For a counter that one thread alone changes.
void count(std::atomic<std::uint64_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

std::uint64_t read(const std::atomic<std::uint64_t>& counter) {
    return counter.load(std::memory_order_relaxed);
}

}  // namespace

/// Finds out what there is to do, and lets the display go on meanwhile.
class Watch::Survey : public SourceWalk {
public:
    explicit Survey(Watch& watch) : m_watch(watch) {}

private:
    bool meet(const std::wstring&, const disk::Entry& entry) override {
        const bool isFolder = entry.kind == disk::Kind::folder;
        m_sum += entry.size;
        m_watch.m_folders += isFolder ? 1 : 0;
        // A folder's deletion is told when it is left, not in its turn.
        if (!isFolder || m_watch.m_operation == Operation::copy) {
            m_watch.m_sums.push_back(m_sum);
        }
        constexpr unsigned kBetweenLooks = 64;
        if (++m_met % kBetweenLooks != 0) {
            return true;
        }
        if (Clock::now() - m_watch.m_lastDrawn >= kBetweenDraws) {
            m_watch.draw();
        }
        return !m_watch.isOver();
    }
    void skip(const std::wstring&, const disk::Entry&, const wchar_t*) override {}
    void fail(const std::wstring&, const std::wstring&) override {}

    Watch& m_watch;
    std::uint64_t m_sum = 0;
    unsigned m_met = 0;
};

Watch::Watch(TraceTap& trace, Operation operation, std::wstring tree, std::wstring place)
    : m_trace(trace),
      m_operation(operation),
      m_tree(std::move(tree)),
      m_place(std::move(place)),
      m_before(disk::identityOf(m_place)) {
    m_trace.setListener(this);
    if (isErrorTerminal()) {
        try {
            m_thread = std::thread(&Watch::run, this);
        } catch (const std::system_error&) {
            // No thread, no display.
        }
    }
}

Watch::~Watch() {
    end(false);
}

void Watch::end(bool done) {
    m_trace.setListener(nullptr);
    m_trace.resume();
    if (!m_thread.joinable()) {
        return;
    }
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_isOver = true;
    }
    m_ended.notify_all();
    m_thread.join();
    show(L"");
    if (done && m_wasShown) {
        const bool isCopy = m_operation == Operation::copy;
        const std::uint64_t files =
            isCopy ? read(m_copied) - (std::max<std::uint64_t>(read(m_made), 1) - 1)
                   : read(m_deleted);
        const std::uint64_t tenths = millisecondsSince(m_begin) / 100;
        complain((isCopy ? L"copied " : L"deleted ") + counted(files, L"file", L"files") +
                 (m_isSurveyed && !m_sums.empty() ? L", " + readableSize(m_sums.back()) : L"") +
                 L" in " + std::to_wstring(tenths / 10) + L"." + std::to_wstring(tenths % 10) +
                 L" s\n");
    }
}

void Watch::hear(Step step) {
    switch (step) {
        case Step::copyEntry:
            count(m_copied);
            break;
        case Step::createFolder:
            count(m_made);
            break;
        case Step::deleteFile:
            count(m_deleted);
            break;
        case Step::removeFolder:
            count(m_removed);
            break;
    }
    if (Interruption::isRequested()) {
        throw Interrupted();
    }
}

bool Watch::isOver() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_isOver;
}

void Watch::run() {
    try {
        // Not in the way of a deletion.
        if (m_operation == Operation::copy || disk::canMoveWhileListed()) {
            Survey(*this).walk(m_tree);
            m_isSurveyed = !isOver();
        }
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_ended.wait_for(lock, kBetweenDraws, [this] { return m_isOver; })) {
            lock.unlock();
            draw();
            lock.lock();
        }
    } catch (const std::bad_alloc&) {
        // The operation is worth more than its display.
    }
}

Progress Watch::progress() {
    const bool isCopy = m_operation == Operation::copy;
    // A step is told before it is taken, so the last one that was told is not done yet.
    const std::uint64_t told = isCopy ? read(m_copied) : read(m_deleted);
    const std::uint64_t done = told == 0 ? 0 : told - 1;
    const bool isAllTold =
        m_isSurveyed && (isCopy ? told >= m_sums.size() && read(m_made) > 0
                                : told >= m_sums.size() && read(m_removed) > m_folders);
    const auto now = disk::identityOf(m_place);
    Progress result;
    if (Interruption::isRequested()) {
        result.phase = L"taking everything back";
    } else if (now != m_before) {
        result.phase = m_before ? L"published, clearing the old tree" : L"published";
    } else if (isAllTold) {
        result.phase = L"making durable, then publishing";
    } else if (!isCopy) {
        result.phase = L"deleting";
    } else if (read(m_made) == 0) {
        result.phase = L"looking at the old tree";
    } else {
        result.phase = L"copying";
        result.rate = m_rate.value();
    }
    if (result.phase != m_phase) {
        m_phase = result.phase;
        m_phaseBegin = Clock::now();
    }
    if ((isCopy && read(m_made) == 0) || isAllTold || now != m_before ||
        Interruption::isRequested()) {
        result.seconds = millisecondsSince(m_phaseBegin) / 1000;
        return result;
    }
    const std::uint64_t folders = isCopy && read(m_made) > 0 ? read(m_made) - 1 : 0;
    result.files = done - std::min(done, folders);
    const std::uint64_t known = std::min<std::uint64_t>(done, m_sums.size());
    result.bytes = known == 0 ? 0 : m_sums[known - 1];
    if (m_isSurveyed) {
        result.allFiles = m_sums.size() - (isCopy ? m_folders : 0);
        result.allBytes = m_sums.empty() ? 0 : m_sums.back();
    }
    m_rate.note(millisecondsSince(m_begin), result.bytes);
    return result;
}

void Watch::draw() {
    m_lastDrawn = Clock::now();
    if (m_lastDrawn - m_begin < kBeforeFirst || !isInForeground()) {
        return;
    }
    if (Interruption::isRequested() && !m_toldInterruption) {
        m_toldInterruption = true;
        show(L"");
        complain(
            L"Interrupted: taking everything back. Once more ends at once; what that leaves,\n"
            L"the next copy, or \"kest recover\", clears.\n");
    }
    show(progressLine(progress(), terminalWidth()));
    m_wasShown = true;
}

void Watch::show(const std::wstring& line) {
    if (line.empty() && m_shown == 0) {
        return;
    }
    std::wstring text = L"\r" + line;
    if (understandsSequences()) {
        text += L"\x1B[K";
    } else {
        // Blanks over what was longer; no more of them than there is room for now.
        const std::size_t room = std::max<std::size_t>(terminalWidth(), 1) - 1;
        const std::size_t before = std::min(m_shown, room);
        text.append(before > line.size() ? before - line.size() : 0, L' ');
        text += line.empty() ? L"\r" : L"";
    }
    complain(text);
    m_shown = line.size();
}

}  // namespace Tallowmere::command
