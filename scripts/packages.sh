#!/bin/bash
# Packs what was built: packages.sh linux|windows [FOLDER]. The Debian packages, or the archives for
# Windows, are in FOLDER afterwards, by default build/packages. Two runs on the same sources give the
# same files, byte by byte, wherever and whenever they take place: package/reproducible.sh sees to it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
platform=${1:?usage: packages.sh linux|windows [FOLDER]}
folder=${2:-build/packages}
build=build/$platform
case $platform in
linux)
    kind=deb
    ;;
windows)
    kind=zip
    ;;
*)
    echo "usage: packages.sh linux|windows [FOLDER]" >&2
    exit 2
    ;;
esac

# Every time stamp is that of the newest entry of the list of changes; an archive knows no zone.
changed=$(sed -nE 's/^ -- .*>  (.*)$/\1/p' package/debian/changelog | head -n 1)
SOURCE_DATE_EPOCH=$(date -d "$changed" +%s)
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
umask 022

# What CPack 3.25 gets wrong: it calls ldconfig from scripts of the package, where a trigger is the
# custom and stands in ours already; it knows no Multi-Arch; and the list of a debug package names files
# by where they were built, and has no copyright.
mend_debian_package() {
    local tree=$work/tree name level=6
    rm -rf "$tree"
    dpkg-deb --raw-extract "$1" "$tree"
    sed -i '/^$/d' "$tree/DEBIAN/control"
    name=$(sed -n 's/^Package: //p' "$tree/DEBIAN/control")
    rm -f "$tree"/DEBIAN/postinst "$tree"/DEBIAN/postrm
    case $name in
    *-dbgsym)
        mkdir -p "$tree/usr/share/doc"
        ln -s "${name%-dbgsym}" "$tree/usr/share/doc/$name"
        level=1  # Large, and seldom fetched.
        (cd "$tree" && find usr -type f -exec md5sum {} +) | sort -k 2 >"$tree/DEBIAN/md5sums"
        ;;
    libkest*)
        echo "Multi-Arch: same" >>"$tree/DEBIAN/control"
        ;;
    esac
    dpkg-deb --root-owner-group -z$level --build "$tree" "$2"
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cpack --config "$build/CPackConfig.cmake" -B "$work"
mkdir -p "$folder"
rm -f "$folder"/*."$kind"
case $platform in
linux)
    for package in "$work"/*.deb "$work"/*.ddeb; do
        mend_debian_package "$package" "$folder/$(basename "${package/%.ddeb/.deb}")"
    done
    ;;
windows)
    mv "$work"/*.zip "$folder/"
    ;;
esac
