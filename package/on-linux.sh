# Sourced by test.sh: how the native package is looked at.

files=(bin/kest lib/libkest.so lib/libkest.so.0 lib/pkgconfig/kest.pc
    share/man/man1/kest.1 share/bash-completion/completions/kest
    lib/cmake/Kest/KestConfig.cmake lib/cmake/Kest/KestConfigVersion.cmake
    lib/cmake/Kest/KestTargets.cmake lib/cmake/Kest/KestTargets-relwithdebinfo.cmake)
compilers_cxx=(g++ clang++)
compilers_c=(gcc clang)
configure_host=()

library=lib/libkest.so
list=package/debian/symbols

# What the list holds, and what a file exports.
listed_names() {
    sed -nE 's/^ (.*)@Base .*/\1/p' $list | sort -u
}
exported_names() {
    nm -D --defined-only "$1" | cut -d ' ' -f 3 | sort -u
}

# The installed tree, moved away from where it was installed to.
take_package() {
    check "it installs" cmake --install build/linux --prefix "$scratch/first"
    mv "$scratch/first" "$kest"
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

# A key of the registry with one subkey and its value, in the folder $1, beside the two keys that the
# library reads while it is being loaded.
make_registry_value() {
    printf '%s\n' 'Windows Registry Editor Version 5.00' '' \
        '[HKEY_CLASSES_ROOT\Installer\Products]' '' \
        '[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Installer\Folders]' '' \
        '[HKEY_CURRENT_USER\Software\KestContract\one]' '"Name"="x"' >"$1/registry"
}

# How broken.sh makes and loads a library of its own.
built_library=libkest.so.$version
target_name=libkest.so
loaded_name=libkest.so.0
object_suffix=.o
program_suffix=
link_against="-L$kest/lib -lkest -Wl,-rpath,$kest/lib"
