#!/bin/bash
# Kills the command at every system call in turn, from the first that touches the trees to the last,
# in every kind of change and in the recovery from it, and looks at what is left: the old tree or the
# new one, whole, and nothing beside it after the next operation.
#
#   crash.sh [short] [FILE SYSTEM ...]
#
# File systems: tmpfs ext4 xfs btrfs, the last three in images of their own; without any, all of them.
# `short` is a part of it in seconds. Exits with 0 only when no state was torn and nothing was left
# over, with 2 when something that it needs is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

goal=crash
untried="Kills were not tried"
. scripts/trees-in-images.sh "$@"

complain() {
    bad=yes
    echo "  $system, $kind, $1: $2"
}

# What is there after a kill, after the next operation, and after the same change once more; counts
# into is_old, is_new, torn, left.
check() {
    local now bad=
    now=$(fingerprint "$to")
    # The entries of a mount's root change one by one: whole they are once the next has looked.
    [[ $kind == many || $now == "$old" || $now == "$new" ]] || complain "$1" "neither old nor new"
    next_one >"$base/output" 2>&1 || complain "$1" "the next operation failed: $(cat "$base/output")"
    case $(fingerprint "$to") in
    "$old") is_old=$((is_old + 1)) ;;
    "$new") is_new=$((is_new + 1)) ;;
    *) complain "$1" "neither old nor new after the next operation" ;;
    esac
    if [[ -n $(find "$volume" -name '.kest-*' -print -quit) ]]; then
        left=$((left + 1))
        complain "$1" "left over: $(find "$volume" -name '.kest-*' -prune)"
    fi
    [[ $(cat "$place/canary/bird" 2>&1) == alive ]] || complain "$1" "the canary is dead"
    [[ $(fingerprint "$place/from") == "$from" ]] || complain "$1" "the source has changed"
    change >"$base/output" 2>&1 || complain "$1" "the change made again failed: $(cat "$base/output")"
    [[ $(fingerprint "$to") == "$new" ]] || complain "$1" "not new after the change made again"
    [[ -z $bad ]] || torn=$((torn + 1))
}

# Kills a command at a call; `killing` is the status by which a kill shows. The redirection is around
# it all, because the shell tells of killed commands.
killed() {
    local call=$1 number=$2
    shift 2
    killing=0
    strace -f -o /dev/null -e "trace=$call" -e "inject=$call:signal=KILL:when=$number" "$@" || killing=$?
} >/dev/null 2>&1

report() {
    printf '%-6s %-24s %6d %5d %5d %5d %5d  (%d s)\n' "$system" "$1" "$kills" "$is_old" "$is_new" \
        "$torn" "$left" $((SECONDS - start))
    all_kills=$((all_kills + kills))
    all_torn=$((all_torn + torn))
    all_left=$((all_left + left))
}

# Every call of one kind of change, or each so many-th.
sweep() {
    kind=$1
    local step=$2 kills=0 is_old=0 is_new=0 torn=0 left=0 start=$SECONDS call number i
    setup
    old=$(fingerprint "$to")
    from=$(fingerprint "$place/from")
    mapfile -t points < <(change list_calls)
    new=$(fingerprint "$to")
    for ((i = 0; i < ${#points[@]}; i += step)); do
        read -r call number <<<"${points[i]}"
        setup
        change killed "$call" "$number"
        ((killing != 137)) || kills=$((kills + 1))
        check "killed at $call $number"
    done
    report "$kind"
}

# Makes orphans by kills at a few moments of the change just swept: at each rename, and at as many
# other moments evenly spread over the time in which there is a stage. The next operation, which
# recovers, is killed at each of its calls as well.
sweep_recovery() {
    local many=$1 kills=0 is_old=0 is_new=0 torn=0 left=0 start=$SECONDS call number i first=0
    local orphan orphans=() point recovery
    for i in "${!points[@]}"; do
        [[ ${points[i]} != "mkdirat 1" ]] || first=$i
        [[ ${points[i]} != renameat2* ]] || orphans+=("${points[i]}" "${points[i + 1]}")
    done
    for ((i = 1; i <= many; ++i)); do
        orphans+=("${points[first + (${#points[@]} - first) * i / (many + 1)]}")
    done
    for orphan in "${orphans[@]}"; do
        setup
        # shellcheck disable=SC2086
        change killed $orphan
        mapfile -t recovery < <(next_one list_calls)
        for point in "${recovery[@]}"; do
            read -r call number <<<"$point"
            setup
            # shellcheck disable=SC2086
            change killed $orphan
            next_one killed "$call" "$number"
            ((killing != 137)) || kills=$((kills + 1))
            check "killed at $orphan, its recovery at $call $number"
        done
    done
    report "$kind, its recovery"
}

all_kills=0
all_torn=0
all_left=0
printf '%-6s %-24s %6s %5s %5s %5s %5s\n' "" "killed during" kills old new torn left
for system in "${systems[@]}"; do
    mount_volume
    kinds=(replace create delete)
    [[ -z $mounting ]] || kinds+=(many)
    for kind in "${kinds[@]}"; do
        if [[ -n $short ]]; then
            sweep "$kind" 12
        else
            sweep "$kind" 1
            sweep_recovery 6
        fi
    done
    unmount
done
[[ -n $mounting ]] || echo "The root of a mount was not tried: mounting is not allowed here."
echo "$all_kills kills, $all_torn torn, $all_left left over"
((all_torn == 0 && all_left == 0))
