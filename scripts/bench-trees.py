#!/usr/bin/env python3
"""Tree copies, replacements and deletions against the system's own commands, in one interleaved run.

Each file system stands in an image of its own (a loop device, written full once), because a disk
without a journal makes all copiers look alike. In each round every variant runs once, in a random
order, on a freshly prepared and synced destination; the first round is dropped. A variant's time is
that of its whole commands up to the moment at which the tree is durable. Needs root.

    scripts/bench-trees.py [--fs ext4,xfs,btrfs,tmpfs] [--trees T1,T2,T3] [--rounds 7]
                           [--cases fresh,replace,delete,traced] [--counts] [--memory]
                           [--report FILE]
"""

import argparse
import os
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
KEST = os.path.join(HERE, "..", "build", "bench", "bench", "kest_trees")
UNTRACED = KEST + "_untraced"
BARE = os.path.join(os.path.dirname(KEST), "kest_bare")

# (file system, tree, case) -> at most, times the peer.
GOALS = {
    ("ext4", "T1", "fresh"): 0.90, ("ext4", "T3", "fresh"): 0.80, ("ext4", "T2", "fresh"): 0.62,
    ("ext4", "T1", "replace"): 0.93, ("ext4", "T3", "replace"): 0.82, ("ext4", "T2", "replace"): 0.65,
}


def goal(fs, tree, case):
    if case == "delete":
        return 1.10
    if case == "traced":
        return 1.08
    return GOALS.get((fs, tree, case), 1.0)


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def make_tree(place, tree):
    os.mkdir(place)
    if tree == "T1":
        content = os.urandom(4096)
        for folder in range(400):
            path = f"{place}/folder{folder:03}"
            os.mkdir(path)
            for file in range(50):
                with open(f"{path}/file{file:02}.dat", "wb") as out:
                    out.write(content)
    elif tree == "T2":
        block = os.urandom(1 << 20)
        for file in range(8):
            with open(f"{place}/large{file}.dat", "wb") as out:
                for _ in range(128):
                    out.write(block)
    else:
        # 6,000 folders, 12 deep: 500 chains.
        random.seed(3)
        content = os.urandom(1024)
        files = links = 0
        for chain in range(500):
            path = place
            for depth in range(12):
                path += f"/d{chain if depth == 0 else depth}"
                os.mkdir(path)
                for _ in range(10 if depth % 3 else 9):
                    with open(f"{path}/f{files}", "wb") as out:
                        out.write(content[:random.randrange(1025)])
                    files += 1
                if depth % 3 == 0:
                    os.symlink(f"f{files - 1}", f"{path}/l{links}")
                    links += 1
    run("sync", "-f", place)


def is_in_memory(folder):
    kind = subprocess.run(["stat", "-f", "-c", "%T", folder], check=True, capture_output=True, text=True)
    return kind.stdout.strip() == "tmpfs"


class Volume:
    """A file system in an image, mounted while the object lives."""

    def __init__(self, fs, folder, gib):
        self.fs, self.place, self.image, self.loop = fs, f"{folder}/{fs}", f"{folder}/{fs}.img", None
        os.mkdir(self.place)
        if fs == "tmpfs":
            run("mount", "-t", "tmpfs", "-o", "size=12g,nr_inodes=0", "tmpfs", self.place)
            return
        run("dd", "if=/dev/zero", f"of={self.image}", "bs=4M", f"count={gib * 256}", "status=none")
        make = {"ext4": ["mkfs.ext4", "-q", "-F"], "xfs": ["mkfs.xfs", "-q", "-f"],
                "btrfs": ["mkfs.btrfs", "-q", "-f"]}[fs]
        run(*make, "-K" if fs != "ext4" else "-Enodiscard", self.image)
        # A folder in memory has no direct access, and needs none.
        direct = "off" if is_in_memory(folder) else "on"
        self.loop = subprocess.run(["losetup", "--find", "--show", f"--direct-io={direct}", self.image],
                                   check=True, capture_output=True, text=True).stdout.strip()
        run("mount", *(["-o", "nodiscard"] if fs == "btrfs" else []), self.loop, self.place)

    def close(self):
        subprocess.run(["umount", self.place], check=False)
        if self.loop:
            subprocess.run(["losetup", "-d", self.loop], check=False)
            os.unlink(self.image)
        os.rmdir(self.place)

    def flushes(self):
        if not self.loop:
            return 0
        with open(f"/sys/block/{os.path.basename(self.loop)}/stat") as stat:
            return int(stat.read().split()[15])


