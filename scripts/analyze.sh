#!/bin/bash
# Looks for mistakes without running anything: clang-tidy (its checks and why they were chosen are in
# .clang-tidy), GCC's analyzer and cppcheck (scripts/cppcheck.txt), over all sources of the library and
# the command; `windows` is clang-tidy over what is compiled for Windows alone.
#
#   analyze.sh [tidy|windows|gcc|cppcheck ...] [-- SOURCE ...]
#
# Without words, all four; without sources, all of them. Exits with 0 only when each tool could read
# every source and found nothing.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools=()
chosen=()
while (($# > 0)); do
    case $1 in
    tidy | windows | gcc | cppcheck) tools+=("$1") ;;
    --)
        shift
        chosen=("$@")
        break
        ;;
    *)
        sed -n '2,/^set/{s/^# \{0,1\}//;/^set/d;p}' "$0" >&2
        exit 2
        ;;
    esac
    shift
done
((${#tools[@]} > 0)) || tools=(tidy windows gcc cppcheck)

# What the products are made of, for one system or not for it.
list() {
    if ((${#chosen[@]} > 0)); then
        printf '%s\n' "${chosen[@]}"
    else
        git ls-files 'kest/*.cpp' 'tools/*.cpp' | grep -vE '/(testing|contract)/|Test\.cpp$'
    fi
}
mapfile -t sources < <(list | grep -v /windows/)
mapfile -t windows_sources < <(list | grep /windows/)

# GCC's analyzer knows little of C++ yet; its own manual recommends it for C alone. What it is good for
# here is what is given back twice, used afterwards, given back in another way than it was got, or left
# open. Not asked for:
analyzer=(-fanalyzer
    # What a function does is worked out once and not again for each of its callers. Without that the
    # texts and lists of the standard library take up all that it allows itself for a source: it then
    # gives up without a word before it has come to our own functions, and with the parser of the
    # command line (CLI11) it has not come to an end after five minutes.
    -fanalyzer-call-summaries
    # It takes each `new` for one that may give null.
    -Wno-analyzer-possible-null-dereference -Wno-analyzer-possible-null-argument
    -Wno-analyzer-null-dereference
    # It does not see that a destructor gives something back.
    -Wno-analyzer-malloc-leak
    # It does not see what a vector instruction or a constructor has set. clang's analyzer looks for the
    # same.
    -Wno-analyzer-use-of-uninitialized-value)
export ANALYZER="${analyzer[*]}"

logs=build/analyze
mkdir -p $logs
found=0
jobs=$(nproc)

# Title, number of sources, log, what a finding looks like, the tool's exit status: what was found, in
# short.
report() {
    local number
    number=$(grep -E "$4" "$3" | sort -u | wc -l)
    printf '%-19s %4d sources, %d findings, %d s\n' "$1" "$2" "$number" $((SECONDS - start))
    if ((number > 0)); then
        grep -E "$4" "$3" | sort -u | head -n 50
        found=$((found + number))
    elif (($5 != 0)); then
        echo "$1 could not do its work:"
        grep -vE '^[0-9]+ warnings? generated' "$3" | tail -n 20
        found=$((found + 1))
    fi
}

# Folder of the commands, sources. The commands must be clang's.
tidy() {
    local commands=$1
    shift
    # Each alone: a list of several goes to one process.
    printf '%s\0' "$@" | xargs -0 -n 1 -P "$jobs" clang-tidy -p "$commands" --quiet 2>&1
}

for tool in "${tools[@]}"; do
    log=$logs/$tool.log
    start=$SECONDS
    case $tool in
    tidy)
        ((${#sources[@]} > 0)) || continue
        cmake --preset linux-asan >/dev/null || exit 1
        tidy build/linux-asan "${sources[@]}" >"$log"
        report clang-tidy ${#sources[@]} "$log" '(warning|error): ' $?
        ;;
    windows)
        ((${#windows_sources[@]} > 0)) || continue
        cmake --preset windows >/dev/null || exit 1
        scripts/compile-commands.py --clang build/windows/compile_commands.json $logs/windows || exit 1
        tidy $logs/windows "${windows_sources[@]}" >"$log"
        report 'clang-tidy, Windows' ${#windows_sources[@]} "$log" '(warning|error): ' $?
        ;;
    gcc)
        ((${#sources[@]} > 0)) || continue
        cmake --preset linux >/dev/null || exit 1
        # Each source with its own command.
        scripts/compile-commands.py build/linux/compile_commands.json "${sources[@]}" |
            xargs -0 -n 1 -P "$jobs" sh -c 'eval "$0 -O0 -U_FORTIFY_SOURCE $ANALYZER -o /dev/null"' \
                >"$log" 2>&1
        report "GCC's analyzer" ${#sources[@]} "$log" 'warning: .*\[-Wanalyzer|error: ' $?
        ;;
    cppcheck)
        cppcheck --quiet --std=c++20 --language=c++ --inline-suppr -j "$jobs" -I . \
            --enable=warning,performance,portability --template=gcc \
            --suppressions-list=scripts/cppcheck.txt "${sources[@]}" "${windows_sources[@]}" 2>"$log"
        report cppcheck $((${#sources[@]} + ${#windows_sources[@]})) "$log" \
            '(warning|error|style|performance|portability): ' $?
        ;;
    esac
done
((found == 0))
