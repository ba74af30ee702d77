#!/bin/bash
# What only an installed package can show: test.sh linux|windows. Installs what was built, moves the
# installed tree to another place, and looks at it from outside: its files, its exported names, each
# header alone, programs that are built against it and run.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
top=$PWD
platform=${1:?usage: test.sh linux|windows}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Where the installed tree ends up, away from where it was installed to.
kest=$scratch/elsewhere/kest
mkdir "$scratch/elsewhere"

. package/checks.sh
case $platform in
linux)
    . package/on-linux.sh
    ;;
windows)
    . package/on-windows.sh
    ;;
*)
    echo "usage: test.sh linux|windows" >&2
    exit 2
    ;;
esac

check "it installs" cmake --install "build/$platform" --prefix "$scratch/first"
mv "$scratch/first" "$kest"

. package/layout.sh
. package/exports.sh
. package/headers.sh
. package/hosts.sh
finish_checks
