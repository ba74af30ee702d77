# Sourced by test.sh: the exported names are ours and no others.

# What kest/c_api.h declares.
declared_entry_points() {
    sed -nE 's/^KEST_API .*[ *]([A-Za-z]+)\(.*/\1/p' "$kest/include/kest/c_api.h" | sort
}

exports_the_c_entry_points() {
    same "$(declared_entry_points)" "$(exported_names | grep -E '^[A-Za-z_0-9]+$')"
}
check "the plain exported names are those of kest/c_api.h" exports_the_c_entry_points

# Everything else belongs to the public namespace, and nothing of it to what lies below the seam.
exports_nothing_foreign() {
    local foreign
    foreign=$(exported_names | grep -vE '^[A-Za-z_0-9]+$' | grep -vE \
        '^((vtable|VTT|typeinfo|typeinfo name|guard variable) for )?Tallowmere::')
    same "" "$foreign"
}
check "every other exported name is in the public namespace" exports_nothing_foreign

exports_nothing_internal() {
    same "" "$(exported_names | grep -E 'platform::|testing::|anonymous')"
}
check "no exported name is internal" exports_nothing_internal

exports_something() {
    exported_names | grep -F 'Tallowmere::CopyDirectoryTransacted(' >/dev/null
}
check "the C++ interface is exported" exports_something
