#include "kest/platform/linux/TimeLanguage.h"

#include <langinfo.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::language {
namespace {

constexpr const wchar_t* kDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                    L"Thursday", L"Friday", L"Saturday"};
constexpr const wchar_t* kShortDays[] = {L"Sun", L"Mon", L"Tue", L"Wed", L"Thu", L"Fri", L"Sat"};
constexpr const wchar_t* kMonths[] = {L"January",   L"February", L"March",    L"April",
                                      L"May",       L"June",     L"July",     L"August",
                                      L"September", L"October",  L"November", L"December"};
constexpr const wchar_t* kShortMonths[] = {L"Jan", L"Feb", L"Mar", L"Apr", L"May", L"Jun",
                                           L"Jul", L"Aug", L"Sep", L"Oct", L"Nov", L"Dec"};
constexpr const wchar_t* kHalfDays[] = {L"AM", L"PM"};

/// The C library keeps the wide form of these texts ready, whatever the locale's character set.
const wchar_t* wideText(nl_item item) {
    return reinterpret_cast<const wchar_t*>(nl_langinfo(item));
}

/// The first text, or the second where the locale has none of the first kind.
const wchar_t* wideText(nl_item item, nl_item instead) {
    const wchar_t* const text = wideText(item);
    return *text != L'\0' ? text : wideText(instead);
}

struct Numbered {
    std::string_view name;
    LCID number;
};

/// In the order of the names.
constexpr Numbered kNumbers[] = {
    {"af_ZA", 0x0436}, {"ar_EG", 0x0C01}, {"ar_SA", 0x0401}, {"be_BY", 0x0423}, {"bg_BG", 0x0402},
    {"bn_IN", 0x0445}, {"bs_BA", 0x141A}, {"ca_ES", 0x0403}, {"cs_CZ", 0x0405}, {"cy_GB", 0x0452},
    {"da_DK", 0x0406}, {"de_AT", 0x0C07}, {"de_CH", 0x0807}, {"de_DE", 0x0407}, {"de_LI", 0x1407},
    {"de_LU", 0x1007}, {"el_GR", 0x0408}, {"en_AU", 0x0C09}, {"en_CA", 0x1009}, {"en_GB", 0x0809},
    {"en_IE", 0x1809}, {"en_IN", 0x4009}, {"en_NZ", 0x1409}, {"en_PH", 0x3409}, {"en_SG", 0x4809},
    {"en_US", 0x0409}, {"en_ZA", 0x1C09}, {"es_AR", 0x2C0A}, {"es_CL", 0x340A}, {"es_CO", 0x240A},
    {"es_ES", 0x0C0A}, {"es_MX", 0x080A}, {"es_PE", 0x280A}, {"es_US", 0x540A}, {"es_VE", 0x200A},
    {"et_EE", 0x0425}, {"eu_ES", 0x042D}, {"fa_IR", 0x0429}, {"fi_FI", 0x040B}, {"fr_BE", 0x080C},
    {"fr_CA", 0x0C0C}, {"fr_CH", 0x100C}, {"fr_FR", 0x040C}, {"fr_LU", 0x140C}, {"ga_IE", 0x083C},
    {"gl_ES", 0x0456}, {"he_IL", 0x040D}, {"hi_IN", 0x0439}, {"hr_HR", 0x041A}, {"hu_HU", 0x040E},
    {"hy_AM", 0x042B}, {"id_ID", 0x0421}, {"is_IS", 0x040F}, {"it_CH", 0x0810}, {"it_IT", 0x0410},
    {"ja_JP", 0x0411}, {"ka_GE", 0x0437}, {"kk_KZ", 0x043F}, {"ko_KR", 0x0412}, {"lt_LT", 0x0427},
    {"lv_LV", 0x0426}, {"mk_MK", 0x042F}, {"ms_MY", 0x043E}, {"mt_MT", 0x043A}, {"nb_NO", 0x0414},
    {"nl_BE", 0x0813}, {"nl_NL", 0x0413}, {"nn_NO", 0x0814}, {"pl_PL", 0x0415}, {"pt_BR", 0x0416},
    {"pt_PT", 0x0816}, {"ro_RO", 0x0418}, {"ru_RU", 0x0419}, {"sk_SK", 0x041B}, {"sl_SI", 0x0424},
    {"sq_AL", 0x041C}, {"sr_RS", 0x281A}, {"sv_FI", 0x081D}, {"sv_SE", 0x041D}, {"ta_IN", 0x0449},
    {"te_IN", 0x044A}, {"th_TH", 0x041E}, {"tr_TR", 0x041F}, {"uk_UA", 0x0422}, {"ur_PK", 0x0420},
    {"vi_VN", 0x042A}, {"zh_CN", 0x0804}, {"zh_HK", 0x0C04}, {"zh_SG", 0x1004}, {"zh_TW", 0x0404},
};
static_assert(std::is_sorted(std::begin(kNumbers), std::end(kNumbers),
                             [](const Numbered& a, const Numbered& b) { return a.name < b.name; }));

}  // namespace

