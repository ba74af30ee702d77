#!/bin/bash
# Runs the command as a person would, and compares what it says, its exit status and the disk:
# command-test.sh [LAUNCHER] PROGRAM, the launcher for a program that needs one.
set -uo pipefail
kest=("$@")
# The manual page and the completion.
documents=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
cd -P "$place" || exit 1
wrong=0
# On Windows the command makes a path full; what it then says is compared without that.
full=
if [ ${#kest[@]} -gt 1 ]; then
    full="Z:${PWD//\//\\}\\"
fi

# The text of a file without what differs between the systems.
text_of() {
    local text
    text=$(tr -d '\r' <"$1")
    printf '%s\n' "${text//"$full"/}"
}

# expect WHAT STATUS OUTPUT ERRORS ARGUMENTS..., with $input as standard input
input=
expect() {
    local what=$1 status=$2 output=$3 errors=$4
    shift 4
    "${kest[@]}" "$@" >.output 2>.errors < <(printf %s "$input")
    local got=$?
    if [ $got != "$status" ]; then
        echo "$what: exit status $got instead of $status"
        wrong=1
    fi
    compare "$what: output" "$output" "$(text_of .output)"
    compare "$what: errors" "$errors" "$(text_of .errors)"
    rm .output .errors
}

compare() {
    if [ "$2" != "$3" ]; then
        printf '%s:\n<%s>\ninstead of\n<%s>\n' "$1" "$3" "$2"
        wrong=1
    fi
}

# The names and contents below a folder.
tree() {
    (cd "$1" && find . -mindepth 1 -printf '%P %y\n' -type f -exec cat {} \;) 2>&1 | LC_ALL=C sort
}

# Wrong use says what is wrong, then how it is done. wrong_use WHAT VERB TEXT ARGUMENTS...
declare -A usage=(
    [-]='usage: kest COMMAND [ARGUMENT ...] [OPTION ...]
"kest --help" lists the commands.'
    [copy]='usage: kest copy SOURCE DESTINATION [--dry-run] [--verify] [--trace FILE]'
    [delete]='usage: kest delete PATH [--trace FILE]'
    [link]='usage: kest link SOURCE DESTINATION [--trace FILE]'
    [recover]='usage: kest recover PATH [--json] [--trace FILE]'
    [live]='usage: kest live PATH [--json] [--trace FILE]'
    [when]='usage: kest when PATH [--json] [--trace FILE]'
    [trace]='usage: kest trace FILE... [--severity LEVEL] [--since TIME] [--until TIME]
            [--thread NUMBER] [--module NAME] [--process TEXT] [--text TEXT]
            [--follow] [--summary] [--json] [--html PAGE] [--trace FILE]'
    [programs]='usage: kest programs [NAME] [--json] [--trace FILE]'
    [registry]='usage: kest registry get KEY [NAME] [--json] [--trace FILE]
       kest registry keys KEY [--json] [--trace FILE]
       kest registry values KEY [--json] [--trace FILE]'
    [shares]='usage: kest shares [SERVER] [--json] [--trace FILE]'
    [restore-points]='usage: kest restore-points [--json] [--trace FILE]'
    [restore]='usage: kest restore NUMBER [--yes] [--trace FILE]'
    [property]='usage: kest property FILE NAME [--json] [--trace FILE]'
    [run]='usage: kest run COMMANDLINE [--trace FILE]'
    [about]='usage: kest about [--json] [--trace FILE]')
wrong_use() {
    local what=$1 verb=$2 text=$3
    shift 3
    local more=$'\n'"\"kest $verb --help\" tells more."
    [ "$verb" != - ] || more=
    expect "$what" 2 "" "kest: $text"$'\n'"${usage[$verb]}$more" "$@"
}

expect "version" 0 "kest 0.1.0" "" --version
wrong_use "nothing" - "what to do is missing"
wrong_use "unknown command" - "unknown command move" move a b
wrong_use "unknown option" copy "unknown option --force" copy --force a b
wrong_use "argument missing" copy "copy needs a destination" copy a
wrong_use "argument too many" copy "one argument too many: c" copy a b c
wrong_use "trace file missing" delete "--trace needs a file" delete a --trace
wrong_use "an empty path" copy "a path is empty" copy a ''
wrong_use "nothing to delete" delete "delete needs a path" delete
wrong_use "a name like an option" delete "unknown option -x" delete -x
wrong_use "link" link "link needs a destination" link a
wrong_use "recover" recover "recover needs a path" recover
wrong_use "live" live "live needs a path" live --json
wrong_use "when" when "one argument too many: b" when a b
wrong_use "trace" trace "trace needs a file" trace --json
wrong_use "trace: a severity" trace "--severity needs info, warning, error or critical, not x" \
    trace copy.log --severity x
wrong_use "trace: no value" trace "--since needs a value" trace copy.log --since
wrong_use "programs" programs "one argument too many: b" programs a b
wrong_use "registry" registry "registry needs get, keys or values" registry
wrong_use "registry set" registry "unknown command registry set" registry set a
wrong_use "registry keys" registry "registry keys needs a key" registry keys
wrong_use "shares" shares "--json takes no value" shares --json=yes
wrong_use "restore-points" restore-points "one argument too many: 1" restore-points 1
wrong_use "restore" restore "not a restore point's number: x" restore x
wrong_use "property" property "property needs a file and a property's name" property a
wrong_use "run" run "the command line is empty" run ''
wrong_use "about" about "unknown option --yes" about --yes

# Help: of everything, and of each command with its usage and an example; what wrong use says of it
# is in its help, and so are its options in the manual page and the completion.
"${kest[@]}" --help >help.text 2>help.errors </dev/null
compare "help: exit status" 0 $?
compare "help: errors" "" "$(text_of help.errors)"
compare "help: the commands" "copy delete link recover live when trace programs registry registry registry \
shares restore-points restore property run about " \
    "$(tr -d '\r' <help.text | sed -n '/^Commands:/,/^$/s/^  \([a-z-]*\) .*/\1/p' | tr '\n' ' ')"
for verb in "${!usage[@]}"; do
    [ "$verb" != - ] || continue
    "${kest[@]}" "$verb" --help >help.text 2>help.errors </dev/null
    compare "$verb --help: exit status" 0 $?
    compare "$verb --help: errors" "" "$(text_of help.errors)"
    help=$(text_of help.text)
    compare "$verb --help: usage" "${usage[$verb]%%$'\n'*}" "${help%%$'\n'*}"
    compare "$verb --help: an example" yes "$(grep -q "^  kest $verb" <<<"$help" && echo yes)"
    compare "$verb: in the manual page" yes \
        "$(grep -qE "^\.B[RI]? .*\b${verb//-/.*}\b" "$documents/kest.1" && echo yes)"
    compare "$verb: in the completion" yes \
        "$(grep -qw -- "$verb" "$documents/kest.bash-completion" && echo yes)"
    for option in $(grep -oE '^  --[a-z-]+' <<<"$help" | sort -u); do
        compare "$verb: $option in the manual page" yes \
            "$(grep -q -- "${option//-/\\\\-}" "$documents/kest.1" && echo yes)"
    done
done
rm help.text help.errors

# Completion: what comes after the words, the last of which is being typed.
completed() {
    COMP_WORDS=(kest "$@") COMP_CWORD=$# COMPREPLY=()
    _kest 2>/dev/null
    printf '%s ' "${COMPREPLY[@]:-}"
}
# shellcheck source=/dev/null
. "$documents/kest.bash-completion"
mkdir completion
touch 'completion/a b' 'completion/-c'
compare "completion: commands" "restore-points restore " "$(completed rest)"
compare "completion: options" "--trace --help --dry-run --verify " "$(completed copy --)"
compare "completion: one option" "--verify " "$(completed copy a --v)"
compare "completion: actions" "keys " "$(completed registry k)"
compare "completion: severities" "error " "$(completed trace x --severity e)"
compare "completion: paths" "completion/a b " "$(completed --trace x delete completion/a)"
compare "completion: a path after two hyphens" "completion/-c " "$(completed delete -- completion/-)"
compare "completion: nothing" " " "$(completed about x)"
compare "completion: the file of the trace" "completion " "$(completed about --trace comp)"
rm -r completion
compare "wrong use touches nothing" "" "$(tree .)"

mkdir -p source/inner/empty old
printf 'one\n' >source/one
printf 'two\n' >'source/inner/Grüße 日本'
printf 'old\n' >old/file
copied=$(tree source)

expect "copy to a new place" 0 "" "" copy source new
compare "copy to a new place: the tree" "$copied" "$(tree new)"
expect "copy over a tree" 0 "" "" copy source old
compare "copy over a tree: the tree" "$copied" "$(tree old)"

expect "copy with a trace" 0 "" "" copy source old --trace 'trace Ж.log'
# Without the columns that change from run to run: time, thread, line.
traced=$(text_of 'trace Ж.log' | cut -f 2,4- | sed -E 's/L[0-9]{5} +\t/\t/' | grep -F 'Grüße')
compare "the trace" $'INFO    \tTransactedFS:\tDeleteFileTransacted old\\inner\\Grüße 日本
INFO    \tTransactedFS:\tCopyFileTransacted source\\inner\\Grüße 日本 -> old\\inner\\Grüße 日本' "$traced"
"${kest[@]}" trace 'trace Ж.log' --text Grüße --severity=info >traced.text 2>.errors
compare "reading it: exit status" 0 $?
compare "reading it: errors" "" "$(text_of .errors)"
compare "reading it" $'DeleteFileTransacted old\\inner\\Grüße 日本
CopyFileTransacted source\\inner\\Grüße 日本 -> old\\inner\\Grüße 日本' "$(text_of traced.text | cut -f 5-)"
rm traced.text
expect "the other form of the option" 0 "" "" --trace=trace2.log delete new
compare "a trace line for the tree itself" 1 \
    "$(text_of trace2.log | cut -f 5- | grep -cxF 'RemoveDirectoryTransacted \\?\new')"
compare "the tree is gone" "" "$(ls -d new 2>/dev/null)"
expect "delete what is not there" 0 "" "" delete new

expect "a source that is missing" 1 "" "kest: Copy failed: nowhere Ж does not exist" copy 'nowhere Ж' old
compare "a failed copy changes nothing" "$copied" "$(tree old)"
expect "a trace file that cannot be written" 1 "" \
    "kest: cannot write the trace file nowhere/trace: No such file or directory" \
    copy source old2 --trace nowhere/trace
compare "nothing is begun without the trace" "" "$(ls -d old2 2>/dev/null)"
expect "a path that is not full" 0 "" "" copy ./source//inner/ source/../new/
compare "a path that is not full: the tree" "$(tree source/inner)" "$(tree new)"
expect "its deletion" 0 "" "" delete new/
compare "its deletion: the tree" "" "$(ls -d new 2>/dev/null)"
mkdir -- --trace
expect "hyphens end the options" 0 "" "" delete -- --trace
compare "the folder is gone" "" "$(ls -d -- --trace 2>/dev/null)"

# A plan, and a comparison.
mkdir -p plan/sub
printf 'one\n' >plan/sub/one
mkdir -p "plan/.kest-0123456789abcdef0123456789abcdef"
sep=/
[ ${#kest[@]} = 1 ] || sep=\\
lines() {
    LC_ALL=C sort
}
"${kest[@]}" copy --dry-run plan planned >plan.text 2>plan.errors </dev/null
compare "a plan: exit status" 0 $?
compare "a plan: errors" "" "$(text_of plan.errors)"
compare "a plan" "$(printf '%s\n' 'folder  sub' "file    sub${sep}one, 4 bytes" \
    'skip    .kest-0123456789abcdef0123456789abcdef: what a copy or deletion works in, or has left behind' \
    '1 file, 1 folder and 0 links, 4 bytes, would be copied; 1 entry would be left out' \
    'planned would be made' | lines)" "$(text_of plan.text | lines)"
compare "a plan changes nothing" "" "$(ls -d planned 2>/dev/null)"
rmdir plan/.kest-*
expect "a copy that is compared" 0 "verified: 3 entries, no difference" "" copy --verify plan planned
expect "a plan for what is there" 0 "folder  sub
file    sub${sep}one, 4 bytes
1 file, 1 folder and 0 links, 4 bytes, would be copied
planned would be replaced" "" copy --dry-run plan planned
expect "a plan for a source that is missing" 1 "" "kest: Copy failed: nowhere Ж does not exist" \
    copy --dry-run 'nowhere Ж' planned
expect "a plan for a copy into itself" 1 "" "kest: Copy failed: plan${sep}sub is inside plan" \
    copy --dry-run plan "plan${sep}sub"
expect "a plan that would fail" 1 "folder  sub
file    sub${sep}one, 4 bytes
fail    none${sep}planned: there is no folder to make it in
1 file, 1 folder and 0 links, 4 bytes, would be copied
none${sep}planned would be made" "kest: the copy would fail" copy --dry-run plan "none${sep}planned"

# Snapshots.
history='\\pc\C$\@GMT-2010.05.17-08.30.00\Users\Ж.txt'
expect "live" 0 'C:\Users\Ж.txt' "" live "$history"
expect "live, as JSON" 0 '{"path": "\\\\pc\\C$\\@GMT-2010.05.17-08.30.00\\Users\\Ж.txt", "live": "C:\\Users\\Ж.txt"}' \
    "" live --json "$history"
TZ=UTC expect "when" 0 "Monday, May 17, 2010, 8:30:00 AM" "" when "$history"
expect "when: now" 0 "Now" "" when 'C:\x'
expect "when: now, as JSON" 0 '{"path": "C:\\x", "history": false, "time": "Now"}' "" when 'C:\x' --json
expect "when: no time" 1 "" 'kest: no time of a snapshot in \\pc\C$\@GMT-x\' when '\\pc\C$\@GMT-x\'

# What was left behind: an orphan without a journal goes, what only looks like one does not.
mkdir -p left/deep
expect "nothing to recover" 0 "nothing was left behind below left" "" recover left
expect "recover what is not there" 1 "" "kest: none: $([ ${#kest[@]} = 1 ] &&
    echo 'No such file or directory' || echo 'File not found.')" recover none
orphan=left${sep}deep${sep}.kest-00112233445566778899aabbccddeeff
if [ ${#kest[@]} = 1 ]; then
    mkdir -p "$orphan/slot-0"
    chmod 700 "$orphan"
    expect "recover" 0 "discarded: $orphan" "" recover left
    compare "recover: it is gone" "" "$(ls -A left/deep)"
    mkdir "$orphan"
    chmod 755 "$orphan"
    expect "recover what is not ours" 0 $'[\n{"path": "'"$orphan"$'", "state": "foreign"}\n]' "" \
        recover --json left
    chmod 700 "$orphan"
    printf 'damaged' >"$orphan/journal"
    expect "recover a damaged one" 1 "failed: $orphan (CommitTransaction failed: \
The file or directory is corrupted and unreadable.)" "" recover left
    compare "recover: it is kept" journal "$(ls -A "$orphan")"
    rm -r "$orphan"
    mkdir "$orphan"
    chmod 700 "$orphan"
    exec 9<"$orphan"
    flock 9
    expect "recover what is in use" 0 "in use: $orphan" "" recover left
    exec 9<&-
    expect "recover what was in use" 0 "discarded: $orphan" "" recover left
    # What may not be looked at is not called another's, nor gone.
    mkdir left/closed left/closed/"${orphan##*/}"
    user=(env)
    if [ "$(id -u)" = 0 ]; then
        user=(setpriv --reuid 54321 --regid 54321 --clear-groups)
        chown -R 54321:54321 left
        chmod 711 .
    fi
    chmod 700 left/closed/"${orphan##*/}"
    chmod 400 left/closed
    if "${user[@]}" "${kest[@]}" about >.text 2>.errors && "${user[@]}" ls left >.text 2>.errors; then
        "${user[@]}" "${kest[@]}" recover left/closed >.text 2>.errors </dev/null
        compare "recover what may not be looked at: exit status" 1 $?
        compare "recover what may not be looked at" "" "$(text_of .text)"
        compare "recover what may not be looked at: errors" \
            "kest: cannot look into left/closed: Permission denied" "$(text_of .errors)"
    fi
    chmod 700 . left/closed

    # Output that nobody takes.
    "${kest[@]}" --help >/dev/full 2>.errors
    compare "a full disk: exit status" 1 $?
    compare "a full disk: errors" "kest: cannot write the output: No space left on device" \
        "$(text_of .errors)"
    "${kest[@]}" about >&- 2>.errors
    compare "no standard output: exit status" 1 $?
    compare "no standard output: errors" "kest: cannot write the output: Bad file descriptor" \
        "$(text_of .errors)"
    "${kest[@]}" copy plan planned --trace bare.log <&- >&- 2>&-
    compare "no standard files at all: exit status" 0 $?
    compare "no standard files at all: the trace" 1 "$(grep -c 'CopyFileTransacted .*one$' bare.log)"
    compare "no standard files at all: nothing else in it" 0 "$(grep -c '^kest' bare.log)"
    "${kest[@]}" copy planned >&- 2>&-
    compare "nowhere to complain, wrong use: exit status" 2 $?
fi
rm -rf plan planned left plan.text plan.errors bare.log

# What the machine is. The paths are the system's own.
"${kest[@]}" about >about.text 2>about.errors </dev/null
compare "about: exit status" 0 $?
compare "about: errors" "" "$(text_of about.errors)"
compare "about: what it tells" "system processor current system product program " \
    "$(tr -d '\r' <about.text | cut -d ' ' -f 1 | tr '\n' ' ')"
compare "about: the system" "system              Windows 7" "$(tr -d '\r' <about.text | sed -n 1p)"
compare "about: the processor" "processor           AMD64" "$(tr -d '\r' <about.text | sed -n 2p)"

expect "a link that is none" 1 "" "kest: old is not a link" link old copy
expect "a link that is not there" 1 "" "kest: nowhere Ж does not exist" link 'nowhere Ж' copy
compare "no link is made" "" "$(ls -d copy 2>/dev/null)"
not_found="The system cannot find the file specified."
# Wine has a text of its own for it.
[ ${#kest[@]} = 1 ] || not_found="File not found."
printf '<port> 8080 </port>\n<empty></empty>\n' >settings.xml
expect "a property" 0 " 8080 " "" property settings.xml port
expect "an empty property" 0 "" "" property settings.xml empty
expect "a missing property" 1 "" "kest: Property host was not found" property settings.xml host
expect "a missing property file" 1 "" \
    "kest: fopen nowhere.xml failed: $not_found" property nowhere.xml port
expect "an unknown hive" 1 "" "kest: unknown registry hive HKXX" registry get 'HKXX\a'
expect "a missing key" 1 "" "kest: Failed to open HKLMKestNone: $not_found" \
    registry keys 'HKLM\KestNone'
if [ ${#kest[@]} = 1 ]; then
    # The registry comes from a file.
    unset KEST_REGISTRY
    expect "nothing installed" 0 "" "" programs
    cat >machine.reg <<'END'
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Installer\Folders]
@=""
"C:\\Program Files\\Alpha\\"="1"
[HKEY_LOCAL_MACHINE\Software\Product]
@="the default"
"Place"="C:\\Straße"
[HKEY_LOCAL_MACHINE\Software\Product\b]
[HKEY_LOCAL_MACHINE\Software\Product\A]
[HKEY_CLASSES_ROOT\Installer\Products\1]
"ProductName"="Beta"
[HKEY_CLASSES_ROOT\Installer\Products\2]
"ProductName"="Alpha Tool"
END
    export KEST_REGISTRY=machine.reg
    expect "a value" 0 'C:\Straße' "" registry get 'HKLM\Software\Product' Place
    expect "the default value" 0 "the default" "" registry get 'HKEY_LOCAL_MACHINE\Software\Product'
    expect "subkeys" 0 $'b\nA' "" registry keys 'hklm\software\product'
    expect "values" 0 $'\nC:\\Program Files\\Alpha\\' "" \
        registry values 'HKLM\Software\Microsoft\Windows\CurrentVersion\Installer\Folders'
    expect "a missing value" 1 "" "kest: Failed to get registry value <x>: $not_found" \
        registry get 'HKLM\Software\Product' x
    expect "programs" 0 $'Alpha Tool\nBeta' "" programs --trace=programs.log
    expect "a program" 0 "Alpha Tool" "" programs Tool
    expect "a program that is not there" 1 "" "kest: no installed program is called tool" \
        programs tool
    printf 'damaged' >damaged.reg
    # The library says so on the console while it is being loaded, too.
    KEST_REGISTRY=damaged.reg "${kest[@]}" registry keys HKU >.output 2>.errors
    compare "a damaged registry: exit status" 1 $?
    compare "a damaged registry: errors" \
        "kest: Failed to open HKU: The configuration registry database is corrupt." \
        "$(text_of .errors)"
    compare "a damaged registry: lines at load" 4 "$(grep -c $'\tERROR   \t' .output)"
    unset KEST_REGISTRY
else
    expect "nothing installed" 0 "" "" programs
fi

if [ ${#kest[@]} = 1 ]; then
    # Restore points come from a file.
    unset KEST_WMI
    expect "no restore points" 0 "no restore points" "" restore-points
    cat >points.mof <<'END'
instance of SystemRestore { Description = "Before"; RestorePointType = 12;
    CreationTime = "20240131235959.000000-000"; SequenceNumber = 12; };
instance of SystemRestore { Description = "Gr\xFC\xDF" "e"; RestorePointType = 7;
    CreationTime = "20231201000102.000000-000"; SequenceNumber = 7; };
END
    export KEST_WMI=points.mof
    expect "restore points" 0 "\
NUMBER  CREATED              TYPE                   DESCRIPTION
    12  2024-01-31 23:59:59  Settings modification  Before
     7  2023-12-01 00:01:02  Restore point type 7   Grüße" "" restore-points
    question="Restore the system to point 12 of 2024-01-31 23:59:59, Before? [y/N] "
    requested="The system will be restored when it starts the next time."
    expect "a restore, nobody there" 1 "$question" "kest: nothing was restored" restore 12
    input=$'n\n' expect "a restore refused" 1 "$question" "kest: nothing was restored" restore 12
    compare "no request yet" "" "$(ls points.mof.restores 2>/dev/null)"
    input=$' YES \n' expect "a restore agreed to" 0 "$question$requested" "" restore 12
    expect "a restore without a question" 0 "$requested" "" restore --yes 7
    expect "a point that is not there" 1 "" "kest: there is no restore point 13" restore 13 --yes
    compare "the requests" $'12\n7' "$(cut -d ' ' -f 2 points.mof.restores)"
    printf 'instance of' >points.mof
    expect "a damaged file" 1 "" \
        "kest: Wmi query <Select * from SystemRestore> failed: Critical error" restore-points
    expect "a restore from a damaged file" 1 "" \
        "kest: Wmi query <Select * from SystemRestore> failed: Critical error" restore 7 --yes
    unset KEST_WMI
else
    # Wine has none.
    expect "no restore points" 0 "no restore points" "" restore-points
    expect "a point that is not there" 1 "" "kest: there is no restore point 13" restore 13 --yes
fi

if [ ${#kest[@]} = 1 ]; then
    ln -s old 'link Ж'
    expect "a link" 0 "" "" link 'link Ж' copy
    compare "a link: where it leads" "$PWD/old" "$(readlink copy)"
    expect "a link in the way" 1 "" "kest: CreateSymbolicLink copy failed: \
Cannot create a file when that file already exists." link 'link Ж' copy
    ln -s gone dangling
    expect "a link to nothing" 1 "" "kest: CreateFile dangling failed: \
The system cannot find the file specified." link dangling copy2
    rm copy dangling 'link Ж'

    printf '[Data]\npath = /srv/data\n[Ж$]\npath = /Ж\n[IPC$]\n[laser]\npath=/x\nprintable=yes\n' >smb.conf
    export KEST_SMB_CONF=$PWD/smb.conf
    expect "shares" 0 $'Data\t/srv/data\nЖ$\t/Ж' "" shares
    expect "shares of this computer by its name" 0 $'Data\t/srv/data\nЖ$\t/Ж' "" \
        shares '\\localhost' --trace shares.log
    compare "shares: the trace" 6 "$(grep -c OsUtilitiesWin shares.log)"
    expect "shares of another computer" 1 "" \
        "kest: NetShareEnum failed: The network path was not found." shares '\\Seven'
    KEST_SMB_CONF=$PWD/none expect "no shares" 0 "" "" shares

    mkfifo pipe
    expect "run" 0 "" "" run "sh -c \"printf '<%s>' \\\"a b\\\" c >pipe\""
    compare "run: the program's own output" "<a b><c>" "$(timeout 60 cat pipe)"
    rm pipe
    expect "run what is not there" 1 "" "kest: CreateProcess(<no-such-program -x>): \
The system cannot find the file specified." run 'no-such-program -x'
    expect "run what is not there, with a name" 1 "" "kest: CreateProcess(<нет \"ä\">): \
The system cannot find the file specified." run 'нет "ä"'

    # Names that only a Linux disk can hold: a backslash, bytes that are no UTF-8.
    odd=$'odd \\ \xff \xc3'
    mkdir "$odd"
    printf 'odd\n' >"$odd/a\\b"
    expect "odd names" 0 "" "" copy "$odd" "$odd 2" --trace "$odd.log"
    compare "odd names: the tree" "$(tree "$odd")" "$(tree "$odd 2")"
    compare "odd names: the trace is UTF-8 all the same" "" \
        "$(iconv -f UTF-8 -t UTF-8 "$odd.log" 2>&1 >/dev/null)"
    expect "an odd name in a message" 1 "" "kest: Copy failed: x$odd does not exist" \
        copy "x$odd" "$odd 2"
    expect "delete odd names" 0 "" "" delete "$odd 2"
    compare "odd names: gone" "" "$(ls -d "$odd 2" 2>/dev/null)"
fi
exit $wrong
