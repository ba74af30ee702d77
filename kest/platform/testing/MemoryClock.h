#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::testing {

/// What a disk can be asked to do and can fail at. Copying and writing a file are two steps each:
/// the file appears, then it is filled.
enum class Primitive {
    OpenDirectory,
    OpenBelow,
    Describe,
    List,
    Next,
    MayRemoveFrom,
    MayRemove,
    Spelling,
    CheckSameVolume,
    CheckEntry,
    MakeDirectory,
    MakePrivateDirectory,
    CopyFile,
    CopyContent,
    MakeLink,
    Adopt,
    RemoveFile,
    RemoveDirectory,
    Rename,
    Exchange,
    SyncVolume,
    SyncDirectory,
    WriteFile,
    WriteContent,
    ReadFile,
    Lock,
    CheckPrivateOfOurs,
    RandomName,
};

const char* nameOf(Primitive primitive);

/// Whether it can change something, so that being stopped before it differs from being stopped
/// before the next one.
bool changes(Primitive primitive);

/// Thrown once by the primitive at which a process is stopped. From then on all that the process
/// asks for is refused and changes nothing, so that what unwinds does not clear up: a killed
/// process runs no destructors. No std::exception, so that nothing takes it for an error.
struct Stopped {};

/// In place of an error: memory runs out.
inline constexpr DWORD kThrows = 0xFFFFFFFFU;

/// The errors that a primitive can give, kThrows among them. One that answers with a name gives it
/// back as it was instead.
const std::vector<DWORD>& errorsOf(Primitive primitive);

/// How long a fault lasts: one step, all later steps of the same primitive, or all later steps.
enum class MemoryFaultSpan { Once, SamePrimitive, Everything };

/// Counts the steps of a process, stops it at one or lets one fail.
class MemoryClock {
public:
    /// Called before each step with its number, from 1.
    std::function<void(int, Primitive)> watch;

    int count() const { return m_count; }
    bool isDead() const { return m_isDead; }
    /// The primitive that was failed or stopped.
    Primitive met() const { return m_met; }

    void stopAt(int number) { m_stopAt = number; }
    void failAt(int number, DWORD error, MemoryFaultSpan span);

    /// One step: ERROR_SUCCESS when it is to be made. Throws Stopped (having called `onStop`) or
    /// what a fault throws.
    DWORD step(Primitive primitive, const std::function<void()>& onStop);

private:
    int m_count = 0;
    int m_stopAt = 0;
    int m_failAt = 0;
    DWORD m_error = ERROR_SUCCESS;
    MemoryFaultSpan m_span = MemoryFaultSpan::Once;
    Primitive m_met = Primitive::OpenDirectory;
    bool m_isDead = false;
};

}  // namespace Tallowmere::platform::testing
