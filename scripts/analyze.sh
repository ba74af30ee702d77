#!/bin/bash
# Looks for mistakes without running anything: clang-tidy (its checks and why they were chosen are in
# .clang-tidy), GCC's analyzer and cppcheck, over all sources of the library and the command.
#
#   analyze.sh [tidy|gcc|cppcheck ...] [-- SOURCE ...]
#
# Without words, all three; without sources, all of them. Exits with 0 only when nothing was found.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools=()
sources=()
while (($# > 0)); do
    case $1 in
    tidy | gcc | cppcheck) tools+=("$1") ;;
    --)
        shift
        sources=("$@")
        break
        ;;
    *)
        sed -n '2,/^set/{s/^# \{0,1\}//;/^set/d;p}' "$0" >&2
        exit 2
        ;;
    esac
    shift
done
((${#tools[@]} > 0)) || tools=(tidy gcc cppcheck)
if ((${#sources[@]} == 0)); then
    mapfile -t sources < <(git ls-files 'kest/*.cpp' 'tools/*.cpp' |
        grep -vE '/(windows|testing|contract)/|Test\.cpp$')
fi

logs=build/analyze
mkdir -p $logs
# The commands of the compilers: clang-tidy needs clang's, the analyzer GCC's.
cmake --preset linux-asan >/dev/null || exit 1
cmake --preset linux >/dev/null || exit 1
found=0
jobs=$(nproc)

# Title, log: what was found, in short.
report() {
    local number
    number=$(grep -cE "$3" "$2")
    printf '%-12s %4d sources, %d findings\n' "$1" "${#sources[@]}" "$number"
    if ((number > 0)); then
        grep -E "$3" "$2" | sort -u | head -n 50
        found=$((found + number))
    fi
}

for tool in "${tools[@]}"; do
    log=$logs/$tool.log
    case $tool in
    tidy)
        printf '%s\0' "${sources[@]}" |
            xargs -0 -n 1 -P "$jobs" clang-tidy -p build/linux-asan --quiet >"$log" 2>/dev/null
        report clang-tidy "$log" '(warning|error): '
        ;;
    gcc)
        # Each source with its own command, and only what the analyzer says. It knows little of C++
        # yet, and takes each `new` for one that may give null, which is what the exclusions are for.
        scripts/compile-commands.py build/linux/compile_commands.json "${sources[@]}" |
            xargs -0 -n 1 -P "$jobs" sh -c "\$0 -O0 -U_FORTIFY_SOURCE -fanalyzer -Wno-error \
                -Wno-analyzer-possible-null-dereference -Wno-analyzer-null-dereference \
                -Wno-analyzer-possible-null-argument -Wno-analyzer-too-complex \
                -o /dev/null" >"$log" 2>&1
        report "gcc" "$log" 'warning: .*\[-Wanalyzer|error: '
        ;;
    cppcheck)
        cppcheck --quiet --std=c++20 --language=c++ --inline-suppr -j "$jobs" -I . \
            --enable=warning,performance,portability --template=gcc \
            --suppressions-list=scripts/cppcheck.txt "${sources[@]}" 2>"$log"
        report cppcheck "$log" '(warning|error|style|performance|portability): '
        ;;
    esac
done
((found == 0))
