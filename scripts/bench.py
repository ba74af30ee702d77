#!/usr/bin/env python3
"""What things cost, beside what else a host could use, measured in one run and written as a report.

    make bench                        everything, in less than ten minutes
    scripts/bench.py --only 'trace'   the benchmarks whose name matches, and nothing else
    scripts/bench.py --release        the report becomes the release's own, which later ones show
                                      their changes from

Each figure is the median of several repetitions, which are taken in a random order; a ratio's range
is that of the repetitions. Comparing figures of two machines says nothing: compare ratios.
"""

import argparse
import datetime
import json
import os
import platform
import random
import re
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import bench_report

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
BUILD = os.path.join(ROOT, "build", "bench")
RESULTS = os.path.join(ROOT, "bench", "results")

# What is promised: benchmark, its size or None, peer, at most, which time.
GOALS = [
    ("trace line", None, "write(2)", 1.5, "cpu"),
    ("trace line", None, "spdlog", 0.75, "cpu"),
    ("trace line, two threads", None, "spdlog", 0.75, "real"),
    ("lock pair", None, "std::recursive_timed_mutex", 1.5, "cpu"),
    ("DateTime from seconds and back", None, "Hinnant's date.h", 1.5, "cpu"),
    ("DateTime from seconds and back", None, "std::chrono", None, "cpu"),
    ("split", 240, "std::wstring::find", 1.0, "cpu"),
    ("traced tree copy, in memory", None, "untraced", 1.08, "real"),
    ("traced tree copy, in memory, processor", None, "untraced", None, "cpu"),
]

# Those whose ratios are near what is promised: many short repetitions, of which the median bears that
# something else runs meanwhile.
CLOSE = r"^(trace line|lock pair|DateTime)"

# Those whose preparation takes longer than they do themselves, and are worth it.
LONG = r"^(property file|registry text, opened|a registry value|a property|catalogue of programs)"


