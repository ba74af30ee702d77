// Calls the library through the slots of its virtual tables, and has it call ours, as a program
// does that was built earlier: by number, whatever the headers of today say. In the registry there
// has to be HKEY_CURRENT_USER\Software\KestContract with one subkey, whose value Name is the text
// x.

#include <kest/kest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace k = Tallowmere;
using Text = std::wstring;

int wrong = 0;

void expect(bool holds, const char* what) {
    if (!holds) {
        std::printf("wrong: %s\n", what);
        ++wrong;
    }
}

void** tableOf(const void* object) {
    return *static_cast<void** const*>(object);
}

/// Slot 0 and 1 are the destructor: one for an object that goes, one for memory that goes as well.
template <class Result, class... Arguments>
Result callSlot(const void* object, int slot, Arguments... arguments) {
    using Function = Result (*)(const void*, Arguments...);
    return reinterpret_cast<Function>(tableOf(object)[slot])(object, arguments...);
}

void exceptionIsCalled() {
    const k::Exception exception("Host.cpp", 12);
    const Text reason = L"why";
    callSlot<void, const Text&>(&exception, 2, reason);
    expect(callSlot<const wchar_t*>(&exception, 3) == Text(L"why"), "Exception 3 is getReason");
    expect(callSlot<const wchar_t*>(&exception, 4) == Text(L"Host.cpp:12: why"),
           "Exception 4 is getDetailedReason");
    callSlot<void>(new k::Exception("Host.cpp", 12), 1);
}

Text ourOptions(const void*) {
    return L"ours";
}

void programIsCalled() {
    const k::Program program(L"nobody has a program of this name", L"a, b");
    const Text path = L"/no/program";
    const Text options = L"-o";
    expect(!callSlot<bool>(&program, 2), "Program 2 is isInstalled");
    callSlot<void, const Text&>(&program, 5, path);
    callSlot<void, const Text&>(&program, 9, options);
    expect(callSlot<Text>(&program, 4) == L"/no/program", "Program 4 is getPath, 5 setPath");
    expect(callSlot<Text>(&program, 8) == L"-o", "Program 8 is getOptions, 9 setOptions");
    expect(callSlot<Text>(&program, 7) == L"/no/program -o", "Program 7 is getCommand");
    bool isStarted = true;
    try {
        callSlot<void>(&program, 6);
    } catch (const std::exception&) {
        isStarted = false;
    }
    expect(!isStarted, "Program 6 is execute");
    auto* const copy = callSlot<k::Program*>(&program, 3);
    expect(copy != &program && copy->getCommand() == L"/no/program -o", "Program 3 is clone");
    callSlot<void>(copy, 1);

    // The library itself asks in the same slots: a product's own program answers there.
    std::vector<void*> table(tableOf(&program), tableOf(&program) + 10);
    table[8] = reinterpret_cast<void*>(&ourOptions);
    k::Program other(L"other", L"");
    void** const original = tableOf(&other);
    *reinterpret_cast<void***>(&other) = table.data();
    const Text command = callSlot<Text>(&other, 7);
    *reinterpret_cast<void***>(&other) = original;
    expect(command == L" ours", "getCommand asks Program 8");
}

std::string calls;

void firstOfStreamLock(void*) {
    calls += "first ";
}

void secondOfStreamLock(void*) {
    calls += "second ";
}

void streamLockIsAsked() {
    static void* table[] = {reinterpret_cast<void*>(&firstOfStreamLock),
                            reinterpret_cast<void*>(&secondOfStreamLock)};
    std::wostringstream stream;
    // The recorder gives its memory back.
    void* const object = ::operator new(sizeof(k::Recorder::StreamLock));
    *static_cast<void***>(object) = table;
    calls.clear();
    k::Recorder::instance()->setStream(&stream, static_cast<k::Recorder::StreamLock*>(object),
                                       false);
    LOG_INFO("a line");
    k::Recorder::destroy();
    expect(calls == "first second ", "StreamLock 0 is lock, 1 is unlock");
    expect(stream.str().find(L"a line") != Text::npos, "the line is in the stream");
}

void calledForKey(void*, const Text& value) {
    calls += value == L"x" ? "x " : "another text ";
}

void functionIsCalled() {
    static void* table[] = {nullptr, nullptr, reinterpret_cast<void*>(&calledForKey)};
    void** object = table;
    calls.clear();
    k::Registry::forEachSubKey(k::Registry::HKCU, L"Software\\KestContract", L"Name",
                               *reinterpret_cast<k::Registry::Function*>(&object));
    expect(calls == "x ", "Registry::Function 2 is the call");
}

void guardHoldsTheLockFirst() {
    k::Lock lock;
    const k::LockGuard guard(lock, -1);
    expect(*reinterpret_cast<const k::Lock* const*>(&guard) == &lock,
           "LockGuard begins with where the lock is");
}

void boolHasOneByte() {
    // Whatever the rest of the register holds, only the low byte counts.
    wchar_t* error = nullptr;
    const bool copied = CopyLink(L"/no/such/link", L"/no/such/folder/link", &error);
    unsigned char byte = 2;
    static_assert(sizeof(copied) == 1);
    std::memcpy(&byte, &copied, 1);
    expect(byte == 0 && error != nullptr, "a failure is the byte 0");
    deleteKESTArray(&error);
    expect(error == nullptr, "deleteKESTArray leaves null");
}

}  // namespace

int main() {
    k::Recorder::instance()->setFile(L"slots.log");
    exceptionIsCalled();
    programIsCalled();
    functionIsCalled();
    guardHoldsTheLockFirst();
    boolHasOneByte();
    k::Recorder::destroy();
    streamLockIsAsked();
    std::printf("%d wrong\n", wrong);
    return wrong == 0 ? 0 : 1;
}
