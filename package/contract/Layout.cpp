// Prints what a program that was built earlier knows of the exported classes by heart: how large
// they are, where their fields lie, in which slot of the virtual table each operation stands. The
// output is compared with layout.txt.

#include <kest/kest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

namespace k = Tallowmere;
using Programs = k::Iterator<k::Program>;
using StreamLock = k::Recorder::StreamLock;

/// Names of private members may stand in an explicit instantiation, and nowhere else.
template <class Name, auto field>
struct Opened {
    friend std::ptrdiff_t offsetOf(Name) {
        // A pointer to a field is its distance from the object's beginning.
        const auto pointer = field;
        std::ptrdiff_t offset = 0;
        static_assert(sizeof(pointer) == sizeof(offset));
        std::memcpy(&offset, &pointer, sizeof(offset));
        return offset;
    }
    friend std::size_t sizeOf(Name) { return size(field); }

private:
    template <class Class, class Type>
    static std::size_t size(Type Class::*) {
        return sizeof(Type);
    }
};

#define OPEN(type, field)                    \
    struct type##_##field {};                \
    std::ptrdiff_t offsetOf(type##_##field); \
    std::size_t sizeOf(type##_##field);      \
    template struct Opened<type##_##field, &k::type::field>

OPEN(Exception, reasonOffset);
OPEN(Exception, text);
OPEN(Recorder, sourceField);
OPEN(Recorder, traceFilePath);
OPEN(Recorder, stream);
OPEN(Recorder, streamLock);
OPEN(Recorder, ownsStream);
OPEN(Recorder, markerState);
OPEN(Recorder, lock);
OPEN(Recorder, rollOverSize);
OPEN(Recorder, flushCount);
OPEN(FunctionTrace, function);
OPEN(FunctionTrace, file);
OPEN(FunctionTrace, line);
OPEN(DateTime, impl);
OPEN(Lock, impl);
OPEN(LockGuard, isAcquired);
OPEN(Configurable, impl);
OPEN(Program, path);
OPEN(Program, name);
OPEN(Program, options);
OPEN(Program, extensions);
OPEN(InstalledPrograms, impl);
OPEN(RestorePoint, description);
OPEN(RestorePoint, type);
OPEN(RestorePoint, creationTime);
OPEN(RestorePoint, sequenceNumber);

template <class Class>
void type(const char* name) {
    std::printf("\n%s: %d bytes, aligned to %d\n", name, static_cast<int>(sizeof(Class)),
                static_cast<int>(alignof(Class)));
}

template <class Name>
void field(Name name, const char* text) {
    std::printf("    at %2d, %2d bytes: %s\n", static_cast<int>(offsetOf(name)),
                static_cast<int>(sizeOf(name)), text);
}

template <class Function>
void slot(Function function, const char* text) {
    // A pointer to a virtual operation is its distance in the table, plus 1 to tell it from an
    // address.
    std::ptrdiff_t distance = 0;
    static_assert(sizeof(function) == 2 * sizeof(distance));
    std::memcpy(&distance, &function, sizeof(distance));
    if (distance % 8 != 1) {
        std::printf("    not virtual: %s\n", text);
        return;
    }
    std::printf("    slot %d: %s\n", static_cast<int>(distance / 8), text);
}

#define FIELD(type, name) field(type##_##name{}, #name)
#define SLOT(type, name) slot(&type::name, #name)

void diagnostics() {
    type<k::Exception>("Exception");
    FIELD(Exception, reasonOffset);
    FIELD(Exception, text);
    SLOT(k::Exception, setReason);
    SLOT(k::Exception, getReason);
    SLOT(k::Exception, getDetailedReason);

    type<k::Recorder>("Recorder");
    FIELD(Recorder, sourceField);
    FIELD(Recorder, traceFilePath);
    FIELD(Recorder, stream);
    FIELD(Recorder, streamLock);
    FIELD(Recorder, ownsStream);
    FIELD(Recorder, markerState);
    FIELD(Recorder, lock);
    FIELD(Recorder, rollOverSize);
    FIELD(Recorder, flushCount);

    type<StreamLock>("Recorder::StreamLock");
    SLOT(StreamLock, lock);
    SLOT(StreamLock, unlock);

    type<k::FunctionTrace>("FunctionTrace");
    FIELD(FunctionTrace, function);
    FIELD(FunctionTrace, file);
    FIELD(FunctionTrace, line);
}

void values() {
    type<k::DateTime>("DateTime");
    FIELD(DateTime, impl);
    type<k::Lock>("Lock");
    FIELD(Lock, impl);
    // Its first field is a reference, which has no offset that could be asked for.
    type<k::LockGuard>("LockGuard");
    FIELD(LockGuard, isAcquired);
    type<k::Configurable>("Configurable");
    FIELD(Configurable, impl);
    type<k::RestorePoint>("RestorePoint");
    FIELD(RestorePoint, description);
    FIELD(RestorePoint, type);
    FIELD(RestorePoint, creationTime);
    FIELD(RestorePoint, sequenceNumber);
}

void registry() {
    type<k::Registry>("Registry");
    type<k::Registry::Hive>("Registry::Hive");
    type<k::Registry::Function>("Registry::Function");
    SLOT(k::Registry::Function, operator());

    type<k::Program>("Program");
    FIELD(Program, path);
    FIELD(Program, name);
    FIELD(Program, options);
    FIELD(Program, extensions);
    SLOT(k::Program, isInstalled);
    SLOT(k::Program, clone);
    SLOT(k::Program, getPath);
    SLOT(k::Program, setPath);
    SLOT(k::Program, execute);
    SLOT(k::Program, getCommand);
    SLOT(k::Program, getOptions);
    SLOT(k::Program, setOptions);

    type<Programs>("Iterator<Program>");
    SLOT(Programs, first);
    SLOT(Programs, last);
    SLOT(Programs, next);
    SLOT(Programs, previous);
    SLOT(Programs, current);
    SLOT(Programs, refresh);
    SLOT(Programs, numberOfObjects);

    type<k::InstalledPrograms>("InstalledPrograms");
    FIELD(InstalledPrograms, impl);
    SLOT(k::InstalledPrograms, first);
    SLOT(k::InstalledPrograms, last);
    SLOT(k::InstalledPrograms, next);
    SLOT(k::InstalledPrograms, previous);
    SLOT(k::InstalledPrograms, current);
    SLOT(k::InstalledPrograms, refresh);
    SLOT(k::InstalledPrograms, numberOfObjects);
}

void system() {
    type<bool>("bool");
    type<k::WindowsVersion>("WindowsVersion");
    type<k::ProcessorType>("ProcessorType");
}

}  // namespace

int main() {
    std::printf("A virtual destructor takes the slots 0 and 1.\n");
    diagnostics();
    values();
    registry();
    system();
}
