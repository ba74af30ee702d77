#include "kest/platform/linux/Errno.h"

#include <cerrno>

namespace Tallowmere::platform {
namespace {

// Codes that nothing but this table needs.
constexpr DWORD ERROR_CRC = 23;
constexpr DWORD ERROR_DEV_NOT_EXIST = 55;
constexpr DWORD ERROR_WAIT_NO_CHILDREN = 128;
constexpr DWORD ERROR_SEEK_ON_DEVICE = 132;
constexpr DWORD ERROR_NO_DATA = 232;
constexpr DWORD ERROR_ARITHMETIC_OVERFLOW = 534;
constexpr DWORD ERROR_IO_PENDING = 997;
constexpr DWORD ERROR_NOACCESS = 998;
constexpr DWORD ERROR_FILE_INVALID = 1006;
constexpr DWORD ERROR_NO_MEDIA_IN_DRIVE = 1112;
constexpr DWORD ERROR_POSSIBLE_DEADLOCK = 1131;
constexpr DWORD ERROR_INVALID_DLL = 1154;
constexpr DWORD ERROR_DLL_NOT_FOUND = 1157;
constexpr DWORD ERROR_BAD_DEVICE = 1200;
constexpr DWORD ERROR_NO_NETWORK = 1222;
constexpr DWORD ERROR_CONNECTION_REFUSED = 1225;
constexpr DWORD ERROR_ADDRESS_ALREADY_ASSOCIATED = 1227;
constexpr DWORD ERROR_ADDRESS_NOT_ASSOCIATED = 1228;
constexpr DWORD ERROR_CONNECTION_ACTIVE = 1230;
constexpr DWORD ERROR_NETWORK_UNREACHABLE = 1231;
constexpr DWORD ERROR_HOST_UNREACHABLE = 1232;
constexpr DWORD ERROR_CONNECTION_ABORTED = 1236;
constexpr DWORD ERROR_TIMEOUT = 1460;
constexpr DWORD ERROR_UNRECOGNIZED_MEDIA = 1785;
constexpr DWORD ERROR_FILE_ENCRYPTED = 6002;

}  // namespace

// Our choice throughout: what Windows would say of the same fault of a disk or a path, so that its
// text tells a person what to look for; not the nearest name. Rows that need a reason have one.
DWORD errorFromErrno(int value) {
    switch (value) {
        case 0:
            return ERROR_SUCCESS;

        // Paths and files.
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case EACCES:
        case EPERM:
        case EISDIR:  // Windows denies access to a directory that is opened as a file.
            return ERROR_ACCESS_DENIED;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case ENOTEMPTY:
            return ERROR_DIR_NOT_EMPTY;
        case ENAMETOOLONG:
        case E2BIG:  // A command line that is too long gives this on Windows.
            return ERROR_FILENAME_EXCED_RANGE;
        case ELOOP:
            return ERROR_CANT_RESOLVE_FILENAME;
        case EILSEQ:  // What a volume says of a name that it cannot encode.
            return ERROR_INVALID_NAME;
        case EXDEV:
            return ERROR_NOT_SAME_DEVICE;
        case EMLINK:
            return ERROR_TOO_MANY_LINKS;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case EBADF:
        case EBADFD:
        case ENOTSOCK:
            return ERROR_INVALID_HANDLE;
        case EBUSY:
            return ERROR_BUSY;
        case ETXTBSY:
            return ERROR_SHARING_VIOLATION;
        case EAGAIN:  // Of a file it means that another process holds a lock or a lease.
            return ERROR_LOCK_VIOLATION;
        case ENOLCK:
            return ERROR_NO_SYSTEM_RESOURCES;
        case EDEADLK:
            return ERROR_POSSIBLE_DEADLOCK;
        case ENODATA:  // An extended attribute that is not there.
            return ERROR_NOT_FOUND;
        case EKEYEXPIRED:
        case EKEYREJECTED:
        case EKEYREVOKED:
        case ENOKEY:  // An encrypted file whose key nobody has given.
            return ERROR_FILE_ENCRYPTED;

        // Room.
        case ENOSPC:
            return ERROR_DISK_FULL;
        case EDQUOT:
            return ERROR_DISK_QUOTA_EXCEEDED;
        case EFBIG:
            return ERROR_FILE_TOO_LARGE;
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENOBUFS:
        case EUSERS:
            return ERROR_NO_SYSTEM_RESOURCES;

        // Devices and what is stored on them.
        case EIO:
        case EREMOTEIO:
        case EHWPOISON:
            return ERROR_IO_DEVICE;
        case EBADMSG:  // A checksum on the disk that does not match.
            return ERROR_CRC;
        case EUCLEAN:  // "Structure needs cleaning": the volume is damaged.
            return ERROR_FILE_CORRUPT;
        case ENODEV:
        case ENXIO:
            return ERROR_BAD_UNIT;
        case ENOTBLK:
            return ERROR_BAD_DEVICE;
        case ENOMEDIUM:
            return ERROR_NO_MEDIA_IN_DRIVE;
        case EMEDIUMTYPE:
            return ERROR_UNRECOGNIZED_MEDIA;
        case ESPIPE:
            return ERROR_SEEK_ON_DEVICE;
        case ENOTTY:
            return ERROR_INVALID_FUNCTION;

        // Volumes of another computer, and of a program (FUSE) that may have ended.
        case ESTALE:
            return ERROR_FILE_INVALID;
        case ENOTCONN:
        case ECONNRESET:
        case ENETRESET:
        case ENOLINK:
        case ECOMM:
            return ERROR_DEV_NOT_EXIST;
        case ECONNABORTED:
            return ERROR_CONNECTION_ABORTED;
        case ECONNREFUSED:
            return ERROR_CONNECTION_REFUSED;
        case EISCONN:
            return ERROR_CONNECTION_ACTIVE;
        case EADDRINUSE:
            return ERROR_ADDRESS_ALREADY_ASSOCIATED;
        case EADDRNOTAVAIL:
            return ERROR_ADDRESS_NOT_ASSOCIATED;
        case ENETUNREACH:
            return ERROR_NETWORK_UNREACHABLE;
        case EHOSTUNREACH:
        case EHOSTDOWN:
            return ERROR_HOST_UNREACHABLE;
        case ENETDOWN:
        case ENONET:
            return ERROR_NO_NETWORK;
        case ETIMEDOUT:
        case ETIME:
            return ERROR_TIMEOUT;
        case EPIPE:
            return ERROR_BROKEN_PIPE;
        case ESHUTDOWN:
            return ERROR_NO_DATA;

        // Processes and programs.
        case ESRCH:  // Windows calls the number of a process that is not there a wrong parameter.
        case EINVAL:
        case EDOM:
        case EDESTADDRREQ:
        case EMSGSIZE:
            return ERROR_INVALID_PARAMETER;
        case ECHILD:
            return ERROR_WAIT_NO_CHILDREN;
        case ENOEXEC:
            return ERROR_BAD_EXE_FORMAT;
        case ELIBACC:
            return ERROR_DLL_NOT_FOUND;
        case ELIBBAD:
        case ELIBSCN:
        case ELIBMAX:
            return ERROR_INVALID_DLL;
        case EFAULT:
            return ERROR_NOACCESS;
        case ERANGE:  // In practice a buffer that is too small.
            return ERROR_INSUFFICIENT_BUFFER;
        case EOVERFLOW:
            return ERROR_ARITHMETIC_OVERFLOW;
        case EINTR:
        case ECANCELED:
            return ERROR_OPERATION_ABORTED;
        case EINPROGRESS:
        case EALREADY:
            return ERROR_IO_PENDING;

        // What this kernel or this volume does not offer.
        case ENOSYS:
        case EOPNOTSUPP:
        case EPFNOSUPPORT:
        case EAFNOSUPPORT:
        case EPROTONOSUPPORT:
        case ESOCKTNOSUPPORT:
        case EPROTOTYPE:
        case ENOPROTOOPT:
        case ELIBEXEC:
            return ERROR_NOT_SUPPORTED;

        default:
            return ERROR_GEN_FAILURE;
    }
}

}  // namespace Tallowmere::platform
