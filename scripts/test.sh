#!/bin/bash
# All builds and all tests: natively with GCC, with clang's address, undefined-behaviour and thread
# sanitizers, for Windows under Wine, with kills and power cuts at many moments where the machine lets
# us try them, and what only an installed package can show. Goes on after a failure; the last line is the sum. Logs are left in build/logs.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
logs=build/logs
rm -rf $logs
mkdir -p $logs
jobs=$(nproc)
passed=0
failed=0
skipped=0
failures=()

# Whatever happens, no Wine server and no fuzzer stays behind.
fuzzing=
clear_up() {
    [[ -z $fuzzing ]] || kill -- "-$fuzzing" 2>/dev/null
    cmake/wine-prefix.sh stop
}
trap clear_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    failed=$((failed + ${2:-1}))
    failures+=("$1")
}

# Title, log, command: runs it and shows its output only when it fails.
quietly() {
    local title=$1 log=$logs/$2.log start=$SECONDS
    shift 2
    if "$@" >"$log" 2>&1 </dev/null; then
        echo "$title: done in $((SECONDS - start)) s"
    else
        echo "$title: FAILED"
        tail -n 60 "$log"
        fail "$title"
        return 1
    fi
}

# The same for a part that the machine may not allow: with status 2 it says why it was not tried.
where_allowed() {
    local title=$1 log=$logs/$2.log start=$SECONDS
    shift 2
    "$@" >"$log" 2>&1 </dev/null
    local status=$?
    case $status in
    0)
        echo "$title: done in $((SECONDS - start)) s"
        passed=$((passed + 1))
        ;;
    2)
        tail -n 1 "$log"
        skipped=$((skipped + 1))
        ;;
    *)
        echo "$title: FAILED"
        tail -n 60 "$log"
        fail "$title"
        ;;
    esac
}

# Its disk is a program of ours that needs libfuse3.
power_cuts() {
    if ! pkg-config --exists fuse3; then
        echo "Power cuts were not tried: libfuse3-dev is not installed"
        return 2
    fi
    { cmake --preset linux -DKEST_BUILD_POWERCUT=ON &&
        cmake --build --preset linux --target kest_powercut; } || return 1
    scripts/powercut.sh short
}

# In a browser, if there is one. The limit is for a machine that is busy; `make trace-page` has the real
# one.
trace_page() {
    cmake --build --preset linux --target kest_command kest_trace_sample || return 1
    TRACE_PAGE_LIMIT=5000 scripts/trace-page-test.sh
}

# Each fuzz target for a minute, beside what comes after: two at a time, with what the rest has no use
# for. Programs under Wine mostly wait for each other.
start_fuzzing() {
    [[ -x build/linux-asan/fuzz/TextFuzz ]] || return
    set -m
    nice -n 19 scripts/fuzz.sh --quiet --seconds 60 --jobs 2 --programs build/linux-asan/fuzz \
        >$logs/fuzz.log 2>&1 </dev/null &
    set +m
    fuzzing=$!
}
fuzzed() {
    [[ -n $fuzzing ]] && wait "$fuzzing"
    local status=$?
    fuzzing=
    cat $logs/fuzz.log
    return $status
}

build() {
    cmake --preset "$1" -DKEST_BUILD_TESTS=ON && cmake --build --preset "$1"
}

# Passed, failed and skipped tests, from ctest's log of what the tests said and from its own output: a
# suite counts as the tests in it, everything else as one.
count_tests() {
    awk '/^[0-9]+\/[0-9]+ Testing: /          { name = $3 }
         # In the other one what failed stands once more.
         FNR < NR && /^\[/                    { next }
         /^\[  PASSED  \] [0-9]+ /            { passed[name] += $4 }
         /^\[  FAILED  \] [0-9]+ tests?, /    { failed[name] += $4 }
         /^\[  SKIPPED \] [0-9]+ tests?, /    { skipped[name] += $4 }
         /^ *[0-9]+\/[0-9]+ Test +#[0-9]+: / {
             sub(/^.*: /, "")
             fine = / Passed +[0-9.]+ sec/
             idle = /\*\*\*(Not Run \()?Skipped/
             if (fine && !($1 in passed))
                 passed[$1] = 1
             else if (idle)
                 skipped[$1] = 1
             else if (!fine && !($1 in failed))
                 failed[$1] = 1
         }
         END {
             for (name in passed) p += passed[name]
             for (name in failed) f += failed[name]
             for (name in skipped) s += skipped[name]
             print p + 0, f + 0, s + 0
         }' "$@"
}

# Builds a preset and runs its tests; shows those that do not pass. The trees of the tests lie where
# the machine puts temporary files, or in memory with `in-memory` as second word: a disk waits for all
# that was written to it, builds included, at each commit.
build_and_test() {
    local preset=$1 log=$logs/$1-tests.log start
    local -x TMPDIR=${TMPDIR:-/tmp}
    [[ ${2:-} != in-memory || ! -w /dev/shm ]] || TMPDIR=/dev/shm
    echo
    echo "== $preset"
    quietly "Build" "$preset-build" build "$preset" || return
    start=$SECONDS
    ctest --preset "$preset" -j "$jobs" >"$log" 2>&1 </dev/null
    local status=$?
    grep -vE '^ *(Start +[0-9]+:|[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed +[0-9.]+ sec)' "$log"
    local good wrong idle
    read -r good wrong idle < <(count_tests "build/$preset/Testing/Temporary/LastTest.log" "$log")
    if ((status != 0 && wrong == 0)); then
        wrong=1
    fi
    passed=$((passed + good))
    skipped=$((skipped + idle))
    ((wrong == 0)) || fail "$preset: tests" "$wrong"
    echo "$good passed, $wrong failed, $idle skipped"
    echo "Tests: done in $((SECONDS - start)) s"
}

# What can only be seen from outside, on the package of a build.
test_package() {
    local log=$logs/$1-package.log start=$SECONDS
    echo
    echo "== package, $1"
    package/test.sh "$1" 2>&1 </dev/null | tee "$log"
    local sum good bad
    sum=$(sed -nE 's/^([0-9]+) checks passed and ([0-9]+) failed$/\1 \2/p' "$log" | tail -n 1)
    read -r good bad <<<"${sum:-0 1}"
    passed=$((passed + good))
    ((bad == 0)) || fail "package, $1" "$bad"
    echo "Package: done in $((SECONDS - start)) s"
}

build_and_test linux
where_allowed "Kills" kills scripts/crash.sh short
where_allowed "Failing system calls" faults scripts/faults.sh short
where_allowed "Power cuts" power-cuts power_cuts
where_allowed "Trace page" trace-page trace_page
build_and_test linux-asan in-memory
build_and_test linux-tsan in-memory
start_fuzzing
echo
quietly "Wine prefix" wine-prefix cmake/wine-prefix.sh start
build_and_test windows in-memory
test_package linux
test_package windows
echo
where_allowed "README" readme scripts/readme-test.py
where_allowed "Fuzzing, a minute for each target" fuzzing fuzzed

echo
echo "All builds and tests: $((SECONDS / 60)) min $((SECONDS % 60)) s"
for failure in "${failures[@]}"; do
    echo "FAILED: $failure"
done
closing="$passed passed, $failed failed"
if ((skipped > 0)); then
    closing+=", $skipped skipped"
fi
echo "$closing"
((failed == 0))
