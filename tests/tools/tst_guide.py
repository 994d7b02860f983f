#!/usr/bin/env python3
"""The user guide says what the program says: every message it explains and every key it lists is in the sources, and
nothing that it refers to is missing. usage: tst_guide.py TOP_FOLDER"""

import pathlib
import re
import sys
import unittest

top = pathlib.Path(sys.argv[1])
guide = top / "docs" / "guide"

KEYS_OF_THE_TOOLKIT = {"F1": "HelpContents", "Ctrl+O": "Open", "Ctrl+N": "New", "Ctrl+Q": "Quit", "Ctrl+S": "Save",
                       "Ctrl+Z": "Undo", "Ctrl+C": "Copy", "Delete": "Delete"}
KEY_NAMES = {"+": "Plus", "-": "Minus", "Esc": "Escape", "Ctrl+1 … Ctrl+5": "1"}
SOURCES_OF_KEYS = {"Main window": "src/app/*.cpp", "Live view": "src/display/plot/plottools.cpp",
                   "Recipe editor": "src/recipe/recipeform*.cpp"}
ESCAPES = {"n": " ", "r": " ", "t": " "}


def literals(text):
    """The string literals of a C++ source, adjacent ones joined, blanks collapsed."""
    text = re.sub(r"^\s*//.*$", "", text, flags=re.M)
    text = re.sub(r'"\)?\s*\+?\s*(?:QStringLiteral\(|tr\(|QLatin1String\()?"', "", text)
    for found in re.finditer(r'"((?:[^"\\\n]|\\.)*)"', text):
        plain = re.sub(r"\\(.)", lambda escape: ESCAPES.get(escape[1], escape[1]), found[1])
        yield re.sub(r"\s+", " ", plain)


def all_literals():
    found = []
    for source in sorted((top / "src").rglob("*.cpp")):
        found.extend(literals(source.read_text(encoding="utf-8")))
    return found


def end_of_call(text, start):
    """Behind the parenthesis that closes the one before `start`."""
    depth, at = 1, start
    while depth and at < len(text):
        if text[at] == '"':
            at += 1
            while text[at] != '"':
                at += 2 if text[at] == "\\" else 1
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        at += 1
    return at


def third_argument(call):
    """Of what stands between the parentheses of a call."""
    depth, arguments, at = 0, [""], 0
    while at < len(call):
        literal = re.match(r'"(?:[^"\\]|\\.)*"', call[at:])
        if literal:
            arguments[-1] += literal[0]
            at += len(literal[0])
            continue
        depth += {"(": 1, "{": 1, ")": -1, "}": -1}.get(call[at], 0)
        if call[at] == "," and depth == 0:
            arguments.append("")
        else:
            arguments[-1] += call[at]
        at += 1
    return arguments[2] if len(arguments) > 2 else ""


def boxes():
    """The texts of all message boxes that stand where the box is shown, with the file; "…" for what is filled in."""
    for source in sorted((top / "src").rglob("*.cpp")):
        text = re.sub(r"^\s*//.*$", "", source.read_text(encoding="utf-8"), flags=re.M)
        for call in re.finditer(r"[pP]rompts\.(?:warn|inform|ask|choose)\(", text):
            argument = third_argument(text[call.end():end_of_call(text, call.end()) - 1])
            for literal in literals(argument):
                literal = re.sub(r"%\d", "…", literal).strip()
                if re.search(r"[A-Za-z]{3}.* ", literal):
                    yield source.name, literal


def headings(markdown, level):
    return re.findall(rf"^{'#' * level} (.+)$", markdown, flags=re.M)


class Guide(unittest.TestCase):
    maxDiff = 2000

    def test_messages_are_in_the_sources(self):
        texts = all_literals()
        markdown = (guide / "12-troubleshooting.md").read_text(encoding="utf-8")
        rules = re.findall(r"^\| ([^|]+) \| [^|]+ \|$", markdown.split("## Rules of recipes")[1], flags=re.M)[1:]
        messages = headings(markdown, 3) + rules
        self.assertGreater(len(messages), 30)
        missing = []
        for message in messages:
            pieces = [piece.strip() for piece in message.split("…")]
            found = any(all(piece in text for piece in pieces) for text in texts)
            # A message that is put together from several literals: each of its pieces is one.
            if not found and not all(any(piece in text for text in texts) for piece in pieces):
                missing.append(message)
        self.assertEqual(missing, [])

    def test_every_box_is_explained(self):
        explained = headings((guide / "12-troubleshooting.md").read_text(encoding="utf-8"), 3)
        texts = list(boxes())
        self.assertGreater(len(texts), 40)
        # A text may be put together from several literals: the longest piece of its entry is in one of them.
        longest = [max((piece.strip() for piece in entry.split("…")), key=len) for entry in explained]
        missing = [f"{file}: {text}" for file, text in texts if not any(piece in text for piece in longest)]
        self.assertEqual(missing, [])

    def test_keys_are_in_the_sources(self):
        markdown = (guide / "13-shortcuts.md").read_text(encoding="utf-8")
        missing = []
        sections = re.split(r"^## ", markdown, flags=re.M)[1:]
        self.assertEqual([section.split("\n")[0] for section in sections], list(SOURCES_OF_KEYS))
        for section in sections:
            title = section.split("\n")[0]
            source = "".join(path.read_text(encoding="utf-8") for path in sorted(top.glob(SOURCES_OF_KEYS[title])))
            for key in re.findall(r"^\| ([^|]+?) \|", section, flags=re.M)[1:]:
                name = KEY_NAMES.get(key, key.split("+")[-1])
                standard = KEYS_OF_THE_TOOLKIT.get(key)
                if not (standard and f"QKeySequence::{standard}" in source) and \
                        not re.search(rf"\bKey_{re.escape(name)}\b", source):
                    missing.append(f"{title}: {key}")
        self.assertEqual(missing, [])

    def test_the_window_of_shortcuts_lists_the_same_keys(self):
        source = (top / "src/app/helpwindows.cpp").read_text(encoding="utf-8")
        shown = re.findall(r'^ *\{"([^"]+)", "([^"]+)", "[^"]+"\},$', source, flags=re.M)
        sections = re.split(r"^## ", (guide / "13-shortcuts.md").read_text(encoding="utf-8"), flags=re.M)[1:]
        listed = [(section.split("\n")[0], key) for section in sections
                  for key in re.findall(r"^\| ([^|]+?) \|", section, flags=re.M)[1:]]
        self.assertEqual(shown, listed)

    def test_options_are_in_the_manual(self):
        manual = (top / "docs/man/norvex-cli.1").read_text(encoding="utf-8").replace("\\", "")
        options = {name for source in (top / "src/cli").glob("*.cpp")
                   for name in re.findall(r'\badd(?:Value|Flag)\(QStringLiteral\("([a-z-]+)"\)', source.read_text(encoding="utf-8"))}
        self.assertGreater(len(options), 20)
        self.assertEqual([name for name in sorted(options) if f"--{name}" not in manual], [])

    def test_links_lead_somewhere(self):
        missing = []
        for page in sorted(guide.glob("*.md")):
            for target in re.findall(r"(?<!!)\[[^]]*\]\(([^)#]+)\)", page.read_text(encoding="utf-8")):
                if not target.startswith("http") and not (guide / target).exists():
                    missing.append(f"{page.name}: {target}")
        self.assertEqual(missing, [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
