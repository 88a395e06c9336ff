"""A source file includes its own header first, so that every header is once compiled with nothing
before it; then the system's headers, then the project's."""
from itertools import pairwise
from posixpath import dirname
from typing import Iterator

from cxx import includes
from sources import Problem, Tree


def own_header(tree: Tree, path: str) -> str | None:
    """The header beside a .cpp or .c file; None when it has none of its name."""
    stem, suffix = path.rsplit(".", 1)
    return f"{stem}.h" if suffix != "h" and f"{stem}.h" in tree.files else None


def check(tree: Tree) -> Iterator[Problem]:
    """One problem per file: its first include that stands in the wrong place."""
    for path, text in tree.c_sources():
        found = includes(text)
        own = own_header(tree, path)
        first = found[0] if found else None
        named = first and first.quoted and own in (first.name, f"{dirname(path)}/{first.name}")
        if own is not None and not named:
            yield Problem(path, first.line if first else 1,
                          f'the first include is to be its own header, "{own}"')
            continue
        # Where no header has the file's name, its own is the one that declares what it defines, and
        # a test's the one that it tests: with that a file may begin as well.
        begun = 1 if first and first.quoted and not path.endswith(".h") else 0
        for before, after in pairwise(found[begun:]):
            if before.quoted and not after.quoted:
                yield Problem(path, after.line, "the system's headers come before the project's: "
                                                f"move <{after.name}> above \"{before.name}\"")
                break
