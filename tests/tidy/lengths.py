"""Functions fit a screen and lines its width, files stay small enough to be read at one go."""
import ast
import re
from fnmatch import fnmatch
from typing import Iterator

from cxx import functions
from sources import Problem, Tree

HERE = "tests/tidy/lengths.py"

FILE_LINES = 400
FUNCTION_LINES = 50
COLUMNS = 100

# Files that may be longer, how long, and why.
LONGER_FILES = (
    ("include/pcsim/layout_rows.h", 900, "one row for each word of every record"),
    ("tests/*_test.cpp", 600, "the cases of one contract stand together"),
)

# Functions that may be longer: file, how the function begins, lines, why.
LONGER_FUNCTIONS = (
    ("platform/card/cardSlotOps.cpp", "constexpr HalCardSlotOps cardSlotOps(", 150,
     "the table of all words of a slot, for either shape"),
)


def file_limit(path: str) -> int:
    """How many lines a file may have."""
    return next((limit for pattern, limit, _ in LONGER_FILES if fnmatch(path, pattern)), FILE_LINES)


def function_limit(path: str, head: str) -> int:
    """How many lines a function may have."""
    return next((limit for file, begin, limit, _ in LONGER_FUNCTIONS
                 if file == path and head.startswith(begin)), FUNCTION_LINES)


def python_functions(text: str) -> Iterator[tuple[int, int, str]]:
    """(line, length, name) of each function of a Python program."""
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            yield node.lineno, node.end_lineno - node.lineno + 1, node.name


# How a function of a page begins: by its word, as a method, or as an arrow that opens a block.
SCRIPT_FUNCTION = re.compile(
    r" *(?:export |default |static |async |get |set )*(?:function\b.*"
    r"|(?!(?:if|for|while|switch|catch|with)\b)[#\w$]+\(.*\)) \{|.*=> \{")


def script_functions(text: str) -> Iterator[tuple[int, int, str]]:
    """(line, length, head) of each function of a page's module. It ends with the first brace that
    stands as far to the right as it begins."""
    lines = text.split("\n")
    for number, line in enumerate(lines):
        if SCRIPT_FUNCTION.fullmatch(line):
            indent = len(line) - len(line.lstrip())
            ends = (at for at, end in enumerate(lines[number + 1:], number + 1)
                    if re.match(rf" {{{indent}}}\}}", end))
            yield number + 1, next(ends, number) - number + 1, line.strip()


def is_python(path: str, text: str) -> bool:
    """By suffix, or by the program that its first line names."""
    return path.endswith(".py") or "python" in text.split("\n", 1)[0]


def all_files(tree: Tree) -> Iterator[tuple[str, int]]:
    """(path, lines) of each source file."""
    return ((path, text.count("\n"))
            for path, text in [*tree.c_sources(), *tree.scripts(), *tree.pages()])


def all_functions(tree: Tree) -> Iterator[tuple[str, int, int, str]]:
    """(path, line, length, head) of each function of the tree."""
    for path, text in tree.c_sources():
        for function in functions(text):
            yield path, function.line, function.length, function.head
    for path, text in tree.scripts():
        if is_python(path, text):
            for line, length, name in python_functions(text):
                yield path, line, length, name
    for path, text in tree.pages():
        if path.endswith(".js"):
            for line, length, head in script_functions(text):
                yield path, line, length, head


def check_columns(tree: Tree) -> Iterator[Problem]:
    """Lines of what is shipped that are too long, where no formatter breaks them."""
    shipped = [(path, text) for path, text in tree.scripts() if path.startswith("python/")]
    for path, text in [*shipped, *tree.pages()]:
        for number, line in enumerate(text.split("\n"), 1):
            if len(line) > COLUMNS:
                yield Problem(path, number, f"{len(line)} columns; a line has at most {COLUMNS}")


def check(tree: Tree) -> Iterator[Problem]:
    """Files and functions that are too long."""
    for path, lines in all_files(tree):
        limit = file_limit(path)
        if lines > limit:
            yield Problem(path, limit + 1, f"{lines} lines; a file has at most {limit}: divide it")
    for path, line, length, head in all_functions(tree):
        limit = function_limit(path, head)
        if length > limit:
            yield Problem(path, line, f"'{head[:60]}' has {length} lines; "
                                      f"a function has at most {limit}: divide it")


def check_exceptions(tree: Tree) -> Iterator[Problem]:
    """Exceptions that nothing needs any more."""
    long_files = [path for path, lines in all_files(tree) if lines > FILE_LINES]
    long_functions = [(path, head) for path, _, length, head in all_functions(tree)
                      if length > FUNCTION_LINES]
    for pattern, *_ in LONGER_FILES:
        if not any(fnmatch(path, pattern) for path in long_files):
            yield Problem(HERE, 1, f"no {pattern} is that long; drop its exception")
    for file, begin, *_ in LONGER_FUNCTIONS:
        if not any(path == file and head.startswith(begin) for path, head in long_functions):
            yield Problem(HERE, 1, f"no '{begin}' of {file} is that long; drop its exception")
