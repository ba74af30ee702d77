#!/bin/bash
# Lets every system call of a change fail in turn, from the first that touches the trees to the last,
# with each error that it may well have, and looks at what is left: the old tree when the command has
# said that it failed, the new one when it has said that it is done, whole and at once; and nothing
# beside it after the next operation.
#
#   faults.sh [short] [FILE SYSTEM ...]
#
# File systems: tmpfs ext4 xfs btrfs, the last three in images of their own; without any, all of them.
# `short` is a part of it in seconds. Exits with 0 only when everything was as promised, with 2 when
# something that it needs is missing. (`crash.sh` kills instead.)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

goal=faults
untried="Failing system calls were not tried"
. scripts/trees-in-images.sh "$@"

# The errors that a call may have on a disk that fills up, breaks or says no, and on a machine that
# runs short. ENOENT is not among them: nobody can tell it from the truth.
errors_of() {
    case $1 in
    open | openat | openat2) echo EIO EACCES EMFILE ENFILE ENOMEM ELOOP ;;
    mkdir | mkdirat | mknodat | symlink | symlinkat) echo EIO ENOSPC EDQUOT EACCES EROFS EMLINK ;;
    rename | renameat | renameat2) echo EIO ENOSPC EACCES EROFS EBUSY EINVAL ENOSYS ;;
    unlink | unlinkat | rmdir) echo EIO EACCES EBUSY EROFS ;;
    read | pread64 | readlink | readlinkat | getdents64) echo EIO EINTR ENOMEM ;;
    write | pwrite64 | fallocate | ftruncate) echo EIO ENOSPC EDQUOT EINTR EOPNOTSUPP ;;
    copy_file_range | sendfile | ioctl) echo EIO ENOSPC EXDEV EOPNOTSUPP EINVAL ENOMEM ;;
    fsync | fdatasync | syncfs) echo EIO ENOSPC EDQUOT ;;
    flock) echo EWOULDBLOCK ENOLCK EINTR EIO ;;
    fchmod | fchmodat | fchown | fchownat | utimensat) echo EIO EPERM EROFS ;;
    *xattr) echo EIO ENOSPC EOPNOTSUPP EPERM ;;
    stat | lstat | fstat | newfstatat | statx | fstatfs | statfs) echo EIO EACCES ENOMEM ;;
    lseek) echo EIO EINVAL ;;
    mmap | mremap) echo ENOMEM ;;
    getrandom) echo ENOSYS EINTR ;;
    # The machinery of processes and threads: what fails there is no matter of trees. (brk answers with
    # an address, so an injected error is one, too, and the C library believes it.)
    brk | futex | exit | exit_group | munmap | madvise | mprotect | rt_sig* | set_* | clone* | getpid | gettid) ;;
    *) echo EIO ENOMEM ;;
    esac
}

complain() {
    bad=yes
    echo "  $system, $kind, $1: $2"
}

# Runs a command with one failing call; `status` is how it ended.
failing() {
    local call=$1 number=$2 error=$3
    shift 3
    status=0
    strace -f -o /dev/null -e "trace=$call" -e "inject=$call:error=$error:when=$number" "$@" \
        >"$base/output" 2>&1 || status=$?
}

check() {
    local now expected=$old bad=
    ((status < 124)) || complain "$1" "the command crashed with status $status"
    ((status != 0)) || expected=$new
    ((status != 0)) && refused=$((refused + 1)) || done_all_the_same=$((done_all_the_same + 1))
    now=$(fingerprint "$to")
    # The entries of a mount's root change one by one: whole they are once the next has looked.
    [[ $kind == many || $now == "$expected" ]] ||
        complain "$1" "status $status, but not $([[ $expected == "$old" ]] && echo old || echo new): $(tail -n 1 "$base/output")"
    if [[ -n $(find "$volume" -name '.kest-*' -print -quit) ]]; then
        left=$((left + 1))
    fi
    next_one >"$base/output" 2>&1 || complain "$1" "the next operation failed: $(cat "$base/output")"
    now=$(fingerprint "$to")
    [[ $now == "$expected" ]] || complain "$1" "status $status, but otherwise after the next operation"
    if [[ -n $(find "$volume" -name '.kest-*' -print -quit) ]]; then
        complain "$1" "left over: $(find "$volume" -name '.kest-*' -prune)"
    fi
    [[ $(cat "$place/canary/bird" 2>&1) == alive ]] || complain "$1" "the canary is dead"
    [[ $(fingerprint "$place/from") == "$from" ]] || complain "$1" "the source has changed"
    [[ -z $bad ]] || broken=$((broken + 1))
}

# Every call of one kind of change, or each so many-th; every error of each, or the first.
sweep() {
    kind=$1
    local step=$2 faults=0 refused=0 done_all_the_same=0 left=0 broken=0 start=$SECONDS call number i error
    setup
    old=$(fingerprint "$to")
    from=$(fingerprint "$place/from")
    mapfile -t points < <(change list_calls)
    new=$(fingerprint "$to")
    for ((i = 0; i < ${#points[@]}; i += step)); do
        read -r call number <<<"${points[i]}"
        for error in $(errors_of "$call"); do
            # What the command writes to its own output is no matter of trees either.
            [[ $call != write ]] || ! grep -qE "^[0-9]+ +write\([12]," <(grep -E '^[0-9]+ +write\(' "$base/trace" | sed -n "${number}p") || break
            setup
            change failing "$call" "$number" "$error"
            faults=$((faults + 1))
            check "$call $number gives $error"
            [[ -z $short ]] || break
        done
    done
    printf '%-6s %-10s %7d %8d %6d %6d %7d  (%d s)\n' "$system" "$kind" "$faults" "$refused" \
        "$done_all_the_same" "$left" "$broken" $((SECONDS - start))
    all_faults=$((all_faults + faults))
    all_broken=$((all_broken + broken))
}

all_faults=0
all_broken=0
printf '%-6s %-10s %7s %8s %6s %6s %7s\n' "" "during" "faults" "refused" "done" "stages" "broken"
for system in "${systems[@]}"; do
    mount_volume
    kinds=(replace create delete)
    [[ -z $mounting ]] || kinds+=(many)
    for kind in "${kinds[@]}"; do
        sweep "$kind" "$([[ -n $short ]] && echo 9 || echo 1)"
    done
    unmount
done
[[ -n $mounting ]] || echo "The root of a mount was not tried: mounting is not allowed here."
echo "$all_faults faults, $all_broken broken promises"
((all_broken == 0))
