#!/bin/bash
# Which lines of the library the tests reach: builds it with clang's counters, runs the unit and contract
# tests, and writes build/coverage/report.txt (each source), build/coverage/folders.md (each folder, which
# is printed as well) and build/coverage/unreached.txt (each line that no test reaches; docs/testing.md says
# why there are such lines). What is compiled for Windows alone cannot be counted here.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake --preset coverage >/dev/null
cmake --build --preset coverage --target kest_tests
folder=build/coverage/counts
rm -rf $folder
mkdir -p $folder
# The processes of the tests add up in a few files, which are mapped into them: what a process counted that
# ended by a signal or without its exit handlers, such as each copy of a test that plays another user or is
# killed in the middle of a change, is there as well (%c; the preset's relocation is for that). The suites'
# names begin with a large letter; the other tests are about the command and the packages, which are not
# built here.
LLVM_PROFILE_FILE=$PWD/$folder/%c%4m.profraw \
    ctest --test-dir build/coverage -R '^[A-Z]' --no-tests=error -j "$(nproc)" --timeout 600 \
        >build/coverage/tests.log 2>&1 ||
    { tail -n 30 build/coverage/tests.log; exit 1; }
version=$(clang --version | sed -nE '1s/.*version ([0-9]+)\..*/\1/p')
tool() {
    local name=$1
    shift
    if command -v "$name-$version" >/dev/null; then "$name-$version" "$@"; else "$name" "$@"; fi
}
tool llvm-profdata merge -sparse $folder/*.profraw -o build/coverage/all.profdata
coverage() {
    tool llvm-cov "$@" build/coverage/kest_tests -instr-profile=build/coverage/all.profdata \
        -ignore-filename-regex='/usr/|/testing/|/contract/|Test\.cpp$' 2>>build/coverage/tests.log
}
# The sources' names are relative to this folder; a compiler cache may make them relative to the build's.
base=$PWD
named=$(coverage export -summary-only -skip-functions)
if [[ $named == *'/../../kest/'* ]]; then
    base=$PWD/build/coverage
fi
coverage report -compilation-dir="$base" >build/coverage/report.txt
coverage show -compilation-dir="$base" -show-line-counts -show-instantiations=false |
    awk '/^\/.*:$/ { sub(/^.*\/kest\//, "kest/"); file = $0 } /^ +[0-9]+\| +0\|/ { print file $0 }' \
        >build/coverage/unreached.txt
# The columns of the report: name; regions, missed, share; functions, missed, share; lines, missed, share;
# branches, missed, share.
awk 'function share(all, missed) { return all ? sprintf("%.1f %%", 100 * (all - missed) / all) : "-" }
     function row(name, i) {
         printf "| %s | %d | %s | %d | %s | %d | %s |\n", name, lines[i], share(lines[i], noLine[i]),
                regions[i], share(regions[i], noRegion[i]), branches[i], share(branches[i], noBranch[i])
     }
     function add(i) {
         lines[i] += $8; noLine[i] += $9; regions[i] += $2; noRegion[i] += $3; branches[i] += $11; noBranch[i] += $12
     }
     NF == 13 && $2 ~ /^[0-9]+$/ && $1 != "TOTAL" {
         name = $1
         if (!sub(/\/[^\/]*$/, "/", name)) name = ""
         if (!(name in lines)) names[++count] = name
         add(name)
         add("all")
     }
     END {
         print "| folder | lines | reached | regions | reached | branches | both ways |"
         print "|---|---:|---:|---:|---:|---:|---:|"
         for (i = 1; i <= count; ++i) row("`kest/" names[i] "`", names[i])
         row("all", "all")
     }' build/coverage/report.txt | tee build/coverage/folders.md
echo "$(wc -l <build/coverage/unreached.txt) lines that no test reaches: build/coverage/unreached.txt"
