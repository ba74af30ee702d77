#!/bin/bash
# That two builds give the same packages, byte by byte: reproducible.sh linux|windows. Builds a copy of
# the sources in another folder, at another time of the files and without what a compiler cache
# remembers, packs it, and compares with build/packages, where packages.sh has put those of this checkout.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
platform=${1:?usage: reproducible.sh linux|windows}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
copy=$scratch/another/folder/with/another/name

build_copy() {
    mkdir -p "$copy" &&
        git ls-files -z --cached --others --exclude-standard |
        xargs -0 cp --parents -t "$copy" || return
    (
        cd "$copy" &&
            CCACHE_DISABLE=1 cmake --preset "$platform" -DKEST_BUILD_TESTS=OFF &&
            CCACHE_DISABLE=1 cmake --build --preset "$platform" --target kest kest_command &&
            TZ=Pacific/Auckland scripts/packages.sh "$platform"
    )
}
if ! build_copy >"$scratch/log" 2>&1; then
    tail -n 40 "$scratch/log"
    exit 1
fi

different=0
for package in "$copy"/build/packages/*; do
    name=${package##*/}
    if ! cmp "$package" "build/packages/$name"; then
        different=1
        continue
    fi
    echo "$name is the same"
done
exit $different
