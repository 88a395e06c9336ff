"""What the checks work with: the files of the tree as texts, and the problems they find.

A check never opens a file itself. It gets a Tree, so that its own test can hand it one of two
lines.
"""
import subprocess
from pathlib import Path
from typing import Iterable, Iterator, NamedTuple

ROOT = Path(__file__).resolve().parents[2]
CORPORA = "tests/fuzz/corpus/"  # what fuzzers have found, named by its sum: nobody reads or writes it
C_SUFFIXES = (".h", ".cpp", ".c")


class Problem(NamedTuple):
    """A place, and in one line what is wrong there and what would be right."""

    path: str
    line: int
    text: str

    def __str__(self) -> str:
        return f"{self.path}:{self.line}: {self.text}"


class Tree:
    """Files by their path from the root; of those that are no text only the names, in 'others'."""

    def __init__(self, files: dict[str, str], others: Iterable[str] = ()):
        self.files = files
        self.others = frozenset(others)

    @classmethod
    def tracked(cls, root: Path = ROOT) -> "Tree":
        """What version control knows of, or in an unpacked archive all but what is built there."""
        listed = subprocess.run(["git", "ls-files", "-z"], cwd=root, capture_output=True, text=True)
        if listed.returncode == 0:
            names = sorted(filter(None, listed.stdout.split("\0")))
        else:
            found = (path.relative_to(root) for path in sorted(root.rglob("*")) if path.is_file())
            names = [str(path) for path in found
                     if path.parts[0] not in (".git", "build") and "__pycache__" not in path.parts]
        files, others = {}, []
        for name in names:
            if name.startswith(CORPORA):
                continue
            try:
                files[name] = (root / name).read_text(encoding="utf-8")
            except UnicodeDecodeError:
                others.append(name)
            except (FileNotFoundError, IsADirectoryError):
                continue
        return cls(files, others)

    def c_sources(self) -> Iterator[tuple[str, str]]:
        """C and C++: (path, text)."""
        return ((path, text) for path, text in self.files.items() if path.endswith(C_SUFFIXES))

    def scripts(self) -> Iterator[tuple[str, str]]:
        """Python and shell, with a suffix or without."""
        return ((path, text) for path, text in self.files.items()
                if path.endswith((".py", ".sh")) or text.startswith("#!"))

    def pages(self) -> Iterator[tuple[str, str]]:
        """Modules and style sheets of pages."""
        return ((path, text) for path, text in self.files.items() if path.endswith((".js", ".css")))

    def folders(self) -> set[str]:
        """Every folder that a file lies in, at any depth."""
        return {str(parent) for path in self.files for parent in Path(path).parents} - {"."}
