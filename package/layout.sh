# Sourced by test.sh: the files of the package.

for file in "${files[@]}"; do
    check "it holds $file" test -f "$kest/$file"
done

holds_the_public_headers_alone() {
    local internal
    test -f "$kest/include/kest/kest.h" && test -f "$kest/include/kest/c_api.h" || return
    internal=$(cd "$kest/include" && find . -path './kest/platform/*' ! -name Types.h)
    same "" "$internal"
}
check "its headers are the public ones alone" holds_the_public_headers_alone

# Where it was built or installed first is of no use to anyone else.
names_no_build_folder() {
    ! grep -rIlF -e "$top" -e "$scratch/first" "$kest/lib/cmake" "$kest/lib/pkgconfig" "$kest/include"
}
check "its texts name no folder of the build" names_no_build_folder

names_no_build_folder_in_code() {
    local file
    for file in "${binaries[@]}"; do
        case $file in
        *libstdc++* | *libgcc* | *libwinpthread*) continue ;;
        esac
        # The sections that are loaded; debug information may say where it was built.
        objcopy -O binary --only-section=.rodata --only-section=.rdata --only-section=.data \
            --only-section=.dynstr "$kest/$file" "$scratch/sections" || return
        if grep -qaF "$top" "$scratch/sections"; then
            echo "$file names $top"
            return 1
        fi
    done
}
check "its code names no folder of the build" names_no_build_folder_in_code

needs_nothing_else() {
    local file library missing=
    for file in "${binaries[@]}"; do
        for library in $(needed_libraries "$kest/$file"); do
            is_at_hand "$library" || missing+="$file needs $library"$'\n'
        done
    done
    same "" "$missing"
}
check "every library that it needs is in it or in every system" needs_nothing_else
