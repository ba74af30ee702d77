#!/bin/bash
# Runs under valgrind what is lost on purpose, and what must not be lost beside it: restores, the
# catalogue of programs, launches, copies and deletions. Exits with 0 only when nothing is lost but
# what scripts/valgrind.supp names.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake --preset linux >/dev/null
cmake --build --preset linux --target kest_tests
log=build/valgrind.log
# Thousands of bytes on the stack of a walk are no leak; threads are taken in turns.
status=0
valgrind --quiet --error-exitcode=9 --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect --suppressions=scripts/valgrind.supp --fair-sched=yes \
    build/linux/kest_tests --gtest_brief=1 \
    --gtest_filter='RestoreSystem.*:InstalledPrograms*:Program*:RealDisk.*:Links*:TransactedExports*:LogExports*:TextExports*:ConfigurableTest*:SystemTest*' \
    >$log 2>&1 || status=$?
tail -n 3 $log
if ((status != 0)); then
    grep -E '^==[0-9]+==' $log | head -n 60
    echo "something is lost that should not be, or wrong: $log"
    exit 1
fi
echo "nothing is lost but what is meant to be"
