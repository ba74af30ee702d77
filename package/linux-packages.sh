# Sourced by test.sh: the Debian packages.

debs=(build/packages/libkest0_*.deb build/packages/libkest-dev_*.deb build/packages/kest_*.deb)

# What Debian's own checker finds, information included; what we allow stands in package/debian/allowed
# with its reason.
lintian_is_content() {
    local found
    found=$(LC_ALL=C.UTF-8 lintian --allow-root --no-cfg --display-info --fail-on none \
        --suppress-tags-from-file <(sed '/^#/d' package/debian/allowed) "${debs[@]}") || return
    same "" "$found"
}
if command -v lintian >/dev/null; then
    check "lintian finds nothing in the Debian packages" lintian_is_content
fi

control() {
    dpkg-deb --field "build/packages/$1"_[0-9]*.deb "$2"
}

depends_on_the_same_version() {
    local version
    version=$(control libkest0 Version)
    same "$(dpkg-parsechangelog -l package/debian/changelog -S Version)" "$version" &&
        same "libkest0 (= $version)" "$(control libkest-dev Depends)" &&
        grep -qF "libkest0 (= $version)" <<<"$(control kest Depends)" &&
        grep -qF "libc6 (>= " <<<"$(control libkest0 Depends)" &&
        grep -qF "libstdc++6 (>= " <<<"$(control libkest0 Depends)"
}
check "each package depends on what it needs" depends_on_the_same_version

# The debug information of the shipped library is in its package, under the library's own number.
debug_information_is_apart() {
    local id
    mkdir "$scratch/deb" "$scratch/dbgsym" &&
        dpkg-deb -x build/packages/libkest0_*.deb "$scratch/deb" &&
        dpkg-deb -x build/packages/libkest0-dbgsym_*.deb "$scratch/dbgsym" || return
    id=$(readelf -n "$scratch"/deb/usr/lib/*/libkest.so.0 | sed -nE 's/^ +Build ID: //p')
    readelf -W -S "$scratch"/deb/usr/lib/*/libkest.so.0 | grep -F .debug_info && return 1
    readelf -W -S "$scratch/dbgsym/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" |
        grep -F .debug_info
}
check "the debug information is in a package of its own" debug_information_is_apart
check "the packaged library is hardened" is_hardened "$scratch"/deb/usr/lib/*/libkest.so.0
check "the packaged library exports the listed names" \
    exports_are_as_listed "$(echo "$scratch"/deb/usr/lib/*/libkest.so.0)"

# What of `needs` is missing for a root that is this machine's, with changes that are thrown away.
overlay() {
    unshare --mount --propagation private bash package/in-overlay.sh "$@"
}

# Counts what another script has checked.
add_checks() {
    local title=$1 output sum
    shift
    output=$("$@" 2>&1)
    sed -nE '/^(passed|FAILED): |^    /p' <<<"$output"
    sum=$(sed -nE 's/^([0-9]+) checks passed and ([0-9]+) failed$/\1 \2/p' <<<"$output" | tail -n 1)
    if [ -z "$sum" ]; then
        checks_failed=$((checks_failed + 1))
        echo "FAILED: $title"
        sed 's/^/    /' <<<"$output"
        return
    fi
    checks_passed=$((checks_passed + ${sum% *}))
    checks_failed=$((checks_failed + ${sum#* }))
}

if (($(id -u) == 0)) && overlay "$scratch/try" true 2>/dev/null; then
    add_checks "the installed packages" \
        overlay "$scratch/root" package/installed.sh "$PWD/build/packages" installed
else
    # Neither root nor mounts: what the packages would install is used from a folder, and nobody but
    # apt-get looks at the dependencies.
    echo "The packages are unpacked, not installed: this machine does not let us put a root of our own" \
        "over its own."
    check "apt-get would install them" apt-get --simulate --no-download install \
        "${debs[@]/#/$PWD/}"
    root=$scratch/root
    mkdir "$root"
    for deb in "${debs[@]}"; do
        dpkg-deb -x "$deb" "$root"
    done
    libraries=$(echo "$root"/usr/lib/*-linux-gnu)
    add_checks "the unpacked packages" env CMAKE_PREFIX_PATH="$root/usr" \
        PKG_CONFIG_LIBDIR="$libraries/pkgconfig" PKG_CONFIG_SYSROOT_DIR="$root" \
        LD_LIBRARY_PATH="$libraries" PATH="$root/usr/bin:$PATH" \
        bash package/installed.sh "$PWD/build/packages" unpacked
fi
