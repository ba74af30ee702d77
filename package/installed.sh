#!/bin/bash
# What somebody has who installed the Debian packages: installed.sh PACKAGES installed|unpacked. With
# `installed` it installs them first and removes them in the end, so it needs a root of its own.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
packages=$1
way=$2
platform=linux
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
. package/checks.sh
. package/host-tools.sh

run_host() {
    local folder=$1 name=$2
    shift 2
    "$folder/$name" "$@"
}
host_path() {
    printf '%s' "$1"
}

names=(libkest0 libkest-dev kest)
files_of_usr() {
    find /usr ! -name '*.cache*' ! -name __pycache__ ! -name '*.pyc' -printf '%p %y %l\n' | sort
}
refuses_development_alone() {
    ! dpkg -i "$packages"/libkest-dev_*.deb && dpkg --purge libkest-dev
}
installs() {
    dpkg -i "$packages"/libkest0_*.deb "$packages"/libkest-dev_*.deb "$packages"/kest_*.deb
}
if [ "$way" = installed ]; then
    dpkg --purge kest libkest-dev libkest0 >/dev/null 2>&1
    before=$(files_of_usr)
    check "dpkg does not configure libkest-dev without libkest0" refuses_development_alone
    check "dpkg installs libkest0, libkest-dev and kest" installs
fi

build_with_cmake() {
    cmake -S "examples/$1" -B "$scratch/$1" -G Ninja -DCMAKE_BUILD_TYPE=Release &&
        cmake --build "$scratch/$1"
}
# In an empty folder, by one line.
build_with_pkg_config() {
    local name=$1 compiler=$2 source=$3
    mkdir "$scratch/pc-$name"
    # shellcheck disable=SC2046
    "$compiler" "examples/$name/$source" $(pkg-config --cflags --libs kest) -o "$scratch/pc-$name/$name"
}
for name in c-host cpp-host; do
    check "$name builds with find_package" build_with_cmake "$name"
    check "it copies a tree" copies "$scratch/$name" "$name"
    check "it prints the text of a failed copy" tells_why "$scratch/$name" "$name"
done
check "c-host builds with pkg-config" build_with_pkg_config c-host gcc main.c
check "it copies a tree" copies "$scratch/pc-c-host" c-host
check "cpp-host builds with pkg-config" build_with_pkg_config cpp-host g++ main.cpp
check "it copies a tree" copies "$scratch/pc-cpp-host" cpp-host

# The ten lines of README.md, with its CMake file and without.
mkdir "$scratch/ten" "$scratch/ten/pc"
ten_lines_with_cmake() {
    readme_file host.cpp "$scratch/ten" && readme_file CMakeLists.txt "$scratch/ten" &&
        cmake -S "$scratch/ten" -B "$scratch/ten/build" && cmake --build "$scratch/ten/build"
}
ten_lines_with_pkg_config() {
    # shellcheck disable=SC2046
    c++ -std=c++17 "$scratch/ten/host.cpp" $(pkg-config --cflags --libs kest) -o "$scratch/ten/pc/host"
}
check "README.md's ten lines build with find_package" ten_lines_with_cmake
check "they copy a tree" ten_lines_copy "$scratch/ten/build"
check "README.md's ten lines build with pkg-config" ten_lines_with_pkg_config
check "they copy a tree" ten_lines_copy "$scratch/ten/pc"

check "kest-history builds with find_package" build_with_cmake history
check "it keeps a history" examples/history/test.sh "$scratch/history/kest-history"

# A host that is not built at all.
mkdir "$scratch/python"
ln -s "$PWD/examples/python-host/python-host.py" "$scratch/python/python-host"
check "python-host copies a tree" copies "$scratch/python" python-host
check "python-host prints the text of a failed copy" tells_why "$scratch/python" python-host

the_command_works() {
    local place
    place=$(mktemp -d -p "$scratch")
    make_tree "$place/source"
    (cd "$place" && kest copy source target && diff -r source target && kest delete target &&
        test ! -e target)
}
check "kest copies and deletes" the_command_works

removes() {
    dpkg --purge "${names[@]}" && same "$before" "$(files_of_usr)"
}
if [ "$way" = installed ]; then
    check "dpkg removes the packages, and nothing stays" removes
fi
finish_checks
