#!/bin/bash
# Cuts the power at many moments of each kind of change, on a disk that forgets what was not flushed,
# and looks at what is found afterwards: the old tree or the new one, whole; the new one whenever the
# call had returned; nothing beside it once the next operation has looked. A busy neighbour on the
# same disk keeps asking for durability of a file of its own.
#
#   powercut.sh [short] [--cuts N] [--seed N] [--keep FOLDER] [--only CHANGE] [FILE SYSTEM ...]
#
# File systems: ext4 xfs btrfs ext4-nojournal; without any, all of them. --cuts: for each kind of
# change, three states for each cut. --keep: images of states that are not as promised go there. --only: replace, create, delete
# or many.
# `short` is a part of it in seconds. To show that it finds what it should, it also makes changes that
# must fail: rm and cp, and ours with its syncs suppressed. Exits with 0 when no state of ours was torn
# and those were, with 2 when something that it needs is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cuts=82
seed=1
keep=
only=
short=
systems=()
while (($# > 0)); do
    case $1 in
    short) short=yes ;;
    --cuts) cuts=${2:?} && shift ;;
    --seed) seed=${2:?} && shift ;;
    --keep) keep=${2:?} && shift ;;
    --only)
        only=${2:?} && shift
        case $only in
        replace | create | delete | many | rm-and-cp | no-syncfs | no-fsync) ;;
        *) echo "powercut.sh: unknown change $only" >&2 && exit 2 ;;
        esac
        ;;
    ext4 | xfs | btrfs | ext4-nojournal) systems+=("$1") ;;
    *)
        sed -n '2,/^set/{s/^# \{0,1\}//;/^set/d;p}' "$0" >&2
        exit 2
        ;;
    esac
    shift
done
if ((${#systems[@]} == 0)); then
    systems=(ext4 xfs btrfs ext4-nojournal)
    [[ -z $short ]] || systems=(ext4)
fi
[[ -z $short ]] || cuts=8

# What the machine must allow. Said in one line, because the short form is a part of the tests.
unable() {
    echo "Power cuts were not tried: $1"
    exit 2
}
(($(id -u) == 0)) || unable "mounting needs root"
[[ -r /dev/fuse && -w /dev/fuse ]] || unable "there is no /dev/fuse"
[[ -e /dev/loop-control ]] || unable "there are no loop devices"
for tool in strace fusermount3 losetup mkfs.ext4 e2fsck mkfs.xfs mkfs.btrfs; do
    command -v $tool >/dev/null || unable "$tool is not installed"
done
# Mounts of its own: they end with the last process, whatever ends this one.
if [[ -z ${KEST_OWN_MOUNTS:-} ]]; then
    again=()
    [[ -z $short ]] || again+=(short)
    [[ -z $keep ]] || again+=(--keep "$keep")
    [[ -z $only ]] || again+=(--only "$only")
    unshare --mount --propagation private true 2>/dev/null || unable "mounting is not allowed here"
    KEST_OWN_MOUNTS=yes exec unshare --mount --propagation private "$0" \
        --cuts "$cuts" --seed "$seed" "${again[@]}" "${systems[@]}"
fi

kest=${KEST:-$PWD/build/linux/bin/kest}
tools=${KEST_POWERCUT:-$PWD/build/linux/powercut}
for program in "$kest" "$tools/recorded_disk" "$tools/crash_state" "$tools/neighbour"; do
    [[ -x $program ]] || { echo "powercut.sh needs $program: run 'make powercut'" >&2; exit 2; }
done
[[ -z $keep ]] || mkdir -p "$keep"

# In memory: a real disk would wait at each of some ten thousand flushes.
base=$(mktemp -d -p "$([[ -w /dev/shm ]] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" kest-powercut-XXXXXX)
disk=$base/mounted
fuse=$base/recorded
mkdir "$disk" "$fuse"
neighbour=
server=
loop=
cleanup() {
    trap - EXIT
    [[ -z $neighbour ]] || kill "$neighbour" 2>/dev/null || true
    unmount 2>/dev/null || true
    [[ -z $loop ]] || losetup -d "$loop" 2>/dev/null || true
    fusermount3 -qu "$fuse" 2>/dev/null || true
    [[ -z $server ]] || kill "$server" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$base"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Whatever is mounted there, the innermost first. Btrfs keeps in mind which device a file system was
# last seen on, and each state of a disk says that it is the same one.
unmount() {
    local _
    for _ in 1 2 3; do
        mountpoint -q "$disk/area/to" && umount "$disk/area/to"
        ! mountpoint -q "$disk" || umount "$disk" && break
        sleep 0.1
    done
    [[ $system != btrfs ]] || btrfs device scan --forget 2>/dev/null || true
}

mount_disk() {
    mount -t "${system%-nojournal}" "$@" "$disk"
}

# All that can be told of a tree but its own times: by its names, and with its contents.
names() {
    find "$1" -mindepth 1 \( -type d -printf '%P %y %m %T@\n' -o -printf '%P %y %m %T@ %s %l\n' \) |
        LC_ALL=C sort
}
tree() {
    if [[ ! -e $1 ]]; then
        echo absent
        return
    fi
    { names "$1" && cd "$1" && find . -type f -print0 | LC_ALL=C sort -z | xargs -0 -r md5sum; } 2>&1 |
        md5sum
}

# About 400 files of 0 to 20 KiB in 8 folders, one of 1 MiB, links and an empty folder. Old and new
# share half of their folders, and in them the names but not the content.
make_tree() {
    local place=$1 first=$2 folder file
    for ((folder = first; folder < first + 8; ++folder)); do
        mkdir -p "$place/folder-$folder/deeper"
        for ((file = 0; file < 50; ++file)); do
            head -c $((RANDOM % 20481)) <&3 >"$place/folder-$folder/deeper/file-$file"
        done
        ln -s deeper/file-1 "$place/folder-$folder/link"
    done
    mkdir "$place/empty-$first"
    head -c 1048576 <&3 >"$place/large"
    head -c 100 <&3 >"$place/only-$first"
}
RANDOM=$seed
mkdir "$base/trees"
exec 3</dev/urandom
make_tree "$base/trees/old" 0
make_tree "$base/trees/new" 4
exec 3<&-

# The disk as it is before any change, the same for all kinds of it.
make_disk() {
    image=$base/$system.image
    rm -f "$image"
    case $system in
    ext4) truncate -s 128M "$image" && mkfs.ext4 -q -F "$image" ;;
    ext4-nojournal) truncate -s 128M "$image" && mkfs.ext4 -q -F -O ^has_journal "$image" ;;
    xfs) truncate -s 320M "$image" && mkfs.xfs -q "$image" ;;
    btrfs) truncate -s 256M "$image" && mkfs.btrfs -q "$image" >/dev/null 2>&1 ;;
    esac
    mount_disk -o loop "$image"
    mkdir "$disk/area" "$disk/canary" "$disk/small"
    echo alive >"$disk/canary/bird"
    echo small >"$disk/small/file"
    cp -a "$base/trees/new" "$disk/from"
    cp -a "$base/trees/old" "$disk/area/to"
    ln -s ../../canary "$disk/area/to/canary"
    sync -f "$disk"
    unmount
    fallocate -d "$image"
}

