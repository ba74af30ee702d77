#!/usr/bin/env python3
"""Holds traces against the grammar in docs/trace-format.md.

  trace-grammar.py FILE ...               says how many records, notices and rests each file has
  trace-grammar.py --test PROGRAM         makes traces with the command (and what runs it in front of
                  [--library LIBRARY]     it) and, with the library, through its C interface, and
                                          compares what each line is with what it must be

The grammar is read from the document, so the document is what is tested.
"""

import ctypes
import os
import pathlib
import re
import subprocess
import sys
import tempfile

DOCUMENT = pathlib.Path(__file__).resolve().parent.parent / "docs" / "trace-format.md"
NAMED = {"U+0009": "\t", "U+000D": "\r", "U+000A": "\n", "any character but TAB and LF": None}


class Grammar:
    """Rules in EBNF without recursion, each turned into one regular expression."""

    def __init__(self, text):
        self.tokens = re.findall(r'"[^"]*"|\?[^?]*\?|\w+|[={}\[\](),|;]', re.sub(r"\(\*.*?\*\)", "", text))
        self.rules, self.alternatives = {}, {}
        self.expressions = {}
        position = 0
        while position < len(self.tokens):
            name = self.tokens[position]
            end = self.tokens.index(";", position)
            self.rules[name] = self.tokens[position + 2:end]
            position = end + 1

    def expression(self, name):
        if name not in self.expressions:
            tokens = list(self.rules[name])
            self.expressions[name] = self.choice(tokens)
            if tokens:
                raise SystemExit(f"The rule {name} goes on after its end: {tokens}")
        return self.expressions[name]

    def choice(self, tokens):
        options = [self.sequence(tokens)]
        while tokens and tokens[0] == "|":
            tokens.pop(0)
            options.append(self.sequence(tokens))
        return options[0] if len(options) == 1 else "(?:" + "|".join(options) + ")"

    def sequence(self, tokens):
        parts = [self.term(tokens)]
        while tokens and tokens[0] == ",":
            tokens.pop(0)
            parts.append(self.term(tokens))
        return "".join(parts)

    def term(self, tokens):
        token = tokens.pop(0)
        for opening, closing, suffix in ("{}*", "[]?", ("(", ")", "")):
            if token == opening:
                inner = self.choice(tokens)
                assert tokens.pop(0) == closing
                return f"(?:{inner}){suffix}"
        if token[0] == '"':
            return re.escape(token[1:-1])
        if token[0] == "?":
            character = NAMED[token[1:-1].strip()]
            return re.escape(character) if character else r"[^\t\n]"
        return self.expression(token)

    def kinds(self):
        """The names of what a trace consists of, in their order."""
        return [token for token in self.rules["trace"] if token.isidentifier()]


def read_grammar():
    found = re.search(r"```ebnf\n(.*?)```", DOCUMENT.read_text(encoding="utf-8"), re.DOTALL)
    grammar = Grammar(found[1])
    return [(kind, re.compile(grammar.expression(kind))) for kind in grammar.kinds()]


def classify(grammar, text):
    """What each line of a trace is."""
    kinds = []
    for line in re.findall(r"[^\n]*\n|[^\n]+$", text):
        fitting = (kind for kind, expression in grammar if expression.fullmatch(line))
        kinds.append((next(fitting, "nothing"), line))
    return kinds


def read(path):
    with open(path, encoding="utf-8", newline="") as file:
        return file.read()


