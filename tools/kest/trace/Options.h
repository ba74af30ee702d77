#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Tallowmere::command::trace {

/// What `kest trace` is asked for, as a person writes it.
struct Options {
    std::vector<std::wstring> files;
    /// "info", "warning", "error" or "critical": lines of that severity and worse ones.
    std::wstring severity;
    /// Times as Stamp.h reads them; empty for no limit.
    std::wstring since;
    std::wstring until;
    /// Numbers of threads, with or without the "T" in front. Of several, any.
    std::vector<std::wstring> threads;
    /// Names as they stand before ":L". Of several, any.
    std::vector<std::wstring> modules;
    /// Texts in the names of files: of several, any. A file without one is not read.
    std::vector<std::wstring> processes;
    /// Texts in the message: of several, all.
    std::vector<std::wstring> texts;
    /// Wait for more at the end.
    bool follow = false;
    /// Instead of the lines what they are about.
    bool summary = false;
    bool json = false;
    /// Instead of the lines a page for a browser, written to this file.
    std::optional<std::wstring> html;
    /// How many lines the page holds at most; the last ones.
    std::size_t pageLines = 500000;
};

}  // namespace Tallowmere::command::trace