# Each kind of change, and what it is made to.
change() {
    # shellcheck disable=SC2054
    local calls=(strace -f --seccomp-bpf -ttt -T -e trace=syncfs,fsync,renameat2 -o "$base/calls")
    case $kind in
    replace | create | many) "${calls[@]}" "$kest" copy "$disk/from" "$to" ;;
    delete) "${calls[@]}" "$kest" delete "$to" ;;
    rm-and-cp) rm -rf "$to" && cp -a "$disk/from" "$to" && sync -f "$disk" ;;
    no-syncfs) "${calls[@]}" -e inject=syncfs:retval=0 "$kest" copy "$disk/from" "$to" ;;
    no-fsync) "${calls[@]}" -e inject=fsync:retval=0 "$kest" copy "$disk/from" "$to" ;;
    esac
}

mark() {
    printf %s "$1" >"$fuse/mark"
}

# Makes one change on the recorded disk; sets old, new, source, staged, published.
record() {
    local rounds=
    recording=$base/recording
    "$tools/recorded_disk" "$image" "$recording" "$fuse" &
    server=$!
    local _
    for _ in {1..100}; do
        [[ ! -e $fuse/disk ]] || break
        sleep 0.05
    done
    loop=$(losetup --find --show "$fuse/disk")
    mount_disk "$loop"
    to=$disk/area/to
    [[ $kind != create ]] || to=$disk/area/made
    [[ $kind != many ]] || mount --bind "$to" "$to"
    old=$(tree "$to")
    source=$(names "$disk/from")
    # A quiet disk for what shows only there: anybody's sync would make up for the one left out.
    if [[ $kind != no-fsync ]]; then
        # Nor may it ask for everything where ours is to be caught at not asking.
        [[ $kind == no-syncfs ]] || rounds=16
        "$tools/neighbour" "$disk/neighbour" "${rounds:-0}" 2>"$base/neighbour" &
        neighbour=$!
        sleep 0.1
    fi
    : >"$base/calls"
    mark begin
    change >"$base/output" 2>&1 || { echo "$system, $kind: $(cat "$base/output")"; return 1; }
    mark returned
    sleep 0.1
    mark end
    new=$(tree "$to")
    if [[ -n $neighbour ]]; then
        kill "$neighbour"
        wait "$neighbour" 2>/dev/null || true
        neighbour=
        [[ ! -s $base/neighbour ]] || { cat "$base/neighbour"; return 1; }
    fi
    unmount
    losetup -d "$loop"
    loop=
    fusermount3 -u "$fuse"
    wait "$server"
    server=
    # From the first rename of ours to the last fsync: that is the publishing.
    read -r staged published < <(awk '
        { for (i = 1; i <= NF; i++) if ($i ~ /^[0-9]+\.[0-9]+$/) { time = $i; break } }
        /renameat2\(/ && !first { first = time }
        /[^n]fsync\(/ { spent = $NF; gsub(/[<>]/, "", spent); last = time + spent }
        END { printf "%.6f %.6f\n", first, last }' "$base/calls")
}

complain() {
    echo "  $system, $kind, cut at $cut ($phase), rest: $rest: $1"
    bad=yes
}

# Looks at one state; counts into is_old, is_new, torn, lost, left.
check() {
    local state=$base/state before after what beside
    bad=
    "$tools/crash_state" make "$image" "$recording" "$cut" "$rest" "$seed" "$state"
    [[ -z $keep ]] || cp --sparse=always "$state" "$base/kept"
    what=torn
    if [[ $system == ext4-nojournal ]] && ! { e2fsck -fy "$state" >"$base/output" 2>&1 || (($? < 4)); }; then
        complain "fsck: $(tail -n 1 "$base/output")"
    elif ! mount_disk -o loop "$state" 2>"$base/output"; then
        complain "it cannot be mounted: $(cat "$base/output")"
    else
        before=$(tree "$to")
        after=$before
        if [[ -z $must_fail ]]; then
            if [[ $kind == many ]]; then
                mount --bind "$to" "$to"
                beside=$to/beside
            elif [[ $before != "$old" && $before != "$new" ]]; then
                complain "neither old nor new before the next operation"
            fi
            # The next operation, as harmless as one can be.
            "$kest" copy "$disk/small" "${beside:=$disk/area/beside}" >"$base/output" 2>&1 ||
                complain "the next operation failed: $(cat "$base/output")"
            "$kest" delete "$beside" >"$base/output" 2>&1 ||
                complain "the operation after it failed: $(cat "$base/output")"
            after=$(tree "$to")
            [[ $kind == many || $after == "$before" ]] || complain "changed by the next operation"
            [[ $(names "$disk/from") == "$source" ]] || complain "the source has changed"
            [[ $(cat "$disk/canary/bird" 2>&1) == alive ]] || complain "the canary is dead"
        fi
        case $after in
        "$old") what=is_old ;;
        "$new") what=is_new ;;
        *) complain "neither old nor new" ;;
        esac
        if [[ $what == is_old && $phase == returned ]]; then
            complain "old although the call had returned"
            what=lost
        fi
        [[ -n $must_fail || -z $bad || $what == lost ]] || what=torn
        if [[ -z $must_fail && $what != torn ]]; then
            beside=$(find "$disk" -name '.kest-*' -prune
                find "$disk/area" -mindepth 1 -maxdepth 1 ! -name to ! -name made ! -name '.kest-*')
            if [[ -n $beside ]]; then
                complain "left over: $beside"
                left=$((left + 1))
            fi
        fi
        unmount
    fi
    printf -v "$what" %d $((${!what} + 1))
    if [[ -n $bad && -n $keep && -z $must_fail ]]; then
        mv "$base/kept" "$keep/$system-$kind-$cut-$rest.image"
    fi
}

