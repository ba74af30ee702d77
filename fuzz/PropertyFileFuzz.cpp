// Property files, read from memory, against a reader that knows the rules as they are told.

#include <map>
#include <ostream>

#include "fuzz/Input.h"
#include "kest/config/Configurable.h"
#include "kest/diagnostics/Recorder.h"
#include "kest/platform/Calls.h"

namespace Tallowmere {
namespace {

std::string_view g_content;

int openContent(std::FILE** file, const char* /*name*/, const char* /*mode*/) {
    // Reading alone is what it is opened for. A stream of no bytes is not to be had.
    static char s_end = 0x1A;
    *file = g_content.empty()
                ? ::fmemopen(&s_end, 1, "r")
                : ::fmemopen(const_cast<char*>(g_content.data()), g_content.size(), "r");
    return *file == nullptr ? 12 : 0;
}

using Properties = std::map<std::wstring, std::wstring>;

/// Each line, as the run-time hands it out: in pieces of 4095, up to its first zero character.
Properties expected(std::string_view bytes) {
    Properties properties;
    std::wstring text;
    for (std::size_t at = 0; at < bytes.size() && bytes[at] != 0x1A; ++at) {
        if (bytes[at] == '\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n') {
            continue;
        }
        text += static_cast<wchar_t>(static_cast<unsigned char>(bytes[at]));
    }
    while (!text.empty()) {
        std::size_t length = text.find(L'\n') + 1;
        if (length == 0 || length > 4095) {
            length = std::min<std::size_t>(text.size(), 4095);
        }
        const std::wstring line = text.substr(0, length).c_str();
        text.erase(0, length);
        const std::size_t open = line.find(L'<');
        const std::size_t close = line.find(L'>');
        if (open == line.npos || close == line.npos || close < open) {
            continue;
        }
        const std::wstring name = line.substr(open + 1, close - open - 1);
        const std::size_t end = line.find(L"</" + name + L">", close);
        if (end != line.npos) {
            properties[name] = line.substr(close + 1, end - close - 1);
        }
    }
    return properties;
}

}  // namespace
}  // namespace Tallowmere

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    static std::wostream s_nowhere(nullptr);
    Tallowmere::Recorder::instance()->setStream(&s_nowhere, nullptr, false);
    Tallowmere::platform::g_calls.fopen_s = &Tallowmere::openContent;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tallowmere::g_content = {reinterpret_cast<const char*>(data), size};
    const Tallowmere::Configurable file(L"x");
    const Tallowmere::Properties expected = Tallowmere::expected(Tallowmere::g_content);
    for (const auto& [name, value] : expected) {
        KEST_LAW(file.getProperty(name) == value);
        const std::wstring longer = name + L"?";
        KEST_LAW(file.getProperty(longer).empty() || expected.count(longer) == 1);
    }
    return 0;
}
