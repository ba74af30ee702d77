#include <kest/kest.h>

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

std::wstring line(const std::wstring& what, const std::wstring& value) {
    constexpr std::size_t kColumn = 20;
    return what + std::wstring(kColumn - what.size(), L' ') +
           (value.empty() ? L"(not known)" : value) + L'\n';
}

}  // namespace

bool tellAbout(const Call&) {
    std::wstring current;
    std::wstring installed;
    (void)getCurrentDirectory(current);
    (void)getInstallationDirFromPATH(installed);
    say(line(L"system", getOs() + L' ' + nameOf(windowsVersion())) +
        line(L"processor", nameOf(getProcessorType())) + line(L"current directory", current) +
        line(L"system directory", getSystemDirectory()) + line(L"product on PATH", installed) +
        line(L"program file", getExecutablePath()));
    return true;
}

}  // namespace Tallowmere::command