# One kind of change: recorded once, looked at in every state. A second word says that it must be
# torn or lost, or the test finds nothing.
try() {
    kind=$1
    must_fail=${2:-}
    local is_old=0 is_new=0 torn=0 lost=0 left=0 states=0 start=$SECONDS verdict=good few=$cuts
    # Enough to meet a torn state in all likelihood.
    [[ -z $must_fail || -n $short ]] || few=24
    record
    while read -r cut phase; do
        for rest in none all part; do
            if [[ -n $must_fail ]]; then
                check >/dev/null
            else
                check
            fi
            states=$((states + 1))
        done
    done < <("$tools/crash_state" plan "$recording" "$few" "$seed" "$staged" "$published")
    if [[ -n $must_fail ]]; then
        verdict="as it must be"
        if [[ $must_fail != any ]] && ((${!must_fail} == 0 || is_old + is_new == 0)); then
            verdict="NOT FOUND"
            wrong=$((wrong + 1))
        fi
    elif ((torn + lost + left > 0 || is_old + is_new != states || is_new == 0)); then
        verdict=BROKEN
        wrong=$((wrong + 1))
    fi
    printf '%-15s %-10s %6d %5d %5d %5d %5d %5d  %s (%d s)\n' "$system" "$kind" "$states" \
        "$is_old" "$is_new" "$torn" "$lost" "$left" "$verdict" $((SECONDS - start))
}

wrong=0
printf '%-15s %-10s %6s %5s %5s %5s %5s %5s\n' "file system" change states old new torn lost left
for system in "${systems[@]}"; do
    make_disk
    if [[ -n $only ]]; then
        try "$only"
        continue
    fi
    if [[ -n $short ]]; then
        try replace
        try many
        try rm-and-cp torn
        continue
    fi
    for change in replace create delete many; do
        try $change
    done
    # What must be found. Btrfs commits data and names together and seldom: there it takes luck. On xfs
    # a copy shares the data of its source, which has long been durable, so no sync is missed there.
    expected=torn
    [[ $system != btrfs ]] || expected=any
    try rm-and-cp $expected
    [[ $system == ext4 ]] || expected=any
    try no-syncfs $expected
    try no-fsync lost
done
((wrong == 0))
