"""Every link of the documents leads somewhere, and what they name is there: files, tests, presets
and variables."""

from __future__ import annotations

import json
import re
import subprocess
import unittest
from collections import Counter
from collections.abc import Iterator
from dataclasses import dataclass
from fnmatch import fnmatchcase
from pathlib import Path, PurePosixPath
from posixpath import normpath
from typing import NamedTuple
from urllib.parse import unquote

ROOT = Path(__file__).resolve().parents[2]

# What looks like a file of the tree and is none, and what it is instead.
ELSEWHERE = {
    "application/x-www-form-urlencoded": "a type of content",
    "bin/veltrano": "in an archive of cpack's",
    "ca.pem": "made by the sandbox",
    "lib/udev/rules.d/70-veltrano-reader.rules": "where it is installed",
}
BUILD_FOLDER = "build/"  # what is in it is made

PATH = re.compile(r"[\w.@*-]+(?:/[\w.@*-]*)+")
FILE_NAME = re.compile(r"[\w@*-][\w.@*-]*\.\w+")
FENCE = re.compile(r"^(```+)[ \t]*(\w*)[^\n]*\n(.*?)^\1[ \t]*$", re.M | re.S)
# Not over the end of a paragraph.
SPAN = re.compile(r"(?<!`)(`+)(?!`)((?:(?!\n[ \t]*\n).)+?)(?<!`)\1(?!`)", re.S)
# In its line, or as a definition on one of its own.
LINK = re.compile(r"\]\(\s*<?([^()\s<>]+)>?(?:\s+\"[^\"]*\")?\s*\)"
                  r"|^\[[^\]]+\]:\s*<?([^\s<>]+)", re.M)
SCHEME = re.compile(r"[a-z][a-z0-9+.-]*:", re.I)
HEADING = re.compile(r"^#{1,6}[ \t]+(.*?)[ \t]*#*$", re.M)
NO_PATHS = {"http", "json"}  # fences of recorded traffic


class Found(NamedTuple):
    """A text and the number of the line in which it begins."""

    line: int
    text: str


def blanked(text: str, pattern: re.Pattern[str]) -> str:
    """The text without what matches; its lines and places stay."""
    return pattern.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)


@dataclass(frozen=True)
class Document:
    """A Markdown file, by its name in the tree."""

    name: str
    text: str

    @classmethod
    def read(cls, name: str) -> Document:
        return cls(name, (ROOT / name).read_text(encoding="utf-8"))

    @property
    def folder(self) -> PurePosixPath:
        return PurePosixPath(self.name).parent

    def found(self, place: int, text: str) -> Found:
        return Found(self.text.count("\n", 0, place) + 1, text)

    def links(self) -> Iterator[Found]:
        """The targets of links and pictures."""
        prose = blanked(blanked(self.text, FENCE), SPAN)
        for match in LINK.finditer(prose):
            group = 1 if match[1] else 2
            yield self.found(match.start(group), match[group])

    def code(self) -> Iterator[Found]:
        """The words of what is set as code, in a line or as a block."""
        pieces = [(match.start(3), match[3]) for match in FENCE.finditer(self.text)
                  if match[2] not in NO_PATHS]
        prose = blanked(self.text, FENCE)
        pieces += [(match.start(2), match[2]) for match in SPAN.finditer(prose)]
        for start, piece in pieces:
            for word in re.finditer(r"\S+", piece):
                yield self.found(start + word.start(), word[0])

    def named(self, pattern: str) -> Iterator[Found]:
        """The first group of each match in the whole text."""
        for match in re.finditer(pattern, self.text):
            yield self.found(match.start(1), match[1])

    def anchors(self) -> set[str]:
        """What a link can name after its #: the headings, by GitHub's rule."""
        anchors: list[str] = []
        for heading in HEADING.findall(blanked(self.text, FENCE)):
            shown = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", heading)
            # Marks go, and each space becomes a hyphen of its own.
            anchors.append(re.sub(r"[^\w\- ]", "", shown.lower()).replace(" ", "-"))
        times: Counter[str] = Counter()
        numbered = set()
        for anchor in anchors:
            numbered.add(f"{anchor}-{times[anchor]}" if times[anchor] else anchor)
            times[anchor] += 1
        return numbered


