"""What is never written: marks of unfinished work, places of one machine, habits the tree has not.

A pattern has one letter in brackets where it would otherwise find itself.
"""
import re
from typing import Callable, Iterator

from cxx import blank
from sources import C_SUFFIXES, Problem, Tree

# Programs of their own, run by whoever works on the tree.
FREE = ("tests/", "bench/")

Scope = Callable[[str], bool]


def everywhere(_: str) -> bool:
    """Every text of the tree."""
    return True


def in_c(path: str) -> bool:
    """C and C++."""
    return path.endswith(C_SUFFIXES)


def outside_benchmarks(path: str) -> bool:
    """All but benchmarks, which may measure what the tree does otherwise."""
    return not path.startswith("bench/")


def in_libraries(path: str) -> bool:
    """C++ that programs of ours share."""
    return in_c(path) and not path.endswith("/main.cpp") and not path.startswith(FREE)


def in_pages(path: str) -> bool:
    """What a browser gets."""
    return "/static/" in path


# (pattern, where, what to do instead)
BANNED: tuple[tuple[str, Scope, str], ...] = (
    (r"\bTO[D]O\b|\bFIX[M]E\b|\bX[X]X\b", everywhere, "do it, or leave no mark of it"),
    (r"(?i)\bnot implemented [y]et\b", everywhere, "do it, or say what happens instead"),
    (r"\bGTEST_SKI[P]\b|\bDISABLE[D]_", everywhere, "a test that does not run is none"),
    (r"(?<![\w.}$)/-])/(?:[h]ome|[w]ork|[w]orkspace|[U]sers|tmp/\w*jobs)/", everywhere,
     "a place on one machine; name it from the tree or take it as an argument"),
    (r"\b(?:deb|security|snapshot|archive|ftp|ports)\.(?:debian|ubuntu)\.[oc]\w+"
     r"|\b(?:pypi|pythonhosted|npmjs)\.[oc]\w+", everywhere,
     "a package host; say which package it is, and let the system know where from"),
    (r"#\s*pragma [o]nce\b", in_c, "headers have guards"),
    (r"\busing namespace [s]td\b", in_c, "write std::"),
    (r"\bFMT_HEADER_ONL[Y]\b", outside_benchmarks, "the formatting library is compiled once"),
    (r"\b(?:inner|outer)HTM[L]\b|\binsertAdjacentHTM[L]\b|\bdocument\.writ[e]\b", in_pages,
     "texts of a switch are never markup; make elements"),
    (r"\bstyle=[\"']", in_pages, "no style in markup; the page's policy forbids it"),
    (r"(?i)https?://(?!www\.w3\.org/(?:2000/svg|1999/xlink)\b)|[\"'(]//\w", in_pages,
     "a page needs nothing from elsewhere"),
    (r"<[i]ostream>", in_libraries, "libraries print with the formatting library"),
)


def check(tree: Tree) -> Iterator[Problem]:
    """Each line that has one of them, comments and literals included."""
    patterns = [(re.compile(pattern), where, why) for pattern, where, why in BANNED]
    for path, text in tree.files.items():
        wanted = [(pattern, why) for pattern, where, why in patterns if where(path)]
        for number, line in enumerate(text.split("\n"), 1):
            for pattern, why in wanted:
                if match := pattern.search(line):
                    yield Problem(path, number, f"'{match.group()}': {why}")


# Types whose width differs between compilers or targets, and fields that have none of their own.
NO_WIDTH = re.compile(r"\b(?:long|time_t|s?size_t|off_t|ptrdiff_t|wchar_t|enum)\b|\w\s*:\s*\d+\s*;")
RECORD = re.compile(r"\b(?:struct|union)\s+\w*\s*\{(?:[^{}]|\{[^{}]*\})*\}")


def check_widths(tree: Tree) -> Iterator[Problem]:
    """Records of the interface are words of fixed width on every target."""
    for path, text in tree.c_sources():
        if not path.startswith("include/pcsim/"):
            continue
        text = blank(text)
        for record in RECORD.finditer(text):
            for match in NO_WIDTH.finditer(record.group()):
                line = text.count("\n", 0, record.start() + match.start()) + 1
                yield Problem(path, line, f"'{match.group()}' in a record has no fixed width; "
                                          "use a type of <stdint.h>")
