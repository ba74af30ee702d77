# Sourced by test.sh: the archives for Windows.

# Everything of an ordinary install, and nothing else.
holds_what_is_installed() {
    cmake --install build/windows --prefix "$scratch/install" >/dev/null || return
    same "$(cd "$scratch/install" && find . -type f | sort)" \
        "$(cd "$kest" && find . -type f | sort)"
}
check "the archive holds what an install holds" holds_what_is_installed
for text in README GPL-3 gcc-mingw-w64-base mingw-w64-x86-64-dev libcli11-dev; do
    check "it holds licences/$text.txt" test -s "$kest/licences/$text.txt"
done

shows_its_version() {
    local resource
    resource=$(x86_64-w64-mingw32-windres -J coff -O rc "$kest/bin/Kest.dll") || return
    grep -F "FILEVERSION ${version//./, }, 0" <<<"$resource" &&
        grep -F "\"FileVersion\", \"$version\"" <<<"$resource" &&
        grep -F '"OriginalFilename", "Kest.dll"' <<<"$resource"
}
check "Kest.dll shows its version" shows_its_version

# The debug information fits the file: by its checksum, and by what it knows of the code.
debug_information_fits() {
    local file=$1 debug=$scratch/debug/bin/${1##*/}.debug linked
    linked=$(x86_64-w64-mingw32-objdump -s -j .gnu_debuglink "$kest/$file" | tail -n 1) &&
        x86_64-w64-mingw32-objcopy -O binary --only-section=.gnu_debuglink --set-section-flags \
            .gnu_debuglink=alloc "$kest/$file" "$scratch/link" || return
    same "${file##*/}.debug" "$(head -c -4 "$scratch/link" | tr -d '\000')" &&
        same "$(python3 -c 'import sys, zlib; print("%08x" % zlib.crc32(open(sys.argv[1], "rb").read()))' \
            "$debug")" "$(tail -c 4 "$scratch/link" | od -An -tx4 | tr -d ' ')" &&
        x86_64-w64-mingw32-objdump -h "$debug" | grep -F .debug_info &&
        ! x86_64-w64-mingw32-objdump -h "$kest/$file" | grep -F .debug_info
}
for file in bin/Kest.dll bin/kest.exe; do
    check "the debug information of $file fits it" debug_information_fits "$file"
done

# The ten lines of README.md, with nothing but the unpacked archive and the compiler.
ten_lines_build() {
    mkdir "$scratch/ten" && readme_file host.cpp "$scratch/ten" &&
        x86_64-w64-mingw32-g++-posix -std=c++17 "$scratch/ten/host.cpp" -I"$kest/include" \
            -L"$kest/lib" -lKest -o "$scratch/ten/host.exe"
}
check "README.md's ten lines build" ten_lines_build
check "they copy a tree" ten_lines_copy "$scratch/ten"

# Another tool chain's import library is made of the list.
links_by_the_list() {
    local host=$scratch/by-list
    mkdir "$host" && x86_64-w64-mingw32-dlltool -d "$kest/lib/Kest.def" -l "$host/libother.a" &&
        x86_64-w64-mingw32-gcc-posix -std=c11 -I"$kest/include" examples/c-host/main.c \
            -L"$host" -lother -o "$host/c-host.exe" && copies "$host" c-host
}
check "c-host builds with an import library made of Kest.def, and copies a tree" links_by_the_list

# A machine that has nothing but Windows: a prefix of its own that does not exist yet, without what the
# tests' prefix is given, and no library in reach but those in the folder.
starts_on_a_new_machine() {
    local status
    mkdir "$scratch/new" && cp "$kest"/bin/* "$scratch/new/" && make_tree "$scratch/new/source" || return
    in_new_prefix "cd '$scratch/new' && timeout 300 \"\$kest_wine\" kest.exe copy source target"
    status=$?
    in_new_prefix "wineserver -k"
    same 0 $status && diff -r "$scratch/new/source" "$scratch/new/target"
}
in_new_prefix() {
    KEST_WINEPREFIX=$scratch/prefix KEST_WINE_BARE=1 here=$top/cmake setsid -w \
        bash -c ". cmake/wine-environment.sh; $1" </dev/null
}
check "kest.exe works on a machine that has nothing else" starts_on_a_new_machine
