"""Modules of the Python packages and of the page stand on floors, too: no imports lead back to where
they came from, and what must not know of another doesn't."""
import ast
import re
from posixpath import dirname, join, normpath
from typing import Iterator

from sources import Problem, Tree

PACKAGES = ("python/pcsim/", "python/pcsim_lab/", "python/pcsim_web/")
STATIC = "python/pcsim_web/static/"
TOGETHER = STATIC + "app.js"  # the one module that knows all rooms of the page

# (package, one that it must not know, why).
ABOVE = (
    ("python/pcsim/", "python/pcsim_web",
     "the client knows nothing of the page; move what both need into pcsim"),
    ("python/pcsim/", "python/pcsim_lab",
     "the client knows nothing of labs; move what both need into pcsim"),
    ("python/pcsim_lab/", "python/pcsim_web", "labs know nothing of the page, which draws them"),
)

SCRIPT_IMPORT = re.compile(r"""^(?:import\s+|(?:import|export)\b[^"';()=]*?\bfrom\s+)["']([^"']+)"""
                           r"""|\bimport\(["']([^"']+)""", re.MULTILINE)


def python_imports(path: str, text: str) -> Iterator[tuple[int, str]]:
    """(line, file) of each import of our own, spelled .module or package.module."""
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, ast.ImportFrom) and node.level == 1:
            names = [node.module] if node.module else [alias.name for alias in node.names]
            for name in names:
                yield node.lineno, f"{dirname(path)}/{name.replace('.', '/')}.py"
        elif isinstance(node, (ast.Import, ast.ImportFrom)):
            names = [node.module or ""] if isinstance(node, ast.ImportFrom) else [
                alias.name for alias in node.names]
            for name in names:
                yield node.lineno, f"python/{name.replace('.', '/')}.py"


def script_imports(path: str, text: str) -> Iterator[tuple[int, str]]:
    """(line, file) of each import of a module of the page."""
    for match in SCRIPT_IMPORT.finditer(text):
        name = match[1] or match[2]
        target = normpath(join(dirname(path), name)) if name.startswith(".") else name
        yield text.count("\n", 0, match.start()) + 1, target


def modules(tree: Tree) -> dict[str, list[tuple[int, str]]]:
    """Each module with its imports."""
    found = {}
    for path, text in tree.files.items():
        if path.startswith(PACKAGES) and path.endswith(".py"):
            found[path] = list(python_imports(path, text))
        elif path.startswith(STATIC) and path.endswith(".js"):
            found[path] = list(script_imports(path, text))
    return found


def way_back(graph: dict[str, set[str]], start: str) -> list[str]:
    """A way from a module to itself, empty when there is none."""
    ways, seen = [[start]], {start}
    while ways:
        way = ways.pop()
        for target in sorted(graph.get(way[-1], ())):
            if target == start:
                return [*way, start]
            if target not in seen:
                seen.add(target)
                ways.append([*way, target])
    return []


def room_of(path: str) -> str:
    """The folder of the page that a module stands in, "" for those beside index.html."""
    return dirname(path.removeprefix(STATIC))


def objection(path: str, target: str, files: dict[str, str]) -> str | None:
    """Why a module may not import another one, or nothing."""
    for package, above, reason in ABOVE:
        if path.startswith(package) and target.startswith(above):
            return reason
    if not path.startswith(STATIC):
        return None
    if target not in files:
        return f"there is no {target}; spell it from the module, with its suffix"
    if path != TOGETHER and room_of(target) not in ("", room_of(path)):
        return f"rooms of the page know nothing of each other; {TOGETHER} puts them together"
    return None


def check(tree: Tree) -> Iterator[Problem]:
    """Imports that lead back, up or sideways."""
    found = modules(tree)
    graph = {path: {target for _, target in imports if target in found}
             for path, imports in found.items()}
    for path, imports in found.items():
        for line, target in imports:
            if reason := objection(path, target, tree.files):
                yield Problem(path, line, reason)
        if (way := way_back(graph, path)) and path == min(way):
            yield Problem(path, 1, f"imports itself by way of {', '.join(way[1:-1]) or 'itself'}; "
                                   "move what both need below both")
