#!/usr/bin/env python3
"""Prints the command that compiles each source, without what it is written to, ended by a zero byte:

  compile-commands.py build/linux/compile_commands.json SOURCE ...
"""

import json
import pathlib
import shlex
import sys

wanted = {str(pathlib.Path(source).resolve()) for source in sys.argv[2:]}
for entry in json.loads(pathlib.Path(sys.argv[1]).read_text()):
    if str(pathlib.Path(entry["file"]).resolve()) not in wanted:
        continue
    words = shlex.split(entry["command"])
    if words[0].endswith("ccache"):
        words = words[1:]
    at = words.index("-o")
    words[at:at + 2] = []
    words = [word for word in words if word != "-Werror"]
    print("cd", shlex.quote(entry["directory"]), "&&", shlex.join(words), end="\0")
