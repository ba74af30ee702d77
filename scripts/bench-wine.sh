#!/bin/bash
# How long Windows' loader takes for the library under Wine, beside a library of which nothing is
# asked: with the registry as it is and with 20,000 installed programs in it. A line for each: what, and
# the median of the microseconds. Writes nothing where the compiler, Wine or Kest.dll is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
dll=build/windows/bin/Kest.dll
compiler=x86_64-w64-mingw32-gcc-posix
if ! command -v "$compiler" wine >/dev/null || [ ! -f "$dll" ]; then
    exit 0
fi
cmake/wine-prefix.sh start </dev/null >/dev/null 2>&1 || exit 0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp build/windows/bin/*.dll "$scratch"
for library in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
    cp "$("$compiler" -print-file-name="$library")" "$scratch" 2>/dev/null ||
        cp "/usr/x86_64-w64-mingw32/lib/$library" "$scratch"
done
echo 'int empty(void) { return 0; }' >"$scratch/empty.c"
"$compiler" -shared -o "$scratch/empty.dll" "$scratch/empty.c"
"$compiler" -O2 -o "$scratch/loadlibrary.exe" bench/loadlibrary.c

key='HKEY_CLASSES_ROOT\Installer\Products'
# $1 names the row, $2 is the library.
measure() {
    for _ in 1 2 3 4 5 6 7; do
        (cd "$scratch" && "$OLDPWD/cmake/under-wine.sh" loadlibrary.exe "$2" 2>/dev/null | tr -d '\r' | tail -1)
    done | sort -n | sed -n 4p | sed "s/^/$1\t/"
}
measure "an empty library" empty.dll
measure "Kest.dll" Kest.dll
{
    printf 'Windows Registry Editor Version 5.00\r\n\r\n[%s]\r\n' "$key"
    for ((i = 0; i < 20000; ++i)); do
        printf '[%s\\Kest%05d]\r\n"ProductName"="Program %d"\r\n' "$key" "$i" "$i"
    done
} >"$scratch/many.reg"
for ((i = 0; i < 20000; ++i)); do
    printf '[-%s\\Kest%05d]\r\n' "$key" "$i"
done | sed '1i Windows Registry Editor Version 5.00\r\n\r' >"$scratch/none.reg"
(cd "$scratch" && "$OLDPWD/cmake/under-wine.sh" regedit many.reg >/dev/null 2>&1)
measure "Kest.dll, 20,000 programs in the registry" Kest.dll
(cd "$scratch" && "$OLDPWD/cmake/under-wine.sh" regedit none.reg >/dev/null 2>&1)
