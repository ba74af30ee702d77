# Sourced by test.sh: the library's binary face is the one that programs were built against earlier.

# The program `layout` in the folder $1 prints what package/contract/layout.txt holds.
layout_is_as_listed() {
    host_in "$scratch" "$1" layout || return
    diff -u --label package/contract/layout.txt package/contract/layout.txt \
        --label "what the headers say" "$scratch/output" && return
    echo "Programs that were built earlier go by package/contract/layout.txt. If they may be left"
    echo "behind, run package/renew.sh $platform and commit what it changes."
    return 1
}

# A subkey with one value, where the program `slots` looks for it.
slots_are_as_numbered() {
    local place status
    place=$(mktemp -d -p "$scratch")
    make_registry_value "$place" >/dev/null || return
    KEST_REGISTRY=$place/registry host_in "$place" "$1" slots
    status=$?
    same "0 wrong" "$(cat "$scratch/output")" && same 0 $status
}

contract=$scratch/contract
check "the programs of the binary contract build" build_host package/contract "$contract"
check "sizes, fields and slots of the headers are those of the list" layout_is_as_listed "$contract"
check "the library calls and is called by these slots" slots_are_as_numbered "$contract"

if [ "$platform" = linux ]; then
    # Types of arguments and results, and what else a list of names does not show.
    interface_is_as_dumped() {
        abidiff package/contract/libkest.abi "$1" && return
        echo "If programs that were built earlier may be left behind, or if nothing was but added, run"
        echo "package/renew.sh linux and commit what it changes."
        return 1
    }
    if command -v abidiff >/dev/null; then
        check "abidiff finds no difference to package/contract/libkest.abi" \
            interface_is_as_dumped "$kest/$library"
    fi
fi
