// What holds for every text, on a few hundred texts made of the characters that matter.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/Characters.h"
#include "kest/platform/testing/Laws.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/text/HistoryPaths.h"
#include "kest/text/NativeText.h"
#include "kest/text/Paths.h"
#include "kest/text/Strings.h"
#include "kest/text/testing/NaiveText.h"
#include "kest/time/TimeText.h"

namespace Tallowmere {
namespace {

namespace naive = testing::naive;
using platform::Calls;
using platform::testing::ScopedCall;

rc::Gen<std::wstring> texts() {
    static const std::wstring s_units = L"abzAZ019.,;:/\\ \t\r\n\"@GMT-$\x00E9\x00A0\x3000\xF0AB";
    return rc::gen::container<std::wstring>(rc::gen::elementOf(s_units));
}

/// A field as split gives it: nothing around it, no delimiter in it, and not empty.
rc::Gen<std::wstring> fields() {
    return rc::gen::nonEmpty(rc::gen::container<std::wstring>(
        rc::gen::elementOf(std::wstring(L"abzAZ019./\\:-$\x00E9"))));
}

rc::Gen<std::string> bytes() {
    return rc::gen::container<std::string>(
        rc::gen::map(rc::gen::inRange(1, 256), [](int byte) { return static_cast<char>(byte); }));
}

/// A time of the calendar, to the second.
rc::Gen<SYSTEMTIME> times() {
    return rc::gen::map(rc::gen::inRange<std::int64_t>(0, 265'046'774'399), [](std::int64_t s) {
        const std::uint64_t ticks = static_cast<std::uint64_t>(s) * 10'000'000;
        const FILETIME file = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
        SYSTEMTIME time{};
        EXPECT_TRUE(platform::os().FileTimeToSystemTime(&file, &time));
        return time;
    });
}

std::wstring join(const std::vector<std::wstring>& fields, wchar_t delimiter) {
    std::wstring text;
    for (const std::wstring& field : fields) {
        text += (text.empty() ? L"" : std::wstring(1, delimiter)) + field;
    }
    return text;
}

RC_GTEST_PROP(TextLaws, SplittingWhatWasJoinedGivesTheFields, ()) {
    const auto expected = *rc::gen::container<std::vector<std::wstring>>(fields());
    std::vector<std::wstring> found;
    split(join(expected, L','), L',', found);
    RC_ASSERT(found == expected);
}

RC_GTEST_PROP(TextLaws, JoiningWhatWasSplitAndSplittingItAgainChangesNothing, ()) {
    const std::wstring text = *texts();
    std::vector<std::wstring> once;
    split(text, L',', once);
    std::vector<std::wstring> twice;
    split(join(once, L','), L',', twice);
    RC_ASSERT(once == twice);
    for (const std::wstring& field : once) {
        RC_ASSERT(!field.empty());
        RC_ASSERT(field == chomp(field));
        RC_ASSERT(field.find(L',') == std::wstring::npos);
    }
}

RC_GTEST_PROP(TextLaws, TrimmingTwiceIsTrimmingOnce, ()) {
    const std::wstring text = *texts();
    const std::wstring trimmed = chomp(text);
    RC_ASSERT(chomp(trimmed) == trimmed);
    RC_ASSERT(text.find(trimmed) != std::wstring::npos);
}

RC_GTEST_PROP(TextLaws, DelimitersAreThoseOfThePlainReading, ()) {
    const std::wstring text = *texts();
    const std::wstring set =
        *rc::gen::container<std::wstring>(rc::gen::elementOf(std::wstring(L"/\\.,a")));
    std::vector<std::uint64_t> positions;
    findStringDelimiters(text, set.c_str(), positions);
    RC_ASSERT(positions == naive::delimiters(text, set));
}

RC_GTEST_PROP(TextLaws, AReplacedCharacterIsGone, ()) {
    const std::wstring text = *texts();
    std::wstring replaced = text;
    stringReplace(replaced, L'\\', L'/');
    RC_ASSERT(replaced.size() == text.size());
    RC_ASSERT(replaced.find(L'\\') == std::wstring::npos);
    std::wstring erased = text;
    stringReplace(erased, L'\\', L'\0');
    RC_ASSERT(erased == naive::replace(text, L'\\', L'\0'));
}

RC_GTEST_PROP(TextLaws, LinesAndWhatIsLeftAreTheText, ()) {
    const std::wstring text = *texts();
    std::wstring again;
    std::uint64_t position = 0;
    for (std::uint64_t before = 1; before != position;) {
        before = position;
        const std::wstring line = nextLine(text, position);
        if (position != before) {
            again += line + L'\n';
        }
    }
    RC_ASSERT(again + text.substr(position) == text);
}

RC_GTEST_PROP(TextLaws, NarrowedAfterWideningItIsTheSame, ()) {
    const std::string narrow = *bytes();
    RC_ASSERT(convertToString(convertToWString(narrow.c_str()).c_str()) == narrow);
}

RC_GTEST_PROP(TextLaws, EveryFileNameComesBack, ()) {
    const std::string narrow = *bytes();
    const std::wstring wide = fromNative(narrow);
    RC_ASSERT(toNative(wide) == narrow);
    RC_ASSERT(wide.find(L'\\') == std::wstring::npos);
}

RC_GTEST_PROP(PathLaws, NormalisingTwiceIsNormalisingOnce, ()) {
    const std::wstring path = *texts();
    const std::wstring normal = normalizePath(path);
    RC_ASSERT(normalizePath(normal) == normal);
    RC_ASSERT(normal.size() == path.size());
    std::wstring other = path;
    stringReplace(other, L'/', L'\\');
    RC_ASSERT(normalizePath(other) == normal);
}

RC_GTEST_PROP(PathLaws, TheLastComponentIsWhatWasPutThere, ()) {
    const std::wstring folder = *texts();
    const std::wstring name = *rc::gen::nonEmpty(
        rc::gen::container<std::wstring>(rc::gen::elementOf(std::wstring(L"ab. "))));
    const std::wstring path = folder + L'\\' + name;
    RC_ASSERT(getPathLastComponent(path) == folder.size());
    const std::size_t separators =
        static_cast<std::size_t>(std::count_if(folder.begin(), folder.end(), naive::isSeparator));
    if (separators == 0) {
        RC_ASSERT(baseName(path) == name);
    }
}

RC_GTEST_PROP(PathLaws, AChangedExtensionIsTheExtension, ()) {
    std::wstring path = *texts();
    const std::wstring extension =
        *rc::gen::container<std::wstring>(rc::gen::elementOf(std::wstring(L"abz01")));
    const std::size_t dot = path.rfind(L'.');
    const bool isChanged = dot != std::wstring::npos && dot + 1 != path.size();
    const std::wstring before = path;
    changeExtension(path, extension.c_str());
    RC_ASSERT((isChanged ? getFileExtension(path) == extension : path == before));
}

RC_GTEST_PROP(PathLaws, ADriveIsTheSameWhateverItsCase, ()) {
    const std::wstring path = *texts();
    const wchar_t drive = getDrive(path);
    RC_ASSERT(drive == 0 || arePathsOnTheSameDrive(path, std::wstring(1, drive) + L":\\x"));
    RC_ASSERT(arePathsOnTheSameDrive(path, path) == (drive != 0));
}

/// There: a time, a drive and a path inside become a history path. Back: the live path, the drive
/// and the time as text come out of it.
RC_GTEST_PROP(HistoryPathLaws, ThereAndBack, ()) {
    const ScopedCall<&Calls::GetTimeZoneInformation> zone([](TIME_ZONE_INFORMATION* information) {
        *information = {};
        return DWORD{TIME_ZONE_ID_UNKNOWN};
    });
    const SYSTEMTIME time = *times();
    const wchar_t drive = *rc::gen::inRange(L'A', L'[');
    const std::wstring inside =
        L"\\" + *rc::gen::container<std::wstring>(rc::gen::elementOf(std::wstring(L"ab.\\ "))) +
        L"x";
    const std::wstring stamp = systemTimeToStringCoded(time);
    RC_ASSERT(stamp.size() == 19);
    const std::wstring path = std::wstring(L"\\\\machine\\") + drive + L"$\\@GMT-" + stamp + inside;
    RC_ASSERT(isHistoryPath(path));
    RC_ASSERT(getDrive(path) == drive);
    RC_ASSERT(getCurrentPath(path) == std::wstring(1, drive) + L":" + inside);
    RC_ASSERT(getCurrentPathNoDrive(path) == inside);
    RC_ASSERT(getTimeFromHistoryPath(path) == systemTimeToStringHuman(time, nullptr, nullptr));
    RC_ASSERT(localizeHistoryTime(stamp) == getTimeFromHistoryPath(path));
}

}  // namespace
}  // namespace Tallowmere
