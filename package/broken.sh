# Sourced by test.sh: that the checks of the binary contract can fail. Libraries are linked that each
# differ from the product in one source: with an export lost, with one added, with two virtual functions
# in each other's place.

# Makes $scratch/broken/NAME.so or .dll out of the source, whose tree in $scratch/broken/NAME was changed.
link_broken() {
    local name=$1 source=$2 broken=$scratch/broken target object compile link
    target=$built_library
    object=CMakeFiles/kest_objects.dir/$source$object_suffix
    compile=$(ninja -C "build/$platform" -t commands "$object" | tail -n 1)
    link=$(ninja -C "build/$platform" -t commands "$target" | tail -n 1)
    compile=${compile//"$top/kest/"/"$broken/$name/kest/"}
    compile=${compile//"-I$top "/"-I$broken/$name "}
    compile=${compile/"-ffile-prefix-map="/"-ffile-prefix-map=$broken/$name/= -ffile-prefix-map="}
    compile=${compile//"$object"/"$broken/$name/object"}
    link=${link/" $object "/" $broken/$name/object "}
    link=${link/"-o $target "/"-o $broken/linked/$target_name "}
    link=${link/"out-implib,"/"out-implib,$broken/linked/"}
    mkdir -p "$broken/linked"
    # Always there first: the Windows linker takes the place in memory from the name of the file.
    (cd "build/$platform" && bash -c "$compile" && bash -c "$link") &&
        mv "$broken/linked/$target_name" "$broken/$name/"
}

# A copy of the sources under that name, changed by sed in the given file.
change_sources() {
    local name=$1 file=$2 edit=$3 broken=$scratch/broken
    mkdir -p "$broken/$name" && cp -r kest "$broken/$name/" &&
        sed -i -E "$edit" "$broken/$name/$file" && ! cmp -s "$file" "$broken/$name/$file"
}

# finds FINDING COMMAND...: the command fails and says so.
finds() {
    local finding=$1 output
    shift
    if output=$("$@" 2>&1); then
        echo "nothing was found"
        return 1
    fi
    grep -F -e "$finding" <<<"$output" >/dev/null && return
    echo "instead of '$finding' it said:"
    echo "$output"
    return 1
}

loses_an_export() {
    change_sources lost kest/c_api.h 's/^KEST_API (void deleteKESTArray)/\1/' &&
        link_broken lost kest/exports/TextExports.cpp &&
        finds "lost: deleteKESTArray" exports_are_as_listed "$scratch/broken/lost/$target_name"
}
check "a lost export is found" loses_an_export

adds_an_export() {
    change_sources added kest/exports/TextExports.cpp \
        '$ a namespace Tallowmere { KEST_API int unexpected(int x); int unexpected(int x) { return x; } }' &&
        link_broken added kest/exports/TextExports.cpp &&
        finds "added: _ZN10Tallowmere10unexpectedEi, which is Tallowmere::unexpected(int)" \
            exports_are_as_listed "$scratch/broken/added/$target_name"
}
check "an added export is found" adds_an_export

# The two getters of Exception change places: by the headers, and in the library itself.
swap_two_functions() {
    change_sources swapped kest/diagnostics/Exception.h \
        's/getReason\(\) const/getOther() const/; s/getDetailedReason\(\)/getReason()/; s/getOther/getDetailedReason/' &&
        link_broken swapped kest/diagnostics/Exception.cpp
}
check "a library with two virtual functions exchanged can be made" swap_two_functions

swapped_headers_are_found() {
    mkdir "$scratch/broken/layout" &&
        "${compilers_cxx[0]}" -std=c++17 -I"$scratch/broken/swapped" package/contract/Layout.cpp \
            -o "$scratch/broken/layout/layout$program_suffix" $link_against &&
        cp "$kest/bin/"*.dll "$scratch/broken/layout/" 2>/dev/null
    finds "+    slot 3: getDetailedReason" layout_is_as_listed "$scratch/broken/layout"
}
check "the exchange is found in the headers" swapped_headers_are_found

swapped_library_is_found() {
    mkdir "$scratch/broken/slots" && cp "$contract/slots$program_suffix" "$scratch/broken/slots/" &&
        cp "$scratch/broken/swapped/$target_name" "$scratch/broken/slots/$loaded_name" || return
    LD_LIBRARY_PATH=$scratch/broken/slots \
        finds "wrong: Exception 3 is getReason" slots_are_as_numbered "$scratch/broken/slots"
}
check "the exchange is found in the library, by a program that was built before" \
    swapped_library_is_found

if [ "$platform" = linux ] && command -v abidiff >/dev/null; then
    check "abidiff finds the exchange" \
        finds "Exception" interface_is_as_dumped "$scratch/broken/swapped/$target_name"
fi

# A short form of reproducible.sh: one source is compiled in two other folders and linked with the rest,
# without what a compiler cache remembers, and everything is packed once more, by a packer with other
# habits.
links_the_same() {
    local folder
    for folder in twin its/other/twin; do
        mkdir -p "$scratch/broken/$folder" && cp -r kest "$scratch/broken/$folder/" &&
            CCACHE_DISABLE=1 link_broken "$folder" kest/exports/TransactedExports.cpp || return
    done
    cmp "$scratch/broken/twin/$target_name" "$scratch/broken/its/other/twin/$target_name"
}
check "another folder gives the same library" links_the_same

packs_the_same() {
    local again
    (umask 077 && TZ=Pacific/Auckland scripts/packages.sh "$platform" "$scratch/again") &&
        test -n "$(ls "$scratch/again")" || return
    for again in "$scratch/again"/*; do
        cmp "$again" "build/packages/${again##*/}" || return
    done
}
check "packing once more gives the same packages" packs_the_same
