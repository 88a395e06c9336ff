"""Where the library can be changed a little, and how: a source as its compiler sees it.

Statements, conditions and arguments come from the syntax tree, operators and literals from the
tokens. A change keeps the number of lines, which messages of the library tell."""
import hashlib
import itertools
import re
import shlex
from pathlib import Path
from typing import Iterator, NamedTuple

from clang import cindex
from clang.cindex import CursorKind, TokenKind, TypeKind

OPERATORS = {
    "comparison": {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"],
                   ">": [">=", "<="], ">=": [">", "<"]},
    "arithmetic": {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "+=": ["-="],
                   "-=": ["+="], "++": ["--"], "--": ["++"], "<<": [">>"], ">>": ["<<"]},
    "logic": {"&&": ["||"], "||": ["&&"], "!": [""]},
    "bits": {"&": ["|"], "|": ["&"], "^": ["|"], "~": [""], "&=": ["|="], "|=": ["&="]},
}
# Elsewhere these mean templates, pointers and references; the format puts blanks around operators.
BETWEEN_BLANKS = ("<", ">", "*", "&", "&&", "+", "<<", ">>")
WORDS = {"true": "false", "false": "true"}
INTEGER = re.compile(r"(0[xX][0-9a-fA-F]+|0|[1-9][0-9]*)([uUlL]*)")

FUNCTIONS = (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
             CursorKind.FUNCTION_TEMPLATE, CursorKind.DESTRUCTOR)
NAMED = FUNCTIONS + (CursorKind.VAR_DECL, CursorKind.CLASS_TEMPLATE, CursorKind.STRUCT_DECL,
                     CursorKind.CLASS_DECL, CursorKind.ENUM_DECL, CursorKind.CLASS_TEMPLATE)
EXPRESSIONS = (CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.UNARY_OPERATOR,
               CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.UNEXPOSED_EXPR,
               CursorKind.CXX_STATIC_CAST_EXPR, CursorKind.PAREN_EXPR, CursorKind.CXX_DELETE_EXPR,
               CursorKind.CONDITIONAL_OPERATOR, CursorKind.DO_STMT, CursorKind.CSTYLE_CAST_EXPR)
LEAVING = {CursorKind.RETURN_STMT: b"return", CursorKind.BREAK_STMT: b"break",
           CursorKind.CONTINUE_STMT: b"continue"}
INTEGERS = (TypeKind.BOOL, TypeKind.CHAR_S, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT,
            TypeKind.ULONG, TypeKind.ULONGLONG, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG,
            TypeKind.LONGLONG, TypeKind.ENUM)


class Change(NamedTuple):
    """One small change to one file. 'before' and 'after' are the lines that it touches, as words."""
    path: str
    line: int
    function: str
    kind: str
    start: int
    end: int
    text: bytes
    before: str
    after: str

    def name(self) -> tuple[str, str, str, str]:
        """What it is called where lines move."""
        return self.path, self.function, self.before, self.after

    def order(self, seed: int) -> str:
        """A number by chance that stays the same while other lines change."""
        words = (str(seed), *self.name(), self.kind)
        return hashlib.sha256("\0".join(words).encode()).hexdigest()


