#include <kest/kest.h>

#include "Json.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {
namespace {

const wchar_t* nameOf(WindowsVersion version) {
    switch (version) {
        case Windows2000:
            return L"2000";
        case WindowsXP:
            return L"XP";
        case Windows2003:
            return L"2003";
        case WindowsVista:
            return L"Vista";
        case Windows7:
            return L"7";
        case WindowsUnknown:
            break;
    }
    return L"(a release without a name here)";
}

const wchar_t* nameOf(ProcessorType type) {
    switch (type) {
        case ProcessorAmd64:
            return L"AMD64";
        case ProcessorIa64:
            return L"IA64";
        case ProcessorX86:
            return L"x86";
        case ProcessorUnknown:
            break;
    }
    return L"unknown";
}

}  // namespace

bool tellAbout(const Call& call) {
    std::wstring current;
    std::wstring installed;
    (void)getCurrentDirectory(current);
    (void)getInstallationDirFromPATH(installed);
    struct Fact {
        const wchar_t* what;
        const char* member;
        std::wstring value;
    };
    const Fact facts[] = {
        {L"system", "system", getOs() + L' ' + nameOf(windowsVersion())},
        {L"processor", "processor", nameOf(getProcessorType())},
        {L"current directory", "currentDirectory", current},
        {L"system directory", "systemDirectory", getSystemDirectory()},
        {L"product on PATH", "productOnPath", installed},
        {L"program file", "programFile", getExecutablePath()},
    };
    std::wstring text;
    std::vector<json::Member> members = {{"version", json::text(KEST_VERSION)}};
    for (const Fact& fact : facts) {
        constexpr std::size_t kColumn = 20;
        std::wstring what = fact.what;
        what.resize(kColumn, L' ');
        text += what + (fact.value.empty() ? L"(not known)" : fact.value) + L'\n';
        members.emplace_back(fact.member, fact.value.empty() ? "null" : json::text(fact.value));
    }
    if (call.has(L"--json")) {
        sayBytes(json::object(members) + "\n");
    } else {
        say(text);
    }
    return true;
}

}  // namespace Tallowmere::command
