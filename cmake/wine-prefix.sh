#!/bin/sh
# Makes the Wine prefix of the tests if it is not there, and keeps its server running while the tests
# do: `wine-prefix.sh start`, later `wine-prefix.sh stop`. The server is started apart from every
# pipe, because its services would keep a pipe open for ever.
set -e
here=$(dirname "$(readlink -f "$0")")
. "$here/wine-environment.sh"
case "$1" in
start)
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
        echo "Making a Wine prefix at $WINEPREFIX"
        mkdir -p "$(dirname "$WINEPREFIX")"
        wineboot -i </dev/null >/dev/null 2>&1
        wineserver -w
        # A crash must end the program with its code, not with the debugger's.
        wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Auto \
            /t REG_SZ /d 0 /f </dev/null >/dev/null 2>&1
        wineserver -w
    fi
    wineserver -p </dev/null >/dev/null 2>&1
    wine cmd /c exit </dev/null >/dev/null 2>&1
    ;;
stop)
    wineserver -k </dev/null >/dev/null 2>&1 || true
    ;;
*)
    echo "usage: wine-prefix.sh start|stop" >&2
    exit 2
    ;;
esac
