#!/bin/bash
# What only a package can show: test.sh linux|windows. Packs what was built, unpacks or installs it in
# another place, and looks at it from outside: its files, its exported names, each header alone, what
# programs that were built earlier count on, programs that are built against it and run.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
top=$PWD
platform=${1:?usage: test.sh linux|windows}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Where the tree ends up, away from where it was installed to.
kest=$scratch/elsewhere/kest
version=$(sed -nE 's/^project\(Kest VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
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

. package/host-tools.sh

check "it is packed" scripts/packages.sh "$platform"
take_package
. package/layout.sh
. package/hardening.sh
. package/exports.sh
. package/headers.sh
. package/hosts.sh
. package/contract.sh
. package/broken.sh
. "package/$platform-packages.sh"
finish_checks
