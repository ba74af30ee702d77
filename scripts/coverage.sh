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
# The processes of the tests add up in a few files. Those of GoogleTest have a dot in their names; the others
# are about the command and the packages, which are not built here.
LLVM_PROFILE_FILE=$PWD/$folder/%4m.profraw \
    ctest --test-dir build/coverage -R '[.]' -j "$(nproc)" --timeout 600 >build/coverage/tests.log 2>&1 ||
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
coverage show -show-line-counts -show-instantiations=false |
    awk '/^\/|^kest\// { file = $1 } /^ +[0-9]+\| +0\|/ { print file $0 }' >build/coverage/unreached.txt
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
         sub(/^.*kest\//, "", name)
         if (!sub(/\/[^\/]*$/, "/", name)) name = "./"
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
