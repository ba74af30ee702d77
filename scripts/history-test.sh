#!/bin/bash
# Builds examples/history against an installed Kest, as a developer elsewhere would, and tests it:
# history-test.sh BUILD [TOOLCHAIN LAUNCHER], BUILD being the folder in which Kest was built, and for
# Windows the tool chain's CMake file and what runs its programs.
set -euo pipefail
top=$(dirname "$(dirname "$(readlink -f "$0")")")
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

quietly() {
    "$@" >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
}
quietly cmake --install "$build" --prefix "$scratch/kest"
quietly cmake -S "$top/examples/history" -B "$scratch/history" -G Ninja \
    -DCMAKE_PREFIX_PATH="$scratch/kest" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
    -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic" ${2:+-DCMAKE_TOOLCHAIN_FILE="$2"}
quietly cmake --build "$scratch/history"
program=$scratch/history/kest-history
if [ -n "${3:-}" ]; then
    program+=.exe
    cp "$scratch/kest/bin/"*.dll "$scratch/history/"
fi
"$top/examples/history/test.sh" ${3:+"$3"} "$program"
