"""Every single fault that can be planted in a C++ source: what a slip of the hand would make of it.

No compiler's view of the source: brackets, statements and calls are found by their look, which is
the formatter's. What does not compile is sorted out by whoever plants it."""

from __future__ import annotations

import re
from bisect import bisect_right
from collections.abc import Iterator
from dataclasses import dataclass, field

TOKEN = re.compile(r"""
    (?P<blank> \s+ | //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:[^\n]*\\\n)*[^\n]* )
  | (?P<text>   "(?:\\.|[^"\\])*" )
  | (?P<letter> '(?:\\.|[^'\\])+' )
  | (?P<number> \d[\w.]* )
  | (?P<name>   [A-Za-z_]\w* )
  | (?P<sign>   -> | :: | \+\+ | -- | && | \|\| | << | >> | [<>=!+*/%&|^-]= | . )
""", re.X | re.S | re.M)

CLOSING = {"(": ")", "[": "]", "{": "}"}
MACRO = re.compile(r"[A-Z][A-Z_]+")

# What a sign is taken for; only where blanks stand around it, so that no template is one.
COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"],
               ">": [">=", "<="], ">=": [">", "<"]}
LOGIC = {"&&": ["||"], "||": ["&&"]}
ARITHMETIC = {"+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["*"], "&": ["|"], "|": ["&"],
              "+=": ["-=", "="], "-=": ["+="]}

# Names that are mistaken for each other.
NAMES = [
    ["SerialNumberColumn", "TrackerNameColumn", "CompeIdColumn", "FirmwareColumn", "ImsiColumn"],
    ["ActivationDoneRole", "ActivationIdRole"],
    ["DisplayRole", "CheckStateRole", "ToolTipRole", "UserRole"],
    ["Checked", "PartiallyChecked", "Unchecked"],
    ["Green", "Yellow", "Red"],
    ["green", "yellow", "red"],
    ["Yes", "No"],
    ["Critical", "Warning"],
    ["Accepted", "Rejected"],
    ["PlainText", "AutoText"],
    ["ReadOnly", "ReadWrite", "WriteOnly"],
    ["ReadError", "ResourceError"],
    ["CustomContextMenu", "DefaultContextMenu"],
    ["userLineEdit", "passwordLineEdit"],
    ["groupComboBox", "calendarWidget", "treeView"],
    ["accountBalance", "numberTrackers"],
    ["extendProfile", "normalProfile"],
    ["pSelectAllButton", "pSelectNoneButton"],
    ["certificate1", "certificate2"],
    ["level1", "level2"],
    ["sent", "total"],
    ["row", "column"],
    ["rowCount", "columnCount"],
    ["min", "max"],
]


@dataclass(frozen=True)
class Fault:
    """A stretch of a source and what stands there instead."""

    kind: str
    start: int
    end: int
    text: str

    def planted(self, source: str) -> str:
        """The source with the fault; its later lines keep their numbers."""
        lost = source.count("\n", self.start, self.end) - self.text.count("\n")
        return source[:self.start] + self.text + "\n" * lost + source[self.end:]


    def lines(self, source: str) -> tuple[str, str]:
        """The lines that it changes, without and with it, each as one line."""
        start = source.rfind("\n", 0, self.start) + 1
        end = (source + "\n").find("\n", self.end)
        before, behind = source[start:self.start], source[self.end:end]
        return (" ".join(source[start:end].split()),
                " ".join((before + self.text + behind).split()))


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self) -> int:
        return self.start + len(self.text)


@dataclass
class Statement:
    """From its first token to behind its last one."""

    kind: str  # "expression", "declaration", "control", "return", "macro", "block" or "jump"
    first: int
    end: int


@dataclass
class Block:
    """Statements that follow each other, and what ends the function that they are in."""

    early_return: str
    is_function: bool = False
    statements: list[Statement] = field(default_factory=list)


