#include "Restore.h"

#include <kest/kest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Json.h"
#include "Readable.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {
namespace {

constexpr std::wstring_view kNumber = L"NUMBER";
constexpr std::wstring_view kCreated = L"CREATED";
constexpr std::wstring_view kType = L"TYPE";
constexpr std::wstring_view kDescription = L"DESCRIPTION";
constexpr std::size_t kTimeWidth = 19;

std::wstring padded(std::wstring_view text, std::size_t width) {
    std::wstring result(text);
    result.resize(std::max(result.size(), width), L' ');
    return result;
}

std::wstring digits(unsigned value, std::size_t width) {
    const std::wstring text = std::to_wstring(value);
    return std::wstring(width > text.size() ? width - text.size() : 0, L'0') + text;
}

std::wstring numberOf(const RestorePoint& point) {
    return std::to_wstring(static_cast<std::uint32_t>(point.sequenceNumber));
}

/// "2024-01-31 23:59:59", as the system wrote it.
std::wstring timeOf(const RestorePoint& point) {
    // Year, month, day of the week, day, hour, minute, second, milliseconds: a record of eight
    // 16-bit numbers on every system, which not every one declares to a host.
    std::uint16_t fields[8];
    std::memcpy(fields, point.creationTime, sizeof(fields));
    return digits(fields[0], 4) + L"-" + digits(fields[1], 2) + L"-" + digits(fields[3], 2) + L" " +
           digits(fields[4], 2) + L":" + digits(fields[5], 2) + L":" + digits(fields[6], 2);
}

}  // namespace

std::wstring tableLine(const RestorePoint& point, std::size_t numberWidth, std::size_t typeWidth) {
    const std::wstring number = numberOf(point);
    return std::wstring(numberWidth > number.size() ? numberWidth - number.size() : 0, L' ') +
           number + L"  " + padded(timeOf(point), kTimeWidth) + L"  " +
           padded(printable(point.type), typeWidth) + L"  " + printable(point.description);
}

bool listRestorePoints(const Call& call) {
    std::vector<RestorePoint> points;
    getRestorePoints(points);
    if (call.has(L"--json")) {
        std::vector<std::string> values;
        values.reserve(points.size());
        for (const RestorePoint& point : points) {
            values.push_back(json::object({{"number", toUtf8(numberOf(point))},
                                           {"created", json::text(timeOf(point))},
                                           {"type", json::text(point.type)},
                                           {"description", json::text(point.description)}}));
        }
        sayBytes(json::list(values));
        return true;
    }
    if (points.empty()) {
        say(L"no restore points\n");
        return true;
    }
    std::size_t numberWidth = kNumber.size();
    std::size_t typeWidth = kType.size();
    for (const RestorePoint& point : points) {
        numberWidth = std::max(numberWidth, numberOf(point).size());
        typeWidth = std::max(typeWidth, point.type.size());
    }
    std::wstring table = std::wstring(numberWidth - kNumber.size(), L' ').append(kNumber) + L"  " +
                         padded(kCreated, kTimeWidth) + L"  " + padded(kType, typeWidth) + L"  " +
                         std::wstring(kDescription) + L"\n";
    for (const RestorePoint& point : points) {
        table += tableLine(point, numberWidth, typeWidth) + L"\n";
    }
    say(table);
    return true;
}

bool restore(const Call& call) {
    unsigned long number = 0;
    (void)readNumber(call.operands[0], number);
    std::vector<RestorePoint> points;
    getRestorePoints(points);
    const auto found = std::find_if(points.begin(), points.end(), [&](const RestorePoint& point) {
        return static_cast<std::uint32_t>(point.sequenceNumber) == number;
    });
    if (found == points.end()) {
        complainLine(L"there is no restore point " + std::to_wstring(number));
        return false;
    }
    if (!call.has(L"--yes") &&
        !confirm(L"Restore the system to point " + std::to_wstring(number) + L" of " +
                 timeOf(*found) + L", " + printable(found->description) + L"? [y/N] ")) {
        complainLine(L"nothing was restored");
        return false;
    }
    wchar_t* error = nullptr;
    if (!restoreSystem(number, &error)) {
        complainLine(error);
        deleteKESTArray(&error);
        return false;
    }
    if (call.trace.restoreAnswer() != L"0") {
        complainLine(L"the system refuses to restore that point: " + call.trace.restoreAnswer());
        return false;
    }
    say(L"The system will be restored when it starts the next time.\n");
    return true;
}

}  // namespace Tallowmere::command
