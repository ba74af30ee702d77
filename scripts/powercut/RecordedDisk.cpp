// recorded_disk IMAGE RECORDING MOUNTPOINT
// A file system of two files. `disk` begins as IMAGE, which is never changed, and keeps each write
// and each flush in RECORDING; `mark` puts what is written to it between them. Serves until it is
// unmounted. One request at a time: a flush covers the writes that were answered before it.

#define FUSE_USE_VERSION 31
#include <fcntl.h>
#include <fuse.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Recording.h"

namespace {

constexpr const char* kDisk = "/disk";
constexpr const char* kMark = "/mark";

char* content = nullptr;
std::size_t size = 0;
std::FILE* recording = nullptr;

/// False when the recording cannot take it: then the request must fail as well.
bool record(powercut::Kind kind, std::uint64_t offset, const char* bytes, std::size_t length) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const powercut::Record head{kind, static_cast<std::uint32_t>(length), offset,
                                static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
                                    static_cast<std::uint64_t>(now.tv_nsec)};
    return std::fwrite(&head, sizeof head, 1, recording) == 1 &&
           (length == 0 || std::fwrite(bytes, length, 1, recording) == 1);
}

int describe(const char* path, struct stat* status, fuse_file_info*) {
    std::memset(status, 0, sizeof *status);
    if (std::strcmp(path, "/") == 0) {
        status->st_mode = S_IFDIR | 0700;
        status->st_nlink = 2;
        return 0;
    }
    if (std::strcmp(path, kDisk) != 0 && std::strcmp(path, kMark) != 0) {
        return -ENOENT;
    }
    status->st_mode = S_IFREG | 0600;
    status->st_nlink = 1;
    status->st_size = std::strcmp(path, kDisk) == 0 ? static_cast<off_t>(size) : 0;
    return 0;
}

/// Past the kernel's cache: what the loop device writes must arrive here in its order.
int open(const char*, fuse_file_info* file) {
    file->direct_io = 1;
    return 0;
}

int read(const char* path, char* buffer, std::size_t length, off_t offset, fuse_file_info*) {
    const auto from = static_cast<std::size_t>(offset);
    if (std::strcmp(path, kDisk) != 0 || from >= size) {
        return 0;
    }
    length = std::min(length, size - from);
    std::memcpy(buffer, content + from, length);
    return static_cast<int>(length);
}

int write(const char* path, const char* bytes, std::size_t length, off_t offset, fuse_file_info*) {
    if (std::strcmp(path, kMark) == 0) {
        return record(powercut::Kind::Mark, 0, bytes, length) ? static_cast<int>(length) : -EIO;
    }
    const auto from = static_cast<std::size_t>(offset);
    if (from > size || length > size - from) {
        return -ENOSPC;
    }
    if (!record(powercut::Kind::Write, from, bytes, length)) {
        return -EIO;
    }
    std::memcpy(content + from, bytes, length);
    return static_cast<int>(length);
}

int flush(const char* path, int, fuse_file_info*) {
    return std::strcmp(path, kDisk) != 0 || record(powercut::Kind::Flush, 0, nullptr, 0) ? 0 : -EIO;
}

/// Opening `mark` to write empties it, which it is anyway.
int truncate(const char* path, off_t, fuse_file_info*) {
    return std::strcmp(path, kMark) == 0 ? 0 : -EPERM;
}

int fail(const char* what) {
    std::perror(what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: recorded_disk IMAGE RECORDING MOUNTPOINT\n", stderr);
        return 2;
    }
    // Whoever started this and was killed cannot end it any more.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int image = ::open(argv[1], O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (image < 0 || fstat(image, &status) != 0) {
        return fail(argv[1]);
    }
    size = static_cast<std::size_t>(status.st_size);
    void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, image, 0);
    if (mapped == MAP_FAILED) {
        return fail("mmap");
    }
    close(image);
    content = static_cast<char*>(mapped);
    recording = std::fopen(argv[2], "wbe");
    if (recording == nullptr) {
        return fail(argv[2]);
    }
    fuse_operations operations{};
    operations.getattr = describe;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.fsync = flush;
    operations.truncate = truncate;
    char foreground[] = "-f";
    char single[] = "-s";
    char* arguments[] = {argv[0], foreground, single, argv[3], nullptr};
    const int result = fuse_main(4, arguments, &operations, nullptr);
    if (std::fclose(recording) != 0) {
        return fail(argv[2]);
    }
    return result;
}
