#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

namespace Tallowmere::command {

/// How far an operation is.
struct Progress {
    const wchar_t* phase = L"";
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    /// Of all that is to be done; nothing until that is known.
    std::optional<std::uint64_t> allFiles;
    std::optional<std::uint64_t> allBytes;
    /// In bytes a second; nothing when there is none to tell.
    std::optional<std::uint64_t> rate;
    /// Since the phase began, told in phases that have nothing else to tell.
    std::optional<std::uint64_t> seconds;
};

/// The progress in one line that leaves the last column free, so that no terminal goes on to the
/// next line. What does not fit is left out, the least important first; ASCII only.
std::wstring progressLine(const Progress& progress, std::size_t width);

/// The rate of the last few seconds.
class Rate {
public:
    /// `now` in milliseconds.
    void note(std::uint64_t now, std::uint64_t bytes);
    /// Bytes a second; nothing before there are two notes apart.
    std::optional<std::uint64_t> value() const;

private:
    std::deque<std::pair<std::uint64_t, std::uint64_t>> m_notes;
};

}  // namespace Tallowmere::command
