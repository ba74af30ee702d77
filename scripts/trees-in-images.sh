# Sourced by scripts that let something happen to a change of a tree: a volume to work on, what each
# kind of change starts from, and what can be told of a tree. `volume` is where the volume is mounted,
# `base` a folder to work in, `mounting` empty where mounting is not allowed, `system` the file system
# and `kind` the kind of change.
# shellcheck shell=bash disable=SC2154

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
