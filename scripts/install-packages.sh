#!/bin/bash
# Installs the Debian packages that a goal of the Makefile needs and that are not there yet, and
# nothing else: install-packages.sh run|test|docs|packages|bench|bench-trees|powercut|trace-page|fuzz|
# analyze|coverage|valgrind|format. Says what it does; when nothing is missing it does nothing and says nothing.
set -euo pipefail

run=(g++ make cmake ninja-build libboost-dev libcli11-dev)
# Disks that are recorded, the file systems on them, and kills at single system calls.
powercut=(pkg-config fuse3 libfuse3-dev e2fsprogs xfsprogs btrfs-progs mount util-linux strace)
case "${1:-}" in
run)
    wanted=("${run[@]}")
    ;;
test)
    wanted=("${run[@]}" googletest
        # The sanitizers' builds.
        clang libclang-rt-14-dev
        # The Windows half.
        g++-mingw-w64-x86-64-posix wine64 wine
        # What holds for every value.
        librapidcheck-dev
        # A terminal for the command.
        tmux
        # What tests call: extended attributes, the package's hosts, and what kills and power cuts need.
        attr "${powercut[@]}"
        # The packages: what makes them, and what looks at them from outside.
        dpkg-dev lintian abigail-tools
        # The documents: the reference, and the scripts that hold them against the sources.
        doxygen python3)
    ;;
docs)
    wanted=(doxygen)
    ;;
packages)
    wanted=("${run[@]}" g++-mingw-w64-x86-64-posix dpkg-dev)
    ;;
powercut)
    wanted=("${run[@]}" "${powercut[@]}")
    ;;
bench)
    wanted=("${run[@]}" libbenchmark-dev libspdlog-dev libhowardhinnant-date-dev valgrind python3 e2fsprogs mount)
    ;;
bench-trees)
    # The file systems in images, and what a copy is compared with and watched by.
    wanted=("${run[@]}" libbenchmark-dev python3 e2fsprogs xfsprogs btrfs-progs mount strace time)
    ;;
fuzz)
    wanted=("${run[@]}" clang libclang-rt-14-dev)
    ;;
analyze)
    wanted=("${run[@]}" clang clang-tidy cppcheck googletest)
    ;;
coverage)
    wanted=("${run[@]}" clang libclang-rt-14-dev llvm googletest librapidcheck-dev)
    ;;
valgrind)
    wanted=("${run[@]}" googletest librapidcheck-dev valgrind)
    ;;
trace-page)
    # A browser, and what speaks to it.
    wanted=("${run[@]}" chromium nodejs)
    ;;
format)
    wanted=(clang-format)
    ;;
*)
    echo "usage: install-packages.sh run|test|docs|packages|bench|bench-trees|powercut|trace-page|fuzz|analyze|coverage|valgrind|format" >&2
    exit 2
    ;;
esac

missing=()
for package in "${wanted[@]}"; do
    state=$(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null || true)
    grep -qx installed <<<"$state" || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

# As root, or through sudo.
as_root=()
if (($(id -u) != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "These packages are missing: ${missing[*]}" >&2
        echo "Installing them needs root or sudo: run 'apt-get install ${missing[*]}' as root." >&2
        exit 1
    fi
    as_root=(sudo)
fi
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get)
echo "Installing the missing Debian packages: ${missing[*]}"
"${apt[@]}" update
"${apt[@]}" install --yes --no-install-recommends "${missing[@]}"
