// The numbers, sizes and layouts that the library relies on, for the system's headers and for our
// declarations alike. All of it is checked by the compiler; the test only shows that it was.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {
namespace {

/// A constant as a number: handles and flags have various types in the system's headers.
template <class T>
constexpr std::int64_t number(T value) {
    return static_cast<std::int64_t>(value);
}

/// Without the sign that some headers give to a 32-bit code.
template <class T>
constexpr std::uint32_t code(T value) {
    return static_cast<std::uint32_t>(value);
}

// Types.
static_assert(sizeof(BOOL) == 4 && std::is_signed_v<BOOL>);
static_assert(sizeof(BOOLEAN) == 1 && std::is_unsigned_v<BOOLEAN>);
static_assert(sizeof(BYTE) == 1 && std::is_unsigned_v<BYTE>);
static_assert(sizeof(WORD) == 2 && std::is_unsigned_v<WORD>);
static_assert(sizeof(DWORD) == 4 && std::is_unsigned_v<DWORD>);
static_assert(sizeof(LONG) == 4 && std::is_signed_v<LONG>);
static_assert(sizeof(LCID) == 4 && std::is_unsigned_v<LCID>);
static_assert(sizeof(HANDLE) == 8 && std::is_pointer_v<HANDLE>);
static_assert(sizeof(HLOCAL) == 8 && std::is_pointer_v<HLOCAL>);
static_assert(number(TRUE) == 1 && number(FALSE) == 0);
static_assert(number(MAX_PATH) == 260);

// Time records.
static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(offsetof(SYSTEMTIME, wYear) == 0 && offsetof(SYSTEMTIME, wMonth) == 2);
static_assert(offsetof(SYSTEMTIME, wDayOfWeek) == 4 && offsetof(SYSTEMTIME, wDay) == 6);
static_assert(offsetof(SYSTEMTIME, wHour) == 8 && offsetof(SYSTEMTIME, wMinute) == 10);
static_assert(offsetof(SYSTEMTIME, wSecond) == 12 && offsetof(SYSTEMTIME, wMilliseconds) == 14);
static_assert(sizeof(FILETIME) == 8 && alignof(FILETIME) == 4);
static_assert(offsetof(FILETIME, dwLowDateTime) == 0 && offsetof(FILETIME, dwHighDateTime) == 4);
static_assert(offsetof(TIME_ZONE_INFORMATION, Bias) == 0);
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardName) == 4);
static_assert(sizeof(TIME_ZONE_INFORMATION::StandardName) == 32 * sizeof(wchar_t));
static_assert(sizeof(TIME_ZONE_INFORMATION::DaylightName) == 32 * sizeof(wchar_t));
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardDate) == 4 + 32 * sizeof(wchar_t));
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardBias) == 20 + 32 * sizeof(wchar_t));
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightName) == 24 + 32 * sizeof(wchar_t));
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightDate) == 24 + 64 * sizeof(wchar_t));
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightBias) == 40 + 64 * sizeof(wchar_t));
static_assert(sizeof(TIME_ZONE_INFORMATION) == 44 + 64 * sizeof(wchar_t));

// File records.
static_assert(sizeof(WIN32_FILE_ATTRIBUTE_DATA) == 36);
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, dwFileAttributes) == 0);
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, ftCreationTime) == 4);
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, ftLastAccessTime) == 12);
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, ftLastWriteTime) == 20);
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, nFileSizeHigh) == 28);
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, nFileSizeLow) == 32);
static_assert(offsetof(WIN32_FIND_DATAW, dwFileAttributes) == 0);
static_assert(offsetof(WIN32_FIND_DATAW, nFileSizeHigh) == 28);
static_assert(offsetof(WIN32_FIND_DATAW, nFileSizeLow) == 32);
static_assert(offsetof(WIN32_FIND_DATAW, dwReserved0) == 36);
static_assert(offsetof(WIN32_FIND_DATAW, dwReserved1) == 40);
static_assert(offsetof(WIN32_FIND_DATAW, cFileName) == 44);
static_assert(sizeof(WIN32_FIND_DATAW::cFileName) == 260 * sizeof(wchar_t));
static_assert(offsetof(WIN32_FIND_DATAW, cAlternateFileName) == 44 + 260 * sizeof(wchar_t));
static_assert(sizeof(WIN32_FIND_DATAW::cAlternateFileName) == 14 * sizeof(wchar_t));

