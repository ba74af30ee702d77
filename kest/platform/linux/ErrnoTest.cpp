#include "kest/platform/linux/Errno.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "kest/platform/linux/SystemMessages.h"

namespace Tallowmere::platform {
namespace {

TEST(ErrorFromErrno, NamesEachKnownFault) {
    const std::map<int, DWORD> expected{
        {0, 0},
        {ENOENT, 2},
        {ENOTDIR, 3},
        {EMFILE, 4},
        {ENFILE, 4},
        {EACCES, 5},
        {EPERM, 5},
        {EISDIR, 5},
        {EBADF, 6},
        {EBADFD, 6},
        {ENOTSOCK, 6},
        {ENOTTY, 1},
        {ENOMEM, 8},
        {EXDEV, 17},
        {EROFS, 19},
        {ENODEV, 20},
        {ENXIO, 20},
        {EBADMSG, 23},
        {ETXTBSY, 32},
        {EAGAIN, 33},
        {ENOSYS, 50},
        {EOPNOTSUPP, 50},
        {ENOTSUP, 50},
        {EPFNOSUPPORT, 50},
        {EAFNOSUPPORT, 50},
        {EPROTONOSUPPORT, 50},
        {ESOCKTNOSUPPORT, 50},
        {EPROTOTYPE, 50},
        {ENOPROTOOPT, 50},
        {ELIBEXEC, 50},
        {ENOTCONN, 55},
        {ECONNRESET, 55},
        {ENETRESET, 55},
        {ENOLINK, 55},
        {ECOMM, 55},
        {EINVAL, 87},
        {ESRCH, 87},
        {EDOM, 87},
        {EDESTADDRREQ, 87},
        {EMSGSIZE, 87},
        {EPIPE, 109},
        {ENOSPC, 112},
        {ERANGE, 122},
        {EILSEQ, 123},
        {ECHILD, 128},
        {ESPIPE, 132},
        {ENOTEMPTY, 145},
        {EBUSY, 170},
        {EEXIST, 183},
        {ENOEXEC, 193},
        {ENAMETOOLONG, 206},
        {E2BIG, 206},
        {EFBIG, 223},
        {ESHUTDOWN, 232},
        {EOVERFLOW, 534},
        {EINTR, 995},
        {ECANCELED, 995},
        {EINPROGRESS, 997},
        {EALREADY, 997},
        {EFAULT, 998},
        {ESTALE, 1006},
        {ENOMEDIUM, 1112},
        {EIO, 1117},
        {EREMOTEIO, 1117},
        {EHWPOISON, 1117},
        {EDEADLK, 1131},
        {EMLINK, 1142},
        {ELIBBAD, 1154},
        {ELIBSCN, 1154},
        {ELIBMAX, 1154},
        {ELIBACC, 1157},
        {ENODATA, 1168},
        {ENOTBLK, 1200},
        {ENETDOWN, 1222},
        {ENONET, 1222},
        {ECONNREFUSED, 1225},
        {EADDRINUSE, 1227},
        {EADDRNOTAVAIL, 1228},
        {EISCONN, 1230},
        {ENETUNREACH, 1231},
        {EHOSTUNREACH, 1232},
        {EHOSTDOWN, 1232},
        {ECONNABORTED, 1236},
        {EDQUOT, 1295},
        {EUCLEAN, 1392},
        {ENOBUFS, 1450},
        {EUSERS, 1450},
        {ENOLCK, 1450},
        {ETIMEDOUT, 1460},
        {ETIME, 1460},
        {EMEDIUMTYPE, 1785},
        {ELOOP, 1921},
        {ENOKEY, 6002},
        {EKEYEXPIRED, 6002},
        {EKEYREVOKED, 6002},
        {EKEYREJECTED, 6002},
    };
    for (int value = 0; value < 200; ++value) {
        const auto found = expected.find(value);
        EXPECT_EQ(found == expected.end() ? 31U : found->second, errorFromErrno(value))
            << value << ": " << std::strerror(value);
    }
}

TEST(ErrorFromErrno, CallsAnUnknownValueAGeneralFailure) {
    EXPECT_EQ(31U, errorFromErrno(-1));
    EXPECT_EQ(31U, errorFromErrno(100000));
}

TEST(ErrorFromErrno, GivesOnlyCodesThatHaveAText) {
    for (int value = -1; value < 200; ++value) {
        EXPECT_NE(nullptr, systemMessage(errorFromErrno(value))) << value;
    }
}

}  // namespace
}  // namespace Tallowmere::platform
