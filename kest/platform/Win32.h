#pragma once

/// The Windows names that the library speaks: windows.h on Windows (included here and nowhere
/// else), our own declarations of the same names and numbers elsewhere. Internal: no public header
/// includes this file. The numbers are checked against each other by contract/ConstantsTest.cpp.

#include "kest/platform/Types.h"

#if defined(_WIN32)

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOGDI
#define NOGDI
#endif
#include <windows.h>
// After windows.h, which they need.
#include <ktmw32.h>
#include <objbase.h>
#include <oleauto.h>
#include <wbemcli.h>
// The network's records and calls, one header for each, since the one that names them all brings in
// what nobody needs.
#include <lmcons.h>
// After lmcons.h, which they need.
#include <lmapibuf.h>
#include <lmshare.h>

// Codes of the transaction manager that not every SDK header has.
#ifndef ERROR_INVALID_TRANSACTION
#define ERROR_INVALID_TRANSACTION 6700L
#endif
#ifndef ERROR_TRANSACTION_NOT_ACTIVE
#define ERROR_TRANSACTION_NOT_ACTIVE 6701L
#endif
#ifndef ERROR_TRANSACTION_ALREADY_ABORTED
#define ERROR_TRANSACTION_ALREADY_ABORTED 6704L
#endif
#ifndef ERROR_TRANSACTION_ALREADY_COMMITTED
#define ERROR_TRANSACTION_ALREADY_COMMITTED 6705L
#endif
#ifndef ERROR_DISK_QUOTA_EXCEEDED
#define ERROR_DISK_QUOTA_EXCEEDED 1295L
#endif
#ifndef ERROR_TRANSACTIONAL_CONFLICT
#define ERROR_TRANSACTIONAL_CONFLICT 6800L
#endif

#else

#include <cstddef>
#include <cstdint>

using BOOL = int;
using BOOLEAN = unsigned char;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using LCID = DWORD;
using HANDLE = void*;
using HLOCAL = void*;
using HMODULE = void*;
using NET_API_STATUS = DWORD;

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));
inline constexpr DWORD INFINITE = 0xFFFFFFFFU;
inline constexpr std::size_t MAX_PATH = 260;

// Message texts.
inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

// Waiting.
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFU;

// Time.
inline constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
inline constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
inline constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFFU;

// Locales: several numbers that mean the user's, and what a locale without a number has.
inline constexpr LCID LOCALE_NEUTRAL = 0x0000;
inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
inline constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
inline constexpr LCID LOCALE_CUSTOM_DEFAULT = 0x0C00;
inline constexpr LCID LOCALE_CUSTOM_UNSPECIFIED = 0x1000;

/// A zone's present rules. Switch dates are in the "day in month" form when their year is 0:
/// month, weekday, and the week 1 to 5 in wDay, 5 meaning the last. Biases are minutes, UTC = local
/// time + bias. A zone without daylight saving has month 0 in both dates.
struct TIME_ZONE_INFORMATION {
    LONG Bias;
    wchar_t StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    wchar_t DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
};

// Files.
inline constexpr DWORD GENERIC_READ = 0x80000000U;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
inline constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x4;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFU;
inline constexpr DWORD IO_REPARSE_TAG_MOUNT_POINT = 0xA0000003U;
inline constexpr DWORD IO_REPARSE_TAG_SYMLINK = 0xA000000CU;
inline constexpr DWORD COPY_FILE_FAIL_IF_EXISTS = 0x1;
inline constexpr DWORD COPY_FILE_COPY_SYMLINK = 0x800;
inline constexpr DWORD SYMBOLIC_LINK_FLAG_DIRECTORY = 1;

enum GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard, GetFileExMaxInfoLevel };
enum FINDEX_INFO_LEVELS { FindExInfoStandard, FindExInfoBasic, FindExInfoMaxInfoLevel };
enum FINDEX_SEARCH_OPS { FindExSearchNameMatch, FindExSearchLimitToDirectories };

struct WIN32_FILE_ATTRIBUTE_DATA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
};

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    wchar_t cFileName[MAX_PATH];
    wchar_t cAlternateFileName[14];
};

// Registry. The predefined keys are macros, as on Windows: they are needed while objects are still
// being initialised, and no constant of a pointer type is made from a number before that.
using HKEY = struct HKEY__*;
using REGSAM = DWORD;
#define KEST_PREDEFINED_KEY(number) \
    (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<std::int32_t>(number))))
#define HKEY_CLASSES_ROOT KEST_PREDEFINED_KEY(0x80000000U)
#define HKEY_CURRENT_USER KEST_PREDEFINED_KEY(0x80000001U)
#define HKEY_LOCAL_MACHINE KEST_PREDEFINED_KEY(0x80000002U)
#define HKEY_USERS KEST_PREDEFINED_KEY(0x80000003U)
#define HKEY_PERFORMANCE_DATA KEST_PREDEFINED_KEY(0x80000004U)
#define HKEY_CURRENT_CONFIG KEST_PREDEFINED_KEY(0x80000005U)
#define HKEY_PERFORMANCE_TEXT KEST_PREDEFINED_KEY(0x80000050U)
#define HKEY_PERFORMANCE_NLSTEXT KEST_PREDEFINED_KEY(0x80000060U)
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