class Source:
    """The tokens of a source, and what they form."""

    def __init__(self, text: str) -> None:
        self.text = text
        self.tokens = [Token(match.lastgroup or "", match[0], match.start())
                       for match in TOKEN.finditer(text) if match.lastgroup != "blank"]
        self.partner: dict[int, int] = {}
        self.blocks: list[Block] = []
        self.conditions: list[tuple[int, int]] = []  # the brackets around them
        self.else_parts: list[tuple[int, int]] = []
        self.bodies: list[tuple[int, int]] = []  # of functions, and of functions in them
        self.enums: list[tuple[int, int]] = []
        self.silent: set[int] = set()  # tokens in which no fault is planted
        self._match_brackets()
        self._find_silent()
        self._find_bodies()

    def word(self, index: int) -> str:
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def between(self, first: int, end: int) -> str:
        return self.text[self.tokens[first].start:self.tokens[end - 1].end]

    def is_spaced(self, index: int) -> bool:
        """Whether blanks stand around a sign, as around one with two sides."""
        token = self.tokens[index]
        return self.text[token.start - 1].isspace() and self.text[token.end].isspace()

    def is_declared(self, index: int) -> bool:
        """Whether a name gets its meaning here, where another one would have two."""
        before = self.tokens[index - 1]
        has_type = before.kind == "name" and before.text not in {"case", "return"} \
            or before.text in {"*", "&"} and not self.is_spaced(index - 1)
        return has_type or any(first < index < last for first, last in self.enums)

    def _match_brackets(self) -> None:
        opened: list[int] = []
        for index, token in enumerate(self.tokens):
            if token.text in CLOSING:
                opened.append(index)
            elif token.text in CLOSING.values():
                first = opened.pop()
                assert CLOSING[self.word(first)] == token.text, self.text[token.start:]
                self.partner[first] = index

    def _find_silent(self) -> None:
        for index, token in enumerate(self.tokens):
            if token.text in {"SIGNAL", "SLOT", "Q_UNUSED", "static_assert"}:
                self.silent.update(range(index, self.partner[index + 1] + 1))
            elif token.text == "enum":
                brace = index
                while self.word(brace) != "{":
                    brace += 1
                self.enums.append((brace, self.partner[brace]))
            elif token.text in {"using", "class", "namespace"} and index not in self.silent:
                end = index
                while self.word(end) not in {";", "{"}:
                    end += 1
                self.silent.update(range(index, end))

    def _is_body(self, index: int) -> bool:
        return self.word(index) == "{" and self.word(index - 1) in {")", "const", "override",
                                                                    "else", "do"}

    def _find_bodies(self) -> None:
        index = 0
        while index < len(self.tokens):
            if self._is_body(index):
                self._parse_body(index, self._early_return(index))
                index = self.partner[index]
            index += 1

    def _early_return(self, brace: int) -> str:
        """What ends it early: constructors, destructors and void functions give nothing."""
        first = brace - 1
        while first >= 0 and self.word(first) not in {";", "}", "{", "public", "private"}:
            first -= 1
        header = re.sub(r"^\W+", "", self.between(first + 1, brace).partition("(")[0])
        nothing = re.match(r"(?:\w+ )*void\b", header) or re.fullmatch(r"(\w+)::~?\1", header)
        return "return;" if nothing else "return {};"

    def _parse_body(self, brace: int, early_return: str) -> None:
        self.bodies.append((brace, self.partner[brace]))
        self._parse_block(brace, early_return, is_function=True)

    def _parse_block(self, brace: int, early_return: str, is_function: bool = False) -> None:
        block = Block(early_return, is_function)
        self.blocks.append(block)
        index = brace + 1
        while index < self.partner[brace]:
            statement = self._parse_statement(index, early_return)
            block.statements.append(statement)
            index = statement.end

    def _parse_statement(self, first: int, early_return: str) -> Statement:
        word = self.word(first)
        if word == "{":
            self._parse_block(first, early_return)
            return Statement("block", first, self.partner[first] + 1)
        if word in {"if", "while", "for", "switch"}:
            return self._parse_control(first, early_return)
        if word in {"case", "default"}:
            while self.word(first) != ":":
                first += 1
            return self._parse_statement(first + 1, early_return)
        if MACRO.fullmatch(word):
            end = self.partner[first + 1] + 1 if self.word(first + 1) == "(" else first + 1
            return Statement("macro", first, end + (self.word(end) == ";"))
        end = first
        while self.word(end) != ";":
            if self._is_body(end):  # a function in an expression
                self._parse_body(end, "return;")
            elif self.word(end) in {"(", "[", "{"}:
                self._find_inner_bodies(end)
            end = self.partner.get(end, end) + 1
        kind = {"return": "return", "break": "jump", "continue": "jump"}.get(
            word, "declaration" if self._declares(first) else "expression")
        return Statement(kind, first, end + 1)

    def _find_inner_bodies(self, bracket: int) -> None:
        index = bracket + 1
        while index < self.partner[bracket]:
            if self._is_body(index):
                self._parse_body(index, "return;")
                index = self.partner[index]
            index += 1

    def _parse_control(self, first: int, early_return: str) -> Statement:
        bracket = first + 1
        if self.word(first) == "if":
            self.conditions.append((bracket, self.partner[bracket]))
        statement = self._parse_branch(self.partner[bracket] + 1, early_return)
        end = statement.end
        if self.word(end) == "else":
            branch = self._parse_branch(end + 1, early_return)
            self.else_parts.append((end, branch.end))
            end = branch.end
        return Statement("control", first, end)

    def _parse_branch(self, first: int, early_return: str) -> Statement:
        statement = self._parse_statement(first, early_return)
        if statement.kind != "block":
            self.blocks.append(Block(early_return, statements=[statement]))
        return statement

    def _declares(self, first: int) -> bool:
        """Whether it begins with a type and a name, or with a word that only types have."""
        words = " ".join(self.word(index) for index in range(first, first + 8))
        return bool(re.match(r"(?:const|auto|static|constexpr|struct|using)\b"
                             r"|[\w]+(?: :: \w+)*(?: <[^;]*?>)? [*&]*\s*[A-Za-z_]\w* ?[;=({\[]",
                             words)) and not re.match(r"(?:delete|emit|new)\b", words)

    def lists(self) -> Iterator[list[tuple[int, int]]]:
        """The arguments of calls and the elements of lists, where there are two or more. Those of
        connections do not compile in another order."""
        for bracket, closing in self.partner.items():
            before = self.word(bracket - 1)
            is_call = self.word(bracket) == "(" and re.fullmatch(r"\w+|>", before) \
                and before not in {"if", "while", "for", "switch", "return", "connect"}
            is_list = self.word(bracket) == "{" and not self._is_body(bracket)
            is_here = self.in_body(bracket) and (is_call or is_list) \
                or (bracket, closing) in self.enums
            if not is_here or bracket in self.silent:
                continue
            parts = []
            first = index = bracket + 1
            while index < closing:
                if self.word(index) == ",":
                    parts.append((first, index))
                    first = index + 1
                index = self.partner.get(index, index) + 1
            parts.append((first, closing))
            parts = [part for part in parts if part[0] < part[1]]
            if len(parts) > 1:
                yield parts

    def in_body(self, index: int) -> bool:
        return any(first < index < last for first, last in self.bodies)


