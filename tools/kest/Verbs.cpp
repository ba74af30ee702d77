#include "Verbs.h"

#include <algorithm>
#include <cstdint>

namespace Tallowmere::command {
namespace {

std::wstring emptyPath(const Operands& operands, const Options&) {
    // A shell variable that was never set: better told than taken for a tree that is not there.
    const bool isOneEmpty = std::any_of(operands.begin(), operands.end(),
                                        [](const std::wstring& path) { return path.empty(); });
    return isOneEmpty ? L"a path is empty" : L"";
}

std::wstring emptyCommandLine(const Operands& operands, const Options&) {
    return operands[0].empty() ? L"the command line is empty" : L"";
}

std::wstring noNumber(const Operands& operands, const Options&) {
    unsigned long number = 0;
    return readNumber(operands[0], number) ? L"" : L"not a restore point's number: " + operands[0];
}

constexpr Option kJson = {L"--json", L"write JSON, for scripts"};

std::vector<Verb> makeVerbs() {
    return {
        {L"copy",
         nullptr,
         L"SOURCE DESTINATION",
         L"copy a folder tree in place of another, all or nothing",
         L"Whatever stands at DESTINATION is replaced in one step: until then, and after any\n"
         L"failure, it is what it was. Ctrl-C takes everything back. On a terminal the progress\n"
         L"is shown. Left out are \"$RECYCLE.BIN\" and \"System Volume Information\" at the root "
         L"of\n"
         L"a drive, and what an unfinished copy keeps beside its destination.\n",
         {{L"--dry-run", L"say what would be copied and what not, and why; change nothing"},
          {L"--verify", L"then compare the new tree with the source, and say what differs"}},
         {{L"kest copy photos /backup/photos", L"copy, or replace an older copy"},
          {L"kest copy --dry-run photos /backup/photos", L"see first what would happen"},
          {L"kest copy --verify photos /backup/photos --trace copy.log",
           L"copy, compare, and keep a trace"}},
         {L"copy needs a source and a destination", L"copy needs a destination"},
         2,
         &emptyPath,
         &copyTree},
        {L"delete",
         nullptr,
         L"PATH",
         L"delete a folder tree, all or nothing",
         L"The tree goes in one step: after any failure, and after Ctrl-C, it is what it was.\n"
         L"Links are removed, what they lead to is not. A tree that is not there is no error.\n",
         {},
         {{L"kest delete /backup/photos", L"delete a tree"},
          {L"kest delete -- -old", L"one whose name begins with a hyphen"}},
         {L"delete needs a path"},
         1,
         &emptyPath,
         &deleteTree},
        {L"link",
         nullptr,
         L"SOURCE DESTINATION",
         L"make a link to where another link leads in the end",
         L"",
         {},
         {{L"kest link latest today", L"today leads to where latest leads now"}},
         {L"link needs a source and a destination", L"link needs a destination"},
         2,
         &emptyPath,
         &copyLink},
        {L"recover",
         nullptr,
         L"PATH",
         L"finish or discard what cut-off copies and deletions left below a folder",
         L"A killed program or a power cut can leave a hidden folder \".kest-\" and 32 digits. "
         L"The\n"
         L"next copy or deletion beside it clears it by itself; this does so for a whole folder, "
         L"and\n"
         L"tells for each what became of it: \"finished\" (the change was committed and is "
         L"carried\n"
         L"out), \"taken back\", \"discarded\" (not committed, or all but done), \"in use\" (by a\n"
         L"program that runs), \"foreign\" (not yours) or \"failed\".\n",
         {kJson},
         {{L"kest recover /backup", L"clear everything below /backup"}},
         {L"recover needs a path"},
         1,
         &emptyPath,
         &recoverTree},
        {L"live",
         nullptr,
         L"PATH",
         L"tell where a file of a snapshot lies today",
         L"PATH is a history path, one with a part like @GMT-2010.05.17-08.30.00 in it. Any other\n"
         L"comes back as it is.\n",
         {kJson},
         {{L"kest live '\\\\pc\\C$\\@GMT-2010.05.17-08.30.00\\Users\\a.txt'", L"C:\\Users\\a.txt"}},
         {L"live needs a path"},
         1,
         &emptyPath,
         &tellLivePath},
        {L"when",
         nullptr,
         L"PATH",
         L"tell the time of the snapshot that a path leads into",
         L"The time is local. \"Now\" is the answer for a path that leads into none.\n",
         {kJson},
         {{L"kest when '\\\\pc\\C$\\@GMT-2010.05.17-08.30.00\\Users\\a.txt'",
           L"the time of that snapshot"}},
         {L"when needs a path"},
         1,
         &emptyPath,
         &tellWhen},
        {L"trace",
         nullptr,
         L"FILE...",
         L"read traces: choose lines, sum them up, or make a page of them",
         L"The lines of several files come in the order of their times. What is no line of a "
         L"trace\n"
         L"is shown as such. A TIME is as in the trace, or as 2026-11-16 17:35:54.123, or a part "
         L"of\n"
         L"that. --thread, --module, --process and --text may be given several times.\n",
         {{L"--severity", L"lines of that severity, and worse ones", L"LEVEL"},
          {L"--since", L"lines from then on", L"TIME"},
          {L"--until", L"lines up to then", L"TIME"},
          {L"--thread", L"lines of that thread", L"NUMBER"},
          {L"--module", L"lines of that module", L"NAME"},
          {L"--process", L"files with that in their name", L"TEXT"},
          {L"--text", L"lines with that in their message", L"TEXT"},
          {L"--follow", L"wait for more at the end"},
          {L"--summary", L"counts, gaps and threads instead of the lines"},
          kJson,
          {L"--html", L"write a page for a browser", L"PAGE"}},
         {{L"kest trace copy.log --severity warning", L"what went wrong"},
          {L"kest trace *.log --summary", L"what several processes did"},
          {L"kest trace copy.log --html copy.html", L"threads as lanes, to be searched"}},
         {L"trace needs a file"},
         SIZE_MAX,
         &mistakeInTraces,
         &readTraces},
        {L"programs",
         nullptr,
         L"[NAME]",
         L"list the installed programs, or those whose name contains NAME",
         L"",
         {kJson},
         {{L"kest programs", L"all of them"}, {L"kest programs Office --json", L"some, as JSON"}},
         {},
         1,
         nullptr,
         &listPrograms},
        {L"registry",
         L"get",
         L"KEY [NAME]",
         L"tell a value of the registry",
         L"Without NAME it is the key's default value. A key begins with a hive: HKLM, HKCU, "
         L"HKCR,\n"
         L"HKU, HKCC, HKPD, HKPN or HKPT.\n",
         {kJson},
         {{L"kest registry get 'HKLM\\Software\\Product' Version", L"a value"}},
         {L"registry get needs a key"},
         2,
         nullptr,
         &tellRegistryValue},
        {L"registry",
         L"keys",
         L"KEY",
         L"list the keys below a key of the registry",
         L"",
         {kJson},
         {{L"kest registry keys 'HKLM\\Software'", L"one a line"}},
         {L"registry keys needs a key"},
         1,
         nullptr,
         &listRegistryKeys},
        {L"registry",
         L"values",
         L"KEY",
         L"list the names of the values of a key of the registry",
         L"",
         {kJson},
         {{L"kest registry values 'HKLM\\Software\\Product'", L"one a line"}},
         {L"registry values needs a key"},
         1,
         nullptr,
         &listRegistryValues},
        {L"shares",
         nullptr,
         L"[SERVER]",
         L"list the folders that a computer shares, this one without SERVER",
         L"",
         {kJson},
         {{L"kest shares", L"name, tab, path"},
          {L"kest shares '\\\\server'", L"of another computer"}},
         {},
         1,
         nullptr,
         &listShares},
        {L"restore-points",
         nullptr,
         L"",
         L"list the restore points of this computer",
         L"",
         {kJson},
         {{L"kest restore-points", L"as a table"}},
         {},
         0,
         nullptr,
         &listRestorePoints},
        {L"restore",
         nullptr,
         L"NUMBER",
         L"restore the system to a restore point when it starts the next time",
         L"",
         {{L"--yes", L"do not ask"}},
         {{L"kest restore 12", L"asks first"}},
         {L"restore needs a restore point's number"},
         1,
         &noNumber,
         &restore},
        {L"property",
         nullptr,
         L"FILE NAME",
         L"tell a property from a property file",
         L"",
         {kJson},
         {{L"kest property settings.xml port", L"what <port> holds"}},
         {L"property needs a file and a property's name",
          L"property needs a file and a property's name"},
         2,
         nullptr,
         &tellProperty},
        {L"run",
         nullptr,
         L"COMMANDLINE",
         L"start a program and do not wait for it",
         L"",
         {},
         {{L"kest run 'notepad \"my file.txt\"'", L"the whole command line is one argument"}},
         {L"run needs a command line"},
         1,
         &emptyCommandLine,
         &runProgram},
        {L"about",
         nullptr,
         L"",
         L"tell what the library knows of this computer and of itself",
         L"",
         {kJson},
         {{L"kest about", L"a line for each"}},
         {},
         0,
         nullptr,
         &tellAbout},
    };
}

}  // namespace

const std::vector<Verb>& verbs() {
    static const std::vector<Verb> s_verbs = makeVerbs();
    return s_verbs;
}

std::wstring fullName(const Verb& verb) {
    return verb.action == nullptr ? verb.name : std::wstring(verb.name) + L" " + verb.action;
}

std::wstring actionsOf(const std::wstring& name) {
    std::vector<std::wstring> actions;
    for (const Verb& verb : verbs()) {
        if (name == verb.name) {
            actions.emplace_back(verb.action);
        }
    }
    std::wstring text;
    for (std::size_t i = 0; i < actions.size(); ++i) {
        text += i == 0 ? L"" : i + 1 == actions.size() ? L" or " : L", ";
        text += actions[i];
    }
    return text;
}

bool readNumber(const std::wstring& text, unsigned long& number) {
    constexpr unsigned long kLargest = 0xFFFFFFFFUL;
    number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9') {
            return false;
        }
        const auto digit = static_cast<unsigned long>(c - L'0');
        if (number > (kLargest - digit) / 10) {
            return false;
        }
        number = number * 10 + digit;
    }
    return !text.empty();
}

}  // namespace Tallowmere::command
