#include "kest/diagnostics/TraceLocale.h"

#include <algorithm>

namespace Tallowmere {
namespace {

class ByteWidening : public std::ctype<wchar_t> {
protected:
    wchar_t do_widen(char byte) const override { return widened(byte); }
    const char* do_widen(const char* first, const char* last, wchar_t* out) const override {
        std::transform(first, last, out, widened);
        return last;
    }

private:
    static wchar_t widened(char byte) { return static_cast<unsigned char>(byte); }
};

}  // namespace

const std::locale& traceLocale() {
    // Never destroyed: the trace may be written until the process ends.
    static const std::locale* const s_locale =
        new std::locale(std::locale::classic(), new ByteWidening);
    return *s_locale;
}

}  // namespace Tallowmere
