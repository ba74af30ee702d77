# Sourced, with `here` set to this folder: the settings under which everything of ours runs in Wine.

# One prefix for each checkout, so that two of them never meet in one Wine server.
WINEPREFIX=${KEST_WINEPREFIX:-$(dirname "$here")/build/wine}
# In this prefix no crash may end in the debugger: it prints pages, and by default the program then
# ends with exit code 0. No menus, no browser and no .NET are needed either.
WINEDLLOVERRIDES='winedbg.exe=d;winemenubuilder.exe=d;mscoree=d;mshtml=d'
WINEDEBUG=${WINEDEBUG:--all}
# The language of Wine's own texts.
LC_ALL=C.UTF-8
# Nothing of ours opens a window.
unset DISPLAY WAYLAND_DISPLAY

# The tool chain's run-time libraries, for programs that were just built. KEST_WINE_BARE=1 leaves
# them away: then a program has what stands beside it and nothing else.
if [ -n "${KEST_WINE_BARE:-}" ]; then
    unset WINEPATH
else
    compiler=x86_64-w64-mingw32-g++-posix
    runtime=$(dirname "$($compiler -print-file-name=libstdc++-6.dll 2>/dev/null || echo /)")
    WINEPATH="${WINEPATH:+$WINEPATH;}Z:$runtime;Z:/usr/x86_64-w64-mingw32/lib"
    export WINEPATH
fi

# Debian's package wine64 alone has no launcher on the path; the package wine has one, a script that
# only looks for this file.
PATH=$PATH:/usr/lib/wine
kest_wine=wine
if [ -x /usr/lib/wine/wine64 ]; then
    kest_wine=/usr/lib/wine/wine64
    WINELOADER=$kest_wine
    export WINELOADER
fi
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES LC_ALL PATH

# Whether the prefix is made and its server runs (signal 0 only asks).
kest_wine_is_ready() {
    [ -f "$WINEPREFIX/kest-ready" ] && [ -f "$WINEPREFIX/kest-installer-keys" ] &&
        wineserver -k0 >/dev/null 2>&1
}
