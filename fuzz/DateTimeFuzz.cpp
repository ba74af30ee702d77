// Times from text and to text: what is accepted, what it means, and that no picture, however long
// or odd, does more than fail.

#include <boost/lexical_cast.hpp>
#include <iostream>
#include <optional>
#include <ostream>

#include "fuzz/Input.h"
#include "kest/time/DateTime.h"
#include "kest/time/TimeText.h"

namespace Tallowmere {
namespace {

/// The last second whose count of ticks the system takes for a time.
constexpr std::int64_t kLastSecond = 922'337'203'685;

/// A sign and decimal digits and nothing else, within 64 bits.
std::optional<std::int64_t> secondsIn(const std::wstring& text) {
    std::size_t at = 0;
    const bool isNegative = !text.empty() && text[0] == L'-';
    if (!text.empty() && (text[0] == L'-' || text[0] == L'+')) {
        at = 1;
    }
    if (at == text.size()) {
        return std::nullopt;
    }
    unsigned __int128 value = 0;
    const unsigned __int128 most = (static_cast<unsigned __int128>(1) << 63) - (isNegative ? 0 : 1);
    for (; at < text.size(); ++at) {
        if (text[at] < L'0' || text[at] > L'9') {
            return std::nullopt;
        }
        value = value * 10 + static_cast<unsigned>(text[at] - L'0');
        if (value > most) {
            return std::nullopt;
        }
    }
    return static_cast<std::int64_t>(isNegative ? -static_cast<std::uint64_t>(value)
                                                : static_cast<std::uint64_t>(value));
}

void text(const std::wstring& digits) {
    const std::optional<std::int64_t> seconds = secondsIn(digits);
    try {
        const DateTime time(digits);
        KEST_LAW(seconds.has_value());
        KEST_LAW(time == DateTime(*seconds));
        if (*seconds < 0 || *seconds > kLastSecond) {
            KEST_LAW(time == DateTime::s_invalid);
            return;
        }
        if (time == DateTime::s_invalid) {
            // Beyond the last year of the calendar.
            KEST_LAW(*seconds > 922'314'988'799);
            return;
        }
        KEST_LAW(time.getSecondsSinceEpoch() == *seconds);
        KEST_LAW(time.getMicroSecondsSinceEpoch() == *seconds * 1'000'000);
        KEST_LAW(time.timestampString() == std::to_wstring(*seconds));
        KEST_LAW(DateTime(time.timestampString()) == time);
        KEST_LAW(DateTime::s_begin < time && time < DateTime::s_end);
    } catch (const boost::bad_lexical_cast&) {
        KEST_LAW(!seconds.has_value());
    }
}

void fields(fuzz::Input& input) {
    const auto word = [&] {
        const unsigned low = input.byte();
        return static_cast<unsigned short>(low | static_cast<unsigned>(input.byte()) << 8);
    };
    const unsigned short year = word();
    const unsigned short month = input.byte();
    const unsigned short day = input.byte();
    const unsigned short hour = input.byte();
    const unsigned short minute = input.byte();
    const unsigned short second = input.byte();
    const unsigned step = input.byte();
    DateTime time(year, month, day, hour, minute, second, false);
    const std::int64_t seconds = time.getSecondsSinceEpoch();
    if (seconds < 0) {
        const DateTime before = time;
        time += step;
        KEST_LAW(time == before && time.timestampString().empty());
        return;
    }
    KEST_LAW(DateTime(seconds) == time);
    DateTime later = time;
    later += step;
    if (later != time) {
        KEST_LAW(later > time && later.getSecondsSinceEpoch() == seconds + step);
    }
    KEST_LAW(systemTimeToStringCoded({year, month, 0xFFFF, day, hour, minute, second, 0}).size() ==
             (year <= 9999 ? 19U : 20U));
}

void pictures(const std::wstring& date, const std::wstring& time) {
    const DateTime moment(2010, 5, 17, 20, 3, 4, false);
    const std::wstring plain = moment.toString(false, date.c_str(), time.c_str(), false);
    KEST_LAW(plain.size() <= 63 + 2 + 63);
    KEST_LAW(plain.find(L", ") != std::wstring::npos);
    const std::wstring exact = moment.toString(false, date.c_str(), time.c_str(), true);
    KEST_LAW(exact.size() == plain.size() + 4 && exact.find(L".000") != std::wstring::npos);
}

}  // namespace
}  // namespace Tallowmere

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    // What a failed picture reports is of no use here.
    std::wcerr.setstate(std::ios_base::badbit);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tallowmere::fuzz::Input input(data, size);
    switch (input.byte()) {
        case 'p': {
            const std::wstring date = input.text();
            Tallowmere::pictures(date, input.text());
            break;
        }
        case 'f':
            Tallowmere::fields(input);
            break;
        default:
            Tallowmere::text(input.text());
            break;
    }
    return 0;
}