// Message texts: the two combinations of flags that the library asks with.
static_assert(number(FORMAT_MESSAGE_ALLOCATE_BUFFER) == 0x100);
static_assert(number(FORMAT_MESSAGE_IGNORE_INSERTS) == 0x200);
static_assert(number(FORMAT_MESSAGE_FROM_HMODULE) == 0x800);
static_assert(number(FORMAT_MESSAGE_FROM_SYSTEM) == 0x1000);
static_assert((FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE |
               FORMAT_MESSAGE_IGNORE_INSERTS) == 0x0B00);
static_assert((FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
               FORMAT_MESSAGE_IGNORE_INSERTS) == 0x1300);

// Waiting.
static_assert(code(INFINITE) == 0xFFFFFFFF);
static_assert(code(WAIT_OBJECT_0) == 0);
static_assert(code(WAIT_ABANDONED) == 0x80);
static_assert(code(WAIT_TIMEOUT) == 0x102);
static_assert(code(WAIT_FAILED) == 0xFFFFFFFF);

// Time zones and locales.
static_assert(code(TIME_ZONE_ID_UNKNOWN) == 0);
static_assert(code(TIME_ZONE_ID_STANDARD) == 1);
static_assert(code(TIME_ZONE_ID_DAYLIGHT) == 2);
static_assert(code(TIME_ZONE_ID_INVALID) == 0xFFFFFFFF);
static_assert(code(LOCALE_NEUTRAL) == 0);
static_assert(code(LOCALE_USER_DEFAULT) == 0x400);
static_assert(code(LOCALE_SYSTEM_DEFAULT) == 0x800);
static_assert(code(LOCALE_CUSTOM_DEFAULT) == 0xC00);
static_assert(code(LOCALE_CUSTOM_UNSPECIFIED) == 0x1000);

// Files.
static_assert(code(GENERIC_READ) == 0x80000000);
static_assert(code(FILE_SHARE_READ) == 1);
static_assert(code(FILE_SHARE_WRITE) == 2);
static_assert(code(FILE_SHARE_DELETE) == 4);
static_assert(code(OPEN_EXISTING) == 3);
static_assert(code(FILE_FLAG_BACKUP_SEMANTICS) == 0x02000000);
static_assert(code(FILE_ATTRIBUTE_READONLY) == 0x1);
static_assert(code(FILE_ATTRIBUTE_HIDDEN) == 0x2);
static_assert(code(FILE_ATTRIBUTE_SYSTEM) == 0x4);
static_assert(code(FILE_ATTRIBUTE_DIRECTORY) == 0x10);
static_assert(code(FILE_ATTRIBUTE_ARCHIVE) == 0x20);
static_assert(code(FILE_ATTRIBUTE_NORMAL) == 0x80);
static_assert(code(FILE_ATTRIBUTE_REPARSE_POINT) == 0x400);
static_assert(code(INVALID_FILE_ATTRIBUTES) == 0xFFFFFFFF);
static_assert(code(IO_REPARSE_TAG_MOUNT_POINT) == 0xA0000003);
static_assert(code(IO_REPARSE_TAG_SYMLINK) == 0xA000000C);
static_assert(code(COPY_FILE_FAIL_IF_EXISTS) == 0x1);
static_assert(code(COPY_FILE_COPY_SYMLINK) == 0x800);
static_assert(code(SYMBOLIC_LINK_FLAG_DIRECTORY) == 0x1);
static_assert(number(GetFileExInfoStandard) == 0);
static_assert(number(FindExInfoStandard) == 0);
static_assert(number(FindExInfoBasic) == 1);
static_assert(number(FindExSearchNameMatch) == 0);
static_assert(number(FindExSearchLimitToDirectories) == 1);

