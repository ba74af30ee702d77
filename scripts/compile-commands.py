#!/usr/bin/env python3
"""Prints the command that compiles each source, without what it is written to, ended by a zero byte:

  compile-commands.py build/linux/compile_commands.json SOURCE ...

Or makes a list of commands for clang from one for MinGW's GCC, which clang knows all but a few words of:

  compile-commands.py --clang build/windows/compile_commands.json NEW_FOLDER
"""

import json
import pathlib
import shlex
import subprocess
import sys

# What clang 14 does not know.
GCC_ONLY = ("-fno-keep-inline-dllexport", "-Wshadow=local")


def words_of(entry):
    words = shlex.split(entry["command"])
    if words[0].endswith("ccache"):
        words = words[1:]
    return [word for word in words if word != "-Werror"]


def print_commands(database, sources):
    wanted = {str(pathlib.Path(source).resolve()) for source in sources}
    for entry in json.loads(pathlib.Path(database).read_text()):
        if str(pathlib.Path(entry["file"]).resolve()) not in wanted:
            continue
        words = words_of(entry)
        at = words.index("-o")
        words[at:at + 2] = []
        print("cd", shlex.quote(entry["directory"]), "&&", shlex.join(words), end="\0")


def standard_library(compiler):
    """Where GCC's C++ headers lie; clang looks for them beside another GCC."""
    said = subprocess.run([compiler, "-E", "-v", "-x", "c++", "/dev/null"], capture_output=True, text=True,
                          check=True).stderr
    listed = said.split("#include <...> search starts here:")[1].split("End of search list.")[0].split()
    return [folder for folder in listed if "/c++" in folder]


def write_for_clang(database, folder):
    headers = {}
    # Without the resources, which are no sources to clang.
    entries = [entry for entry in json.loads(pathlib.Path(database).read_text()) if not entry["file"].endswith(".rc")]
    for entry in entries:
        words = [word for word in words_of(entry) if word not in GCC_ONLY]
        compiler = words[0]
        if compiler not in headers:
            headers[compiler] = [word for header in standard_library(compiler) for word in ("-isystem", header)]
        entry["command"] = shlex.join(["clang++", "--target=x86_64-w64-mingw32", "-nostdinc++", *headers[compiler],
                                       *words[1:]])
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    (pathlib.Path(folder) / "compile_commands.json").write_text(json.dumps(entries, indent=1))


if sys.argv[1] == "--clang":
    write_for_clang(*sys.argv[2:])
else:
    print_commands(sys.argv[1], sys.argv[2:])
