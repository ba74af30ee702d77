# Sourced by test.sh: how the native package is looked at.

files=(bin/kest lib/libkest.so lib/libkest.so.0 lib/pkgconfig/kest.pc
    share/man/man1/kest.1 share/bash-completion/completions/kest
    lib/cmake/Kest/KestConfig.cmake lib/cmake/Kest/KestConfigVersion.cmake
    lib/cmake/Kest/KestTargets.cmake lib/cmake/Kest/KestTargets-relwithdebinfo.cmake)
compilers_cxx=(g++ clang++)
compilers_c=(gcc clang)
configure_host=()

exported_names() {
    nm -D --defined-only "$kest/lib/libkest.so" | cut -d ' ' -f 3 | c++filt | sort -u
}

# The libraries that a file needs.
needed_libraries() {
    objdump -p "$1" | sed -nE 's/^ *NEEDED +//p'
}

# Part of what any C++ program on the system needs, or in the package.
is_at_hand() {
    case $1 in
    libstdc++.so.6 | libgcc_s.so.1 | libc.so.6 | libm.so.6 | ld-linux-x86-64.so.2) ;;
    *) [ -e "$kest/lib/$1" ] ;;
    esac
}

binaries=(bin/kest lib/libkest.so)

# Runs a host that was built in the folder $1.
run_host() {
    local folder=$1 name=$2
    shift 2
    "$folder/$name" "$@"
}

# A path as a host is given it.
host_path() {
    printf '%s' "$1"
}
