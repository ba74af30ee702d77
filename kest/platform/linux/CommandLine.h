#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Command lines by the rules of Windows, where a program is handed one text and takes it apart
/// itself.
namespace Tallowmere::platform::commandline {

/// What may name the program.
struct Candidate {
    /// As the system looks for it.
    std::wstring program;
    /// As the program is told its own name.
    std::wstring name;
    /// Where in the command line the arguments begin.
    std::size_t arguments = 0;
};

/// Which texts may name the program, in the order in which they are tried. Quoted, it is what
/// stands between the quotes, and there is no other. Unquoted, it is what stands before the first
/// blank, else before the second, and so on to the end. Blanks at the front are skipped. No
/// candidate is longer than `most` characters; an empty line has none.
std::vector<Candidate> candidates(std::wstring_view line, std::size_t most);

/// The arguments in what follows the program, by the rules of the C runtime: blanks separate them
/// but for those between quotes; before a quote two backslashes stand for one, and an odd one makes
/// the quote an ordinary character; elsewhere backslashes stand for themselves; two quotes within
/// quotes are one.
std::vector<std::wstring> splitArguments(std::wstring_view text);

}  // namespace Tallowmere::platform::commandline
