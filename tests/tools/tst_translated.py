#!/usr/bin/env python3
"""What people read goes through the translator: finds words that stand as bare literals in the sources of windows, and in
those below them, whose reasons and findings end in the boxes and tables of windows.
usage: tst_translated.py TOP_FOLDER"""

import pathlib
import re
import sys
import unittest

src = pathlib.Path(sys.argv[1]) / "src"

LITERAL = re.compile(r'QStringLiteral\((\s*"(?:[^"\\]|\\.)*"(?:\s*"(?:[^"\\]|\\.)*")*)\s*\)')
# Names and things for the program, not for people: log lines, object names, settings, styles, resources.
NOT_SHOWN = re.compile(r"\blog(Debug|Info|Warning)\(|[sS]et(ObjectName|StyleSheet|Property|Value)\(|findChild|"
                       r"\b(setting|keepSetting|value|property)\(\s*$|Key\s*=\s*$|QIcon\(")
# The same in every language, data, parts of settings' keys, and what only measures a width.
NAMES = {"Norvex - RF Event Detector", "Recipes", "Drafts", "DejaVu Sans", "Exports", "Default", "norvex ", " +-=12LNP",
         "1234.56 MHz", "Splitter", "Columns"}
FILES_OF_THE_COMMAND_LINE = {"commandline.cpp", "main.cpp"}
# Below the windows: what is written to files, to the log or to sensors, and what the program itself compares.
NOT_SHOWN_FILES = {"appsettings.cpp", "csvformat.cpp", "csvtime.cpp", "runtracker.cpp", "sqliteexport.cpp",
                   "supportfile.cpp", "tidyexport.cpp"}
NOT_SHOWN_TEXTS = {"Connecting", "Reconnecting", "Connected", "Disconnected", "Connection timed out", "New Status",
                   "New Frame", "ConnectionError", "TimeoutError", "Signal Lock", "End Config", "End Block Config",
                   "DefaultRecipe", "Step %1", "event L%1", "Type : %1 Mag : %2 Min-dur : %3 us Dir :%4",
                   "%1 min", "%1 min %2 s", "%1 h %2 min", "%1 MHz", "%1 kHz", "%1 Hz",
                   "Hz (%1 µs)", "Mon-05-Feb-2024 13:45:10.123456"}


def sources_of(library):
    for build_file in src.rglob("CMakeLists.txt"):
        for target in re.findall(rf"target_sources\({library} PRIVATE(.*?)\)", build_file.read_text(), re.S):
            yield from (build_file.parent / name for name in re.findall(r"\w+\.cpp", target))


def is_words(text):
    if text in NAMES or re.search(r"====|[{};]\s*$|: ?#|border|padding|<span|<td|<table|<tr", text):
        return False
    if re.search(r"^:?/|/\w+$|^\w+/|\.\w{3}$|^\.", text) or re.fullmatch(r"[dMyHhmsz :.'T,/-]+", text.replace("\\n", " ")):
        return False  # paths and forms of dates
    plain = re.sub(r"%\d|\\.", " ", text)
    return bool(re.search(r"[A-Za-z]{2,} +[A-Za-z]{2,}|[A-Za-z]{2,} ?$|^[ (]?[A-Za-z]{2,}", plain) and
                (" " in text or re.match(r"[A-Z][a-z]{2,}|\([A-Za-z]", text)))


def bare_texts(code):
    for literal in LITERAL.finditer(code):
        text = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literal[1]))
        begin = max(code.rfind(mark, 0, literal.start()) for mark in (";", "{\n", "}\n"))
        if is_words(text) and not NOT_SHOWN.search(code[begin + 1:literal.start()]):
            yield text


class Translated(unittest.TestCase):
    maxDiff = None

    def bare_texts_of(self, library, at_least, is_shown):
        sources = [source for source in sources_of(library) if is_shown(source)]
        self.assertGreater(len(sources), at_least)
        return [f"{source.relative_to(src)}: {text}" for source in sorted(sources)
                for text in bare_texts(source.read_text(encoding="utf-8"))]

    def test_no_bare_text_reaches_a_window(self):
        self.assertEqual(self.bare_texts_of("norvex_gui", 80,
                                            lambda source: source.name not in FILES_OF_THE_COMMAND_LINE), [])

    def test_no_bare_text_comes_from_below(self):
        found = self.bare_texts_of("norvex_core", 90, lambda source: source.name not in NOT_SHOWN_FILES and
                                   source.parent.name != "simulator")
        self.assertEqual([line for line in found if line.split(": ", 1)[1] not in NOT_SHOWN_TEXTS], [])

    def test_the_search_finds_them(self):
        code = 'label->setText(QStringLiteral("No sensor " "yet"));'
        self.assertEqual(list(bare_texts(code)), ["No sensor yet"])
        self.assertEqual(list(bare_texts(code.replace("QStringLiteral", "tr"))), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
