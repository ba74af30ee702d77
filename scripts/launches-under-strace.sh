#!/bin/bash
# Watches a thousand programs being started, call by call: launches-under-strace.sh KEST_TESTS. Each of
# them must have closed every descriptor but the standard three before it began, and each process in
# between must have been waited for.
set -uo pipefail
tests=${1:?usage: launches-under-strace.sh KEST_TESTS}
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
wrong=0

# Descriptors of the host's own, without the mark that closes them.
exec 7</dev/null 57</dev/null
# A file for each process.
if ! strace -ff -qq -e signal=none -e trace=execve,close_range,wait4 -o "$logs/of" "$tests" \
    --gtest_filter=LinuxProcesses.AThousandLeaveNothingBehind --gtest_brief=1 >/dev/null; then
    echo "the test itself failed"
    wrong=1
fi

# expect WHAT NUMBER ACTUAL
expect() {
    if [ "$2" != "$3" ]; then
        echo "$1: $3 instead of $2"
        wrong=1
    fi
}
# Those that became the program; of them, those that had closed all the rest by then.
cd "$logs" || exit 1
mapfile -t started < <(grep -lE '^execve\("/bin/true".* = 0$' of.*)
expect "programs that were started" 1000 ${#started[@]}
expect "programs without a descriptor but the standard three" 1000 "$(
    for log in "${started[@]}"; do
        grep -m 1 -E '^(close_range\(3, 4294967295, 0\) += 0|execve\("/bin/true")' "$log"
    done | grep -c '^close_range')"
# The host's own log is the one in which it became the test. It has waited for the processes in
# between, which are of a kind that no other wait meets.
host=$(grep -lF -- "execve(\"$tests\"" of.*)
expect "processes that were waited for" 1000 \
    "$(grep -cE '^wait4\([0-9]+, NULL, __WCLONE, NULL\) += [0-9]+$' "$host")"
exit $wrong
