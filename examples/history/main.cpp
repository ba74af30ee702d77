// Keeps a history of a folder: whole copies of it, each under the time at which it was made, and
// brings the folder back as it was at a time.
//
//   kest-history keep SETTINGS         makes a snapshot
//   kest-history list SETTINGS         shows when there was one, in local time
//   kest-history back SETTINGS TIME    TIME is local: "2026-11-21 18:30", or with seconds
//
// SETTINGS is a text file in UTF-8, each property on a line of its own:
//
//   <folder>documents</folder>    what the history is of
//   <history>snapshots</history>  where it is kept
//   <trace>history.log</trace>    where the library tells what it did; may be left out
//
// Making a snapshot and bringing one back happen as a whole or not at all: after an error, a killed
// process or a power cut the history, or the folder, is what it was before.

#include <kest/kest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::filesystem::path;
using Tallowmere::DateTime;
using Tallowmere::fromNative;
using Tallowmere::toNative;

[[noreturn]] void fail(const std::wstring& reason) {
    Tallowmere::Exception failure(__FILE__, __LINE__);
    failure.setReason(reason);
    throw failure;
}

/// Between the library's wide paths and those of the standard library stands UTF-8.
std::wstring wide(const path& place) {
    return fromNative(place.u8string());
}
/// The full path, links resolved: the library takes what it is given literally.
path fullPath(const std::wstring& text) {
    const path full = weakly_canonical(absolute(std::filesystem::u8path(toNative(text))));
    return full.has_filename() ? full : full.parent_path();
}

bool isInside(const path& inner, const path& outer) {
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first ==
           outer.end();
}

std::wstring property(const Tallowmere::Configurable& settings, const wchar_t* name) {
    // A property holds the file's bytes, one in each character.
    const std::string bytes = Tallowmere::convertToString(settings.getProperty(name).c_str());
    return Tallowmere::chomp(fromNative(bytes));
}

struct Settings {
    path folder;
    path history;

    explicit Settings(const char* fileName) {
        // Until the settings name a file for it, the trace goes nowhere instead of to the console.
        Tallowmere::Recorder::instance()->setStream(nullptr, nullptr, false);
        // The file is opened by bytes, so the bytes of its name are what is passed.
        const Tallowmere::Configurable settings(Tallowmere::convertToWString(fileName).c_str());
        for (const wchar_t* name : {L"folder", L"history"}) {
            const std::wstring value = property(settings, name);
            if (value.empty()) {
                fail(std::wstring(L"the settings lack <") + name + L">");
            }
            (name[0] == L'f' ? folder : history) = fullPath(value);
        }
        if (isInside(history, folder)) {
            fail(L"the history would lie in the folder that it is of");
        }
        const std::wstring trace = property(settings, L"trace");
        if (!trace.empty()) {
            openTrace(trace);
        }
    }

    /// The recorder takes a name of single bytes, and says nothing when it cannot write.
    void openTrace(const std::wstring& name) const {
        if (std::any_of(name.begin(), name.end(), [](wchar_t c) { return c < 32 || c > 126; })) {
            fail(L"the trace's name may hold nothing but ASCII");
        }
        if (isInside(fullPath(name), folder)) {
            fail(L"the trace would lie in the folder that the history is of");
        }
        if (!std::ofstream(fullPath(name), std::ios::app)) {
            fail(L"the trace cannot be written to " + name);
        }
        Tallowmere::Recorder::instance()->setFile(name.c_str());
    }
};

/// What six fields of `text` say; s_invalid when they are no time. Without a sixth one the time is
/// the last second of its minute.
DateTime readTime(const std::string& text, const char* form, bool isLocal) {
    unsigned short year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 59;
    int end = 0;
    const int fields =
        std::sscanf(text.c_str(), form, &year, &month, &day, &hour, &minute, &end, &second, &end);
    const bool isWhole = fields >= 5 && static_cast<std::size_t>(end) == text.size();
    const DateTime time(year, month, day, hour, minute, second, false);
    if (!isWhole || time.getSecondsSinceEpoch() < 0) {
        return DateTime::s_invalid;
    }
    return isLocal ? DateTime(year, month, day, hour, minute, second, true) : time;
}

