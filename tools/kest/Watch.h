#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Interruption.h"
#include "Progress.h"
#include "SourceWalk.h"
#include "TraceTap.h"

namespace Tallowmere::command {

/// Follows a copy or a deletion by its trace: lets Ctrl-C cancel it, and shows its progress when
/// standard error is a terminal.
///
/// The thread of the operation only counts. How much there is to do, and how large the files are,
/// is found out by a second thread, which walks the tree in the same order; it also draws. What the
/// commit does has no trace: that the last step was heard, and that another tree stands at the
/// place, tells where it is.
class Watch final : private StepListener {
public:
    enum class Operation { copy, deletion };

    /// `tree` is what is walked, `place` what changes; for a deletion they are the same.
    Watch(TraceTap& trace, Operation operation, std::wstring tree, std::wstring place);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Ends the display: with what was done in all, when the operation is `done`.
    void end(bool done);

private:
    class Survey;

    void hear(Step step) override;
    void run();
    void draw();
    Progress progress();
    void show(const std::wstring& line);
    bool isOver();

    TraceTap& m_trace;
    const Operation m_operation;
    const std::wstring m_tree;
    const std::wstring m_place;
    const Interruption m_interruption;
    const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();

    // Counted by the thread of the operation alone.
    std::atomic<std::uint64_t> m_copied = 0;
    std::atomic<std::uint64_t> m_made = 0;
    std::atomic<std::uint64_t> m_deleted = 0;
    std::atomic<std::uint64_t> m_removed = 0;

    // The display's.
    std::optional<std::pair<std::uint64_t, std::uint64_t>> m_before;
    /// The sum of the sizes up to each entry that gets a step of its own.
    std::vector<std::uint64_t> m_sums;
    std::uint64_t m_folders = 0;
    bool m_isSurveyed = false;
    Rate m_rate;
    const wchar_t* m_phase = L"";
    std::chrono::steady_clock::time_point m_phaseBegin = m_begin;
    std::chrono::steady_clock::time_point m_lastDrawn = m_begin;
    std::size_t m_shown = 0;
    bool m_wasShown = false;
    bool m_toldInterruption = false;

    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_isOver = false;
    std::thread m_thread;
};

}  // namespace Tallowmere::command
