"""One scheme for file names per tree; CONTRIBUTING.md says it in words."""
import re
from pathlib import PurePosixPath
from typing import Iterator

from sources import Problem, Tree

CAMEL = ("camelCase", re.compile(r"[a-z][A-Za-z0-9]*"))
SNAKE = ("snake_case", re.compile(r"[a-z][a-z0-9]*(?:_[a-z0-9]+)*"))
KEBAB = ("kebab-case", re.compile(r"[a-z][a-z0-9]*(?:-[a-z0-9]+)*"))
MODULE = ("CamelCase or a package's name", re.compile(r"[A-Za-z][A-Za-z0-9]*(?:-[a-z0-9]+)*"))

# The first that a path lies in: (tree, files, folders).
SCHEMES = (
    ("platform/", CAMEL, SNAKE),
    ("cmake/", MODULE, SNAKE),
    ("docs/", KEBAB, KEBAB),
    ("packaging/", KEBAB, KEBAB),
    ("tools/", KEBAB, KEBAB),
    ("examples/", SNAKE, KEBAB),  # a folder is called as the program in it
    ("", SNAKE, SNAKE),
)

# Names that other programs or readers look for.
GIVEN = re.compile(r"CMakeLists\.txt|CMakePresets\.json|__(?:init|main)__\.py|[A-Z]+(?:\.md)?|\..*")


def check(tree: Tree) -> Iterator[Problem]:
    """The name of each file up to its first point, and those of its folders."""
    for path in [*tree.files, *sorted(tree.others)]:
        start, files, folders = next(row for row in SCHEMES if path.startswith(row[0]))
        *above, name = PurePosixPath(path.removeprefix(start)).parts
        parts = [(folder, folders) for folder in above]
        if not GIVEN.fullmatch(name):
            parts.append((name.split(".")[0], files))
        for part, (scheme, pattern) in parts:
            if not pattern.fullmatch(part) and not GIVEN.fullmatch(part):
                yield Problem(path, 1, f"'{part}' is not {scheme}, as names in "
                                       f"{start or 'this tree'} are")
