# Sourced by scripts that let something happen to a change of a tree, with the words of their own
# command line: what the machine allows, a volume to work on, what each kind of change starts from,
# and what can be told of a tree. `goal` is the script's name and the Makefile's goal, `untried` what
# it says when it cannot begin. From here come `short`, `systems` and `kest`, `volume`, where the
# volume is mounted, `base`, a folder to work in, and `mounting`, empty where mounting is not allowed;
# `system` is the file system and `kind` the kind of change that the script has come to.
# shellcheck shell=bash disable=SC2154

short=
systems=()
for word in "$@"; do
    case $word in
    short) short=yes ;;
    tmpfs | ext4 | xfs | btrfs) systems+=("$word") ;;
    *)
        sed -n '2,/^set/{s/^# \{0,1\}//;/^set/d;p}' "scripts/$goal.sh" >&2
        exit 2
        ;;
    esac
done
if ((${#systems[@]} == 0)); then
    systems=(tmpfs ext4 xfs btrfs)
    [[ -z $short ]] || systems=(tmpfs)
fi
kest=${KEST:-$PWD/build/linux/bin/kest}
[[ -x $kest ]] || { echo "$goal.sh needs $kest: run 'make $goal'" >&2; exit 2; }
unable() {
    echo "$untried: $1"
    exit 2
}
command -v strace >/dev/null || unable "strace is not installed"
strace -o /dev/null true 2>/dev/null || unable "tracing is not allowed here"
for system in "${systems[@]}"; do
    [[ $system == tmpfs ]] || command -v "mkfs.$system" >/dev/null || unable "mkfs.$system is not installed"
done
# Mounts of its own: they end with the last process, whatever ends this one.
mounting=
if (($(id -u) == 0)) && unshare --mount --propagation private true 2>/dev/null; then
    mounting=yes
    if [[ -z ${KEST_OWN_MOUNTS:-} ]]; then
        again=()
        [[ -z $short ]] || again+=(short)
        KEST_OWN_MOUNTS=yes exec unshare --mount --propagation private "scripts/$goal.sh" "${again[@]}" "${systems[@]}"
    fi
elif [[ ${systems[*]} != tmpfs ]]; then
    unable "mounting needs root"
fi

# In memory where there is a place for it: each of some thousand runs makes its trees anew.
base=$(mktemp -d -p "$([[ -w /dev/shm ]] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" "kest-$goal-XXXXXX")
volume=$base/volume
mkdir "$volume"
cleanup() {
    trap - EXIT
    unmount || true
    rm -rf "$base"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

place=$volume/place
bound=$volume/bound

unmount() {
    [[ -z $mounting ]] || ! mountpoint -q "$bound" || umount "$bound"
    [[ -z $mounting ]] || ! mountpoint -q "$volume" || umount "$volume"
}

# A volume to work on, and on it a directory that is a mount's root, too.
mount_volume() {
    local image=$base/image
    rm -rf "$image" "${volume:?}"/*
    if [[ -n $mounting ]]; then
        case $system in
        tmpfs) mount -t tmpfs none "$volume" ;;
        ext4) truncate -s 64M "$image" && mkfs.ext4 -q "$image" ;;
        xfs) truncate -s 320M "$image" && mkfs.xfs -q "$image" ;;
        btrfs) truncate -s 256M "$image" && mkfs.btrfs -q "$image" >/dev/null 2>&1 ;;
        esac
        [[ $system == tmpfs ]] || mount -t "$system" -o loop "$image" "$volume"
    fi
    mkdir "$place" "$bound"
    [[ -z $mounting ]] || mount --bind "$bound" "$bound"
}

# All that can be told of a tree but its own times.
fingerprint() {
    if [[ ! -e $1 ]]; then
        echo absent
        return
    fi
    { cd "$1" && find . -mindepth 1 -printf '%P %y %m %l\n' | LC_ALL=C sort &&
        find . -type f -print0 | LC_ALL=C sort -z | xargs -0 -r cat; } 2>&1 | md5sum
}

# What each kind of change starts from. `to` is what changes, `beside` what a harmless operation
# deletes that is the next to look at that place.
setup() {
    rm -rf "${place:?}"/* "$place"/.kest-* "${bound:?}"/* "$bound"/.kest-*
    mkdir -p "$place/from/sub/deep" "$place/from/empty" "$place/canary"
    echo new >"$place/from/a"
    echo newer >"$place/from/sub/deep/b"
    ln -s ../a "$place/from/sub/link"
    echo alive >"$place/canary/bird"
    to=$place/to
    beside=$place/beside
    if [[ $kind == many ]]; then
        to=$bound
        beside=$bound/beside
    fi
    if [[ $kind != create ]]; then
        mkdir -p "$to/sub/gone"
        echo old >"$to/a"
        echo older >"$to/sub/gone/c"
        ln -s ../../canary "$to/sub/canary"
    fi
}
change() {
    case $kind in
    delete) "$@" "$kest" delete "$to" ;;
    *) "$@" "$kest" copy "$place/from" "$to" ;;
    esac
}
next_one() {
    mkdir -p "$beside"
    "$@" "$kest" delete "$beside"
}

# Each system call that a command makes once it has begun to touch the trees, in their order: its
# name and how many of that name it makes until then.
list_calls() {
    strace -f -o "$base/trace" "$@" >/dev/null 2>&1 || true
    awk -v volume="$volume" '
        match($0, /^[0-9]+ +[a-z0-9_]+\(/) {
            name = $2
            sub(/\(.*/, "", name)
            ++count[name]
            if (name != "execve" && index($0, volume)) begun = 1
            if (begun) print name, count[name]
        }' "$base/trace"
}
