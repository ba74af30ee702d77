#!/bin/bash
# Shows what the command does, to a real tree: replaces an older tree by a copy in one step, with the
# trace that tells how; then lets a copy fail half-way and shows that nothing has changed. Exits with
# 0 only when everything was as it says.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

log=$(mktemp)
place=$(mktemp -d)
trap 'rm -rf "$place" "$log"' EXIT
echo "Building (the first time takes a minute) ..."
if ! { cmake --preset linux && cmake --build --preset linux --target kest_command; } >"$log" 2>&1; then
    cat "$log"
    exit 1
fi
kest=$PWD/build/linux/bin/kest
mkdir "$place/home"
cd "$place/home"

headline() {
    printf '\n=== %s\n\n' "$1"
}

broken_promise() {
    printf '\nNOT AS PROMISED: %s\n' "$1"
    exit 1
}

# Every entry below $1, one a line: kind, size, name, and what a link holds.
list() {
    (cd "$1" && find . -mindepth 1 \( -type l -printf '%P\t    link   %6s  %P -> %l\n' \
        -o -type d -printf '%P\t    folder         %P\n' -o -printf '%P\t    file   %6s  %P\n' \) |
        LC_ALL=C sort | cut -f 2-)
}

# All that can be told of what lies here: names, kinds, rights, owners, times, links, contents.
fingerprint() {
    find . -mindepth 1 -printf '%P %y %M %U %G %T@ %l\n' | LC_ALL=C sort
    find . -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum
}

# The trace without its first columns, which are long: severity and message.
brief_trace() {
    cut -f 2,5- "$1" | grep -v '^[[:space:]]*$' | sed 's/^/    /'
}

headline "A tree to copy, and an older one in its way"
mkdir -p documents/letters/2010 documents/pictures/empty backup/letters
printf 'Dear Sir,\n' >documents/letters/2010/first.txt
printf 'Dear Madam,\n' >documents/letters/2010/second.txt
head -c 20000 /dev/urandom >documents/pictures/sea.jpg
printf 'Grüße aus Köln\n' >'documents/letters/Grüße.txt'
ln -s letters/2010/first.txt documents/latest
ln -s letters/2010 documents/this-year
printf 'An old letter.\n' >backup/letters/old.txt
printf 'Dear Sir, (draft)\n' >backup/latest
echo "documents:"
list documents
echo "backup, before:"
list backup

headline "kest copy documents backup --trace ../copy.log"
"$kest" copy documents backup --trace ../copy.log
echo "backup, after:"
list backup
[ backup/this-year -ef documents/letters/2010 ] || broken_promise "the folder link leads elsewhere"
# A folder link is copied with its full target; everything else is the same to the letter.
diff -r --no-dereference --exclude=this-year documents backup || broken_promise "the trees differ"
echo
echo "The old tree is gone, the new one is there, exchanged in one step. The link to a folder now holds"
echo "its full target. The trace tells each step (an ERROR line says that something was looked for and"
echo "is not there, which is as it should be for what is about to be made):"
echo
brief_trace ../copy.log

headline "A copy that fails half-way"
head -c 300000 /dev/urandom >documents/pictures/huge.tif
printf 'A new letter.\n' >documents/letters/new.txt
fingerprint >../before
echo "documents has a new letter and a picture of 300000 bytes; for this one command no file may grow"
echo "beyond 100 KiB, as on a disk that is nearly full:"
echo
status=0
(
    trap '' XFSZ
    ulimit -f 100
    exec "$kest" copy documents backup --trace ../failed.log 2>&1
) || status=$?
echo "(exit status $status)"
[ "$status" = 1 ] || broken_promise "the copy should have failed"
steps=$(grep -cE $'\t(CopyFile|DeleteFile|CreateDirectory|RemoveDirectory)Transacted ' ../failed.log)
echo
echo "It had taken $steps steps by then. The end of its trace:"
echo
brief_trace ../failed.log | tail -n 4
fingerprint >../after
echo
cmp ../before ../after || broken_promise "the failed copy has changed something"
echo "backup and documents are byte for byte as they were, with their times and rights, and nothing"
echo "stray lies in them or beside them:"
list backup

headline "kest delete backup"
"$kest" delete backup
[ ! -e backup ] || broken_promise "the tree is still there"
[ -e documents/letters/2010/first.txt ] || broken_promise "the delete went through a link"
echo "backup is gone; what its links led to is still there."
echo
echo "Everything was as promised."
