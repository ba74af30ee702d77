#!/bin/bash
# Runs fuzz targets, each for a while: a minute each, or FUZZ_SECONDS.
#
#   fuzz.sh [--seconds N] [--jobs N] [--programs FOLDER] [--quiet] [TARGET ...]
#
# Without a target, all of them. What a target finds is left in build/fuzz-findings, as a file that it
# takes for an argument. What it has learnt is kept in build/fuzz-corpus for the next time; the
# repository's own corpus is only read (`--merge` brings what is new into it, as little as possible).
# --jobs: how many targets run at once, one unless told; --seconds 0: the corpus alone. --quiet: learns
# nothing from what was run before and leaves nothing learnt.
# Exits with 0 only when nothing was found.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${FUZZ_SECONDS:-60}
jobs=1
programs=build/fuzz/fuzz
quiet=
merge=
targets=()
while (($# > 0)); do
    case $1 in
    --seconds) seconds=${2:?} && shift ;;
    --jobs) jobs=${2:?} && shift ;;
    --programs) programs=${2:?} && shift ;;
    --quiet) quiet=yes ;;
    --merge) merge=yes ;;
    -*)
        sed -n '2,/^set/{s/^# \{0,1\}//;/^set/d;p}' "$0" >&2
        exit 2
        ;;
    *) targets+=("$1") ;;
    esac
    shift
done
if ((${#targets[@]} == 0)); then
    for source in fuzz/*Fuzz.cpp; do
        targets+=("$(basename "$source" .cpp)")
    done
fi

findings=build/fuzz-findings
mkdir -p "$findings"
# Runs a target and says in a line what came of it.
run() {
    local target=$1
    local corpus=fuzz/corpus/$target learnt=build/fuzz-corpus/$target log=$findings/$target.log
    mkdir -p "$learnt"
    if [[ -n $merge ]]; then
        "$programs/$target" -merge=1 -max_len=4096 "$corpus" "$learnt" 2>"$log"
        return
    fi
    local options=(-timeout=20 -rss_limit_mb=2048 -print_final_stats=1
        -artifact_prefix="$findings/$target-")
    if ((seconds > 0)); then
        options+=(-max_total_time="$seconds")
    else
        options+=(-runs=0)
    fi
    [[ ! -f fuzz/$target.dict ]] || options+=(-dict="fuzz/$target.dict")
    if [[ -n $quiet ]]; then
        # A test: nothing is kept, so that it is the same test each time.
        learnt=$(mktemp -d)
    fi
    local status=0
    "$programs/$target" "${options[@]}" "$learnt" "$corpus" >"$log" 2>&1 || status=$?
    [[ -z $quiet ]] || rm -rf "$learnt"
    local runs cover
    runs=$(sed -nE 's/^stat::number_of_executed_units: +([0-9]+)/\1/p' "$log")
    cover=$(grep -oE 'cov: [0-9]+' "$log" | tail -n 1 || true)
    if ((status == 0)); then
        printf '%-20s %10s inputs in %s s, %s\n' "$target" "${runs:-?}" "$seconds" "${cover:-no coverage}"
        return
    fi
    printf '%-20s FOUND SOMETHING:\n' "$target"
    grep -E 'broken:|ERROR:|SUMMARY:|Test unit written' "$log" || tail -n 20 "$log"
    return 1
}

found=0
running=0
for target in "${targets[@]}"; do
    if ((running == jobs)); then
        wait -n || found=$((found + 1))
        running=$((running - 1))
    fi
    run "$target" &
    running=$((running + 1))
done
while ((running > 0)); do
    wait -n || found=$((found + 1))
    running=$((running - 1))
done
((found == 0))
