#!/bin/sh
# Runs a Windows program under Wine in a prefix of its own, with a fixed language, without Wine's
# debugger (which would turn a crash into a clean exit) and with the tool chain's run-time libraries
# in reach. cmake/wine-prefix.sh makes the prefix beforehand.
here=$(dirname "$(readlink -f "$0")")
. "$here/wine-environment.sh"
# The path of the program: Wine takes it as it stands.
exec wine "$@"
