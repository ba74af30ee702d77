#include "kest/platform/Calls.h"

#include <io.h>

#include "kest/platform/windows/Com.h"
#include "kest/platform/windows/KernelTransactions.h"
#include "kest/platform/windows/SymbolicLinks.h"

namespace Tallowmere::platform {
namespace {

/// Calls the system's function. Its address goes through here because the address of an imported
/// function is no constant for every compiler; the compiler compares our declaration with the
/// system's in passing.
template <auto call>
struct Forward;

template <class R, class... A, R(WINAPI* call)(A...)>
struct Forward<call> {
    static R invoke(A... arguments) { return call(arguments...); }
};

/// Links may be missing although the system says otherwise.
template <>
struct Forward<&::CreateSymbolicLinkW> {
    static BOOLEAN invoke(const wchar_t* link, const wchar_t* target, DWORD flags) {
        return createSymbolicLink(link, target, flags);
    }
};

/// The C runtime's bounded calls have overloads in its headers, so they are forwarded by hand.
namespace runtime {

int _itow_s(int value, wchar_t* buffer, std::size_t size, int radix) {
    return ::_itow_s(value, buffer, size, radix);
}

int memcpy_s(void* destination, std::size_t destinationSize, const void* source,
             std::size_t count) {
    return ::memcpy_s(destination, destinationSize, source, count);
}

int wcscpy_s(wchar_t* destination, std::size_t destinationSize, const wchar_t* source) {
    return ::wcscpy_s(destination, destinationSize, source);
}

int fopen_s(std::FILE** file, const char* name, const char* mode) {
    return ::fopen_s(file, name, mode);
}

wchar_t* fgetws(wchar_t* buffer, int size, std::FILE* file) {
    return ::fgetws(buffer, size, file);
}

int fclose(std::FILE* file) {
    return ::fclose(file);
}

int _waccess(const wchar_t* path, int mode) {
    return ::_waccess(path, mode);
}

}  // namespace runtime
}  // namespace

#define KEST_TARGET_Errors(name) &Forward<&::name>::invoke
#define KEST_TARGET_Sync(name) &Forward<&::name>::invoke
#define KEST_TARGET_Time(name) &Forward<&::name>::invoke
#define KEST_TARGET_Files(name) &Forward<&::name>::invoke
#define KEST_TARGET_Transactions(name) &kernel::name
#define KEST_TARGET_Registry(name) &Forward<&::name>::invoke
#define KEST_TARGET_Processes(name) &Forward<&::name>::invoke
#define KEST_TARGET_Network(name) &Forward<&::name>::invoke
#define KEST_TARGET_Com(name) &com::name
#define KEST_TARGET_Runtime(name) &runtime::name

constinit Calls g_calls = {
#define KEST_CALL(family, result, name, ...) .name = KEST_TARGET_##family(name),
#include "kest/platform/Calls.def"
};

}  // namespace Tallowmere::platform
