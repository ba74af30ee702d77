# Sourced: the settings under which everything of ours runs in Wine.
WINEPREFIX=${KEST_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kest/wine}
WINEDEBUG=${WINEDEBUG:--all}
WINEDLLOVERRIDES='winedbg.exe=d;winemenubuilder.exe=d;mscoree=d;mshtml=d'
LC_ALL=C.UTF-8
runtime=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll 2>/dev/null)")
WINEPATH="${WINEPATH:+$WINEPATH;}Z:$runtime;Z:/usr/x86_64-w64-mingw32/lib"
PATH=$PATH:/usr/lib/wine
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES LC_ALL WINEPATH PATH