// Processes.
static_assert(code(CREATE_NO_WINDOW) == 0x08000000);
static_assert(sizeof(STARTUPINFOW) == 104);
static_assert(offsetof(STARTUPINFOW, cb) == 0);
static_assert(offsetof(STARTUPINFOW, dwX) == 32);
static_assert(offsetof(STARTUPINFOW, dwFlags) == 60);
static_assert(offsetof(STARTUPINFOW, lpReserved2) == 72);
static_assert(offsetof(STARTUPINFOW, hStdError) == 96);
static_assert(sizeof(PROCESS_INFORMATION) == 24);
static_assert(offsetof(PROCESS_INFORMATION, hThread) == 8);
static_assert(offsetof(PROCESS_INFORMATION, dwProcessId) == 16);
static_assert(offsetof(PROCESS_INFORMATION, dwThreadId) == 20);

// The system.
static_assert(sizeof(OSVERSIONINFOW) == 276);
static_assert(offsetof(OSVERSIONINFOW, dwMajorVersion) == 4);
static_assert(offsetof(OSVERSIONINFOW, dwMinorVersion) == 8);
static_assert(offsetof(OSVERSIONINFOW, szCSDVersion) == 20);
static_assert(code(VER_PLATFORM_WIN32_NT) == 2);
static_assert(sizeof(SYSTEM_INFO) == 48);
static_assert(offsetof(SYSTEM_INFO, wProcessorArchitecture) == 0);
static_assert(offsetof(SYSTEM_INFO, dwPageSize) == 4);
static_assert(offsetof(SYSTEM_INFO, dwActiveProcessorMask) == 24);
static_assert(offsetof(SYSTEM_INFO, dwNumberOfProcessors) == 32);
static_assert(offsetof(SYSTEM_INFO, wProcessorRevision) == 46);
static_assert(code(PROCESSOR_ARCHITECTURE_INTEL) == 0);
static_assert(code(PROCESSOR_ARCHITECTURE_ARM) == 5);
static_assert(code(PROCESSOR_ARCHITECTURE_IA64) == 6);
static_assert(code(PROCESSOR_ARCHITECTURE_AMD64) == 9);
static_assert(code(PROCESSOR_ARCHITECTURE_UNKNOWN) == 0xFFFF);

// Shares.
static_assert(code(MAX_PREFERRED_LENGTH) == 0xFFFFFFFF);
static_assert(code(STYPE_DISKTREE) == 0);
static_assert(code(STYPE_PRINTQ) == 1);
static_assert(code(STYPE_DEVICE) == 2);
static_assert(code(STYPE_IPC) == 3);
static_assert(code(STYPE_SPECIAL) == 0x80000000);
static_assert(sizeof(SHARE_INFO_502) == 72);
static_assert(offsetof(SHARE_INFO_502, shi502_netname) == 0);
static_assert(offsetof(SHARE_INFO_502, shi502_type) == 8);
static_assert(offsetof(SHARE_INFO_502, shi502_remark) == 16);
static_assert(offsetof(SHARE_INFO_502, shi502_max_uses) == 28);
static_assert(offsetof(SHARE_INFO_502, shi502_path) == 40);
static_assert(offsetof(SHARE_INFO_502, shi502_security_descriptor) == 64);
static_assert(std::is_same_v<NET_API_STATUS, DWORD>);