DateTime timeOf(const std::wstring& snapshot) {
    return readTime(toNative(snapshot), "@GMT-%4hu.%2hu.%2hu-%2hu.%2hu%n.%2hu%n", false);
}

std::string shown(const std::wstring& snapshot) {
    return toNative(Tallowmere::getTimeFromHistoryPath(snapshot + L"\\"));
}

/// The names of the snapshots, the oldest first.
std::vector<std::wstring> snapshotsIn(const path& history) {
    std::vector<std::wstring> snapshots;
    if (Tallowmere::exists(wide(history).c_str())) {
        for (const auto& entry : std::filesystem::directory_iterator(history)) {
            const std::wstring name = wide(entry.path().filename());
            if (timeOf(name) != DateTime::s_invalid && !shown(name).empty() &&
                Tallowmere::isDirectory(wide(entry.path()))) {
                snapshots.push_back(name);
            }
        }
    }
    std::sort(snapshots.begin(), snapshots.end());  // As the names sort, so do the times.
    return snapshots;
}

void keep(const Settings& settings) {
    if (!Tallowmere::isDirectory(wide(settings.folder))) {
        fail(L"there is no folder " + wide(settings.folder));
    }
    Tallowmere::createDirectory(wide(settings.history));
    char snapshot[32] = "";
    do {
        // Two of one second would have one name: the later one waits for the next second.
        std::this_thread::sleep_for(std::chrono::milliseconds(snapshot[0] == '\0' ? 0 : 50));
        // Not by DateTime::toString, which writes the year of the calendar that the user's country
        // has.
        const std::time_t now = std::time(nullptr);
        std::strftime(snapshot, sizeof snapshot, "@GMT-%Y.%m.%d-%H.%M.%S", std::gmtime(&now));
    } while (Tallowmere::exists(wide(settings.history / snapshot).c_str()));
    Tallowmere::CopyDirectoryTransacted(wide(settings.folder), wide(settings.history / snapshot));
    std::cout << "kept: " << shown(fromNative(snapshot)) << '\n';
}

void list(const Settings& settings) {
    for (const std::wstring& snapshot : snapshotsIn(settings.history)) {
        std::cout << shown(snapshot) << '\n';
    }
}

void bringBack(const Settings& settings, const char* text) {
    const DateTime moment = readTime(text, "%4hu-%2hu-%2hu %2hu:%2hu%n:%2hu%n", true);
    if (moment == DateTime::s_invalid) {
        fail(L"\"" + fromNative(text) + L"\" is no time like 2026-11-21 18:30");
    }
    std::vector<std::wstring> snapshots = snapshotsIn(settings.history);
    while (!snapshots.empty() && timeOf(snapshots.back()) > moment) {
        snapshots.pop_back();
    }
    if (snapshots.empty()) {
        fail(L"there is no snapshot of that time or before");
    }
    Tallowmere::CopyDirectoryTransacted(wide(settings.history / snapshots.back()),
                                        wide(settings.folder));
    std::cout << "back as of: " << shown(snapshots.back()) << '\n';
}

int complain(const std::wstring& reason) {
    std::cerr << "kest-history: " << toNative(reason) << '\n';
    return 1;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string verb = count > 1 ? arguments[1] : "";
    if (count != (verb == "back" ? 4 : 3) || (verb != "keep" && verb != "list" && verb != "back")) {
        std::cerr << "usage: kest-history keep SETTINGS\n"
                     "       kest-history list SETTINGS\n"
                     "       kest-history back SETTINGS TIME\n";
        return 2;
    }
    try {
        const Settings settings(arguments[2]);
        if (verb == "keep") {
            keep(settings);
        } else if (verb == "list") {
            list(settings);
        } else {
            bringBack(settings, arguments[3]);
        }
        return 0;
    } catch (const Tallowmere::Exception& failure) {
        return complain(failure.getReason());
    } catch (const std::filesystem::filesystem_error& failure) {
        return complain(fromNative(failure.what()));
    } catch (const std::exception& failure) {
        // The library's texts keep the low byte of each character, so Latin letters are whole. In
        // the trace every name is.
        std::wstring reason;
        for (const char byte : std::string(failure.what())) {
            reason.push_back(static_cast<unsigned char>(byte));
        }
        return complain(Tallowmere::chomp(reason));
    }
}
