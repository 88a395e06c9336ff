"""As much of C and C++ as the checks have to understand: comments and literals, includes, and where
functions begin and end. The sources are formatted, which makes little enough of it."""
import re
from typing import Iterator, NamedTuple

OPAQUE = re.compile(
    r"//[^\n]*"
    r"|/\*.*?\*/"
    r'|R"(?P<mark>[^()\s]*)\(.*?\)(?P=mark)"'
    r'|"(?:\\.|[^"\\\n])*"'
    r"|(?<!\w)'(?:\\.|[^'\\\n])+'",  # not the ' within a number
    re.DOTALL)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.MULTILINE)
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^">]+)[">]', re.MULTILINE)

# What the text before a brace ends in when a function's body follows: its parameters and what may
# stand behind them, the initialisers of a constructor, or a lambda without parameters.
FUNCTION = re.compile(
    r"(?:\)|(?:^|[=(,&\s])\[[^\[\]]*\])"
    r"(?:\s*(?:const|noexcept|override|final|mutable|->[\w\s:<>,*&]+))*$|\}$")
BLOCK = re.compile(r"\b(?:namespace|struct|class|union|enum|extern)\b")
ACCESS = re.compile(r"^\s*(?:public|private|protected):")


class Include(NamedTuple):
    """One #include: where, whether with quotes, and of what."""

    line: int
    quoted: bool
    name: str


class Function(NamedTuple):
    """A function from its first line, that of its type, to its closing brace."""

    line: int
    length: int
    head: str


def blank(text: str) -> str:
    """The text without comments and without what literals hold, each line where it was."""
    def emptied(match: re.Match) -> str:
        found = match.group()
        quote = found[0] if found[0] in "\"'" else ""
        return quote + "\n" * found.count("\n") + quote
    return OPAQUE.sub(emptied, text)


def line_at(text: str, position: int) -> int:
    """The number of the line that a position lies on."""
    return text.count("\n", 0, position) + 1


def includes(text: str) -> list[Include]:
    """All includes, in their order. Literals are not blanked: names stand in quotes."""
    return [Include(line_at(text, match.start()), match[1] == '"', match[2])
            for match in INCLUDE.finditer(text)]


def matching_brace(text: str, opened: int) -> int:
    """The position of the brace that closes the one at 'opened', or the end."""
    depth = 0
    for match in re.compile(r"[{}]").finditer(text, opened):
        depth += 1 if match.group() == "{" else -1
        if depth == 0:
            return match.start()
    return len(text)


def functions(text: str) -> Iterator[Function]:
    """All functions that stand in no other one, with those in classes and in tables of lambdas."""
    text = DIRECTIVE.sub(lambda match: "\n" * match.group().count("\n"), blank(text))
    start = position = 0  # of what stands before the next brace
    outer: list[int | None] = []  # per open brace: where the text before an initialiser began
    while match := re.compile(r"[{};]").search(text, position):
        position = match.end()
        head = text[start:match.start()]
        if match.group() == ";":
            start = position
        elif match.group() == "}":
            began = outer.pop() if outer else None
            start = position if began is None else began
        elif FUNCTION.search(head.rstrip()):
            closed = matching_brace(text, match.start())
            begin = start + (ACCESS.match(head).end() if ACCESS.match(head) else 0)
            begin += len(text[begin:]) - len(text[begin:].lstrip())
            line = line_at(text, begin)
            yield Function(line, line_at(text, closed) - line + 1,
                           " ".join(text[begin:match.start()].split()))
            start = position = closed + 1
        else:
            outer.append(None if BLOCK.search(head) else start)
            start = position