def faults(text: str) -> list[Fault]:
    """All of them, in the order of their places, each once."""
    source = Source(text)
    found = [*_token_faults(source), *_condition_faults(source), *_statement_faults(source),
             *_list_faults(source)]
    unique = {(fault.start, fault.end, fault.text): fault for fault in reversed(found)}
    return sorted(unique.values(), key=lambda fault: (fault.start, fault.end, fault.text))


def _token_faults(source: Source) -> Iterator[Fault]:
    for index, token in enumerate(source.tokens):
        if index in source.silent:
            continue
        for kind, text in _token_changes(source, index):
            yield Fault(kind, token.start, token.end, text)


def _token_changes(source: Source, index: int) -> Iterator[tuple[str, str]]:
    token = source.tokens[index]
    if token.kind == "text":
        yield "text", token.text[:-1] + 'x"'
        if token.text != '""':
            yield "text", '""'
    elif token.kind == "letter" and len(token.text) == 3:
        yield "number", f"'{chr(ord(token.text[1]) + 1)}'"
    elif token.kind == "number":
        value = int(token.text, 0)
        yield "boundary", str(value + 1)
        yield "boundary", f"({value - 1})" if value == 0 else str(value - 1)
        if value > 1:
            yield "number", "0"
    elif token.kind == "name":
        if token.text in {"true", "false"}:
            yield "true or false", "false" if token.text == "true" else "true"
        for names in NAMES:
            if token.text in names and not source.is_declared(index):
                for name in names:
                    if name != token.text:
                        yield "name", name
    elif source.is_spaced(index):
        for kind, signs in [("comparison", COMPARISONS), ("logic", LOGIC),
                            ("arithmetic", ARITHMETIC)]:
            for sign in signs.get(token.text, []):
                yield kind, sign
    elif token.text == "!":
        yield "negation", ""
    elif token.text in {"++", "--"}:
        yield "arithmetic", "--" if token.text == "++" else "++"


