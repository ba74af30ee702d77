#!/bin/bash
# Runs a script of this checkout in a root that looks like the machine's own, with all changes in memory:
# in-overlay.sh SCRATCH SCRIPT [FOLDER ARGUMENT...]. FOLDER is there as /srv/packages. To be called in a
# mount namespace of its own, which ends with it; status 125 when the machine does not allow it.
set -euo pipefail
scratch=$1
script=$2
shift 2
mkdir -p "$scratch"
mount -t tmpfs kest "$scratch" || exit 125
mkdir "$scratch/upper" "$scratch/work" "$scratch/root"
mount -t overlay kest -o "lowerdir=/,upperdir=$scratch/upper,workdir=$scratch/work" \
    "$scratch/root" || exit 125
[ "$script" != true ] || exit 0
for folder in proc dev; do
    mount --rbind "/$folder" "$scratch/root/$folder"
done
mount -t tmpfs kest "$scratch/root/tmp"
mkdir -p "$scratch/root/srv/kest" "$scratch/root/srv/packages"
cp -r package examples README.md "$scratch/root/srv/kest/"
cp "$1"/*.deb "$scratch/root/srv/packages/"
shift
exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/tmp \
    chroot "$scratch/root" /bin/bash -c 'cd /srv/kest && exec bash "$0" /srv/packages "$@"' \
    "$script" "$@"