def run(command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def say(text):
    print(text, file=sys.stderr, flush=True)


class Figures:
    """Times by benchmark, variant and size: lists of nanoseconds."""

    def __init__(self):
        self.times = {}

    def add(self, name, variant, size, clock, value):
        self.times.setdefault((name, variant, size, clock), []).append(value)

    def median(self, name, variant, size, clock):
        return statistics.median(self.times[name, variant, size, clock])

    def ratio(self, name, variant, peer, size, clock):
        """Median, least and most of the repetitions' ratios."""
        ours = self.times[name, variant, size, clock]
        theirs = self.times[name, peer, size, clock]
        each = [a / b for a, b in zip(ours, theirs)]
        return statistics.median(ours) / statistics.median(theirs), min(each), max(each)

    def has(self, name, variant, size, clock):
        return (name, variant, size, clock) in self.times


UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def run_benchmarks(figures, is_wanted, repetitions, seconds):
    listed = run([f"{BUILD}/bench/kest_bench", "--benchmark_list_tests=true"]).split("\n")
    chosen = [re.sub(r"([.\[\](){}*+?|^$\\])", r"\\\1", name) for name in listed if name and is_wanted(name)]
    if not chosen:
        return
    command = [f"{BUILD}/bench/kest_bench", f"--benchmark_filter=^({'|'.join(chosen)})$",
               "--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
               f"--benchmark_min_time={seconds}", "--benchmark_enable_random_interleaving=true"]
    for entry in json.loads(run(command, stdin=subprocess.DEVNULL))["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        if entry.get("error_occurred"):
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        parts = [part for part in entry["run_name"].split("/")
                 if part not in ("real_time",) and not part.startswith("threads:")]
        size = int(parts.pop()) if parts[-1].isdigit() else None
        name, variant = parts[0], "/".join(parts[1:])
        unit = UNITS[entry["time_unit"]]
        figures.add(name, variant, size, "cpu", entry["cpu_time"] * unit)
        figures.add(name, variant, size, "real", entry["real_time"] * unit)


def children_cpu():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def traced_copies(figures, rounds):
    """Trees of 20,000 files of 4 KiB in 400 folders, copied by the library and by the same library
    without its trace lines: whole processes. In memory if possible, where a copy takes least and the
    trace weighs most; on a disk see the whole trees."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="kest-bench-", dir=memory) as place:
        content = os.urandom(4096)
        for folder in range(400):
            os.makedirs(f"{place}/tree/folder{folder:03}")
            for file in range(50):
                with open(f"{place}/tree/folder{folder:03}/file{file:02}.dat", "wb") as out:
                    out.write(content)
        for number in range(rounds + 1):
            ways = [("kest", "kest_trees"), ("untraced", "kest_trees_untraced")]
            random.shuffle(ways)
            for variant, program in ways:
                shutil.rmtree(f"{place}/copy", ignore_errors=True)
                cpu, start = children_cpu(), time.perf_counter()
                subprocess.run([f"{BUILD}/bench/{program}", "copy", f"{place}/tree", f"{place}/copy",
                                f"{place}/trace.log"], check=True, stdout=subprocess.DEVNULL)
                wall, cpu = time.perf_counter() - start, children_cpu() - cpu
                if number:
                    figures.add("traced tree copy, in memory", variant, None, "real", wall * 1e9)
                    figures.add("traced tree copy, in memory, processor", variant, None, "cpu", cpu * 1e9)


def instructions(command):
    """Of the process itself, in user mode."""
    with tempfile.NamedTemporaryFile() as out:
        log = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out.name}", *command],
                             check=True, capture_output=True, text=True).stderr
    return int(re.search(r"Collected : (\d+)", log).group(1))


def count_instructions():
    counts = {}
    tool = f"{BUILD}/bench/kest_counts"
    for what, label in (("line", "a trace line"), ("path", "a path normalised")):
        less, more = (instructions([tool, what, str(times)]) for times in (1000, 3000))
        counts[label] = (more - less) / 2000
    with tempfile.TemporaryDirectory(prefix="kest-bench-") as place:
        taken = {}
        for files in (200, 600):
            tree = f"{place}/tree{files}"
            os.makedirs(tree)
            for file in range(files):
                with open(f"{tree}/file{file:03}.dat", "wb") as out:
                    out.write(b"x" * 4096)
            for label, program in (("a file copied, traced", "kest_trees"),
                                   ("a file copied, untraced", "kest_trees_untraced")):
                target = f"{place}/copy"
                taken.setdefault(label, []).append(
                    instructions([f"{BUILD}/bench/{program}", "copy", tree, target, f"{place}/trace.log"]))
                shutil.rmtree(target)
        for label, (less, more) in taken.items():
            counts[label] = (more - less) / 400
    return counts


def load_times(figures, rounds):
    """Fresh processes that do nothing, but are linked with the library, or with an empty one."""
    log = run([f"{BUILD}/bench/kest_load", str(rounds), f"{BUILD}/bench/kest_load_kest",
               f"{BUILD}/bench/kest_load_empty"])
    for line in log.splitlines():
        ours, empty = line.split()
        figures.add("load", "kest", None, "real", float(ours))
        figures.add("load", "empty library", None, "real", float(empty))


def load_with_registry(rounds):
    """Rows of keys in the registry's text, and what loading takes with it."""
    rows = []
    for keys in (0, 1000, 100_000, 1_000_000):
        with tempfile.NamedTemporaryFile("w", suffix=".reg") as text:
            # What every machine has, or loading has something to complain about.
            text.write("Windows Registry Editor Version 5.00\n\n[HKEY_CLASSES_ROOT\\Installer\\Products]\n"
                       "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders]\n")
            for key in range(keys):
                text.write(f"[HKEY_LOCAL_MACHINE\\Software\\Vendor\\Product\\Key {key}]\n\"Name\"=\"value {key}\"\n")
            text.flush()
            times = []
            for _ in range(rounds if keys < 100_000 else 3):
                start = time.perf_counter()
                subprocess.run([f"{BUILD}/bench/kest_load_kest"], check=True, env={"KEST_REGISTRY": text.name})
                times.append((time.perf_counter() - start) * 1e9)
            rows.append((f"{keys:,}", bench_report.shown_time(statistics.median(times))))
    return rows


def load_under_wine():
    """What Windows' loader takes under Wine; nothing where that, or Kest.dll, is not there."""
    made = subprocess.run([f"{HERE}/bench-wine.sh"], capture_output=True, text=True, stdin=subprocess.DEVNULL)
    rows = [line.split("\t") for line in made.stdout.splitlines() if "\t" in line]
    return [(what, bench_report.shown_time(float(microseconds) * 1000)) for what, microseconds in rows]


def binary_sizes():
    """Bytes without what is for debuggers alone."""
    rows = []
    for path in (f"{BUILD}/libkest.so.0.1.0", f"{ROOT}/build/windows/bin/Kest.dll"):
        real = os.path.realpath(path)
        if not os.path.exists(real):
            continue
        strip = "x86_64-w64-mingw32-strip" if path.endswith(".dll") else "strip"
        if not shutil.which(strip):
            continue
        with tempfile.TemporaryDirectory() as place:
            subprocess.run([strip, "-o", f"{place}/stripped", real], check=True)
            rows.append((os.path.basename(path), f"{os.path.getsize(f'{place}/stripped') / 1024:,.0f} KiB"))
    return rows


def trees(rounds):
    """The tree benchmarks in a short form; None where this machine cannot have them."""
    if os.geteuid() != 0 or not os.path.exists("/dev/loop-control"):
        return None
    with tempfile.NamedTemporaryFile() as out:
        made = subprocess.run([f"{HERE}/bench-trees.py", "--fs", "ext4", "--trees", "T1", "--gib", "1",
                               "--rounds", str(rounds), "--report", out.name], capture_output=True, text=True)
        if made.returncode != 0:
            say(made.stderr)
            return None
        lines = out.read().decode().splitlines()
    return [[cell.strip() for cell in line.strip().strip("|").split("|")] for line in lines if line.startswith("|")]


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        name = re.search(r"model name\s*: (.*)", info.read())
    return f"{name.group(1) if name else platform.machine()}, {os.cpu_count()} cores, Linux {platform.release()}"


def ratio_rows(figures):
    rows = []
    for name, size, peer, limit, clock in GOALS:
        if not figures.has(name, "kest", size, clock) or not figures.has(name, peer, size, clock):
            continue
        ratio, least, most = figures.ratio(name, "kest", peer, size, clock)
        label = name + (f", {bench_report.shown_size(size)} units" if size else "")
        rows.append((label, peer, figures.median(name, "kest", size, clock),
                     figures.median(name, peer, size, clock), ratio, least, most, limit))
    return rows


def by_size(figures):
    """name -> [(variant, [(size, nanoseconds)])], ours first; only what has several sizes."""
    found = {}
    for (name, variant, size, clock), values in figures.times.items():
        if size is not None and clock == "cpu":
            found.setdefault(name, {}).setdefault(variant, []).append((size, statistics.median(values)))
    result = {}
    for name, variants in found.items():
        ordered = sorted(variants.items(), key=lambda item: (item[0] != "kest", item[0]))
        result[name] = [(variant, sorted(points)) for variant, points in ordered]
    return result


def changes(now, before):
    """Rows of what is more than a tenth dearer or cheaper than in the release's report."""
    rows = []
    for key, value in sorted(now.items()):
        old = before.get(key)
        if old and (value > old * 1.1 or value < old / 1.1):
            rows.append((key, f"{old:.4g}", f"{value:.4g}", f"{(value / old - 1) * 100:+.0f} %"))
    return rows


def last_release(version):
    names = [name for name in os.listdir(RESULTS) if re.fullmatch(r"\d+\.\d+\.\d+\.json", name)]
    names.sort(key=lambda name: [int(part) for part in name[:-5].split(".")])
    names = [name for name in names if name != f"{version}.json"] if version else names
    return names[-1] if names else None


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    options.add_argument("--only", help="the benchmarks whose name matches, and no report of the rest")
    options.add_argument("--release", action="store_true")
    options.add_argument("--repetitions", type=int, default=7)
    chosen = options.parse_args()
    begun = time.time()
    figures, counts, loaded, under_wine, tree_rows = Figures(), {}, [], [], None

    def group(name):
        if chosen.only and not re.search(chosen.only, name):
            return None
        return CLOSE if re.search(CLOSE, name) else LONG if re.search(LONG, name) else "others"

    say("Single calls ...")
    run_benchmarks(figures, lambda name: group(name) == CLOSE, 4 * chosen.repetitions, 0.02)
    run_benchmarks(figures, lambda name: group(name) == "others", chosen.repetitions, 0.05)
    say("What is read ...")
    run_benchmarks(figures, lambda name: group(name) == LONG, 3, 0.02)
    if not chosen.only:
        say("Copies with a trace and without ...")
        traced_copies(figures, 15)
        say("Loading ...")
        load_times(figures, 200)
        loaded = load_with_registry(15)
        under_wine = load_under_wine()
        if shutil.which("valgrind"):
            say("Instructions ...")
            counts = count_instructions()
        say("Trees ...")
        tree_rows = trees(3)

    with open(f"{ROOT}/CMakeLists.txt", encoding="utf-8") as project:
        version = re.search(r"VERSION (\d+\.\d+\.\d+)", project.read()).group(1)
    report = bench_report.Report(
        f"Kest {version}: what it costs",
        f"{datetime.date.today():%d %B %Y}. {machine()}. Medians and, in brackets, the least and the most of "
        "the repetitions' ratios; the peers were measured in the same run. Times of single calls are "
        "processor time, user and system.")

    rows = ratio_rows(figures)
    numbers = {f"{label} / {peer}": ratio for label, peer, _, _, ratio, _, _, _ in rows}
    report.section("What is promised")
    report.ratios([(f"{label} / {peer}", ratio, least, most, limit) for label, peer, _, _, ratio, least, most, limit in rows])
    shown = [[label, bench_report.shown_time(ours), f"{peer}: {bench_report.shown_time(theirs)}",
              f"{ratio:.2f} [{least:.2f}-{most:.2f}]", f"{limit:g}" if limit else "",
              "above" if limit and ratio > limit else ""]
             for label, peer, ours, theirs, ratio, least, most, limit in rows]
    if figures.has("load", "kest", None, "real"):
        ours, empty = (figures.median("load", variant, None, "real") for variant in ("kest", "empty library"))
        more = [a - b for a, b in zip(figures.times["load", "kest", None, "real"],
                                      figures.times["load", "empty library", None, "real"])]
        extra = statistics.median(more)
        numbers["loading, ms beyond an empty library"] = extra / 1e6
        quarter = sorted(more)[len(more) // 4], sorted(more)[len(more) * 3 // 4]
        shown.append(["loading the library", bench_report.shown_time(ours), f"an empty one: {bench_report.shown_time(empty)}",
                      f"+{extra / 1e6:.2f} ms [{quarter[0] / 1e6:.2f}-{quarter[1] / 1e6:.2f}, the middle half]",
                      "+0.5 ms", "above" if extra > 0.5e6 else ""])
    report.table(["what", "kest", "peer", "ratio", "at most", ""], shown)

    grown = by_size(figures)
    if grown:
        report.section("By size", "Both scales are logarithmic: what grows as its input does rises one step for each step across.")
        report.growth(list(grown.items()))
        table = []
        for name, series in grown.items():
            ours = dict(series[0][1])
            for variant, points in series[1:]:
                for size, value in points:
                    if size in ours:
                        table.append((name, bench_report.shown_size(size), bench_report.shown_time(ours[size]),
                                      f"{variant}: {bench_report.shown_time(value)}", f"{ours[size] / value:.2f}"))
                        numbers[f"{name}, {size} / {variant}"] = ours[size] / value
            alone = [size for size in ours if not any(size in dict(points) for _, points in series[1:])]
            table += [(name, bench_report.shown_size(size), bench_report.shown_time(ours[size]), "", "") for size in alone]
        report.table(["what", "size", "kest", "peer", "ratio"], table)

    if counts:
        report.section("Instructions", "In user mode, as callgrind counts them: the same on every run.")
        report.table(["what", "instructions"], [(label, f"{value:,.0f}") for label, value in counts.items()])
        numbers.update({f"instructions of {label}": value for label, value in counts.items()})
    if loaded:
        report.section("Loading with a registry", "A fresh process that is linked with the library; the registry's text has that many keys.")
        report.table(["keys", "from start to end"], loaded)
    if under_wine:
        report.section("Loading under Wine", "LoadLibrary in a fresh process. The library reads the list of installed programs while it is loaded.")
        report.table(["what", "time"], under_wine)
    elif not chosen.only:
        report.section("Loading under Wine", "Not measured: it needs Wine, MinGW-w64 and build/windows/bin/Kest.dll (make test builds it).")
    sizes = binary_sizes() if not chosen.only else []
    if sizes:
        report.section("Size", "Without what is for debuggers alone.")
        report.table(["file", "size"], sizes)
    if tree_rows:
        report.section("Whole trees", "The short form: one tree, ext4 in an image. docs/speed.md has them all.")
        report.table(tree_rows[0], [row for row in tree_rows[2:] if len(row) == len(tree_rows[0])])
    elif not chosen.only:
        report.section("Whole trees", "Not measured: images of file systems need root and loop devices.")

    os.makedirs(RESULTS, exist_ok=True)
    before = last_release(version if chosen.release else None)
    if before:
        with open(f"{RESULTS}/{before}", encoding="utf-8") as old:
            rows = changes(numbers, json.load(old))
        report.section(f"Changes since {before[:-5]}",
                       "What is more than a tenth dearer or cheaper." if rows else "Nothing is more than a tenth dearer or cheaper.")
        if rows:
            report.table(["what", "then", "now", "change"], rows)
    if chosen.only:
        print("".join(report.text))
        return
    stem = f"{RESULTS}/{version if chosen.release else 'latest'}"
    report.write(stem)
    with open(f"{stem}.json", "w", encoding="utf-8") as out:
        json.dump(numbers, out, indent=1, sort_keys=True)
        out.write("\n")
    print("".join(report.text))
    say(f"Written to {os.path.relpath(stem, ROOT)}.md and .html, in {time.time() - begun:.0f} s.")


main()