// Error codes.
static_assert(code(ERROR_SUCCESS) == 0);
static_assert(code(ERROR_INVALID_FUNCTION) == 1);
static_assert(code(ERROR_FILE_NOT_FOUND) == 2);
static_assert(code(ERROR_PATH_NOT_FOUND) == 3);
static_assert(code(ERROR_TOO_MANY_OPEN_FILES) == 4);
static_assert(code(ERROR_ACCESS_DENIED) == 5);
static_assert(code(ERROR_INVALID_HANDLE) == 6);
static_assert(code(ERROR_NOT_ENOUGH_MEMORY) == 8);
static_assert(code(ERROR_INVALID_DATA) == 13);
static_assert(code(ERROR_OUTOFMEMORY) == 14);
static_assert(code(ERROR_INVALID_DRIVE) == 15);
static_assert(code(ERROR_CURRENT_DIRECTORY) == 16);
static_assert(code(ERROR_NOT_SAME_DEVICE) == 17);
static_assert(code(ERROR_NO_MORE_FILES) == 18);
static_assert(code(ERROR_WRITE_PROTECT) == 19);
static_assert(code(ERROR_BAD_UNIT) == 20);
static_assert(code(ERROR_NOT_READY) == 21);
static_assert(code(ERROR_GEN_FAILURE) == 31);
static_assert(code(ERROR_SHARING_VIOLATION) == 32);
static_assert(code(ERROR_LOCK_VIOLATION) == 33);
static_assert(code(ERROR_HANDLE_DISK_FULL) == 39);
static_assert(code(ERROR_NOT_SUPPORTED) == 50);
static_assert(code(ERROR_BAD_NETPATH) == 53);
static_assert(code(ERROR_FILE_EXISTS) == 80);
static_assert(code(ERROR_CANNOT_MAKE) == 82);
static_assert(code(ERROR_INVALID_PARAMETER) == 87);
static_assert(code(ERROR_NO_PROC_SLOTS) == 89);
static_assert(code(ERROR_BROKEN_PIPE) == 109);
static_assert(code(ERROR_DISK_FULL) == 112);
static_assert(code(ERROR_CALL_NOT_IMPLEMENTED) == 120);
static_assert(code(ERROR_INSUFFICIENT_BUFFER) == 122);
static_assert(code(ERROR_INVALID_NAME) == 123);
static_assert(code(ERROR_INVALID_LEVEL) == 124);
static_assert(code(ERROR_BAD_EXE_FORMAT) == 193);
static_assert(code(ERROR_ENVVAR_NOT_FOUND) == 203);
static_assert(code(ERROR_MOD_NOT_FOUND) == 126);
static_assert(code(ERROR_PROC_NOT_FOUND) == 127);
static_assert(code(ERROR_DIR_NOT_EMPTY) == 145);
static_assert(code(ERROR_BAD_PATHNAME) == 161);
static_assert(code(ERROR_BUSY) == 170);
static_assert(code(ERROR_ALREADY_EXISTS) == 183);
static_assert(code(ERROR_FILENAME_EXCED_RANGE) == 206);
static_assert(code(ERROR_FILE_TOO_LARGE) == 223);
static_assert(code(ERROR_MORE_DATA) == 234);
static_assert(code(ERROR_DIRECTORY) == 267);
static_assert(code(ERROR_NOT_OWNER) == 288);
static_assert(code(ERROR_MR_MID_NOT_FOUND) == 317);
static_assert(code(ERROR_OPERATION_ABORTED) == 995);
static_assert(code(ERROR_INVALID_FLAGS) == 1004);
static_assert(code(ERROR_IO_DEVICE) == 1117);
static_assert(code(ERROR_TOO_MANY_LINKS) == 1142);
static_assert(code(ERROR_NOT_FOUND) == 1168);
static_assert(code(ERROR_DISK_QUOTA_EXCEEDED) == 1295);
static_assert(code(ERROR_PRIVILEGE_NOT_HELD) == 1314);
static_assert(code(ERROR_FILE_CORRUPT) == 1392);
static_assert(code(ERROR_NO_SYSTEM_RESOURCES) == 1450);
static_assert(code(ERROR_RESOURCE_TYPE_NOT_FOUND) == 1813);
static_assert(code(ERROR_RESOURCE_LANG_NOT_FOUND) == 1815);
static_assert(code(ERROR_CANT_RESOLVE_FILENAME) == 1921);
static_assert(code(ERROR_NOT_A_REPARSE_POINT) == 4390);
static_assert(code(ERROR_INVALID_TRANSACTION) == 6700);
static_assert(code(ERROR_TRANSACTION_NOT_ACTIVE) == 6701);
static_assert(code(ERROR_TRANSACTION_ALREADY_ABORTED) == 6704);
static_assert(code(ERROR_TRANSACTION_ALREADY_COMMITTED) == 6705);
static_assert(code(ERROR_TRANSACTIONAL_CONFLICT) == 6800);

