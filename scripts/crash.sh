#!/bin/bash
# Kills the command at every system call in turn that touches the disk, in every kind of change and in
# the recovery from it, and looks at what is left: the old tree or the new one, whole, and nothing
# beside it after the next operation. `crash.sh` does all, `crash.sh short` a part of it in seconds.
# Exits with 0 only when no state was torn.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
kest=${KEST:-$PWD/build/linux/bin/kest}
command -v strace >/dev/null || { echo "crash.sh needs strace" >&2; exit 2; }
[[ -x $kest ]] || { echo "crash.sh needs $kest: build it first" >&2; exit 2; }

# In memory where there is a place for it: each of some hundred runs makes its trees anew.
base=$(mktemp -d -p "$([[ -w /dev/shm ]] && echo /dev/shm || echo /tmp)" kest-crash-XXXXXX)
mount=
cleanup() {
    [[ -z $mount ]] || umount "$mount" 2>/dev/null || true
    rm -rf "$base"
}
trap cleanup EXIT
runs=0
torn=0
strays=0

# The calls that look at or change the disk; the loading of the program is the same everywhere.
calls=openat,newfstatat,fstat,statx,getdents64,mkdirat,mknodat,symlinkat,readlinkat,unlinkat,renameat2
calls+=,copy_file_range,pread64,pwrite64,ftruncate,fchmod,fchown,utimensat,flistxattr,fsetxattr
calls+=,removexattr,flock,syncfs,fsync,close,faccessat2,write

# All that can be told of a tree but its own times.
fingerprint() {
    if [[ ! -e $1 ]]; then
        echo absent
        return
    fi
    (cd "$1" && find . -mindepth 1 -printf '%P %y %m %l\n' | LC_ALL=C sort
        find . -type f -print0 | LC_ALL=C sort -z | xargs -0 -r cat) | md5sum
}

make_trees() {
    rm -rf "$place"/* "$place"/.kest-*
    mkdir -p "$place/from/sub/deep" "$place/from/empty" "$place/canary"
    echo new >"$place/from/a"
    echo newer >"$place/from/sub/deep/b"
    ln -s ../a "$place/from/sub/link"
    echo alive >"$place/canary/bird"
}

make_old() {
    mkdir -p "$1/sub/gone"
    echo old >"$1/a"
    echo older >"$1/sub/gone/c"
    ln -s ../../canary "$1/sub/canary"
}

# What each kind of change starts from, and how it is made. `to` is what changes.
setup() {
    make_trees
    case $kind in
    replace | delete) make_old "$to" ;;
    mount) rm -rf "${to:?}"/* "${to:?}"/.kest-*; make_old "$to" ;;
    create) ;;
    esac
}
change() {
    case $kind in
    delete) "$@" "$kest" delete "$to" ;;
    *) "$@" "$kest" copy "$place/from" "$to" ;;
    esac
}

complain() {
    torn=$((torn + 1))
    echo "TORN: $1"
}

# After a kill: old or new and nothing else; after the next operation: new, and nothing beside it.
check_now() {
    local now
    now=$(fingerprint "$to" | cat)
    if [[ $kind == mount ]]; then
        # The entries of a mount's root change one by one; whole they are once the next has looked.
        :
    elif [[ $now != "$old" && $now != "$new" ]]; then
        complain "$1"
    fi
    [[ $(cat "$place/canary/bird" 2>&1) == alive ]] || complain "$1: the canary"
    [[ $(fingerprint "$place/from") == "$from" ]] || complain "$1: the source"
}
check_next() {
    if ! change >"$base/output" 2>&1; then
        complain "$1: the next operation failed: $(cat "$base/output")"
    fi
    [[ $(fingerprint "$to") == "$new" ]] || complain "$1: after the next operation"
    if find "$place" "$to" -maxdepth 1 -name '.kest-*' 2>/dev/null | grep -q .; then
        strays=$((strays + 1))
        echo "LEFT OVER: $1"
    fi
}

# Name and number of each call that a command makes.
count_calls() {
    strace -f -e "trace=$calls" -o "$base/trace" "$@" >/dev/null 2>&1 || true
    sed -nE 's/^[0-9]+ +([a-z0-9_]+)\(.*/\1/p' "$base/trace" | sort | uniq -c |
        awk '{ print $2, $1 }'
}

killed() {
    local call=$1 number=$2
    shift 2
    strace -f -o /dev/null -e "trace=$call" -e "inject=$call:signal=KILL:when=$number" "$@" \
        >/dev/null 2>&1 || true
}

# Every call of one kind of change.
sweep() {
    kind=$1
    local step=$2 call count number points
    setup
    old=$(fingerprint "$to")
    from=$(fingerprint "$place/from")
    points=$(change count_calls)
    new=$(fingerprint "$to")
    local before=$runs
    while read -r call count; do
        for ((number = 1; number <= count; number += step)); do
            setup
            change killed "$call" "$number"
            runs=$((runs + 1))
            check_now "$kind, killed at $call $number"
            check_next "$kind, killed at $call $number"
        done
    done <<<"$points"
    echo "$kind: $((runs - before)) kills"
}

# The recovery: an orphan is made by a kill between publish and clearing, then the next operation,
# which recovers first, is killed at each of its calls as well.
sweep_recovery() {
    kind=$1
    local step=$2 at=$3 call count number points before=$runs
    setup
    old=$(fingerprint "$to")
    from=$(fingerprint "$place/from")
    change
    new=$(fingerprint "$to")
    setup
    change killed "${at% *}" "${at#* }"
    points=$(change count_calls)
    while read -r call count; do
        for ((number = 1; number <= count; number += step)); do
            setup
            change killed "${at% *}" "${at#* }"
            change killed "$call" "$number"
            runs=$((runs + 1))
            check_now "$kind, recovery from $at killed at $call $number"
            check_next "$kind, recovery from $at killed at $call $number"
        done
    done <<<"$points"
    echo "$kind, recovery after $at: $((runs - before)) kills"
}

place=$base/place
to=$place/to
mkdir "$place"
if [[ ${1:-} == short ]]; then
    sweep replace 7
    sweep delete 7
else
    sweep replace 1
    sweep create 1
    sweep delete 1
    sweep_recovery replace 1 "unlinkat 2"
    sweep_recovery replace 1 "renameat2 1"
    sweep_recovery delete 1 "unlinkat 1"
fi
# A mount's root cannot be renamed: its entries change one by one, through the journal.
to=$base/mounted
mkdir "$to"
if mount -t tmpfs none "$to" 2>/dev/null; then
    mount=$to
    if [[ ${1:-} == short ]]; then
        sweep mount 11
    else
        sweep mount 1
        sweep_recovery mount 1 "renameat2 2"
        sweep_recovery mount 3 "renameat2 3"
        sweep_recovery mount 3 "unlinkat 2"
    fi
else
    echo "The root of a mount was not tried: mounting is not allowed here."
fi
echo "$runs kills, $torn torn, $strays left over"
((torn == 0 && strays == 0))