class Test:
    def __init__(self, grammar):
        self.grammar = grammar
        self.wrong = 0

    def compare(self, what, expected, actual):
        if expected != actual:
            print(f"{what}:\n<{actual}>\ninstead of\n<{expected}>")
            self.wrong += 1

    def kinds(self, what, expected, text):
        kinds = classify(self.grammar, text)
        self.compare(what, expected, [kind for kind, _ in kinds])

    def lines_that_are_none(self):
        """The grammar must be able to say no."""
        good = ("November 16, 2026, 5:35:54.123 AM\tINFO    \tT4711\tConfigurable:L00064" + " " * 17 +
                "\tReading\n")
        self.kinds("the example", ["record"], good)
        self.kinds("with CR LF", ["record"], good.replace("\n", "\r\n"))
        self.kinds("without an end", ["nothing"], good.rstrip())
        for old, new in (("November", "Novembre"), (" 16,", " 016,"), ("5:35", "005:35"),
                         (".123", ".12"), (" AM", ""), ("INFO    ", "INFO"), ("INFO    ", "DEBUG   "),
                         ("T4711", "4711"), (":L00064", ":L0064"), (":L00064", ""), ("T4711\t", "T4711 ")):
            self.kinds(f"{new} for {old}", ["rest"], good.replace(old, new))
        self.kinds("a roll-over", ["notice", "record"], "Trace file rolled over\n" + good)

    def command(self, program):
        """Traces of the command: every line is a record or what a system's text leaves."""
        with tempfile.TemporaryDirectory() as place:
            os.makedirs(f"{place}/source/inner")
            for name in ("one", "inner/Grüße 日本"):
                pathlib.Path(f"{place}/source/{name}").write_text("x", encoding="utf-8")
            pathlib.Path(f"{place}/settings.xml").write_text("<port>1</port>\n", encoding="utf-8")
            # The records of each call; how many of them end in a system's text.
            for arguments, status, records, texts in (
                    (["copy", "source", "new"], 0, 8, 3), (["copy", "source", "new"], 0, 11, 2),
                    (["copy", "nowhere", "new"], 1, 2, 1), (["delete", "new"], 0, 4, 0),
                    (["link", "source", "copy"], 1, 1, 0), (["property", "settings.xml", "port"], 0, 3, 0),
                    (["property", "settings.xml", "host"], 1, 4, 0)):
                made = subprocess.run([os.path.abspath(program[0]), *program[1:], *arguments, "--trace", "trace.log"], cwd=place,
                                      stdin=subprocess.DEVNULL, capture_output=True, check=False)
                what = " ".join(arguments)
                self.compare(f"{what}: exit status", status, made.returncode)
                kinds = classify(self.grammar, read(f"{place}/trace.log"))
                counted = [sum(kind == wanted for kind, _ in kinds) for wanted in ("record", "rest", "nothing")]
                self.compare(f"{what}: records, rests, neither", [records, texts, 0], counted)
                self.compare(f"{what}: the rests", {"\n"} if texts else set(),
                             {line.replace("\r", "") for kind, line in kinds if kind == "rest"})
                columns = {len(line.split("\t")[3]) for kind, line in kinds if kind == "record"}
                self.compare(f"{what}: the width of the place", {36}, columns)

    def library(self, library):
        """Lines through the C interface, which takes any name and any number."""
        kest = ctypes.CDLL(library)
        kest.logMessage.argtypes = (ctypes.c_wchar_p, ctypes.c_int, ctypes.c_int, ctypes.c_wchar_p)
        kest.setRecorderFile.argtypes = (ctypes.c_wchar_p,)
        lines = (("a.cpp", 1, 0, "text"), ("folder/b.cpp", 123456, 1, ""), ("c" * 40, 12345, 2, "x"),
                 ("c" * 40, 123456, 3, "a\ttab"), ("Ж 日本 \U0001F600", -1, 0, "Grüße 日本 \U0001F600"),
                 ("", -2147483648, 0, "-"), ("d.cpp", 2147483647, 0, "two\nlines"))
        with tempfile.TemporaryDirectory() as place:
            kest.setRecorderFile(f"{place}/trace.log")
            for line in lines:
                kest.logMessage(*line)
            # Long enough for the file to be emptied at the next tenth line.
            text = read(f"{place}/trace.log")
            for _ in range(15):
                kest.logMessage("e.cpp", 1, 0, "e" * 1000000)
            rolled = read(f"{place}/trace.log")
        self.kinds("lines of a host", ["record"] * 7 + ["rest"], text)
        self.kinds("a file that was emptied", ["notice"], rolled[:rolled.index("\n") + 1])
        self.compare("no line is torn", {"notice", "record"},
                     {kind for kind, _ in classify(self.grammar, rolled)})
        fields = [line.split("\t", 4) for line in text.split("\n")]
        self.compare("their places",
                     ["a.cpp:L00001", "b.cpp:L123456", "c" * 30 + ":L12345", "c" * 30 + ":L123456",
                      "Ж 日本 \U0001F600:L-0001", ":L-2147483648", "d.cpp:L2147483647"],
                     [field[3].rstrip(" ") for field in fields if len(field) == 5])
        self.compare("their messages", ["text", "", "x", "a\ttab", "Grüße 日本 \U0001F600", "-", "two"],
                     [field[4] for field in fields if len(field) == 5])


def main(arguments):
    grammar = read_grammar()
    if arguments[:1] != ["--test"]:
        for path in arguments:
            kinds = [kind for kind, _ in classify(grammar, read(path))]
            counts = ", ".join(f"{kinds.count(kind)} {kind}s" for kind in dict.fromkeys(kinds))
            print(f"{path}: {counts or 'empty'}")
        return 0
    program = arguments[1:]
    library = None
    if "--library" in program:
        at = program.index("--library")
        library, program = program[at + 1], program[:at]
    test = Test(grammar)
    test.lines_that_are_none()
    test.command(program)
    if library:
        test.library(library)
    return 1 if test.wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
