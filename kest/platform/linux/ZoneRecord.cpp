#include "kest/platform/linux/ZoneRecord.h"

#include <sys/stat.h>
#include <time.h>

#include <cstdlib>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kest/platform/linux/Calendar.h"
#include "kest/platform/linux/SwitchDate.h"

namespace Tallowmere::platform::zone {
namespace {

constexpr std::time_t kDay = std::time_t{24} * 60 * 60;

tm localTime(std::time_t at) {
    tm local{};
    localtime_r(&at, &local);
    return local;
}

long offsetAt(std::time_t at) {
    return localTime(at).tm_gmtoff;
}

/// When the local year begins.
std::time_t beginOfYear(int year) {
    const std::time_t midnight =
        calendar::daysOf(year, 1, 1) * kDay - calendar::kSecondsFrom1601To1970;
    return midnight - offsetAt(midnight - offsetAt(midnight));
}

/// The moments, each the first second of a new offset, at which the offset changes from `begin` on
/// and before `end`. An offset that holds for less than a day may be missed.
std::vector<std::time_t> offsetChanges(std::time_t begin, std::time_t end) {
    std::vector<std::time_t> changes;
    for (std::time_t day = begin; day < end - 1; day += kDay) {
        const std::time_t next = day + kDay < end ? day + kDay : end - 1;
        if (offsetAt(day) == offsetAt(next)) {
            continue;
        }
        std::time_t before = day;
        std::time_t after = next;
        while (after - before > 1) {
            const std::time_t middle = before + (after - before) / 2;
            (offsetAt(middle) == offsetAt(day) ? before : after) = middle;
        }
        changes.push_back(after);
    }
    return changes;
}

LONG biasOf(long offset) {
    // A record counts whole minutes. Only a TZ written by hand has seconds.
    return static_cast<LONG>(-offset / 60);
}

/// The zone's abbreviation in force at that moment: the database has no longer names.
void copyName(std::time_t at, wchar_t (&name)[32]) {
    const tm local = localTime(at);
    std::size_t length = 0;
    for (; local.tm_zone[length] != '\0' && length + 1 < std::size(name); ++length) {
        name[length] = static_cast<unsigned char>(local.tm_zone[length]);
    }
    name[length] = L'\0';
}

/// The file that the machine's own setting stands in, as it is now.
struct MachineSetting {
    dev_t device = 0;
    ino_t file = 0;
    timespec changed{};

    bool operator==(const MachineSetting& other) const {
        return device == other.device && file == other.file &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

MachineSetting machineSetting() {
    MachineSetting setting;
    struct stat file {};
    if (stat("/etc/localtime", &file) == 0) {
        setting.device = file.st_dev;
        setting.file = file.st_ino;
        setting.changed = file.st_mtim;
    }
    return setting;
}

/// A record and what it was derived under.
struct Kept {
    std::mutex mutex;
    bool filled = false;
    Record record{};
    /// TZ, which goes before the machine's setting.
    std::optional<std::string> name;
    MachineSetting machine;

    bool isFor(const char* zone, const MachineSetting& setting, std::time_t now) const {
        const bool sameName = zone == nullptr ? !name : name && *name == zone;
        return filled && sameName && machine == setting && record.validFrom <= now &&
               now < record.validUntil;
    }
};

}  // namespace

Record deriveRecord(std::time_t now) {
    // localtime_r alone need not notice that TZ has changed.
    tzset();
    const int year = localTime(now).tm_year + 1900;
    const std::time_t begin = beginOfYear(year);
    const std::time_t end = beginOfYear(year + 1);
    const std::vector<std::time_t> changes = offsetChanges(begin, end);

    Record record{};
    record.validFrom = begin;
    record.validUntil = end;
    TIME_ZONE_INFORMATION& zone = record.zone;
    if (changes.empty()) {
        zone.Bias = biasOf(offsetAt(now));
        copyName(now, zone.StandardName);
        copyName(now, zone.DaylightName);
        return record;
    }

    std::size_t next = 0;
    while (next < changes.size() && changes[next] <= now) {
        ++next;
    }
    if (next > 0) {
        record.validFrom = changes[next - 1];
    }
    if (next < changes.size()) {
        record.validUntil = changes[next];
    }

    // The record knows two periods: the inner one from one switch to the other, and the outer one,
    // which goes on over the turn of the year.
    SYSTEMTIME intoInner{};
    SYSTEMTIME outOfInner{};
    std::time_t inner = 0;
    std::time_t outer = 0;
    if (changes.size() == 1) {
        inner = changes[0];
        outer = begin;
        intoInner = switchDate(changes[0]);
        outOfInner = beginningOf(year);
    } else {
        const std::size_t first =
            next == 0 ? 0 : (next < changes.size() ? next - 1 : changes.size() - 2);
        inner = changes[first];
        // Before the inner period, unless now lies behind it.
        outer = next < changes.size() ? changes[first] - 1 : changes[first + 1];
        intoInner = switchDate(changes[first]);
        outOfInner = switchDate(changes[first + 1]);
    }
    const bool innerIsDaylight = offsetAt(inner) > offsetAt(outer);
    const std::time_t standard = innerIsDaylight ? outer : inner;
    const std::time_t daylight = innerIsDaylight ? inner : outer;
    zone.DaylightDate = innerIsDaylight ? intoInner : outOfInner;
    zone.StandardDate = innerIsDaylight ? outOfInner : intoInner;
    zone.Bias = biasOf(offsetAt(standard));
    zone.DaylightBias = biasOf(offsetAt(daylight)) - zone.Bias;
    copyName(standard, zone.StandardName);
    copyName(daylight, zone.DaylightName);
    return record;
}

TIME_ZONE_INFORMATION currentRecord() {
    // Never destroyed: a trace line may be written while the process ends.
    static Kept* const s_kept = new Kept;
    const char* const name = std::getenv("TZ");
    const MachineSetting machine = name == nullptr ? machineSetting() : MachineSetting();
    const std::time_t now = std::time(nullptr);

    const std::lock_guard<std::mutex> guard(s_kept->mutex);
    if (!s_kept->isFor(name, machine, now)) {
        s_kept->filled = false;
        s_kept->record = deriveRecord(now);
        s_kept->name = name == nullptr ? std::nullopt : std::optional<std::string>(name);
        s_kept->machine = machine;
        s_kept->filled = true;
    }
    return s_kept->record.zone;
}

}  // namespace Tallowmere::platform::zone