def tree() -> list[str]:
    """The project's files: what git knows and what it would add. In an unpacked archive, all."""
    try:
        listed = subprocess.run(
            ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
            check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode("utf-8")
        names = listed.split("\0")
    except (OSError, subprocess.CalledProcessError):
        names = [path.relative_to(ROOT).as_posix() for path in ROOT.rglob("*")]
    return sorted({name for name in names
                   if not re.match(r"build|\.git/", name) and (ROOT / name).is_file()})


class TestDocuments(unittest.TestCase):

    files: set[str]
    folders: set[str]
    names: set[str]
    suffixes: set[str]
    documents: dict[str, Document]
    cmake: str

    @classmethod
    def setUpClass(cls) -> None:
        cls.files = set(tree())
        cls.folders = {str(folder) for name in cls.files for folder in PurePosixPath(name).parents}
        cls.names = {PurePosixPath(name).name for name in cls.files}
        cls.suffixes = {PurePosixPath(name).suffix for name in cls.files} - {""}
        cls.documents = {name: Document.read(name) for name in sorted(cls.files)
                         if name.endswith(".md")}
        cls.cmake = "\n".join((ROOT / name).read_text(encoding="utf-8") for name in cls.files
                              if name.endswith(("CMakeLists.txt", ".cmake")))

    def setUp(self) -> None:
        self.maxDiff = None
        self.wrong: list[str] = []
        self.checked = 0

    def check(self, document: Document, found: Found, right: bool, what: str) -> None:
        self.checked += 1
        if not right:
            self.wrong.append(f"{document.name}:{found.line}: {what}: {found.text}")

    def assert_none_wrong(self, least: int) -> None:
        """The least number of places guards against a pattern that finds nothing any more."""
        if self.wrong:
            self.fail("\n" + "\n".join(self.wrong))
        self.assertGreaterEqual(self.checked, least, "the documents are written in another way now")

    # Links

    def test_links(self) -> None:
        for document in self.documents.values():
            for link in document.links():
                if not SCHEME.match(link.text):
                    self.check(document, link, *self.link(document, link.text))
        self.assert_none_wrong(30)

    def link(self, document: Document, text: str) -> tuple[bool, str]:
        """Whether it leads somewhere, and why not."""
        path, hash_mark, anchor = text.partition("#")
        target = normpath(str(document.folder / unquote(path))) if path else document.name
        if target not in self.files and target not in self.folders:
            return False, "a link to no file"
        if not hash_mark:
            return True, ""
        other = self.documents.get(target)
        return other is not None and unquote(anchor) in other.anchors(), "a link to no heading"

    # Files

    def test_files(self) -> None:
        for document in self.documents.values():
            for word in document.code():
                text = word.text.rstrip(".,;:")
                if PATH.fullmatch(text) and not self.is_elsewhere(text):
                    self.check(document, word, self.is_path(document, text), "no such file")
                elif FILE_NAME.fullmatch(text) and not self.is_elsewhere(text):
                    if PurePosixPath(text).suffix in self.suffixes:
                        self.check(document, word, self.one_of(self.names, text), "no such file")
        self.assert_none_wrong(60)

    def test_exceptions(self) -> None:
        """None is kept that no document needs, and none hides a file of the tree."""
        words = {word.text.rstrip(".,;:") for document in self.documents.values()
                 for word in document.code()}
        self.assertEqual(set(ELSEWHERE) - words, set())
        self.assertEqual(set(ELSEWHERE) & (self.files | self.names), set())

    @staticmethod
    def is_elsewhere(text: str) -> bool:
        return text in ELSEWHERE or text.startswith(BUILD_FOLDER)

    @staticmethod
    def one_of(names: set[str], pattern: str) -> bool:
        return pattern in names or "*" in pattern and any(
            fnmatchcase(name, pattern) for name in names)

    def is_path(self, document: Document, text: str) -> bool:
        """From the project's folder or from the document's own."""
        name = text.rstrip("/")
        known = self.folders if text.endswith("/") else self.files | self.folders
        if self.one_of(known, name) or self.one_of(known, normpath(str(document.folder / name))):
            return True
        # A folder in a list of what is in another one.
        return text.endswith("/") and "/" not in name and name in {
            PurePosixPath(folder).name for folder in self.folders}

    # Names

    def test_tests(self) -> None:
        sources = {PurePosixPath(name).stem for name in self.files
                   if re.fullmatch(r"tests/(?:.*/)?tst_\w+\.cpp", name)}
        for document in self.documents.values():
            for name in document.named(r"\b(tst_\w+)"):
                self.check(document, name, name.text in sources, "no such test")
        self.assert_none_wrong(4)

    def test_functions_of_tests(self) -> None:
        """Where a command names a test program and a function of it."""
        for document in self.documents.values():
            for command in document.named(r"(\btests/tst_\w+[ \t]+\w+)"):
                program, function = command.text.split()
                source = ROOT / f"{program}.cpp"
                self.check(document, command, source.is_file() and bool(
                    re.search(rf"\bvoid {function}\(\)", source.read_text(encoding="utf-8"))),
                    "no such function")
        self.assert_none_wrong(1)

    def test_presets(self) -> None:
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
        kinds = {"cmake": "configurePresets", "cmake --build": "buildPresets",
                 "ctest": "testPresets"}
        for document in self.documents.values():
            for command, kind in kinds.items():
                known = {preset["name"] for preset in presets[kind] if not preset.get("hidden")}
                for name in document.named(rf"\b{command} --preset[ =]([\w-]+)"):
                    self.check(document, name, name.text in known, f"not in {kind}")
        self.assert_none_wrong(3)

    def test_table_of_presets(self) -> None:
        """All that there are, in their order."""
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
        table = self.documents["CONTRIBUTING.md"].text.partition("\n## Presets\n")[2]
        self.assertEqual(re.findall(r"^\| `([^`]+)` \|", table.partition("\n## ")[0], re.M),
                         [preset["name"] for preset in presets["configurePresets"]
                          if not preset.get("hidden")])

    def test_table_of_the_sandbox_s_sources(self) -> None:
        """Each once."""
        table = self.documents["sandbox/README.md"].text.partition("\n## The sources\n")[2]
        named = [name for row in re.findall(r"^\| \w+ \|([^|]*)\|", table.partition("\n#")[0], re.M)
                 for name in re.findall(r"`(\w+)`", row)]
        self.assertEqual(sorted(named), sorted({
            PurePosixPath(name).stem for name in self.files
            if fnmatchcase(name, "sandbox/*.cpp") or fnmatchcase(name, "sandbox/*.h")
            if "/tests/" not in name}))

    def test_variables(self) -> None:
        known = set(re.findall(r"\bVELTRANO_[A-Z_]+\b", self.cmake))
        for document in self.documents.values():
            for name in document.named(r"(?:\b|-D)(VELTRANO_[A-Z_]+)\b"):
                self.check(document, name, name.text in known, "in no CMake file")
        self.assert_none_wrong(10)


if __name__ == "__main__":
    unittest.main()
