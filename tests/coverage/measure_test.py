"""The measuring is measured: a small tree is compiled, run and held above its floors."""
import json
import subprocess
import sys
from pathlib import Path

import pytest

from gcov import Source, counted, decisions
from measure import problems, ranges, rounded

MEASURE = Path(__file__).parent / "measure.py"

PROGRAM = """#include <cstdlib>
#include "platform/half.h"
static int sign(int number) {
    if (number > 0) return 1;
    return -1;
}
int main(int count, char**) {
    int sum = half<int>(8) + sign(count) + static_cast<int>(half<long>(count));
    if (sum == 12345) std::abort();
    return sum == 0 ? 1 : 0;
}
"""
HEADER = """template <typename Number>
Number half(Number number) {
    if (number < 2)
        return 0;
    return number / 2;
}
"""
FLAGS = ["-std=c++20", "-O0", "--coverage", "-I."]


class Tree:
    """Sources of three rooms and a build of them."""

    def __init__(self, root: Path) -> None:
        self.root = root
        self.build = root / "build"
        self.build.mkdir()
        for room in ("platform", "host", "console"):
            (root / room).mkdir()
            self.write(f"{room}/all.cpp", f"int {room}() {{ return 1; }}\n")
        self.write("platform/half.h", HEADER)
        self.write("platform/main.cpp", PROGRAM)
        self.write("host/call.cpp", "int host(), console(), platform();\n"
                                    "static int made = host() + console() + platform();\n"
                                    "int call() { return made; }\n"
                                    "static int called = call();\n"
                                    "int use() { return called; }\n"
                                    "static int used = use();\n"
                                    "int *place = &used;\n")

    def write(self, path: str, text: str) -> None:
        (self.root / path).write_text(text)

    def compile(self, *left_out: str) -> None:
        sources = sorted(path.relative_to(self.root).as_posix()
                         for path in self.root.glob("*/*.cpp"))
        entries = []
        for source in (path for path in sources if path not in left_out):
            target = self.build / (source.replace("/", "_") + ".o")
            command = ["g++", *FLAGS, "-c", source, "-o", str(target)]
            subprocess.run(command, cwd=self.root, check=True)
            entries.append({"file": str(self.root / source), "command": " ".join(command)})
        (self.build / "compile_commands.json").write_text(json.dumps(entries))

    def run(self) -> None:
        objects = [str(path) for path in self.build.glob("*.o")]
        program = self.build / "program"
        subprocess.run(["g++", "--coverage", *objects, "-o", program], check=True)
        assert subprocess.run([program], check=False).returncode == 0

    def measure(self) -> subprocess.CompletedProcess[str]:
        return subprocess.run([sys.executable, MEASURE, "--root", self.root, self.build],
                              capture_output=True, text=True, check=False)


@pytest.fixture(name="tree")
def fixture_tree(tmp_path: Path) -> Tree:
    return Tree(tmp_path)


def without_gaps(text: str) -> str:
    """The program with all of its lines and branches taken."""
    return (text.replace("    if (sum == 12345) std::abort();\n", "")
            .replace("sum == 0 ? 1 : 0", "0")
            .replace("sign(count)", "sign(count) + sign(-count)"))


def test_what_runs_whole_is_above_the_floors(tree: Tree) -> None:
    tree.write("platform/main.cpp", without_gaps(PROGRAM))
    tree.compile()
    tree.run()
    done = tree.measure()
    assert (done.returncode, done.stderr) == (0, "")
    assert "never" not in done.stdout


def test_a_line_that_never_runs_is_named_and_fails(tree: Tree) -> None:
    tree.write("platform/main.cpp", without_gaps(PROGRAM).replace(
        "return -1;", "if (number < -5)\n        return -2;\n    return -1;"))
    tree.compile()
    tree.run()
    done = tree.measure()
    assert done.returncode == 1
    assert "platform/main.cpp: never run: 6\n" in done.stdout
    assert "measure: 92.3 % of the lines of platform/ run; 100 % have to: 1 never do" in done.stderr


def test_a_branch_that_is_never_taken_fails(tree: Tree) -> None:
    tree.compile()
    tree.run()
    done = tree.measure()
    assert done.returncode == 1
    assert "platform/main.cpp:9: branch 1 of 2 never taken" in done.stdout
    assert "% of the branches of platform/ run; 97 % have to" in done.stderr


def test_what_has_not_run_at_all_fails(tree: Tree) -> None:
    tree.compile()
    done = tree.measure()
    assert done.returncode == 1
    assert "measure: 0.0 % of the lines of host/ run; 90 % have to" in done.stderr
    assert "measure: 0.0 % of the lines of console/ run; 90 % have to" in done.stderr


def test_a_source_without_counters_fails(tree: Tree) -> None:
    tree.write("platform/main.cpp", without_gaps(PROGRAM))
    tree.write("host/forgotten.cpp", "int forgotten() { return 1; }\n")
    tree.compile("host/forgotten.cpp")
    tree.run()
    done = tree.measure()
    assert done.returncode == 1
    assert done.stderr == ("measure: host/forgotten.cpp is not measured: "
                           "no build has counters for it\n")


def test_a_template_has_run_where_one_of_its_copies_has(tree: Tree) -> None:
    tree.compile()
    tree.run()
    header = counted([tree.build], tree.root)["platform/half.h"]
    assert header.missed_lines() == []
    assert header.missed_branches() == []


def branch(count: int, fallthrough: bool = False, throw: bool = False) -> dict:
    return {"count": count, "fallthrough": fallthrough, "throw": throw}


@pytest.mark.parametrize("branches, kept", [
    ([], []),
    ([branch(1, True), branch(2)], [1, 2]),
    ([branch(1, True), branch(0, throw=True)], []),
    ([branch(0, throw=True), branch(1, True)], []),
    # A call, then a decision, then another call.
    ([branch(1, True), branch(0, throw=True), branch(3, True), branch(4),
      branch(5, True), branch(0, throw=True)], [3, 4]),
    ([branch(3), branch(0, throw=True)], [3]),
])
def test_edges_of_exceptions_are_no_decisions(branches: list, kept: list) -> None:
    assert [left["count"] for left in decisions(branches)] == kept


def test_what_misses_a_floor_by_little_misses_it() -> None:
    source = Source({line: line for line in range(1, 10000)} | {10000: 0}, {})
    assert problems({"platform/a.cpp": source}, (("platform", 100, 97),)) == [
        "99.9 % of the lines of platform/ run; 100 % have to: 1 never do"]
    assert rounded(99.99) == 99.9


def test_a_room_that_is_not_measured_fails() -> None:
    assert problems({}, (("host", 90, None),)) == ["nothing of host/ is measured"]


def test_neighbouring_lines_are_a_range() -> None:
    assert ranges([1, 2, 3, 7, 9, 10]) == "1-3, 7, 9-10"
    assert ranges([]) == ""
