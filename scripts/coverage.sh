#!/bin/bash
# Which lines of the library the tests reach: builds it with clang's counters, runs the tests, and
# writes build/coverage/report.txt (each source) and build/coverage/unreached.txt (each line that no
# test reaches; docs/testing.md says why there are such lines). Prints the sum.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake --preset coverage >/dev/null
cmake --build --preset coverage --target kest_tests
folder=build/coverage/counts
rm -rf $folder
mkdir -p $folder
# The processes of the tests add up in a few files.
LLVM_PROFILE_FILE=$PWD/$folder/%4m.profraw \
    ctest --test-dir build/coverage -j "$(nproc)" --timeout 600 >build/coverage/tests.log 2>&1 ||
    { tail -n 30 build/coverage/tests.log; exit 1; }
version=$(clang --version | sed -nE '1s/.*version ([0-9]+)\..*/\1/p')
tool() {
    local name=$1
    shift
    if command -v "$name-$version" >/dev/null; then "$name-$version" "$@"; else "$name" "$@"; fi
}
tool llvm-profdata merge -sparse $folder/*.profraw -o build/coverage/all.profdata
mapfile -t sources < <(git ls-files 'kest/*.cpp' 'kest/*.h' |
    grep -vE '/(windows|testing|contract)/|Test\.cpp$')
coverage() {
    tool llvm-cov "$@" build/coverage/kest_tests -instr-profile=build/coverage/all.profdata "${sources[@]}"
}
coverage report >build/coverage/report.txt
coverage show -show-line-counts |
    awk '/^\/|^kest\// { file = $1 } /^ +[0-9]+\| +0\|/ { print file $0 }' >build/coverage/unreached.txt
tail -n 1 build/coverage/report.txt |
    awk '{ printf "lines %s of which %s are not reached: %s; functions %s; regions %s\n", $8, $9, $10, $7, $4 }'
echo "$(wc -l <build/coverage/unreached.txt) lines that no test reaches: build/coverage/unreached.txt"