const wchar_t* english(Word word, int index) {
    switch (word) {
        case Word::Day:
            return kDays[index];
        case Word::ShortDay:
            return kShortDays[index];
        case Word::Month:
        case Word::MonthOfDay:
            return kMonths[index];
        case Word::ShortMonth:
        case Word::ShortMonthOfDay:
            return kShortMonths[index];
        case Word::HalfDay:
            return kHalfDays[index];
        case Word::Era:
            return L"AD";
    }
    return L"";
}

const wchar_t* ofThread(Word word, int index) {
    switch (word) {
        case Word::Day:
            return wideText(_NL_WDAY_1 + index);
        case Word::ShortDay:
            return wideText(_NL_WABDAY_1 + index);
        case Word::Month:
            return wideText(_NL_WALTMON_1 + index, _NL_WMON_1 + index);
        case Word::ShortMonth:
            return wideText(_NL_WABALTMON_1 + index, _NL_WABMON_1 + index);
        case Word::MonthOfDay:
            return wideText(_NL_WMON_1 + index);
        case Word::ShortMonthOfDay:
            return wideText(_NL_WABMON_1 + index);
        case Word::HalfDay:
            return wideText(index == 0 ? _NL_WAM_STR : _NL_WPM_STR);
        case Word::Era:
            // The database names the eras of other calendars only.
            return L"";
    }
    return L"";
}

LCID numberOf(std::string_view name) {
    const std::string_view plain = name.substr(0, name.find_first_of(".@"));
    if (plain == "C" || plain == "POSIX") {
        return 0x0409;
    }
    const std::size_t modifier = name.find('@');
    if (modifier != std::string_view::npos && name.substr(modifier) != "@euro") {
        // Another script or another variety of the language.
        return name.substr(modifier) == "@latin" && plain == "sr_RS" ? 0x241A
                                                                     : LOCALE_CUSTOM_UNSPECIFIED;
    }
    const auto* const found = std::lower_bound(
        std::begin(kNumbers), std::end(kNumbers), plain,
        [](const Numbered& entry, std::string_view wanted) { return entry.name < wanted; });
    return found != std::end(kNumbers) && found->name == plain ? found->number
                                                               : LOCALE_CUSTOM_UNSPECIFIED;
}

}  // namespace Tallowmere::platform::language

namespace Tallowmere::platform::standin {
namespace {

/// Asked for each trace line, so the last answer is kept. The name's address says nothing: the
/// memory of a locale that was given up is used again.
[[gnu::noinline]] LCID numberOfNamed(const char* name) {
    constexpr std::size_t kNameAtMost = 32;
    static thread_local constinit char t_name[kNameAtMost]{};
    static thread_local constinit LCID t_number = 0;
    if (t_number == 0 || std::strcmp(name, t_name) != 0) {
        const std::string_view whole = name;
        const LCID number = language::numberOf(whole);
        if (whole.size() >= kNameAtMost) {
            return number;
        }
        t_name[whole.copy(t_name, whole.size())] = '\0';
        t_number = number;
    }
    return t_number;
}

}  // namespace

[[gnu::hot]] LCID GetThreadLocale() {
    const char* const name = nl_langinfo(NL_LOCALE_NAME(LC_TIME));
    return name[0] == 'C' && name[1] == '\0' ? 0x0409 : numberOfNamed(name);
}

}  // namespace Tallowmere::platform::standin