// COM and the management service.
static_assert(sizeof(HRESULT) == 4 && std::is_signed_v<HRESULT>);
static_assert(sizeof(ULONG) == 4 && std::is_unsigned_v<ULONG>);
static_assert(sizeof(UINT) == 4 && std::is_unsigned_v<UINT>);
static_assert(sizeof(VARTYPE) == 2 && sizeof(VARIANT_BOOL) == 2);
static_assert(std::is_same_v<BSTR, wchar_t*>);
static_assert(sizeof(GUID) == 16 && offsetof(GUID, Data2) == 4 && offsetof(GUID, Data4) == 8);
static_assert(offsetof(VARIANT, vt) == 0 && offsetof(VARIANT, lVal) == 8);
static_assert(offsetof(VARIANT, bstrVal) == 8);
static_assert(number(VT_EMPTY) == 0 && number(VT_NULL) == 1 && number(VT_I2) == 2);
static_assert(number(VT_I4) == 3 && number(VT_R8) == 5 && number(VT_BSTR) == 8);
static_assert(number(VT_BOOL) == 11 && number(VT_VARIANT) == 12 && number(VT_ARRAY) == 0x2000);
static_assert(VARIANT_TRUE == -1 && VARIANT_FALSE == 0);
static_assert(code(COINIT_MULTITHREADED) == 0 && code(COINIT_APARTMENTTHREADED) == 2);
static_assert(code(CLSCTX_INPROC_SERVER) == 1);
static_assert(code(RPC_C_AUTHN_LEVEL_DEFAULT) == 0 && code(RPC_C_AUTHN_LEVEL_CALL) == 3);
static_assert(code(RPC_C_IMP_LEVEL_IMPERSONATE) == 3);
static_assert(code(RPC_C_AUTHN_WINNT) == 10 && code(RPC_C_AUTHZ_NONE) == 0);
static_assert(code(EOAC_NONE) == 0);
static_assert((WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY) == 48);
static_assert(code(WBEM_INFINITE) == 0xFFFFFFFF);
static_assert(code(S_OK) == 0 && code(S_FALSE) == 1);
static_assert(code(WBEM_S_NO_ERROR) == 0 && code(WBEM_S_FALSE) == 1);
static_assert(code(E_NOTIMPL) == 0x80004001);
static_assert(code(E_NOINTERFACE) == 0x80004002);
static_assert(code(E_POINTER) == 0x80004003);
static_assert(code(E_FAIL) == 0x80004005);
static_assert(code(E_UNEXPECTED) == 0x8000FFFF);
static_assert(code(E_ACCESSDENIED) == 0x80070005);
static_assert(code(E_OUTOFMEMORY) == 0x8007000E);
static_assert(code(E_INVALIDARG) == 0x80070057);
static_assert(code(RPC_E_CHANGED_MODE) == 0x80010106);
static_assert(code(RPC_E_TOO_LATE) == 0x80010119);
static_assert(code(DISP_E_BADVARTYPE) == 0x80020008);
static_assert(code(CLASS_E_NOAGGREGATION) == 0x80040110);
static_assert(code(REGDB_E_CLASSNOTREG) == 0x80040154);
static_assert(code(CO_E_NOTINITIALIZED) == 0x800401F0);
static_assert(code(WBEM_E_FAILED) == 0x80041001);
static_assert(code(WBEM_E_NOT_FOUND) == 0x80041002);
static_assert(code(WBEM_E_ACCESS_DENIED) == 0x80041003);
static_assert(code(WBEM_E_PROVIDER_FAILURE) == 0x80041004);
static_assert(code(WBEM_E_TYPE_MISMATCH) == 0x80041005);
static_assert(code(WBEM_E_OUT_OF_MEMORY) == 0x80041006);
static_assert(code(WBEM_E_INVALID_PARAMETER) == 0x80041008);
static_assert(code(WBEM_E_NOT_AVAILABLE) == 0x80041009);
static_assert(code(WBEM_E_CRITICAL_ERROR) == 0x8004100A);
static_assert(code(WBEM_E_INVALID_NAMESPACE) == 0x8004100E);
static_assert(code(WBEM_E_INVALID_CLASS) == 0x80041010);
static_assert(code(WBEM_E_PROVIDER_LOAD_FAILURE) == 0x80041013);
static_assert(code(WBEM_E_TRANSPORT_FAILURE) == 0x80041015);
static_assert(code(WBEM_E_INVALID_OPERATION) == 0x80041016);
static_assert(code(WBEM_E_INVALID_QUERY) == 0x80041017);
static_assert(code(WBEM_E_INVALID_QUERY_TYPE) == 0x80041018);
static_assert(code(WBEM_E_ILLEGAL_OPERATION) == 0x8004101E);
static_assert(code(WBEM_E_INCOMPLETE_CLASS) == 0x80041020);
static_assert(code(WBEM_E_INVALID_METHOD) == 0x8004102E);
static_assert(code(WBEM_E_INVALID_METHOD_PARAMETERS) == 0x8004102F);

