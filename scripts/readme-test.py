#!/usr/bin/env python3
"""Follows README.md word by word and compares what happens with what it shows.

Every fenced block is used; the rest of its first line, which a reader does not see, says how:

  ```console [in the checkout]   lines that begin with "$ " are typed; what stands below each one is its
                                 whole output, "..." any number of lines
  ```LANGUAGE FILE               the block is the content of that file
  ..., last                      after all others, in an empty folder of its own
  ```console at TIME             at that time of Central Europe

Typed is what the reader types, in one shell, in an empty folder and with an empty home. That folder
is /home/you in what is shown. `make test` alone is not typed: it is what calls this script.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parent.parent
ZONE = "CET-1CEST,M3.5.0,M10.5.0/3"


def read_blocks(text):
    blocks = []
    for number, (head, body) in enumerate(re.findall(r"^```(.*)\n((?:.*\n)*?)```$", text, re.MULTILINE)):
        words = head.split(" ", 1)
        options = words[1] if len(words) > 1 else ""
        is_last = options.endswith("last")
        options = re.sub(r",? *last$", "", options)
        if words[0] != "console" and not options:
            raise SystemExit(f"Block {number + 1} of README.md ({head}) says neither what it is nor what for")
        blocks.append((words[0], options, is_last, body))
    return blocks


def read_session(body):
    """The commands of a session, each with its output."""
    commands = []
    for line in body.splitlines():
        if line.startswith("$ "):
            commands.append([line[2:], []])
        else:
            commands[-1][1].append(line)
    return commands


def seconds(text):
    """UTC seconds of a time in Central Europe."""
    fields = time.strptime(text, "%Y-%m-%d %H:%M:%S")
    os.environ["TZ"] = ZONE
    time.tzset()
    return int(time.mktime(fields[:8] + (-1,)))


class Reader:
    def __init__(self, place):
        self.place = place
        self.script = []
        self.expected = []
        self.folder = None

    def sit_down(self, folder):
        """Goes on in an empty folder."""
        self.folder = self.place / folder
        self.folder.mkdir()
        self.script.append(f"cd '{self.folder}'")

    def take(self, language, options, body):
        if language != "console":
            target = f"{self.folder}/{options}"
            self.script.append(f"cat >'{target}' <<'END OF FILE'\n{body}END OF FILE")
            return
        if options == "in the checkout":
            self.script.append(f"cd '{TOP}'")
        elif options.startswith("at "):
            self.script.append(f"export README_CLOCK={seconds(options[3:])} LD_PRELOAD={self.place}/clock.so")
        elif options:
            raise SystemExit(f"README.md has a session of an unknown kind: {options}")
        for command, output in read_session(body):
            if command == "make test":
                continue
            number = len(self.expected)
            self.expected.append((command, output, self.folder))
            self.script.append(f"{{ {command}\n}} >'{self.place}/{number}' 2>&1 </dev/null\n"
                               f"echo $? >'{self.place}/{number}.status'")
        self.script.append(f"unset LD_PRELOAD README_CLOCK; cd '{self.folder}'")

    def follow(self):
        # Neither the caller's settings nor what this script was started with.
        environment = {name: value for name, value in os.environ.items()
                       if name in ("PATH", "TMPDIR") or name.startswith("CCACHE") or name.endswith("_LAUNCHER")}
        environment.update(HOME=str(self.place / "home"), LC_ALL="C.UTF-8", TZ=ZONE)
        (self.place / "home").mkdir()
        subprocess.run(["cc", "-shared", "-fPIC", "-Wall", "-Wextra", "-Werror", TOP / "scripts/readme-clock.c",
                        "-ldl", "-o", self.place / "clock.so"], check=True)
        subprocess.run(["bash"], input="\n".join(self.script), text=True, env=environment, check=True)

    def compare(self):
        wrong = 0
        for number, (command, output, folder) in enumerate(self.expected):
            got = (self.place / str(number)).read_text(encoding="utf-8").replace(str(folder), "/home/you")
            status = int((self.place / f"{number}.status").read_text(encoding="ascii"))
            shown = "\n".join(output)
            pattern = "".join(r"(?:.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in output)
            if not re.fullmatch(pattern, got) or (status != 0 and not output) or (status != 0 and "..." in output):
                print(f"$ {command}\nends with status {status} and shows\n{got}where README.md shows\n{shown}\n")
                wrong += 1
        return wrong


def main():
    blocks = read_blocks((TOP / "README.md").read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory() as place:
        reader = Reader(pathlib.Path(place).resolve())
        for is_last, folder in ((False, "empty"), (True, "empty-too")):
            reader.sit_down(folder)
            for language, options, when, body in blocks:
                if when == is_last:
                    reader.take(language, options, body)
        reader.follow()
        wrong = reader.compare()
    print(f"README.md: {len(reader.expected)} commands, {wrong} other than shown")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