class Source:
    """A file of a translation unit: its text and the changes that can be made to it."""

    def __init__(self, unit: cindex.TranslationUnit, root: Path, path: str) -> None:
        self.unit, self.path = unit, path
        self.file = unit.get_file(str(root / path))
        self.text = (root / path).read_bytes()
        self.places: dict[tuple[int, int, bytes], tuple[str, int, int, bytes]] = {}
        self.names: list[tuple[int, int, str]] = []

    def changes(self) -> list[Change]:
        """All of them, in the order of the text."""
        for cursor in self.unit.cursor.get_children():
            if self.is_here(cursor):
                self.walk(cursor, None)
        self.take_tokens()
        return [self.change(*place) for _, place in sorted(self.places.items())]

    def is_here(self, cursor: cindex.Cursor) -> bool:
        """Whether it stands in this file."""
        file = cursor.location.file
        return file is not None and file.name == self.file.name

    def add(self, kind: str, start: int, end: int, text: bytes) -> None:
        """A change, unless it's known already. Lines stay where they are."""
        text += b"\n" * (self.text.count(b"\n", start, end) - text.count(b"\n"))
        if self.text[start:end] != text:
            self.places.setdefault((start, end, text), (kind, start, end, text))

    def change(self, kind: str, start: int, end: int, text: bytes) -> Change:
        """The change as it is told."""
        first = self.text.rfind(b"\n", 0, start) + 1
        last = self.text.find(b"\n", end)
        before = self.text[first:last]
        after = self.text[first:start] + text + self.text[end:last]
        inside = [(b - a, name) for a, b, name in self.names if a <= start and end <= b]
        return Change(self.path, self.text.count(b"\n", 0, start) + 1,
                      min(inside)[1] if inside else "-", kind, start, end, text,
                      " ".join(before.decode().split()), " ".join(after.decode().split()))

    # --- The syntax tree -------------------------------------------------------------------------

    def walk(self, cursor: cindex.Cursor, above: cindex.Cursor | None) -> None:
        """Looks at a node and what is below it."""
        if cursor.kind in NAMED and cursor.spelling and (
                cursor.kind in FUNCTIONS or above is None or above.kind not in (
                    CursorKind.DECL_STMT, CursorKind.COMPOUND_STMT)):
            self.names.append((cursor.extent.start.offset, cursor.extent.end.offset,
                               cursor.spelling))
        children = list(cursor.get_children())
        self.take_statements(cursor, children, above)
        self.take_condition(cursor, children)
        if cursor.kind == CursorKind.CALL_EXPR:
            self.take_neighbours([argument for argument in cursor.get_arguments() if argument])
        elif cursor.kind == CursorKind.INIT_LIST_EXPR:
            self.take_neighbours(children)
        for child in children:
            self.walk(child, cursor)

    def take_statements(self, cursor: cindex.Cursor, children: list[cindex.Cursor],
                        above: cindex.Cursor | None) -> None:
        """Statements that can be left out."""
        bodies = []
        if cursor.kind in (CursorKind.COMPOUND_STMT, CursorKind.CASE_STMT):
            bodies = children
            # What a function ends with has to be there.
            if cursor.kind == CursorKind.COMPOUND_STMT and above and above.kind in FUNCTIONS:
                bodies = [child for child in children
                          if child is not children[-1] or child.kind not in LEAVING]
        elif cursor.kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT):
            bodies = children[1:]
        elif cursor.kind == CursorKind.FOR_STMT:
            bodies = children[-1:]
        for body in bodies:
            start = body.extent.start.offset
            if body.kind in LEAVING:
                if self.text.startswith(LEAVING[body.kind], start):
                    self.leave_out("early end", start)
            elif body.kind in EXPRESSIONS and self.begins_statement(start):
                self.leave_out("statement", start)

    def begins_statement(self, start: int) -> bool:
        """Whether what stands here is no part of an expression."""
        before = self.text[:start].rstrip()
        last = before.split(b"\n")[-1]
        return (before[-1:] in b"{};):" or b"//" in last) or before.endswith(b"else")

    def leave_out(self, kind: str, start: int) -> None:
        """Leaves out what ends with the next semicolon."""
        end = self.text.find(b";", start)
        if end >= 0 and b"{" not in self.text[start:end]:
            self.add(kind, start, end + 1, b"{}")

    def take_condition(self, cursor: cindex.Cursor, children: list[cindex.Cursor]) -> None:
        """Conditions that can be turned round."""
        if cursor.kind not in (CursorKind.IF_STMT, CursorKind.WHILE_STMT,
                               CursorKind.CONDITIONAL_OPERATOR) or not children:
            return
        start, end = (place.offset for place in (children[0].extent.start, children[0].extent.end))
        if cursor.kind == CursorKind.CONDITIONAL_OPERATOR:
            fits = self.text[end:].lstrip().startswith(b"?")
        else:
            fits = self.text[:start].endswith(b"(") and self.text.startswith(b")", end)
        if fits and start < end:
            self.add("condition", start, end, b"!(" + self.text[start:end] + b")")

    def take_neighbours(self, values: list[cindex.Cursor]) -> None:
        """Values of the same sort beside each other, which can be exchanged."""
        for left, right in zip(values, values[1:]):
            start, gap = left.extent.start.offset, left.extent.end.offset
            end, behind = right.extent.start.offset, right.extent.end.offset
            between = self.text[gap:end]
            if not start < gap < end < behind or not self.is_here(left) or not re.fullmatch(
                    rb"\s*,\s*(\.\w+\s*=\s*)?", between) or sort_of(left) != sort_of(right):
                continue
            self.add("argument", start, behind,
                     self.text[end:behind] + between + self.text[start:gap])

    # --- The tokens ------------------------------------------------------------------------------

    def take_tokens(self) -> None:
        """Operators and literals."""
        ends = [cindex.SourceLocation.from_offset(self.unit, self.file, offset)
                for offset in (0, len(self.text))]
        skipped = directives(self.text)
        for token in self.unit.get_tokens(extent=cindex.SourceRange.from_locations(*ends)):
            start, end = token.extent.start.offset, token.extent.end.offset
            if self.text.count(b"\n", 0, start) in skipped:
                continue
            for kind, text in self.replacements(token, start, end):
                self.add(kind, start, end, text.encode())

    def replacements(self, token: cindex.Token, start: int, end: int) -> Iterator[tuple[str, str]]:
        """(kind, text) of each that a token can be replaced by."""
        word = token.spelling
        if token.kind == TokenKind.LITERAL:
            number = INTEGER.fullmatch(word)
            if number:
                value = int(number[1], 0)
                yield "constant", f"{value + 1}{number[2]}"
                if value > 1:
                    yield "constant", f"{value - 1}{number[2]}"
            elif word.startswith('"') and b'extern "C"' not in self.text[start - 7:end]:
                yield "text", word[:-1] + 'x"'
        elif token.kind == TokenKind.KEYWORD and word in WORDS:
            yield "constant", WORDS[word]
        elif token.kind == TokenKind.PUNCTUATION:
            alone = self.text[start - 1:start].isspace() and self.text[end:end + 1].isspace()
            destructor = word == "~" and self.text[end:end + 1].isupper()
            if destructor or (word in BETWEEN_BLANKS and not alone):
                return
            for kind, table in OPERATORS.items():
                for other in table.get(word, ()):
                    yield kind, other


