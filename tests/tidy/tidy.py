#!/usr/bin/env python3
"""Holds the tree to its style, as far as a program can tell: CONTRIBUTING.md says why in words.

Prints one line per violation, file:line: what is wrong and what would be right.
"""
import argparse
import sys
from typing import Callable, Iterable

import documents
import floors
import headers
import include_order
import lengths
import modules
import names
import spellings
from sources import Problem, Tree

CHECKS: dict[str, Callable[[Tree], Iterable[Problem]]] = {
    "floors": floors.check,
    "modules": modules.check,
    "include-order": include_order.check,
    "lengths": lengths.check,
    "columns": lengths.check_columns,
    "exceptions": lengths.check_exceptions,
    "spellings": spellings.check,
    "widths": spellings.check_widths,
    "guards": headers.check_guards,
    "purposes": headers.check_purposes,
    "names": names.check,
    "maps": documents.check_maps,
    "links": documents.check_links,
}


def main() -> int:
    """The exit status: 1 when there is a violation."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("checks", nargs="*", metavar="CHECK",
                        help=f"all of them unless given: {', '.join(CHECKS)}")
    chosen = parser.parse_args().checks or list(CHECKS)
    if unknown := sorted(set(chosen) - set(CHECKS)):
        parser.error(f"there is no check '{unknown[0]}'; there are {', '.join(CHECKS)}")
    tree = Tree.tracked()
    problems = sorted({problem for name in chosen for problem in CHECKS[name](tree)})
    for problem in problems:
        print(problem)
    print(f"{len(tree.files)} files, {len(problems)} violations")
    return 1 if problems or not tree.files else 0


if __name__ == "__main__":
    sys.exit(main())