def variants(case, source, target, trace):
    """Name -> the commands whose time counts. The first is the peer. "traced" is a fresh copy against
    the same library without its trace lines. "bare" is the least that the same promise costs here: a
    plain C program with the calls that it cannot do without and nothing else."""
    bare = [[BARE, "delete", target, trace] if case == "delete"
            else [BARE, "copy", source, target, trace]]
    durable = ["sync", "-f", os.path.dirname(target)]
    if case == "fresh":
        return {"cp -a, sync": [["cp", "-a", source, target], durable],
                "kest": [[KEST, "copy", source, target, trace]], "bare": bare}
    if case == "traced":
        return {"untraced": [[UNTRACED, "copy", source, target, trace]],
                "kest": [[KEST, "copy", source, target, trace]]}
    if case == "replace":
        return {"rm -rf, cp -a, sync": [["rm", "-rf", target], ["cp", "-a", source, target], durable],
                "kest": [[KEST, "copy", source, target, trace]], "bare": bare}
    return {"rm -rf": [["rm", "-rf", target]], "kest": [[KEST, "delete", target, trace]], "bare": bare}


def prepare(case, source, target):
    subprocess.run(["rm", "-rf", target], check=True)
    if case not in ("fresh", "traced"):
        run("cp", "-a", source, target)
    run("sync", "-f", os.path.dirname(target))


def measure(volume, tree, case, rounds):
    source, target = f"{volume.place}/{tree}", f"{volume.place}/target"
    trace = f"{volume.place}/trace.log"
    times, ratios, flushes = {}, {}, {}
    for number in range(rounds + 1):
        now = {}
        commands = list(variants(case, source, target, trace).items())
        random.shuffle(commands)
        for name, steps in commands:
            prepare(case, source, target)
            before = volume.flushes()
            start = time.perf_counter()
            for step in steps:
                subprocess.run(step, check=True)
            now[name] = (time.perf_counter() - start) * 1000
            flushes.setdefault(name, []).append(volume.flushes() - before)
        if number == 0:
            continue  # warming up
        for name, value in now.items():
            times.setdefault(name, []).append(value)
        peer = next(iter(variants(case, source, target, trace)))
        for name in now:
            if name != peer:
                ratios.setdefault(name, []).append(now[name] / now[peer])
    return times, ratios, flushes


def show(values):
    return f"{statistics.median(values):.1f} [{min(values):.1f}-{max(values):.1f}]"


def spread(ratios):
    return f"{statistics.median(ratios):.2f} [{min(ratios):.2f}-{max(ratios):.2f}]"


def count_calls(volume, report):
    """System calls of a copy and of a deletion of T1, its trace included."""
    source, target = f"{volume.place}/T1", f"{volume.place}/target"
    prepare("fresh", source, target)
    report.append("\n| T1, system calls | in all | a file (folders at 10 each taken off) | which |\n|---|---|---|---|")
    for verb, command in (("copy", [KEST, "copy", source, target, f"{volume.place}/trace.log"]),
                          ("delete", [KEST, "delete", target, f"{volume.place}/trace.log"])):
        log = subprocess.run(["strace", "-f", "-c", "-U", "calls,name", *command], check=True,
                             capture_output=True, text=True).stderr
        rows = [(int(n), name) for n, name in re.findall(r"^\s*(\d+)\s+(\S+)$", log, re.M)
                if name != "total"]
        total = sum(n for n, _ in rows)
        rows.sort(reverse=True)
        largest = ", ".join(f"{name} {n}" for n, name in rows[:9])
        each = (total - 4010) / 20000 if verb == "copy" else total / 20400
        report.append(f"| {verb} | {total} | {each:.2f} | {largest} |")


