#!/usr/bin/env python3
"""Holds what the documents say against the sources: links, paths, goals of the Makefile, environment
variables, the picture of who includes whom, the version, and that every public name is described.
"""

import glob
import pathlib
import re
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parent.parent
DOCUMENTS = [*TOP.glob("*.md"), *TOP.glob("docs/*.md"), *TOP.glob("examples/**/*.md")]
# What the documents tell a reader to make.
EXAMPLES = ("kest/colour/", "kest/platform/NAME/")
FOLDERS = "kest|docs|scripts|examples|cmake|package|tools|bench|fuzz"
wrong = []


def read(path):
    return (TOP / path).read_text(encoding="utf-8")


def complain(text):
    wrong.append(text)


def check_references():
    makefile = read("Makefile")
    sources = "".join(path.read_text(encoding="utf-8") for folder in ("kest", "tools", "cmake", "scripts", "package")
                      for path in (TOP / folder).rglob("*")
                      if path.is_file() and path.suffix in (".cpp", ".h", ".sh", ".cmake"))
    for document in DOCUMENTS:
        name = document.relative_to(TOP)
        text = document.read_text(encoding="utf-8")
        prose = re.sub(r"^```.*\n(?:.*\n)*?```$", "", text, flags=re.MULTILINE)
        for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", prose):
            if not (document.parent / target).exists():
                complain(f"{name}: links to {target}, which is not there")
        for quoted in re.findall(r"`([^`\n]+)`", prose):
            for path in re.findall(rf"^(?:\./)?((?:{FOLDERS})/[\w./*+-]*)$", quoted.split(" ")[0]):
                if path.startswith(EXAMPLES):
                    continue
                if not glob.glob(str(TOP / path)) and not (TOP / "kest" / path).exists():
                    complain(f"{name}: {path} is not there")
            for page in re.findall(r"^([\w-]+\.md)$", quoted):
                if not any((TOP / folder / page).exists() for folder in (".", "docs")):
                    complain(f"{name}: {page} is not there")
            for goal in re.findall(r"^make ([\w-]+)", quoted):
                if not re.search(rf"^{goal}:", makefile, re.MULTILINE):
                    complain(f"{name}: there is no make {goal}")
            for variable in re.findall(r"^(KEST_[A-Z_]+)$", quoted):
                if not re.search(rf"\b{variable}\b", sources):
                    complain(f"{name}: nothing knows {variable}")


def includes_of(path):
    return re.findall(r'^ *# *include +"(kest/[^"]+)"', read(path), re.MULTILINE)


def check_picture():
    """The flowchart in docs/architecture.md, with the folders that its nodes name."""
    chart = re.search(r"```mermaid\nflowchart TD\n(.*?)```", read("docs/architecture.md"), re.DOTALL)[1]
    folders = {}
    for node, label in re.findall(r'(\w+)\["([^"]+)"\]', chart):
        for part in label.split():
            folders[part] = node
    edges = re.findall(r"(\w+)(?:\[[^]]*])? --> (\w+)", chart)
    below = {node: {node} for node in folders.values()}
    for _ in folders:
        for upper, lower in edges:
            below[upper] |= below[lower]

    def node_of(path):
        inside = path.removeprefix("kest/")
        fitting = [part for part in folders if inside.startswith(part)]
        return folders[max(fitting, key=len)] if fitting else None

    seen = set()
    for path in sorted((TOP / "kest").rglob("*")):
        name = str(path.relative_to(TOP))
        if path.suffix not in (".h", ".cpp") or re.search(r"Test\.cpp$|/testing/|/contract/", name):
            continue
        here = node_of(name)
        for target in includes_of(name):
            there = node_of(target)
            if here is None or there is None:
                continue
            seen.add((here, there))
            if there not in below[here]:
                complain(f"docs/architecture.md: {name} includes {target}, which its picture does not allow")
    for edge in edges:
        if edge not in seen:
            complain(f"docs/architecture.md: no source goes from {edge[0]} to {edge[1]}")
    missing = {path.name for path in (TOP / "kest").iterdir() if path.is_dir()} - {
        part.strip("/").split("/")[0] for part in folders}
    if missing:
        complain(f"docs/architecture.md: the picture lacks {missing}")


def public_headers():
    headers, waiting = set(), ["kest/kest.h", "kest/c_api.h"]
    while waiting:
        header = waiting.pop()
        if header not in headers:
            headers.add(header)
            waiting += includes_of(header)
    return headers


def doxygen(folder, text):
    """What Doxygen complains about; nothing when it is content."""
    text += f"\nOUTPUT_DIRECTORY = {folder}\n"
    done = subprocess.run(["doxygen", "-"], input=text, text=True, cwd=TOP, capture_output=True, check=False)
    return "" if done.returncode == 0 else done.stdout + done.stderr


def check_reference():
    settings = read("Doxyfile")
    listed = set(re.findall(r"kest/[\w/]+\.h", re.search(r"^INPUT .*?[^\\]\n", settings, re.DOTALL | re.MULTILINE)[0]))
    for header in listed ^ public_headers():
        complain(f"Doxyfile: {header} is public and not listed, or the other way round")
    with tempfile.TemporaryDirectory() as folder:
        found = doxygen(folder, settings)
        if found:
            complain(f"The reference has gaps:\n{found}")
        # That a gap is found: the same with one header of which the last comments are taken away.
        header = pathlib.Path(folder) / "Gap.h"
        header.write_text(re.sub(r" *///.*", "", read("kest/sync/Lock.h")), encoding="utf-8")
        gap = re.sub(r"^INPUT .*?[^\\]\n", f"INPUT = {header}\nFULL_PATH_NAMES = NO\n", settings,
                     flags=re.DOTALL | re.MULTILINE)
        if "is not documented" not in doxygen(folder, gap):
            complain("Doxygen does not say that a name is not described")


def check_version():
    version = re.search(r"project\(Kest VERSION ([\d.]+)", read("CMakeLists.txt"))[1]
    newest = re.search(r"^## ([\d.]+)", read("CHANGELOG.md"), re.MULTILINE)[1]
    if version != newest:
        complain(f"CHANGELOG.md: the newest is {newest}, CMakeLists.txt says {version}")


check_references()
check_picture()
check_reference()
check_version()
for text in wrong:
    print(text)
sys.exit(1 if wrong else 0)
