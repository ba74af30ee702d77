#!/bin/bash
# Runs under valgrind what is lost on purpose, and what must not be lost beside it: restores, the
# catalogue of programs, launches, copies, deletions and links. Exits with 0 only when nothing is lost but
# what scripts/valgrind.supp names.
#
#   valgrind.sh [PROGRAM [SUITE ...]]     the tests of preset linux, or of another build; or some of them
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

program=${1:-build/linux/kest_tests}
chosen=("${@:2}")
if (($# == 0)); then
    cmake --preset linux >/dev/null
    cmake --build --preset linux --target kest_tests
fi
suites=(RestoreSystem RestorePoints RoundTrip InstalledProgramsTest Program LaunchProcess LinuxProcesses
    FileSystemOnDisk RealDisk CopyTree DeleteTree CopyLinkTest GetLinkTarget TransactedExports LogExportsTest
    AllocateString ConfigurableTest)
((${#chosen[@]} == 0)) || suites=("${chosen[@]}")
# A suite that was given another name would not be missed.
listed=$("$program" --gtest_list_tests)
filter=
for suite in "${suites[@]}"; do
    grep -qx "$suite\\." <<<"$listed" || { echo "there are no tests $suite"; exit 1; }
    filter+=$suite.*:
done
# Valgrind cannot go on in a process in which a program could not be started, as these want it to.
filter+=-LinuxProcesses.AnUnquotedPathIsTriedPrefixByPrefix:LinuxProcesses.WhatCannotBeStarted
log=build/valgrind.log
mkdir -p build
# Threads are taken in turns. A program that a test starts is not ours to look into, and neither is the
# copy of this process that is about to become it: valgrind gives it a memory of its own, in which it does
# not find what the thread that waits for it holds.
status=0
valgrind --quiet --error-exitcode=9 --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect --suppressions=scripts/valgrind.supp --fair-sched=yes \
    --child-silent-after-fork=yes \
    "$program" --gtest_brief=1 --gtest_filter="$filter" >$log 2>&1 || status=$?
tail -n 3 $log
if ((status != 0)); then
    grep -E '^==[0-9]+==' $log | head -n 60
    echo "something is lost that should not be, or wrong: $log"
    exit 1
fi
echo "nothing is lost but what is meant to be"
