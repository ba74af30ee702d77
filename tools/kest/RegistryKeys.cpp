#include <kest/kest.h>

#include <iterator>

#include "FullPath.h"
#include "Json.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {
namespace {

struct HiveName {
    const wchar_t* name;
    Registry::Hive hive;
};

constexpr HiveName kHives[] = {{L"hkcr", Registry::HKCR},
                               {L"hkcc", Registry::HKCC},
                               {L"hkcu", Registry::HKCU},
                               {L"hklm", Registry::HKLM},
                               {L"hkpd", Registry::HKPD},
                               {L"hkpn", Registry::HKPN},
                               {L"hkpt", Registry::HKPT},
                               {L"hku", Registry::HKU},
                               {L"hkey_classes_root", Registry::HKCR},
                               {L"hkey_current_config", Registry::HKCC},
                               {L"hkey_current_user", Registry::HKCU},
                               {L"hkey_local_machine", Registry::HKLM},
                               {L"hkey_users", Registry::HKU}};

/// A key as people write it, "HKLM\Software": the hive, by its short or its full name, and the
/// rest.
bool readKey(const std::wstring& argument, Registry::Hive& hive, std::wstring& path) {
    const std::wstring text = plainText(argument);
    const std::size_t end = text.find(L'\\');
    const std::wstring name = toLower(text.substr(0, end));
    for (const HiveName& known : kHives) {
        if (name == known.name) {
            hive = known.hive;
            path = end == std::wstring::npos ? L"" : text.substr(end + 1);
            return true;
        }
    }
    complainLine(L"unknown registry hive " + text.substr(0, end));
    return false;
}

void sayNames(const Call& call, const std::vector<std::wstring>& lines) {
    if (call.has(L"--json")) {
        std::vector<std::string> values;
        values.reserve(lines.size());
        for (const std::wstring& line : lines) {
            values.push_back(json::text(line));
        }
        sayBytes(json::list(values));
        return;
    }
    std::wstring text;
    for (const std::wstring& line : lines) {
        text += line + L"\n";
    }
    say(text);
}

}  // namespace

bool tellRegistryValue(const Call& call) {
    Registry::Hive hive{};
    std::wstring path;
    if (!readKey(call.operands[0], hive, path)) {
        return false;
    }
    const bool isNamed = call.operands.size() > 1;
    const std::wstring name = isNamed ? plainText(call.operands[1]) : L"";
    std::wstring value;
    Registry::getKeyValue(hive, path.c_str(), isNamed ? name.c_str() : nullptr, value);
    if (call.has(L"--json")) {
        sayBytes(json::object({{"key", json::text(plainText(call.operands[0]))},
                               {"name", json::text(name)},
                               {"value", json::text(value)}}) +
                 "\n");
    } else {
        say(value + L"\n");
    }
    return true;
}

bool listRegistryKeys(const Call& call) {
    Registry::Hive hive{};
    std::wstring path;
    if (!readKey(call.operands[0], hive, path)) {
        return false;
    }
    std::vector<std::wstring> names;
    Registry::getSubKeys(hive, path.c_str(), names);
    sayNames(call, names);
    return true;
}

bool listRegistryValues(const Call& call) {
    Registry::Hive hive{};
    std::wstring path;
    if (!readKey(call.operands[0], hive, path)) {
        return false;
    }
    std::vector<std::wstring> names;
    Registry::getValues(hive, path.c_str(), names);
    sayNames(call, names);
    return true;
}

}  // namespace Tallowmere::command
