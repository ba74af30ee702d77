#!/bin/bash
# Tests install-packages.sh in a world of stand-ins: a package list, an apt-get that notes what it is
# told, a user who is root or not, with sudo or without.
set -uo pipefail
script=$(dirname "$(readlink -f "$0")")/install-packages.sh
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
mkdir "$world/bin"
for tool in bash grep env cat; do
    ln -s "$(command -v $tool)" "$world/bin/$tool"
done

stand_in() {
    printf '#!/bin/bash\n%s\n' "$2" >"$world/bin/$1"
    chmod +x "$world/bin/$1"
}

# As dpkg-query answers: a package that was removed but not purged is known, and is not installed.
stand_in dpkg-query '
package=${!#}
if [ "$package" = ninja-build ] && [ -n "${NINJA_STATE:-}" ]; then echo "$NINJA_STATE"; exit 0; fi
case " $MISSING " in *" $package "*) echo "no packages found matching $package" >&2; exit 1 ;; esac
echo installed'
stand_in apt-get 'echo "apt-get $* ($DEBIAN_FRONTEND)" >>"$WORLD/calls"; exit "${APT_STATUS:-0}"'
stand_in id 'echo "$USER_ID"'

wrong=0
goal=run
# expect WHAT STATUS OUTPUT CALLS [NAME=VALUE ...]: runs the script for the goal.
expect() {
    local what=$1 status=$2 output=$3 calls=$4 got
    shift 4
    rm -f "$world/calls"
    got=$(env -i PATH="$world/bin" WORLD="$world" USER_ID=0 "$@" "$script" $goal 2>&1)
    local code=$?
    local made
    made=$(cat "$world/calls" 2>/dev/null)
    if [ "$code" != "$status" ] || [ "$got" != "$output" ] || [ "$made" != "$calls" ]; then
        printf '%s:\n  status %s instead of %s\n  said <%s>\n  instead of <%s>\n' \
            "$what" "$code" "$status" "$got" "$output"
        printf '  called <%s>\n  instead of <%s>\n' "$made" "$calls"
        wrong=1
    fi
}

update='apt-get update (noninteractive)'
install='apt-get install --yes --no-install-recommends'
expect "nothing is missing" 0 "" "" MISSING=
expect "two are missing" 0 "Installing the missing Debian packages: cmake libboost-dev" \
    "$update"$'\n'"$install cmake libboost-dev (noninteractive)" MISSING="cmake libboost-dev"
expect "one was removed" 0 "Installing the missing Debian packages: ninja-build" \
    "$update"$'\n'"$install ninja-build (noninteractive)" MISSING= NINJA_STATE=config-files
expect "the package list cannot be fetched" 100 \
    "Installing the missing Debian packages: cmake" "$update" MISSING=cmake APT_STATUS=100
expect "not root, no sudo" 1 "These packages are missing: cmake
Installing them needs root or sudo: run 'apt-get install cmake' as root." "" \
    MISSING=cmake USER_ID=1000
stand_in sudo 'echo "sudo" >>"$WORLD/calls"; exec "$@"'
expect "not root, through sudo" 0 "Installing the missing Debian packages: cmake" \
    "sudo"$'\n'"$update"$'\n'"sudo"$'\n'"$install cmake (noninteractive)" MISSING=cmake USER_ID=1000
expect "root needs no sudo" 0 "Installing the missing Debian packages: cmake" \
    "$update"$'\n'"$install cmake (noninteractive)" MISSING=cmake

# Power cuts are tried by the tests as well, and both goals bring what that needs.
for goal in powercut test; do
    expect "the tools of $goal" 0 \
        "Installing the missing Debian packages: fuse3 libfuse3-dev xfsprogs btrfs-progs strace" \
        "$update"$'\n'"$install fuse3 libfuse3-dev xfsprogs btrfs-progs strace (noninteractive)" \
        MISSING="strace btrfs-progs xfsprogs libfuse3-dev fuse3"
done
goal=run
expect "building needs none of them" 0 "" "" MISSING="fuse3 libfuse3-dev"

if "$script" nonsense >/dev/null 2>&1 || "$script" >/dev/null 2>&1; then
    echo "an unknown goal is accepted"
    wrong=1
fi
exit $wrong