// Processes.
inline constexpr DWORD CREATE_NO_WINDOW = 0x08000000;

/// How a process starts. The library sets nothing but the size.
struct STARTUPINFOW {
    DWORD cb;
    wchar_t* lpReserved;
    wchar_t* lpDesktop;
    wchar_t* lpTitle;
    DWORD dwX;
    DWORD dwY;
    DWORD dwXSize;
    DWORD dwYSize;
    DWORD dwXCountChars;
    DWORD dwYCountChars;
    DWORD dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    BYTE* lpReserved2;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};

struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};

// The system.
inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
inline constexpr WORD PROCESSOR_ARCHITECTURE_INTEL = 0;
inline constexpr WORD PROCESSOR_ARCHITECTURE_ARM = 5;
inline constexpr WORD PROCESSOR_ARCHITECTURE_IA64 = 6;
inline constexpr WORD PROCESSOR_ARCHITECTURE_AMD64 = 9;
inline constexpr WORD PROCESSOR_ARCHITECTURE_ARM64 = 12;
inline constexpr WORD PROCESSOR_ARCHITECTURE_UNKNOWN = 0xFFFF;

/// The text has units of 16 bits on every system: the record's size is part of the call.
struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    char16_t szCSDVersion[128];
};

struct SYSTEM_INFO {
    WORD wProcessorArchitecture;
    WORD wReserved;
    DWORD dwPageSize;
    void* lpMinimumApplicationAddress;
    void* lpMaximumApplicationAddress;
    std::uintptr_t dwActiveProcessorMask;
    DWORD dwNumberOfProcessors;
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
};

// Shares.
inline constexpr DWORD MAX_PREFERRED_LENGTH = 0xFFFFFFFFU;
inline constexpr DWORD STYPE_DISKTREE = 0;
inline constexpr DWORD STYPE_PRINTQ = 1;
inline constexpr DWORD STYPE_DEVICE = 2;
inline constexpr DWORD STYPE_IPC = 3;
inline constexpr DWORD STYPE_SPECIAL = 0x80000000U;

struct SHARE_INFO_502 {
    wchar_t* shi502_netname;
    DWORD shi502_type;
    wchar_t* shi502_remark;
    DWORD shi502_permissions;
    DWORD shi502_max_uses;
    DWORD shi502_current_uses;
    wchar_t* shi502_path;
    wchar_t* shi502_passwd;
    DWORD shi502_reserved;
    void* shi502_security_descriptor;
};

/// Only ever passed as null.
struct SECURITY_ATTRIBUTES;
using LPPROGRESS_ROUTINE = void (*)();

// Error codes.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_OUTOFMEMORY = 14;
inline constexpr DWORD ERROR_INVALID_DRIVE = 15;
inline constexpr DWORD ERROR_CURRENT_DIRECTORY = 16;
inline constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_BAD_UNIT = 20;
inline constexpr DWORD ERROR_NOT_READY = 21;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_HANDLE_DISK_FULL = 39;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_BAD_NETPATH = 53;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_CANNOT_MAKE = 82;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_NO_PROC_SLOTS = 89;
inline constexpr DWORD ERROR_BROKEN_PIPE = 109;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_INVALID_LEVEL = 124;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_OPERATION_ABORTED = 995;
inline constexpr DWORD ERROR_INVALID_FLAGS = 1004;
inline constexpr DWORD ERROR_BADDB = 1009;
inline constexpr DWORD ERROR_REGISTRY_IO_FAILED = 1016;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_TOO_MANY_LINKS = 1142;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_PRIVILEGE_NOT_HELD = 1314;
inline constexpr DWORD ERROR_DISK_QUOTA_EXCEEDED = 1295;
inline constexpr DWORD ERROR_FILE_CORRUPT = 1392;
inline constexpr DWORD ERROR_NO_SYSTEM_RESOURCES = 1450;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_RESOURCE_LANG_NOT_FOUND = 1815;
inline constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;
inline constexpr DWORD ERROR_NOT_A_REPARSE_POINT = 4390;
inline constexpr DWORD ERROR_INVALID_TRANSACTION = 6700;
inline constexpr DWORD ERROR_TRANSACTION_NOT_ACTIVE = 6701;
inline constexpr DWORD ERROR_TRANSACTION_ALREADY_ABORTED = 6704;
inline constexpr DWORD ERROR_TRANSACTION_ALREADY_COMMITTED = 6705;
inline constexpr DWORD ERROR_TRANSACTIONAL_CONFLICT = 6800;

// After the plain types, which it needs.
#include "kest/platform/linux/ComTypes.h"

#endif
