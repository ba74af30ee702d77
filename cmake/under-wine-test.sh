#!/bin/bash
# Proves the emulator of the Windows tests: under-wine-test.sh PROGRAM [traps]. An exit code arrives as
# it is, a crash is no success, and a Wine service that starts beside a program does not hold its output
# open. With "traps", that the build stops at undefined behaviour and at misuse of the standard library.
set -uo pipefail
under_wine=$(dirname "$(readlink -f "$0")")/under-wine.sh
program=$1
traps=${2:-}
wrong=0

expect() {
    local wanted=$1 got
    shift
    "$under_wine" "$program" "$@" >/dev/null 2>&1 </dev/null
    got=$?
    if [ "$got" != "$wanted" ]; then
        echo "$*: exit code $got instead of $wanted"
        wrong=1
    fi
}

expect 0 exit 0
expect 1 exit 1
expect 77 exit 77
expect 29 trap
expect 3 abort
expect 3 throw
# Every build has the stack protector.
expect 29 stack
if [ "$traps" = traps ]; then
    expect 29 crash
    expect 29 overflow
    expect 29 shift
    expect 3 element
else
    expect 5 crash
fi

# The pipe closes when the program ends, not when Wine does.
output=$(timeout 60 "$under_wine" "$program" say 2>/dev/null </dev/null | tr -d '\r')
if [ "$output" != "said" ]; then
    echo "output: '$output' instead of 'said'"
    wrong=1
fi
exit $wrong