def _condition_faults(source: Source) -> Iterator[Fault]:
    for first, last in source.conditions:
        start, end = source.tokens[first].end, source.tokens[last].start
        yield Fault("negation", start, end, f"!({source.text[start:end]})")
    for index, token in enumerate(source.tokens):
        if token.text == "?":
            yield _swapped_branches(source, index)


def _swapped_branches(source: Source, question: int) -> Fault:
    colon = question
    while source.word(colon) != ":":
        colon = source.partner.get(colon, colon) + 1
    end = colon
    while source.word(end) not in {";", ",", ")", "}"}:
        end = source.partner.get(end, end) + 1
    return _swapped("negation", source, (question + 1, colon), (colon + 1, end))


def _swapped(kind: str, source: Source, one: tuple[int, int], other: tuple[int, int]) -> Fault:
    start, end = source.tokens[one[0]].start, source.tokens[other[1] - 1].end
    between = source.text[source.tokens[one[1] - 1].end:source.tokens[other[0]].start]
    return Fault(kind, start, end, source.between(*other) + between + source.between(*one))


def _statement_faults(source: Source) -> Iterator[Fault]:
    for first, end in source.else_parts:
        yield Fault("else", source.tokens[first].start, source.tokens[end - 1].end, "")
    for block in source.blocks:
        for statement in block.statements:
            yield from _single_faults(source, block, statement)
        for one, other in zip(block.statements, block.statements[1:]):
            if one.kind == "expression" and other.kind in {"expression", "control"} \
                    and not _are_apart(source, one, other):
                yield _swapped("order", source, (one.first, one.end), (other.first, other.end))


def _single_faults(source: Source, block: Block, statement: Statement) -> Iterator[Fault]:
    start, end = source.tokens[statement.first].start, source.tokens[statement.end - 1].end
    if statement.kind in {"expression", "control", "jump"}:
        is_connection = source.word(statement.first) == "connect"
        yield Fault("connect" if is_connection else "statement", start, end, ";")
    if statement.kind == "return":
        is_value = source.word(statement.first + 1) != ";"
        if block.early_return == "return {};" and is_value:
            yield Fault("return", start, end, "return {};")
        if not block.is_function or statement is not block.statements[-1]:
            yield Fault("return", start, end, ";")
    elif statement is not block.statements[-1] and statement.kind != "macro":
        yield Fault("early return", start, start, block.early_return + " ")


def _are_apart(source: Source, one: Statement, other: Statement) -> bool:
    """Whether both connect, and not the same sender: their order cannot be seen."""
    if source.word(one.first) != "connect" or source.word(other.first) != "connect":
        return False
    senders = [source.between(statement.first, statement.end).partition(",")[0]
               for statement in (one, other)]
    return senders[0] != senders[1]


def _list_faults(source: Source) -> Iterator[Fault]:
    for parts in source.lists():
        for one, other in zip(parts, parts[1:]):
            texts = [source.between(*part) for part in (one, other)]
            if texts[0] != texts[1] and _is_pointer(texts[0]) == _is_pointer(texts[1]):
                yield _swapped("arguments", source, one, other)


def _is_pointer(text: str) -> bool:
    """Or a function: for the compiler neither is anything else."""
    return bool(re.match(r"this\b|new\b|&|\[|(?:m_)?p[A-Z]\w*$|ui->\w+$", text))


def line_of(text: str, place: int) -> int:
    """The number of the line that holds the place."""
    starts = [0, *(match.end() for match in re.finditer("\n", text))]
    return bisect_right(starts, place)