def measure_memory(report):
    """The most memory that each operation takes, by number of files, on a tmpfs."""
    report.append("\n| files, 1,000 in a folder | copy | replace | delete |\n|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        volume = Volume("tmpfs", folder, 0)
        try:
            for files in (10_000, 100_000, 1_000_000):
                source, target, trace = (f"{volume.place}/{name}" for name in ("s", "d", "trace"))
                os.mkdir(source)
                for index in range(files // 1000):
                    os.mkdir(f"{source}/{index}")
                    for file in range(1000):
                        os.close(os.open(f"{source}/{index}/{file}", os.O_CREAT | os.O_WRONLY))
                row = []
                for command in ([KEST, "copy", source, target, trace],
                                [KEST, "copy", source, target, trace],
                                [KEST, "delete", target, trace]):
                    log = subprocess.run(["/usr/bin/time", "-f", "%M", *command], check=True,
                                         capture_output=True, text=True)
                    row.append(f"{int(log.stderr.split()[-1]) / 1024:.1f} MiB")
                report.append(f"| {files:,} | {' | '.join(row)} |")
                shutil.rmtree(source)
        finally:
            volume.close()


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--fs", default="ext4,xfs,btrfs,tmpfs", help="empty for none")
    options.add_argument("--trees", default="T1,T2,T3")
    options.add_argument("--cases", default="fresh,replace,delete,traced")
    options.add_argument("--rounds", type=int, default=7)
    options.add_argument("--gib", type=int, default=6)
    options.add_argument("--counts", action="store_true")
    options.add_argument("--memory", action="store_true")
    options.add_argument("--report")
    chosen = options.parse_args()
    if os.geteuid() != 0:
        sys.exit("bench-trees.py mounts images of its own: it needs root.")
    # So that an image is unmounted and its loop device given back.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    report = ["| file system | tree | case | peer, ms | kest, ms | ratio | at most | | bare, ratio | flushes, peer and kest |",
              "|---|---|---|---|---|---|---|---|---|---|"]
    for line in report:
        print(line, flush=True)
    with tempfile.TemporaryDirectory(prefix="kest-bench-", dir=os.environ.get("KEST_BENCH_DIR", "/var/tmp")) as folder:
        for fs in filter(None, chosen.fs.split(",")):
            volume = Volume(fs, folder, chosen.gib)
            try:
                for tree in chosen.trees.split(","):
                    make_tree(f"{volume.place}/{tree}", tree)
                    for case in chosen.cases.split(","):
                        times, ratios, flushes = measure(volume, tree, case, chosen.rounds)
                        peer = next(iter(variants(case, "", "", "")))
                        ours, limit = ratios["kest"], goal(fs, tree, case)
                        ratio = statistics.median(ours)
                        report.append(
                            f"| {fs} | {tree} | {case} | {peer}: {show(times[peer])} | {show(times['kest'])} | "
                            f"{spread(ours)} | {limit:.2f} | "
                            f"{'' if ratio <= limit else 'above'} | "
                            f"{spread(ratios['bare']) if 'bare' in ratios else ''} | "
                            f"{statistics.median(flushes[peer]):.0f} {statistics.median(flushes['kest']):.0f} |")
                        print(report[-1], flush=True)
                    if tree != "T1" or not chosen.counts:
                        run("rm", "-rf", f"{volume.place}/{tree}")
                    run("rm", "-rf", f"{volume.place}/target")
                if chosen.counts and fs == "ext4" and "T1" in chosen.trees:
                    before = len(report)
                    count_calls(volume, report)
                    print("\n".join(report[before:]), flush=True)
            finally:
                volume.close()
    if chosen.memory:
        before = len(report)
        measure_memory(report)
        print("\n".join(report[before:]), flush=True)
    if chosen.report:
        with open(chosen.report, "w", encoding="utf-8") as out:
            out.write("\n".join(report) + "\n")


main()
