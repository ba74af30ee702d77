#!/bin/bash
# Uses the command on a real terminal (tmux) as a person would, shows what stood on the screen, and
# checks it: progress of a copy and a deletion, Ctrl-C in the middle, a killed copy and the recovery
# from it, narrow and changing terminals, colours.
#
#   terminal.sh [FILES]     how many files the tree has, 2000 without it
#
# KEST names the command, else that of build/linux. The trace goes into a pipe that nobody reads until
# the screen has been looked at, so each operation stands still in the middle however fast the machine
# is. Exits with 0 only when everything was as it should be, with 2 when tmux is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
kest=${KEST:-$PWD/build/linux/bin/kest}
files=${1:-2000}
command -v tmux >/dev/null || { echo "The terminal was not tried: tmux is not installed"; exit 2; }
[[ -x $kest ]] || { echo "terminal.sh needs $kest" >&2; exit 1; }

place=$(mktemp -d)
tmux=(tmux -S "$place/tmux" -f /dev/null)
cleanup() {
    trap - EXIT
    "${tmux[@]}" kill-server 2>/dev/null || true
    exec 8>&-
    rm -rf "$place"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

wrong=0
complain() {
    echo "NOT AS IT SHOULD BE: $1"
    wrong=1
}
headline() {
    printf '\n=== %s\n\n' "$1"
}
screen() {
    "${tmux[@]}" capture-pane -p "$@" | sed -e 's/[[:space:]]*$//' -e '/^$/d'
}
show() {
    screen | sed 's/^/    | /'
}
# Waits until a line of the screen matches.
await() {
    local tries
    for ((tries = 0; tries < 600; ++tries)); do
        if grep -qE -- "$1" <<<"$(screen)"; then
            return
        fi
        sleep 0.1
    done
    complain "nothing on the screen matches $1"
    show
}
# Waits until the screen stays as it is while a display would be drawn several times.
await_rest() {
    local tries before=
    for ((tries = 0; tries < 20; ++tries)); do
        before=$(screen)
        sleep 0.5
        [[ $(screen) != "$before" ]] || return 0
    done
    complain "the screen does not come to rest"
    show
}
type_line() {
    "${tmux[@]}" send-keys -l "$1"
    "${tmux[@]}" send-keys Enter
}
# Lets the operation go on to its end, which is told by its status: reads the trace meanwhile.
drain_until() {
    cat <&8 >/dev/null &
    local reader=$!
    await "$1"
    kill $reader
    wait $reader 2>/dev/null || true
}
# Lets the next operation begin with an empty pipe. Its beginning and its status bear its number:
# until the screen is cleared it shows the one before, and when it is made larger again.
turn=0
begin() {
    timeout 0.3 cat <&8 >/dev/null || true
    turn=$((turn + 1))
    type_line "clear; echo operation $turn; $1; echo $turn: status \$?"
    await "^operation $turn\$"
}
stages() {
    find "$place/home" -name '.kest-*' | sed "s,^$place/home/,,"
}
fingerprint() {
    (cd "$place/home" && find . -mindepth 1 -not -path './.kest-*' -printf '%P %y %m %s %T@ %l\n' | LC_ALL=C sort)
}

mkdir -p "$place/home/photos" "$place/bin"
ln -s "$kest" "$place/bin/kest"
mkfifo "$place/trace"
# A reader that does not read.
exec 8<>"$place/trace"
for ((i = 0; i < files; i += 100)); do
    folder=$place/home/photos/album-$((i / 100))
    mkdir "$folder"
    for ((j = 0; j < 100; ++j)); do
        printf '%01024d' $((i + j)) >"$folder/picture-$j"
    done
done
cp -a "$place/home/photos" "$place/home/backup"
echo "an older one" >"$place/home/backup/older"
before=$(fingerprint)

"${tmux[@]}" new -d -x 80 -y 16 -c "$place/home" \
    env PATH="$place/bin:$PATH" PS1='$ ' TERM=screen-256color bash --norc --noprofile
total=$(sed -E ':a;s/([0-9])([0-9]{3})($|,)/\1,\2\3/;ta' <<<"$files")

headline "A copy over an older tree; the trace goes into a pipe"
begin "kest copy photos backup --trace ../trace"
await '^looking at the old tree  [0-9]+ s$'
show
drain_until "^$turn: status 0\$"
show
grep -qE "^copied $total files, .* in [0-9.]+ s\$" <<<"$(screen)" || complain "no sum at the end"
[[ -z $(stages) ]] || complain "a stage was left"
[[ ! -e $place/home/backup/older ]] || complain "the old tree is still there"
rm -r "$place/home/backup"
before=$(fingerprint)

headline "A copy that is interrupted by Ctrl-C"
begin "kest copy photos backup --trace ../trace"
await "^copying  [0-9]+%  [0-9,]+ of $total files  "
show
[[ -n $(stages) ]] || complain "nothing was begun"
"${tmux[@]}" send-keys C-c
await '^taking everything back  '
show
drain_until "^$turn: status 1\$"
show
grep -qx 'kest: interrupted: nothing was changed' <<<"$(screen)" || complain "it does not say so"
[[ -z $(stages) ]] || complain "a stage was left"
[[ $before == "$(fingerprint)" ]] || complain "something was changed"

headline "The same in a narrow terminal that is made smaller and larger"
begin "kest copy photos backup --trace ../trace"
await "^copying  "
for width in 20 12 8 5 3 2 1 9 40; do
    "${tmux[@]}" resize-window -x $width -y 16
    expected=copying
    # The last column stays free, so in a single one nothing is drawn: what stands there then is what
    # the terminal has made of the lines before, and it must come to rest.
    if ((width == 1)); then
        await_rest
    else
        await "^${expected:0:width - 1}"
    fi
    if ((width > 8)); then
        echo "$width columns:"
        show
    fi
done
"${tmux[@]}" resize-window -x 80 -y 16
await "^copying  [0-9]+%  [0-9,]+ of $total files  "
"${tmux[@]}" send-keys C-c
drain_until "^$turn: status 1\$"
[[ -z $(stages) ]] || complain "a stage was left"

headline "A copy that is killed, and what recovers from it"
begin "kest copy photos backup --trace ../trace"
await "^copying  [0-9]+%  [0-9,]+ of $total files  "
left=$(stages)
shell=$("${tmux[@]}" display-message -p '#{pane_pid}')
kill -KILL "$(tr -d ' ' <"/proc/$shell/task/$shell/children")"
await "^$turn: status 137\$"
type_line "clear; ls -A; kest recover .; echo status \$?; ls -A"
await '^status 0$'
show
grep -qx "discarded: ./$left" <<<"$(screen)" || complain "it does not say what became of it"
[[ -z $(stages) ]] || complain "a stage was left"
[[ $before == "$(fingerprint)" ]] || complain "something was changed"

headline "Two Ctrl-C: the second ends it at once"
begin "kest copy photos backup --trace ../trace"
await "^copying  [0-9]+%  [0-9,]+ of $total files  "
"${tmux[@]}" send-keys C-c
await '^taking everything back  '
"${tmux[@]}" send-keys C-c
await '\^C$'
type_line 'echo status $?'
await '^status 130$'
type_line "kest recover .; echo status \$?"
await '^status 0$'
show
[[ -z $(stages) ]] || complain "a stage was left"
[[ $before == "$(fingerprint)" ]] || complain "something was changed"

headline "A deletion that is interrupted by Ctrl-C"
begin "kest delete photos --trace ../trace"
await "^deleting  [0-9]+%  [0-9,]+ of $total files  "
show
"${tmux[@]}" send-keys C-c
await '^taking everything back  '
drain_until "^$turn: status 1\$"
show
[[ $before == "$(fingerprint)" ]] || complain "something was changed"

headline "Colours, and none with NO_COLOR or without a terminal"
type_line "clear; kest copy none x; NO_COLOR=1 kest copy none y; kest copy none z 2>&1 | cat -v; echo status \$?"
await '^status 0$'
coloured=$(screen -e)
show
[[ $coloured == *$'\e[1m\e[31mkest:'*"none does not exist"* || $coloured == *$'\e[1;31mkest:'* ]] ||
    complain "no colour on a terminal"
[[ $(grep -c $'31mkest:' <<<"$coloured") == 1 ]] || complain "a colour where none is wanted"

echo
if ((wrong == 0)); then
    echo "Everything was as it should be."
fi
exit $wrong