// Registry.
static_assert(sizeof(HKEY) == 8 && std::is_pointer_v<HKEY> && sizeof(REGSAM) == 4);
static_assert(KEY_READ == 0x20019);
static_assert(REG_NONE == 0 && REG_SZ == 1 && REG_EXPAND_SZ == 2 && REG_BINARY == 3);
static_assert(REG_DWORD == 4 && REG_MULTI_SZ == 7 && REG_QWORD == 11);
static_assert(code(ERROR_NO_MORE_ITEMS) == 259 && code(ERROR_BADDB) == 1009);
static_assert(code(ERROR_REGISTRY_IO_FAILED) == 1016 && code(ERROR_KEY_DELETED) == 1018);

/// A predefined key's number, which is a negative 32-bit one.
std::int64_t keyNumber(HKEY key) {
    return reinterpret_cast<std::intptr_t>(key);
}

TEST(Constants, PredefinedKeysHaveTheirNumbers) {
    EXPECT_EQ(-2147483648LL, keyNumber(HKEY_CLASSES_ROOT));
    EXPECT_EQ(-2147483647LL, keyNumber(HKEY_CURRENT_USER));
    EXPECT_EQ(-2147483646LL, keyNumber(HKEY_LOCAL_MACHINE));
    EXPECT_EQ(-2147483645LL, keyNumber(HKEY_USERS));
    EXPECT_EQ(-2147483644LL, keyNumber(HKEY_PERFORMANCE_DATA));
    EXPECT_EQ(-2147483643LL, keyNumber(HKEY_CURRENT_CONFIG));
    EXPECT_EQ(-2147483568LL, keyNumber(HKEY_PERFORMANCE_TEXT));
    EXPECT_EQ(-2147483552LL, keyNumber(HKEY_PERFORMANCE_NLSTEXT));
}

TEST(ConstantsContract, TheInvalidHandleIsAllOnes) {
    // An address, which the compiler cannot compare.
    EXPECT_EQ(UINT64_MAX, reinterpret_cast<std::uintptr_t>(INVALID_HANDLE_VALUE));
}

}  // namespace
}  // namespace Tallowmere::platform
