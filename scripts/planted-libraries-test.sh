#!/bin/bash
# Proves that the command loads nothing from where it is started or from the search path of programs:
# both are full of libraries that say so when they are loaded, under every name that might be asked for.
#
#   planted-libraries-test.sh BUILD [COMPILER [RUNNER]]
#
# The command is the installed one, which looks for its library where it was put.
set -euo pipefail
build=$(readlink -f "${1:?usage: planted-libraries-test.sh BUILD [COMPILER [RUNNER]]}")
compiler=${2:-cc}
runner=${3:+$(readlink -f "$3")}
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
mkdir "$world/planted" "$world/from"
echo content >"$world/from/file"
cmake --install "$build" --prefix "$world/installed" >/dev/null
program=$world/installed/bin/kest
[[ -e $program ]] || program+=.exe

if [[ $program == *.exe ]]; then
    cat >"$world/planted.c" <<'SOURCE'
#include <windows.h>
BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
    DWORD written;
    (void)module, (void)reserved;
    if (reason == DLL_PROCESS_ATTACH) {
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), "PLANTED\n", 8, &written, NULL);
    }
    return TRUE;
}
SOURCE
    names=(wmiutils ktmw32 bcrypt bcryptprimitives netapi32 ole32 oleaut32 wbemprox wbemcomn version
        cryptbase cryptsp rpcrt4 rpcss sspicli profapi userenv kernelbase shell32 advapi32 uxtheme)
    names=("${names[@]/%/.dll}")
    folder=Z:$world/
else
    cat >"$world/planted.c" <<'SOURCE'
#include <unistd.h>
static void __attribute__((constructor)) loaded(void) {
    (void)!write(2, "PLANTED\n", 8);
}
SOURCE
    # What the program and its libraries need, and what the C library may load by itself.
    mapfile -t names < <({ ldd "$program" | awk '{ print $1 }' | xargs -n 1 basename
        echo libnss_files.so.2 libnss_dns.so.2 libgcc_s.so.1 libtinfo.so.6 gconv-modules.so UTF-16.so \
            libkest.so libkest.so.0 wmiutils.so wmiutils.dll | tr ' ' '\n'; } | sort -u)
    folder=$world/
fi
"$compiler" -shared -fPIC -o "$world/library.dll" "$world/planted.c" 2>/dev/null ||
    "$compiler" -shared -o "$world/library.dll" "$world/planted.c"
for name in "${names[@]}"; do
    cp "$world/library.dll" "$world/planted/$name"
done

# That a planted library would be seen: told to load one by its path, the loader does.
if [[ $program != *.exe ]]; then
    seen=$(LD_PRELOAD=$world/planted/libgcc_s.so.1 "$program" --version 2>&1 || true)
    [[ $seen == *PLANTED* ]] || { echo "a library that is loaded is not seen"; exit 1; }
fi

cd "$world/planted"
for words in "--version" "copy ${folder}from ${folder}to" "delete ${folder}to"; do
    # shellcheck disable=SC2086
    output=$(PATH=$world/planted:$PATH WINEPATH="Z:$world/planted;${WINEPATH:-}" \
        $runner "$program" $words 2>&1 </dev/null) || { echo "$words failed: $output"; exit 1; }
    if grep -q PLANTED <<<"$output"; then
        echo "$words loaded a planted library"
        exit 1
    fi
done
[[ ! -e $world/to ]] || { echo "nothing was deleted"; exit 1; }