def sort_of(value: cindex.Cursor) -> str:
    """Values of one sort can stand in each other's place."""
    type_ = value.type.get_canonical()
    return "integer" if type_.kind in INTEGERS else type_.spelling


def directives(text: bytes) -> set[int]:
    """The lines that are the preprocessor's, or hold what is proven while compiling."""
    lines, goes_on = set(), False
    for number, line in enumerate(text.split(b"\n")):
        if goes_on or line.lstrip().startswith((b"#", b"static_assert")):
            lines.add(number)
            goes_on = line.endswith(b"\\")
    return lines


def parse(command: dict, resource_folder: str) -> cindex.TranslationUnit:
    """A source by the command that compiles it."""
    words = shlex.split(command["command"])[1:]
    options = [word for word in words if word.startswith(("-D", "-I", "-m32", "-std", "-f"))]
    unit = cindex.Index.create().parse(
        command["file"], args=["-x", "c++", "-w", "-resource-dir", resource_folder, *options])
    errors = [each for each in unit.diagnostics if each.severity >= cindex.Diagnostic.Error]
    if errors:
        raise ValueError(f"{command['file']}: {errors[0]}")
    return unit


def choose(changes: list[Change], seed: int, count: int) -> list[Change]:
    """Evenly over files and kinds: the files take turns, headers every third time, each with the
    kind that has been taken least. A smaller count takes the first ones of a greater."""
    left: dict[str, dict[str, list[Change]]] = {}
    for change in sorted(changes, key=lambda each: (each.order(seed), each.start), reverse=True):
        left.setdefault(change.path, {}).setdefault(change.kind, []).append(change)
    turns = sorted(left, key=lambda path: hashlib.sha256(f"{seed}{path}".encode()).hexdigest())
    chosen: list[Change] = []
    taken: dict[str, int] = {}
    for turn in itertools.count():
        if not left or len(chosen) >= count:
            return chosen[:count]
        for path in [path for path in turns if path in left]:
            if path.endswith(".h") and turn % 3 != 2:
                continue
            kind = min(sorted(left[path]), key=lambda each: taken.get(each, 0))
            chosen.append(left[path][kind].pop())
            taken[kind] = taken.get(kind, 0) + 1
            if not left[path][kind]:
                del left[path][kind]
            if not left[path]:
                del left[path]
    return []
