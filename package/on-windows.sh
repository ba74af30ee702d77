# Sourced by test.sh: how the Windows package is looked at.

files=(bin/Kest.dll bin/kest.exe bin/libstdc++-6.dll bin/libgcc_s_seh-1.dll bin/libwinpthread-1.dll
    lib/libKest.dll.a lib/pkgconfig/kest.pc
    lib/cmake/Kest/KestConfig.cmake lib/cmake/Kest/KestConfigVersion.cmake
    lib/cmake/Kest/KestTargets.cmake lib/cmake/Kest/KestTargets-relwithdebinfo.cmake)
compilers_cxx=(x86_64-w64-mingw32-g++-posix)
compilers_c=(x86_64-w64-mingw32-gcc-posix)
configure_host=(-DCMAKE_TOOLCHAIN_FILE="$top/cmake/mingw-w64.cmake")

library=bin/Kest.dll
list=package/windows/Kest.def

# What the list holds, and what a file exports.
listed_names() {
    sed -nE 's/^ +([^ ;]+).*/\1/p' $list | sort -u
}
exported_names() {
    x86_64-w64-mingw32-objdump -p "$1" |
        sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/ s/^\t\[ *[0-9]*\] //p' | sort -u
}

# The archive, unpacked in an empty folder. It holds one folder.
take_package() {
    check "the archive can be unpacked" unpack build/packages/kest-*-windows-x64.zip "$kest"
    check "so can that of the debug information" \
        unpack build/packages/kest-*-windows-x64-debug.zip "$scratch/debug"
}
unpack() {
    local folder=$scratch/unpacked
    mkdir "$folder" && (cd "$folder" && cmake -E tar xf "$top/$1") &&
        same "kest-$version-windows-x64" "$(ls "$folder")" && mv "$folder"/* "$2" &&
        rmdir "$folder"
}

needed_libraries() {
    x86_64-w64-mingw32-objdump -p "$1" | sed -nE 's/^\tDLL Name: //p'
}

# In the package, or part of every Windows.
is_at_hand() {
    case ${1,,} in
    kernel32.dll | ntdll.dll | msvcrt.dll | advapi32.dll | bcrypt.dll | ktmw32.dll | ole32.dll | \
        oleaut32.dll | netapi32.dll) ;;
    *) [ -e "$kest/bin/$1" ] ;;
    esac
}

binaries=(bin/kest.exe bin/Kest.dll bin/libstdc++-6.dll bin/libgcc_s_seh-1.dll
    bin/libwinpthread-1.dll)

# Runs a host beside what the package holds in bin/, and nothing else: no tool chain in reach.
run_host() {
    local folder=$1 name=$2
    shift 2
    cp -n "$kest"/bin/* "$folder/"
    KEST_WINE_BARE=1 "$top/cmake/under-wine.sh" "$folder/$name.exe" "$@"
}

# A path as a host is given it: full, because the library removes directories by their literal names.
host_path() {
    printf 'Z:%s' "${1//\//\\}"
}

# A key of the registry with one subkey and its value.
make_registry_value() {
    cmake/under-wine.sh reg add 'HKCU\Software\KestContract\one' /v Name /d x /f
}

# How broken.sh makes and loads a library of its own.
built_library=bin/Kest.dll
target_name=Kest.dll
loaded_name=Kest.dll
object_suffix=.obj
program_suffix=.exe
link_against="-L$kest/lib -lKest"
