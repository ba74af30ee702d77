#!/bin/bash
# Runs the program as a person would, and compares what it says, its exit status and the disk:
# test.sh [LAUNCHER] PROGRAM, the launcher for a program that needs one.
set -uo pipefail
history=("$@")
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
cd -P "$place" || exit 1
# A zone that every system knows, five hours west of Greenwich in winter and four in summer.
export TZ=EST5EDT
wrong=0
native=
[ ${#history[@]} -gt 1 ] || native=yes
# A full path as the program says it.
full=$PWD/
[ $native ] || full="Z:${PWD//\//\\}\\"

compare() {
    if [ "$2" != "$3" ]; then
        printf '%s:\n<%s>\ninstead of\n<%s>\n' "$1" "$3" "$2"
        wrong=1
    fi
}

# expect WHAT STATUS OUTPUT ERRORS ARGUMENTS...
expect() {
    local what=$1 status=$2 output=$3 errors=$4
    shift 4
    "${history[@]}" "$@" >"$place.output" 2>"$place.errors" </dev/null
    compare "$what: exit status" "$status" $?
    compare "$what: output" "$output" "$(tr -d '\r' <"$place.output")"
    compare "$what: errors" "$errors" "$(tr -d '\r' <"$place.errors")"
    rm "$place.output" "$place.errors"
}

refused() {
    local what=$1 reason=$2
    shift 2
    expect "$what" 1 "" "kest-history: $reason" "$@"
}

# The names and contents below a folder.
tree() {
    (cd "$1" && find . -mindepth 1 -printf '%P %y %l\n' -type f -exec cat {} \;) 2>&1 | LC_ALL=C sort
}

settings() {
    printf '<folder>%s</folder>\n<history>%s</history>\n<trace>%s</trace>\n' "$@" >settings.xml
}

usage='usage: kest-history keep SETTINGS
       kest-history list SETTINGS
       kest-history back SETTINGS TIME'
expect "nothing" 2 "" "$usage"
expect "an unknown verb" 2 "" "$usage" show settings.xml
expect "a settings file is missing" 2 "" "$usage" keep
expect "a time is missing" 2 "" "$usage" back settings.xml
expect "one argument too many" 2 "" "$usage" list settings.xml 2010
not_found="The system cannot find the file specified."
# Wine has a text of its own for it.
[ $native ] || not_found="File not found."
refused "no settings" "fopen nowhere.xml failed: $not_found" list nowhere.xml
compare "wrong use makes nothing" "" "$(tree .)"

# What is not there yet.
# The last byte of "à" is a blank in Latin-1.
settings 'voilà' 'kept/à' trace.log
mkdir 'voilà'
"${history[@]}" keep settings.xml >said 2>&1 || compare "a name that ends in à" 0 "$? $(cat said)"
compare "a name that ends in à: the history" "à" "$(ls kept)"
rm -r 'voilà' kept trace.log said
settings 'Dokumente Ж' 'kept/Verlauf Ж' trace.log
expect "no history yet" 0 "" "" list settings.xml
refused "nothing to bring back" "there is no snapshot of that time or before" \
    back settings.xml "2010-05-17 04:30"
refused "no folder" "there is no folder ${full}Dokumente Ж" keep settings.xml
compare "a failure makes nothing" "settings.xml trace.log" "$(echo *)"
printf 'x' >'Dokumente Ж'
refused "a file for a folder" "there is no folder ${full}Dokumente Ж" keep settings.xml
rm 'Dokumente Ж'

# An empty folder, then one with all sorts of names. Two of one second get a second each.
mkdir 'Dokumente Ж'
for _ in 1 2; do
    "${history[@]}" keep settings.xml >>said 2>&1 || compare "keep" 0 $?
    [ -e 'Dokumente Ж/inner' ] || { mkdir -p 'Dokumente Ж/inner/empty'
        printf 'one\n' >'Dokumente Ж/Grüße 日本'; printf 'two\n' >'Dokumente Ж/inner/two'
        [ ! $native ] || { ln -s two 'Dokumente Ж/inner/link'; printf 'odd\n' >$'Dokumente Ж/odd \\ \xff'; }; }
done
first_tree=$(tree 'Dokumente Ж')
snapshots=(kept/*/*)
compare "two snapshots" 2 ${#snapshots[@]}
compare "the empty one" "" "$(tree "${snapshots[0]}")"
compare "the full one" "$first_tree" "$(tree "${snapshots[1]}")"
compare "the trace tells of the copy" 1 \
    "$(grep -aF $'\tTransactedFS:L' trace.log | grep -ac 'CopyFileTransacted.*Grüße 日本')"
compare "the list is what was said" "$(tr -d '\r' <said | sed 's/^kept: //')" \
    "$("${history[@]}" list settings.xml | tr -d '\r')"
for snapshot in "${snapshots[@]}"; do
    stamp=$(sed -E 's/.*@GMT-(....)\.(..)\.(..)-(..)\.(..)\.(..)$/\1-\2-\3 \4:\5:\6 UTC/' <<<"$snapshot")
    compare "local time" 1 "$(LC_ALL=C grep -c \
        "$(LC_ALL=C date -d "$stamp" '+%A, %B %-d, %Y, %-I:%M:%S %p')" said)"
done
rm -r 'Dokumente Ж'
last=$(sed -E 's/^.*@GMT-//; s/^(....)\.(..)\.(..)-(..)\.(..)\.(..)$/\1-\2-\3 \4:\5:\6 UTC/' <<<"${snapshots[1]}")
expect "a lost folder comes back" 0 "back as of: $(LC_ALL=C date -d "$last" '+%A, %B %-d, %Y, %-I:%M:%S %p')" "" \
    back settings.xml "$(date -d "$last" '+%F %T')"
compare "as it was" "$first_tree" "$(tree 'Dokumente Ж')"

# Times whose local form is known; what only looks like a snapshot.
rm -r kept
cd_history='kept/Verlauf Ж'
mkdir -p "$cd_history"/{@GMT-2010.05.17-08.30.00,@GMT-2011.01.17-08.30.59,other} \
    "$cd_history"/{@GMT-2010.05.17,@GMT-2010.13.17-08.30.00,@GMT-2010.5.17-8.30.0000,@GMT-abcd.05.17-08.30.00}
printf 'x' >"$cd_history/@GMT-2012.05.17-08.30.00"
printf 'summer\n' >"$cd_history/@GMT-2010.05.17-08.30.00/file"
printf 'winter\n' >"$cd_history/@GMT-2011.01.17-08.30.59/file"
summer="Monday, May 17, 2010, 4:30:00 AM"
winter="Monday, January 17, 2011, 3:30:59 AM"
expect "the list" 0 "$summer"$'\n'"$winter" "" list settings.xml
before=$(tree .)
refused "a time before the first" "there is no snapshot of that time or before" \
    back settings.xml "2010-05-17 04:29"
refused "a second before the first" "there is no snapshot of that time or before" \
    back settings.xml "2010-05-17 04:29:59"
for time in "" yesterday 2010-05-17 "2010-13-17 04:30" "2010-05-17 24:30" "2010-05-17 04:30:" \
    "2010-05-17 04:30:00 " "2010-05-17 04:30:00x" "-010-05-17 04:30" "17.05.2010 04:30"; do
    refused "not a time" "\"$time\" is no time like 2026-11-21 18:30" back settings.xml "$time"
done
compare "nothing has changed" "$(grep -av trace <<<"$before")" "$(tree . | grep -av trace)"
for time in "2010-05-17 04:30" "2010-05-17 04:30:00" "2011-01-17 03:30:58"; do
    expect "back in summer" 0 "back as of: $summer" "" back settings.xml "$time"
    compare "back in summer: the tree" "file f "$'\n'"summer" "$(tree 'Dokumente Ж')"
done
for time in "2011-01-17 03:30" "2011-01-17 03:30:59" "2111-01-17 03:30"; do
    expect "back in winter" 0 "back as of: $winter" "" back settings.xml "$time"
    compare "back in winter: the tree" "file f "$'\n'"winter" "$(tree 'Dokumente Ж')"
done

# Settings.
kept=$(tree kept)
printf '\xef\xbb\xbf<folder> ./kept/../Dokumente Ж/ </folder>\r\n<history>kept/Verlauf Ж</history>\r\n' \
    >'other Ж.xml'
rm -f trace.log
expect "settings of another form, without a trace" 0 "$summer"$'\n'"$winter" "" list 'settings.xml'
rm -f trace.log
if [ $native ]; then
    expect "a name that is not ASCII" 0 "back as of: $summer" "" back 'other Ж.xml' "2010-12-01 00:00"
else
    mv 'other Ж.xml' other.xml
    expect "lines that end with CR LF" 0 "back as of: $summer" "" back other.xml "2010-12-01 00:00"
fi
compare "no trace" "" "$(ls -d trace.log 2>/dev/null)"
settings "" kept trace.log
refused "an empty property" "the settings lack <folder>" keep settings.xml
printf '<folder>a</folder>\n' >settings.xml
refused "a missing property" "the settings lack <history>" keep settings.xml
for inner in 'Dokumente Ж' 'Dokumente Ж/kept' './Dokumente Ж/../Dokumente Ж//kept/'; do
    settings 'Dokumente Ж' "$inner" trace.log
    refused "a history in its folder" "the history would lie in the folder that it is of" \
        keep settings.xml
done
settings 'Dokumente Ж' 'kept/Verlauf Ж' 'Dokumente Ж/trace.log'
refused "a trace's name" "the trace's name may hold nothing but ASCII" keep settings.xml
settings kept 'history' 'kept/trace.log'
refused "a trace in the folder" "the trace would lie in the folder that the history is of" \
    keep settings.xml
settings 'Dokumente Ж' 'kept/Verlauf Ж' nowhere/trace.log
refused "a trace that cannot be written" "the trace cannot be written to nowhere/trace.log" \
    keep settings.xml
compare "nothing was kept" "$kept" "$(tree kept)"
compare "nor anything else made" "Dokumente Ж kept other" "$(echo D* k* o* | sed 's/ other.*/ other/')"

if [ $native ]; then
    # A failure half-way: no file may grow beyond 100 KiB.
    settings 'Dokumente Ж' 'kept/Verlauf Ж' ""
    before=$(tree 'Dokumente Ж')
    head -c 300000 /dev/zero >"$cd_history/@GMT-2011.01.17-08.30.59/huge"
    (
        trap '' XFSZ
        ulimit -f 100
        exec "${history[@]}" back settings.xml "2011-01-18 00:00" 2>&1
    ) >said
    compare "a full disk: exit status" 1 $?
    compare "a full disk: what is said" \
        "kest-history: CopyFileTransacted failed: The file size exceeds the limit allowed and cannot be saved." \
        "$(tr -d '\r' <said)"
    compare "a full disk: the folder" "$before" "$(tree 'Dokumente Ж')"
    # A folder that is reached through a link is changed where it is.
    ln -s 'Dokumente Ж' documents
    settings documents 'kept/Verlauf Ж' ""
    expect "through a link" 0 "back as of: $summer" "" back settings.xml "2010-12-01 00:00"
    compare "the link stays" 'Dokumente Ж' "$(readlink documents)"
    settings 'missing/ü' 'kept/Verlauf Ж' ""
    refused "nowhere to bring it back" \
        "CreateDirectoryTransacted failed: The system cannot find the path specified." \
        back settings.xml "2010-12-01 00:00"
fi
compare "nothing is left over" "" "$(find . -name '.kest-*')"
exit $wrong
