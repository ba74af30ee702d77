/* What a tree change costs at the least: the system calls that a durable, traced copy, replacement
 * or deletion cannot do without, and nothing else. One write of a fixed line for each entry that
 * comes or goes, and, for one that goes, the look whether it can be removed at all, because after
 * the publish it is too late to refuse. No view, no recovery, no links into the tree, no attributes
 * but mode and times: not a program to use, but the floor under one.
 *
 *     kest_bare copy SOURCE DESTINATION TRACE | kest_bare delete PATH TRACE
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static long good(long result, const char* what) {
    if (result < 0) {
        perror(what);
        exit(1);
    }
    return result;
}

static int trace;

/* As long as a line of the library's for a tree of this kind. */
static void write_line(void) {
    static const char line[] =
        "January 1, 2000, 12:00:00.000 AM   12345   INFO     TransactedFS.cpp:L00042     "
        "DeleteFileTransacted D\\folder000\\file00.dat and what follows\n";
    good(write(trace, line, sizeof line - 1), "trace");
}

static int open_folder(int at, const char* name) {
    return (int)good(openat(at, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC), name);
}

static int is_dots(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

static void copy_times(const struct stat* from, int copy) {
    const struct timespec times[2] = {from->st_atim, from->st_mtim};
    good(futimens(copy, times), "futimens");
}

static void copy_file(int from, int to, const char* name) {
    const int source = (int)good(openat(from, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC), name);
    struct stat status;
    good(fstat(source, &status), name);
    const int copy = (int)good(
        openat(to, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 07777), name);
    /* A piece at a time, so that the disk works while the next one is copied. */
    const off_t piece = 8 << 20;
    for (off_t done = 0; done < status.st_size;) {
        const off_t begin = done;
        while (done < status.st_size && done < begin + piece) {
            const off_t rest = status.st_size - done;
            done += good(
                copy_file_range(source, NULL, copy, NULL, (size_t)(rest < piece ? rest : piece), 0),
                name);
        }
        if (status.st_size >= piece) {
            sync_file_range(copy, begin, done - begin, SYNC_FILE_RANGE_WRITE);
        }
    }
    copy_times(&status, copy);
    close(source);
    close(copy);
}

static void copy_link(int from, int to, const char* name) {
    char target[PATH_MAX];
    struct stat status;
    const ssize_t size = good(readlinkat(from, name, target, sizeof target - 1), name);
    target[size] = '\0';
    good(symlinkat(target, to, name), name);
    good(fstatat(from, name, &status, AT_SYMLINK_NOFOLLOW), name);
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    good(utimensat(to, name, times, AT_SYMLINK_NOFOLLOW), name);
}

static void copy_folder(int from, int to) {
    DIR* const listing = fdopendir(dup(from));
    const struct dirent* entry;
    while ((entry = readdir(listing)) != NULL) {
        const char* const name = entry->d_name;
        if (is_dots(name)) {
            continue;
        }
        write_line();
        if (entry->d_type == DT_DIR) {
            const int source = open_folder(from, name);
            good(mkdirat(to, name, 0700), name);
            const int copy = open_folder(to, name);
            struct stat status;
            copy_folder(source, copy);
            good(fstat(source, &status), name);
            good(fchmod(copy, status.st_mode & 07777), name);
            copy_times(&status, copy);
            close(source);
            close(copy);
        } else if (entry->d_type == DT_LNK) {
            copy_link(from, to, name);
        } else {
            copy_file(from, to, name);
        }
    }
    closedir(listing);
}

static int is_removable(int folder, const char* name) {
    struct statx status;
    good(statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_UID, &status), name);
    return (status.stx_attributes &
            (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND | STATX_ATTR_MOUNT_ROOT)) == 0;
}

/* What is traced and looked at before anything goes. */
static void announce(int folder, const char* name, int flags) {
    (void)flags;
    write_line();
    if (!is_removable(folder, name)) {
        fprintf(stderr, "%s cannot be removed\n", name);
        exit(1);
    }
}

static void remove_entry(int folder, const char* name, int flags) {
    good(unlinkat(folder, name, flags), name);
}

/* Each entry, a folder after what is in it. */
static void visit_entries(int folder, void (*visit)(int folder, const char* name, int flags)) {
    DIR* const listing = fdopendir(dup(folder));
    const struct dirent* entry;
    while ((entry = readdir(listing)) != NULL) {
        const char* const name = entry->d_name;
        if (is_dots(name)) {
            continue;
        }
        if (entry->d_type == DT_DIR) {
            const int below = open_folder(folder, name);
            visit_entries(below, visit);
            close(below);
            visit(folder, name, AT_REMOVEDIR);
        } else {
            visit(folder, name, 0);
        }
    }
    closedir(listing);
}

static void announce_tree(const char* path) {
    const int folder = open_folder(AT_FDCWD, path);
    visit_entries(folder, announce);
    close(folder);
    write_line();
}

/* Removes a tree that was published away. */
static void remove_tree(const char* path) {
    const int folder = open_folder(AT_FDCWD, path);
    visit_entries(folder, remove_entry);
    close(folder);
    good(rmdir(path), path);
}

static void sync_parent(const char* path) {
    char parent[PATH_MAX];
    snprintf(parent, sizeof parent, "%s/..", path);
    const int folder = (int)good(open(parent, O_RDONLY | O_DIRECTORY | O_CLOEXEC), parent);
    good(fsync(folder), parent);
    close(folder);
}

int main(int argc, char** argv) {
    char stage[PATH_MAX];
    if (argc > 3) {
        trace = (int)good(open(argv[argc - 1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666),
                          argv[argc - 1]);
    }
    struct stat status;
    if (argc == 5 && strcmp(argv[1], "copy") == 0) {
        const int is_there = lstat(argv[3], &status) == 0;
        if (is_there) {
            announce_tree(argv[3]);
        }
        snprintf(stage, sizeof stage, "%s.stage", argv[3]);
        good(mkdir(stage, 0755), stage);
        const int source = open_folder(AT_FDCWD, argv[2]);
        const int copy = open_folder(AT_FDCWD, stage);
        copy_folder(source, copy);
        good(syncfs(copy), stage);
        good(renameat2(AT_FDCWD, stage, AT_FDCWD, argv[3], is_there ? RENAME_EXCHANGE : 0),
             argv[3]);
        sync_parent(argv[3]);
        if (is_there) {
            remove_tree(stage);
        }
        return 0;
    }
    if (argc == 4 && strcmp(argv[1], "delete") == 0) {
        announce_tree(argv[2]);
        snprintf(stage, sizeof stage, "%s.stage", argv[2]);
        good(rename(argv[2], stage), argv[2]);
        sync_parent(stage);
        remove_tree(stage);
        return 0;
    }
    fprintf(stderr, "kest_bare copy SOURCE DESTINATION TRACE | kest_bare delete PATH TRACE\n");
    return 2;
}
