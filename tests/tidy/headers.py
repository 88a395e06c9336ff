"""How files begin: every source with a comment that says what it is for, every header with a guard
that follows from its path."""
import re
from collections import defaultdict
from typing import Iterator

from cxx import line_at
from sources import Problem, Tree

# Folders whose name is left out of guards: their rooms are told by what follows.
UNNAMED = ("include/pcsim/", "platform/", "tests/platform/")

# Headers that are meant to be included more than once, and why.
UNGUARDED = {"include/pcsim/layout_rows.h": "each time with another meaning of its rows"}


def guard_of(path: str) -> str:
    """The guard that belongs to a header's path: PCSIM_ROOM_FILE_H."""
    for folder in UNNAMED:
        if path.startswith(folder):
            path = ("tests/" if folder.startswith("tests/") else "") + path.removeprefix(folder)
            break
    return re.sub(r"\W", "_", f"PCSIM_{path}").upper()


def check_guards(tree: Tree) -> Iterator[Problem]:
    """Each header's guard is the one that belongs to its path, and no two have the same."""
    taken: dict[str, list[str]] = defaultdict(list)
    for path, text in tree.c_sources():
        if not path.endswith(".h") or path in UNGUARDED:
            continue
        guard = guard_of(path)
        taken[guard].append(path)
        found = re.search(r"^#ifndef (\w+)\n#define \1\n", text, re.MULTILINE)
        if found is None:
            yield Problem(path, 1, f"no include guard; write #ifndef {guard}, #define {guard}")
        elif found[1] != guard:
            yield Problem(path, line_at(text, found.start()),
                          f"the guard is {found[1]}; its path makes it {guard}")
    for guard, paths in taken.items():
        if len(paths) > 1:
            yield Problem(paths[1], 1, f"its guard {guard} is that of {paths[0]} as well; "
                                       "rename one of them")


def says_what_for(path: str, text: str) -> bool:
    """Whether the first thing in the file is a comment of more than a word."""
    if path.endswith((".h", ".cpp", ".c", ".js", ".css")):
        match = re.match(r"//(.*)|/\*(.*)", text)
    else:
        text = re.sub(r"\A#!.*\n", "", text)
        match = re.match(r'#(.*)|"""(.*)' if path.endswith(".py") else r"#(.*)|\"\"\"(.*)", text)
    said = match and (match[1] or match[2] or "")
    return bool(said) and len(said.split()) > 1 and "clang-format" not in said


def check_purposes(tree: Tree) -> Iterator[Problem]:
    """Every source file opens with its purpose."""
    modules = [(path, text) for path, text in tree.files.items() if path.endswith(".cmake")]
    for path, text in [*tree.c_sources(), *tree.scripts(), *tree.pages(), *modules]:
        if text and not says_what_for(path, text):
            yield Problem(path, 1, "does not open with a comment that says what it is for")
