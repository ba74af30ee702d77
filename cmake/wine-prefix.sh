#!/bin/sh
# Makes the Wine prefix of the tests if it is not there, and has its server run while tests do:
# `wine-prefix.sh start`, later `wine-prefix.sh stop`. The prefix is build/wine of this checkout, or
# the folder that KEST_WINEPREFIX names.
#
# Wine starts services beside the first program, and they keep whatever that program had open: a
# ctest or a pipe that waits for its end would wait for the services. So the first program is started
# here, apart from every file but /dev/null, and the server outlives the pauses between two tests.
set -eu
here=$(dirname "$(readlink -f "$0")")
. "$here/wine-environment.sh"

# "$@" apart from every file of the caller's, who must be told of a failure all the same.
apart() {
    setsid -w "$@" </dev/null >/dev/null 2>&1 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&- && return
    status=$?
    echo "wine-prefix.sh: $* failed with status $status." >&2
    return $status
}

make_prefix() {
    if [ -e "$WINEPREFIX" ]; then
        echo "wine-prefix.sh: $WINEPREFIX exists and was not made by this script." >&2
        exit 1
    fi
    echo "Making a Wine prefix at $WINEPREFIX" >&2
    ready=$WINEPREFIX
    # Made aside and renamed, so that a prefix is there whole or not at all.
    WINEPREFIX=$ready.new
    rm -rf "$WINEPREFIX"
    # On failure wineboot can wait for ever.
    if ! apart timeout 300 "$kest_wine" wineboot -i; then
        echo "wine-prefix.sh: wineboot failed." >&2
        exit 1
    fi
    # Beside the override above: no debugger may take a crash from the program and end well.
    apart timeout 60 "$kest_wine" reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
        /v Auto /t REG_SZ /d 0 /f
    apart timeout 60 wineserver -w
    # Wine links Documents, Desktop and so on to the user's home: no test may get there by accident.
    # Drive Z: stays, because that is how a program finds itself and its tests' files.
    find "$WINEPREFIX/drive_c" -type l -exec sh -c 'rm "$1" && mkdir "$1"' sh {} \;
    touch "$WINEPREFIX/kest-ready"
    mv "$WINEPREFIX" "$ready"
    WINEPREFIX=$ready
}

# What every Windows has and Wine has not: the installer's keys, empty. The library reads them while it
# is being loaded and would say in every program that they are missing.
add_installer_keys() {
    apart timeout 60 "$kest_wine" reg add 'HKCR\Installer\Products' /f
    apart timeout 60 "$kest_wine" reg add \
        'HKLM\Software\Microsoft\Windows\CurrentVersion\Installer\Folders' /f
    touch "$WINEPREFIX/kest-installer-keys"
}

case "${1:-}" in
start)
    kest_wine_is_ready && exit 0
    mkdir -p "$(dirname "$WINEPREFIX")"
    # Two first starts at once hinder each other. -o: the server must not inherit the lock.
    exec flock -o "$WINEPREFIX.lock" "$here/wine-prefix.sh" start-alone
    ;;
start-alone)
    [ -f "$WINEPREFIX/kest-ready" ] || make_prefix
    if ! kest_wine_is_ready; then
        # It ends by itself a minute after the last program, should nobody stop it.
        # One that is just ending refuses a second one; the program below then starts its own.
        apart wineserver -p60 || true
        apart timeout 120 "$kest_wine" cmd /c exit
        [ -f "$WINEPREFIX/kest-installer-keys" ] || add_installer_keys
    fi
    ;;
stop)
    if [ -d "$WINEPREFIX" ]; then
        apart wineserver -k 2>/dev/null || true
    fi
    ;;
*)
    echo "usage: wine-prefix.sh start|stop" >&2
    exit 2
    ;;
esac
