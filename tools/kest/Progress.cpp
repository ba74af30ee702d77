#include "Progress.h"

#include <algorithm>
#include <vector>

#include "Readable.h"

namespace Tallowmere::command {

std::wstring progressLine(const Progress& progress, std::size_t width) {
    const std::size_t room = width == 0 ? 0 : width - 1;
    // The most important first.
    std::vector<std::wstring> pieces = {progress.phase};
    if (progress.seconds) {
        pieces.push_back(std::to_wstring(*progress.seconds) + L" s");
    } else {
        if (progress.allBytes && *progress.allBytes > 0) {
            // Without overflow, and never more than the whole.
            const std::uint64_t done = std::min(progress.bytes, *progress.allBytes);
            const auto percent =
                static_cast<std::uint64_t>(static_cast<long double>(done) * 100 /
                                           static_cast<long double>(*progress.allBytes));
            pieces.push_back(std::to_wstring(percent) + L"%");
        }
        pieces.push_back(grouped(progress.files) +
                         (progress.allFiles ? L" of " + grouped(*progress.allFiles) : L"") +
                         L" files");
        pieces.push_back(readableSize(progress.bytes) +
                         (progress.allBytes ? L" of " + readableSize(*progress.allBytes) : L""));
        if (progress.rate) {
            pieces.push_back(readableSize(*progress.rate) + L"/s");
        }
    }
    std::wstring line = pieces[0].substr(0, room);
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        if (line.size() + 2 + pieces[i].size() > room) {
            break;
        }
        line += L"  " + pieces[i];
    }
    return line;
}

void Rate::note(std::uint64_t now, std::uint64_t bytes) {
    constexpr std::uint64_t kSpan = 3000;
    m_notes.emplace_back(now, bytes);
    while (m_notes.size() > 2 && now - m_notes[1].first >= kSpan) {
        m_notes.pop_front();
    }
}

std::optional<std::uint64_t> Rate::value() const {
    if (m_notes.size() < 2 || m_notes.back().first == m_notes.front().first) {
        return std::nullopt;
    }
    const std::uint64_t span = m_notes.back().first - m_notes.front().first;
    const std::uint64_t grown = m_notes.back().second - m_notes.front().second;
    return static_cast<std::uint64_t>(static_cast<long double>(grown) * 1000 /
                                      static_cast<long double>(span));
}

}  // namespace Tallowmere::command
