#include "kest/platform/testing/MemoryClock.h"

#include <new>

namespace Tallowmere::platform::testing {

const char* nameOf(Primitive primitive) {
    static constexpr const char* kNames[] = {
        "openDirectory",
        "openBelow",
        "describe",
        "list",
        "next",
        "mayRemoveFrom",
        "mayRemove",
        "spelling",
        "checkSameVolume",
        "checkEntry",
        "makeDirectory",
        "makePrivateDirectory",
        "copyFile",
        "copyFile (content)",
        "makeLink",
        "adopt",
        "removeFile",
        "removeDirectory",
        "rename",
        "exchange",
        "syncVolume",
        "syncDirectory",
        "writeFile",
        "writeFile (content)",
        "readFile",
        "lock",
        "checkPrivateOfOurs",
        "randomName",
    };
    return kNames[static_cast<int>(primitive)];
}

bool changes(Primitive primitive) {
    switch (primitive) {
        case Primitive::MakeDirectory:
        case Primitive::MakePrivateDirectory:
        case Primitive::CopyFile:
        case Primitive::CopyContent:
        case Primitive::MakeLink:
        case Primitive::Adopt:
        case Primitive::RemoveFile:
        case Primitive::RemoveDirectory:
        case Primitive::Rename:
        case Primitive::Exchange:
        case Primitive::SyncVolume:
        case Primitive::SyncDirectory:
        case Primitive::WriteFile:
        case Primitive::WriteContent:
        case Primitive::Lock:
            return true;
        default:
            return false;
    }
}

const std::vector<DWORD>& errorsOf(Primitive primitive) {
    static const std::vector<DWORD> kAnswer = {ERROR_GEN_FAILURE};
    static const std::vector<DWORD> kThrow = {kThrows};
    static const std::vector<DWORD> kRead = {ERROR_ACCESS_DENIED, ERROR_TOO_MANY_OPEN_FILES,
                                             ERROR_IO_DEVICE, kThrows};
    // Among them a rival's loop of links, and a drive that comes back: gone when it is looked at
    // again.
    static const std::vector<DWORD> kOpen = {
        ERROR_ACCESS_DENIED, ERROR_TOO_MANY_OPEN_FILES, ERROR_CANT_RESOLVE_FILENAME,
        ERROR_NOT_READY,     ERROR_IO_DEVICE,           kThrows};
    // Not "no", which from a disk that says what is true is no fault.
    static const std::vector<DWORD> kLook = {ERROR_TOO_MANY_OPEN_FILES, ERROR_GEN_FAILURE,
                                             ERROR_FILE_CORRUPT, ERROR_IO_DEVICE, kThrows};
    static const std::vector<DWORD> kMake = {ERROR_ACCESS_DENIED, ERROR_DISK_FULL,
                                             ERROR_WRITE_PROTECT, ERROR_IO_DEVICE, kThrows};
    static const std::vector<DWORD> kCopy = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION,
                                             ERROR_DISK_FULL, ERROR_IO_DEVICE, kThrows};
    static const std::vector<DWORD> kFill = {ERROR_DISK_FULL, ERROR_IO_DEVICE};
    static const std::vector<DWORD> kRemove = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION,
                                               ERROR_IO_DEVICE, kThrows};
    static const std::vector<DWORD> kRename = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION,
                                               ERROR_DISK_FULL,     ERROR_BUSY,
                                               ERROR_IO_DEVICE,     kThrows};
    static const std::vector<DWORD> kExchange = {ERROR_ACCESS_DENIED, ERROR_NOT_SUPPORTED,
                                                 ERROR_IO_DEVICE, kThrows};
    static const std::vector<DWORD> kSync = {ERROR_IO_DEVICE, ERROR_DISK_FULL, kThrows};
    static const std::vector<DWORD> kLock = {ERROR_LOCK_VIOLATION, ERROR_TOO_MANY_OPEN_FILES,
                                             ERROR_NOT_SUPPORTED, kThrows};
    switch (primitive) {
        case Primitive::OpenDirectory:
            return kOpen;
        case Primitive::OpenBelow:
        case Primitive::Describe:
        case Primitive::List:
        case Primitive::Next:
        case Primitive::MayRemoveFrom:
        case Primitive::MayRemove:
        case Primitive::ReadFile:
            return kRead;
        case Primitive::CheckSameVolume:
        case Primitive::CheckEntry:
        case Primitive::CheckPrivateOfOurs:
            return kLook;
        case Primitive::Spelling:
            return kAnswer;
        case Primitive::MakeDirectory:
        case Primitive::MakePrivateDirectory:
        case Primitive::MakeLink:
        case Primitive::Adopt:
        case Primitive::WriteFile:
            return kMake;
        case Primitive::CopyFile:
            return kCopy;
        case Primitive::CopyContent:
        case Primitive::WriteContent:
            return kFill;
        case Primitive::RemoveFile:
        case Primitive::RemoveDirectory:
            return kRemove;
        case Primitive::Rename:
            return kRename;
        case Primitive::Exchange:
            return kExchange;
        case Primitive::SyncVolume:
        case Primitive::SyncDirectory:
            return kSync;
        case Primitive::Lock:
            return kLock;
        case Primitive::RandomName:
            break;
    }
    return kThrow;
}

void MemoryClock::failAt(int number, DWORD error, MemoryFaultSpan span) {
    m_failAt = number;
    m_error = error;
    m_span = span;
}

DWORD MemoryClock::step(Primitive primitive, const std::function<void()>& onStop) {
    if (m_isDead) {
        return ERROR_OPERATION_ABORTED;
    }
    ++m_count;
    if (watch) {
        watch(m_count, primitive);
    }
    if (m_count == m_stopAt) {
        m_met = primitive;
        m_isDead = true;
        onStop();
        throw Stopped{};
    }
    if (m_failAt == 0 || m_count < m_failAt) {
        return ERROR_SUCCESS;
    }
    if (m_count == m_failAt) {
        m_met = primitive;
    } else if (m_span == MemoryFaultSpan::Once ||
               (m_span == MemoryFaultSpan::SamePrimitive && primitive != m_met)) {
        return ERROR_SUCCESS;
    }
    if (m_error == kThrows) {
        throw std::bad_alloc();
    }
    return m_error;
}

}  // namespace Tallowmere::platform::testing
