#include "kest/diagnostics/Exception.h"

namespace Tallowmere {

Exception::Exception(const char* file, int line) : reasonOffset(0) {
    // Widened as narrow text is everywhere in the library: each byte with its sign, to 16 bits.
    for (; file != nullptr && *file != '\0'; ++file) {
        text += static_cast<wchar_t>(static_cast<std::uint16_t>(static_cast<signed char>(*file)));
    }
    text += L':';
    text += std::to_wstring(line);
    text += L": ";
    reasonOffset = static_cast<std::int32_t>(text.size());
}

Exception::~Exception() = default;

void Exception::setReason(const std::wstring& reason) {
    // Deliberate: appended, so a second reason stands behind the first.
    text += reason;
}

const wchar_t* Exception::getReason() const {
    return text.c_str() + reasonOffset;
}

const wchar_t* Exception::getDetailedReason() const {
    return text.c_str();
}

}  // namespace Tallowmere
