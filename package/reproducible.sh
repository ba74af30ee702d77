#!/bin/bash
# That two builds give the same packages, byte by byte: reproducible.sh linux|windows. Builds two copies of
# the sources in folders of different names, one after the other, without what a compiler cache
# remembers, packs them in different zones, and compares.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
platform=${1:?usage: reproducible.sh linux|windows}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# A build in the folder $1 in the zone $2.
build_copy() {
    mkdir -p "$1" &&
        git ls-files -z --cached --others --exclude-standard |
        xargs -0 cp --parents -t "$1" || return
    (
        cd "$1" && export CCACHE_DISABLE=1 TZ=$2 &&
            cmake --preset "$platform" -DKEST_BUILD_TESTS=OFF &&
            cmake --build --preset "$platform" --target kest kest_command &&
            scripts/packages.sh "$platform"
    )
}
one=$scratch/one
other=$scratch/in/a/folder/with/another/name
if ! { build_copy "$one" UTC && build_copy "$other" Pacific/Auckland; } >"$scratch/log" 2>&1; then
    tail -n 40 "$scratch/log"
    exit 1
fi

status=0
for package in "$one"/build/packages/*; do
    name=${package##*/}
    if cmp "$package" "$other/build/packages/$name"; then
        echo "$name is the same"
    else
        status=1
    fi
done
exit $status
