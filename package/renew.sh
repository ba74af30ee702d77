#!/bin/bash
# Writes down the binary face of what was built: renew.sh linux|windows. To be run, and its changes to
# be committed, whenever package/test.sh tells that the face has changed and the change is meant. Names
# that were there before keep the version in which they came.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
top=$PWD
platform=${1:?usage: renew.sh linux|windows}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
kest=$scratch/kest
version=$(sed -nE 's/^project\(Kest VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
. package/checks.sh
. package/host-tools.sh
. "package/on-$platform.sh"
cmake --install "build/$platform" --prefix "$kest" >/dev/null

case $platform in
linux)
    exported_names "$kest/$library" >"$scratch/names"
    {
        echo 'libkest.so.0 libkest0 #MINVER#'
        echo '* Build-Depends-Package: libkest-dev'
        while read -r name; do
            since=$(sed -nE "s/^ $name@Base (.*)/\1/p" "$list" 2>/dev/null || true)
            echo " $name@Base ${since:-$version}"
        done <"$scratch/names"
    } >"$scratch/symbols"
    mv "$scratch/symbols" "$list"
    abidw --headers-dir "$kest/include" --drop-private-types --exported-interfaces-only \
        --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --type-id-style hash \
        --out-file package/contract/libkest.abi "$kest/$library"
    ;;
windows)
    x86_64-w64-mingw32-nm "$kest/$library" >"$scratch/nm"
    {
        echo 'LIBRARY Kest.dll'
        echo 'EXPORTS'
        exported_names "$kest/$library" | while read -r name; do
            # What is no code is data.
            if grep -qE "^[0-9a-f]+ [Tt] $name$" "$scratch/nm"; then
                echo "    $name"
            else
                echo "    $name DATA"
            fi
        done
    } >"$scratch/def"
    mv "$scratch/def" "$list"
    ;;
esac

build_host package/contract "$scratch/contract" >/dev/null
host_in "$scratch" "$scratch/contract" layout
mv "$scratch/output" package/contract/layout.txt
git status --short package
