"""Changed builds of the library, made aside: neither the tree nor the build is touched.

A source is compiled by the build's own command, without warnings and debug information, where the
changed file hides the tree's; the rest of the library are the build's objects."""
import json
import os
import re
import shlex
import subprocess
import threading
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PRESET = ROOT / "build" / "i386"
LIBRARY = "libpcsimulation.so.0"
RESOURCES = Path("/usr/lib/llvm-14/lib/clang")
# Executables that have a source of the library in them.
COMPILED_IN = {"platform/l2/fdbScan.cpp": "l2_scan_tests"}


def say_what_is_missing() -> str | None:
    """Why nothing can be tried here, or nothing."""
    if not (PRESET / LIBRARY).exists():
        return f"there is no {PRESET.relative_to(ROOT)}/{LIBRARY}; build it first"
    if not list(RESOURCES.glob("*/include/stddef.h")):
        return "libclang's own headers are missing; install python3-clang-14"
    return None


def resource_folder() -> str:
    """Where libclang's own headers are."""
    return str(next(RESOURCES.glob("*/include/stddef.h")).parent.parent)


def run(words: list[str], folder: Path = PRESET) -> subprocess.CompletedProcess:
    """Runs a tool of the build."""
    return subprocess.run(words, cwd=folder, stdin=subprocess.DEVNULL, text=True,
                          capture_output=True, check=False)


class Build:
    """The build whose library is changed."""

    def __init__(self, scratch: Path) -> None:
        self.scratch = scratch
        entries = json.loads((PRESET / "compile_commands.json").read_text(encoding="utf-8"))
        self.commands: dict[str, dict] = {}
        self.outputs: dict[str, str] = {}
        for entry in entries:
            path = str(Path(entry["file"]).relative_to(ROOT)) if ROOT in Path(
                entry["file"]).parents else ""
            if path.startswith("platform/") and "platform_objects.dir" in entry["command"]:
                words = shlex.split(entry["command"])
                self.commands[path] = entry
                self.outputs[path] = words[words.index("-o") + 1]
        self.links = {target: self.link_words(target)
                      for target in (self.real_name(), *COMPILED_IN.values())}
        self.headers = self.read_headers()
        self.originals: dict[str, bytes] = {}
        self.lock = threading.Lock()

    @staticmethod
    def real_name() -> str:
        """The library's file, which the name that hosts load is a link to."""
        return (PRESET / LIBRARY).resolve().name

    def link_words(self, target: str) -> list[str]:
        """The command that links it."""
        lines = run(["ninja", "-t", "commands", "-s", target]).stdout.splitlines()
        line = next(line for line in lines if f"-o {target} " in line)
        # What is made after it, as a list of cases, isn't wanted.
        return shlex.split(line.removeprefix(": && ").split(" && ")[0])

    def read_headers(self) -> dict[str, set[str]]:
        """The library's own headers that each source reads, as ninja has noted them."""
        found: dict[str, set[str]] = {}
        own = f"{ROOT}/platform/"
        for block in run(["ninja", "-t", "deps", *self.outputs.values()]).stdout.split("\n\n"):
            # Paths are those of the tree, or lead to it from the build.
            files = [os.path.normpath(PRESET / line.strip()) for line in block.splitlines()[1:]]
            sources = [file.removeprefix(f"{ROOT}/") for file in files if file.endswith(".cpp")]
            for source in sources:
                found[source] = {file.removeprefix(f"{ROOT}/") for file in files
                                 if file.startswith(own) and file.endswith(".h")}
        return {source: found[source] for source in self.commands}

    def compiler(self, path: str, first: str | None = None) -> list[str]:
        """Its command up to what is written and read; what is included is looked for in 'first'."""
        words = shlex.split(self.commands[path]["command"])
        for option in ("-o", "-c"):
            at = words.index(option)
            del words[at:at + 2]
        words = [word for word in words if word not in ("-g", "-Werror")]
        return [words[0], *([f"-I{first}"] if first else []), *words[1:], "-w", "-g0"]

    def sources_of(self, path: str) -> list[str]:
        """The sources that a change of a file changes."""
        if path in self.commands:
            return [path]
        return [source for source, headers in self.headers.items() if path in headers]

    def compile(self, source: str, folder: Path) -> bytes | None:
        """The object of a source whose changed files are in 'folder'; None when it has errors."""
        changed = folder / source
        output = folder / f"{source}.o"
        output.parent.mkdir(parents=True, exist_ok=True)
        # The name of the file in the object is the same, wherever it is.
        file = changed if changed.exists() else ROOT / source
        done = run([*self.compiler(source, str(folder)), "-o", str(output), "-c", str(file)])
        return output.read_bytes() if done.returncode == 0 else None

    def original(self, source: str) -> bytes:
        """The object of a source as it is."""
        with self.lock:
            known = self.originals.get(source)
        if known is None:
            known = self.compile(source, self.scratch / "original") or b""
            if not known:
                raise ValueError(f"{source} can't be compiled")
            with self.lock:
                self.originals[source] = known
        return known

    def make(self, path: str, text: bytes, folder: Path) -> str:
        """A library with another text of one file, in 'folder'. Says what has come of it: 'changed',
        'same' when every object is what it was, byte for byte, or 'broken'."""
        (folder / path).parent.mkdir(parents=True, exist_ok=True)
        (folder / path).write_bytes(text)
        replaced = {}
        for source in self.sources_of(path):
            made = self.compile(source, folder)
            if made is None:
                return "broken"
            if made != self.original(source):
                replaced[source] = str(folder / f"{source}.o")
        if not replaced:
            return "same"
        return "changed" if self.link(replaced, folder) else "broken"

    def unchanged(self) -> Path:
        """A folder with the library as it is."""
        folder = self.scratch / "unchanged"
        folder.mkdir()
        if not self.link({}, folder):
            raise ValueError("the library can't be linked aside")
        return folder

    def link(self, replaced: dict[str, str], folder: Path) -> bool:
        """The library, and what has its sources in it."""
        made = {self.outputs[source]: file for source, file in replaced.items()}
        words = [made.get(word, word) for word in self.links[self.real_name()]]
        words[words.index("-o") + 1] = str(folder / LIBRARY)
        if run(words).returncode != 0:
            return False
        for source, target in COMPILED_IN.items():
            if source not in replaced:
                continue
            own = re.compile(rf".*/{target}\.dir/.*/{re.escape(source)}\.o")
            words = [replaced[source] if own.fullmatch(word) else word
                     for word in self.links[target]]
            words[words.index("-o") + 1] = str(folder / target)
            if run(words).returncode != 0:
                return False
        return True
