#define KEST_MODULE "SystemRestoreWin"

#include "kest/restore/RestorePoint.h"

#include <cstddef>

#include "kest/diagnostics/Log.h"
#include "kest/platform/Calls.h"
#include "kest/restore/CreationTime.h"
#include "kest/restore/WmiSession.h"
#include "kest/text/Integer.h"

namespace Tallowmere {

using platform::os;

namespace {

std::wstring typeName(const std::wstring& number) {
    // Deliberate: a text that is no number reads as 0.
    switch (leadingInteger(number)) {
        case 0:
            return L"Application installation";
        case 1:
            return L"Application uninstallation";
        case 10:
            return L"Device driver installation";
        case 12:
            return L"Settings modification";
        case 13:
            return L"Cancelled operation";
        default:
            return L"Restore point type " + number;
    }
}

void setCreationTime(RestorePoint& point, const SYSTEMTIME& time) {
    const SYSTEMTIME* const old = point.creationTime;
    point.creationTime = new SYSTEMTIME(time);
    delete old;
}

}  // namespace

RestorePoint::RestorePoint() : creationTime(new SYSTEMTIME) {
    os().GetSystemTime(creationTime);
}

RestorePoint::RestorePoint(const RestorePoint& other)
    : description(other.description),
      type(other.type),
      creationTime(new SYSTEMTIME(*other.creationTime)),
      sequenceNumber(other.sequenceNumber) {}

RestorePoint& RestorePoint::operator=(const RestorePoint& other) {
    if (this != &other) {
        description = other.description;
        type = other.type;
        setCreationTime(*this, *other.creationTime);
        sequenceNumber = other.sequenceNumber;
    }
    return *this;
}

RestorePoint::~RestorePoint() {
    delete creationTime;
}

void getRestorePoints(std::vector<RestorePoint>& points) {
    const std::vector<std::wstring> properties = {L"Description", L"RestorePointType",
                                                  L"CreationTime", L"SequenceNumber"};
    std::vector<wmi::Row> rows;
    wmi::getWmiInfo(L"ROOT\\DEFAULT", L"Select * from SystemRestore", properties, rows);
    LOG_INFO(rows.size() << " restore points");

    RestorePoint point;
    for (const wmi::Row& row : rows) {
        // Only the count tells that a property is missing.
        if (row.size() < properties.size()) {
            LOG_WARNING("Skipping a restore point");
            continue;
        }
        std::wstring joined;
        for (const std::wstring& value : row) {
            joined += value + L" ";
        }
        point.description = row[0];
        point.type = typeName(row[1]);
        setCreationTime(point, readCreationTime(row[2]));
        point.sequenceNumber = leadingInteger(row[3]);
        points.push_back(point);
        // As changeable text, in which no marker is looked for: a description may begin with
        // anything.
        LOG_INFO(joined.data());
    }
}

}  // namespace Tallowmere
