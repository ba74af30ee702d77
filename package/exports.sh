# Sourced by test.sh: the exported names are those of the checked-in list, no more and no fewer.

# The names that the file lacks or has beyond the list, each as a compiler writes it and as a person does.
exports_are_as_listed() {
    local difference
    difference=$(diff <(listed_names) <(exported_names "$1"))
    [ -n "$difference" ] || return 0
    {
        sed -nE 's/^< /lost: /p' <<<"$difference"
        sed -nE 's/^> /added: /p' <<<"$difference"
    } | while read -r fate name; do
        echo "$fate $name, which is $(c++filt "$name")"
    done
    echo "A lost name stops programs that were built earlier. If it is meant so, and for every added"
    echo "name, run package/renew.sh $platform and commit what it changes in package/."
    return 1
}
check "the exported names are those of $list" exports_are_as_listed "$kest/$library"

# What kest/c_api.h declares.
declared_entry_points() {
    sed -nE 's/^KEST_API .*[ *]([A-Za-z]+)\(.*/\1/p' "$kest/include/kest/c_api.h" | sort
}

# A name of C++ begins with _Z.
exports_the_c_entry_points() {
    same "$(printf '%s\n' CopyDirectoryTransacted CopyLink deleteKESTArray logMessage \
        restoreSystem setRecorderFile)" "$(exported_names "$kest/$library" | grep -v '^_Z')" &&
        same "$(declared_entry_points)" "$(exported_names "$kest/$library" | grep -v '^_Z' | sort)"
}
check "the names without decoration are the six of kest/c_api.h" exports_the_c_entry_points

# Everything else belongs to the public namespace, and nothing of it to what lies below the seam.
exports_nothing_foreign() {
    local foreign
    foreign=$(exported_names "$kest/$library" | grep '^_Z' | c++filt | grep -vE \
        '^((vtable|VTT|typeinfo|typeinfo name|guard variable) for )?Tallowmere::')
    same "" "$foreign"
}
check "every other exported name is in the public namespace" exports_nothing_foreign

exports_nothing_internal() {
    same "" "$(exported_names "$kest/$library" | c++filt | grep -E 'platform::|testing::|anonymous')"
}
check "no exported name is internal" exports_nothing_internal
