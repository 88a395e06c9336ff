"""The documents tell of the tree as it is: every folder of the root has its place in the picture
and in the table, and every link leads somewhere."""
import re
from posixpath import dirname, join, normpath
from typing import Iterator

from sources import Problem, Tree

PICTURE = re.compile(r"^```.*?^```", re.DOTALL | re.MULTILINE)
TABLE = re.compile(r"^## Where things are\n(.*?)(?=^## |\Z)", re.DOTALL | re.MULTILINE)
CODE = re.compile(r"^```.*?^```|`[^`\n]*`", re.DOTALL | re.MULTILINE)
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+ +(.*?) *$", re.MULTILINE)

# Where a newcomer looks: (file, what of it, how it is called).
MAPS = (("docs/ARCHITECTURE.md", PICTURE, "the picture"),
        ("README.md", TABLE, "the table 'Where things are'"))


def check_maps(tree: Tree) -> Iterator[Problem]:
    """Every folder of the root that is not hidden is on both maps."""
    roots = sorted({path.split("/")[0] for path in tree.files if "/" in path})
    for path, pattern, called in MAPS:
        found = pattern.search(tree.files.get(path, ""))
        for folder in roots:
            if folder.startswith("."):
                continue
            if found is None or not re.search(rf"(?<![\w/]){re.escape(folder)}/", found.group()):
                yield Problem(path, 1, f"{folder}/ is missing in {called}")


def anchors(text: str) -> set[str]:
    """What '#...' can name in a document: its headings in lower case, blanks as hyphens."""
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")
            for title in HEADING.findall(text)}


def check_links(tree: Tree) -> Iterator[Problem]:
    """Relative links of all documents lead to a file or folder of the tree, and to a heading."""
    folders = tree.folders()
    for path, text in tree.files.items():
        if not path.endswith(".md"):
            continue
        prose = CODE.sub(lambda match: "\n" * match.group().count("\n"), text)
        for match in LINK.finditer(prose):
            if re.match(r"[a-z]+:", match[1]):
                continue
            name, _, anchor = match[1].partition("#")
            target = normpath(join(dirname(path), name)) if name else path
            line = prose.count("\n", 0, match.start()) + 1
            if not (target in tree.files or target in tree.others or target in folders):
                yield Problem(path, line, f"'{match[1]}' leads nowhere; there is no {target}")
            elif anchor and anchor not in anchors(tree.files.get(target, "")):
                yield Problem(path, line, f"'{match[1]}' leads nowhere; no heading makes #{anchor}")
