#include "Verbs.h"

#include <algorithm>

namespace Tallowmere::command {
namespace {

// A shell variable that was never set: better told than taken for a tree that is not there.
constexpr const wchar_t* kEmptyPath = L"a path is empty";

}  // namespace

const std::vector<Verb>& verbs() {
    static const std::vector<Verb> s_verbs = {
        {L"copy",
         L"SOURCE DESTINATION",
         {L"copy needs a source and a destination", L"copy needs a destination"},
         2,
         kEmptyPath,
         &copyTree},
        {L"delete", L"PATH", {L"delete needs a path"}, 1, kEmptyPath, &deleteTree},
        {L"link",
         L"SOURCE DESTINATION",
         {L"link needs a source and a destination", L"link needs a destination"},
         2,
         kEmptyPath,
         &copyLink},
        {L"about", L"", {}, 0, nullptr, &tellAbout},
        {L"shares", L"[SERVER]", {}, 1, nullptr, &listShares},
        {L"run",
         L"COMMANDLINE",
         {L"run needs a command line"},
         1,
         L"the command line is empty",
         &runProgram},
    };
    return s_verbs;
}

const Verb* findVerb(const std::wstring& name) {
    const auto found = std::find_if(verbs().begin(), verbs().end(),
                                    [&](const Verb& verb) { return name == verb.name; });
    return found == verbs().end() ? nullptr : &*found;
}

}  // namespace Tallowmere::command
