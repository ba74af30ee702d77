#!/bin/sh
# Runs a Windows program under Wine: in the prefix of this checkout (made on the first call), with a
# fixed language, and so that its exit code arrives, also after a crash.
here=$(dirname "$(readlink -f "$0")")
. "$here/wine-environment.sh"
kest_wine_is_ready || "$here/wine-prefix.sh" start || {
    echo "under-wine.sh: no Wine prefix for $1" >&2
    exit 125
}
exec "$kest_wine" "$@"
