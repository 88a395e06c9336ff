"""The changes by themselves: what is found in a source, that a change which matters is caught, that
one which can't matter is known for it, and that a survivor fails the run unless it is listed."""
import contextlib
import io
import sys
import tempfile
import unittest
from importlib.machinery import SourceFileLoader
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
# pylint: disable=wrong-import-position
import survivors
from builds import PRESET, ROOT, Build, resource_folder, say_what_is_missing
from places import Change, Source, choose, parse
from suite import Suite, passes, read_cases

PROGRAM = SourceFileLoader("program", str(Path(__file__).resolve().parent / "try")).load_module()
SAMPLE = """int g(int a, int b);
void note();
// A comment with == and 7.
static int f(int a, int b) {
    if (a == 3) return -1;
    note();
    const char* text = "word";
    return a < b && text != nullptr ? g(a, b) : a + b;
}
int h() { return f(1, 2); }
"""
EXPECTED = {
    ("comparison", "if (a != 3) return -1;"), ("condition", "if (!(a == 3)) return -1;"),
    ("constant", "if (a == 4) return -1;"), ("constant", "if (a == 2) return -1;"),
    ("early end", "if (a == 3) {}"), ("arithmetic", "if (a == 3) return +1;"),
    ("constant", "if (a == 3) return -2;"), ("statement", "{}"),
    ("text", 'const char* text = "wordx";'),
    ("comparison", "return a <= b && text != nullptr ? g(a, b) : a + b;"),
    ("comparison", "return a >= b && text != nullptr ? g(a, b) : a + b;"),
    ("comparison", "return a < b && text == nullptr ? g(a, b) : a + b;"),
    ("logic", "return a < b || text != nullptr ? g(a, b) : a + b;"),
    ("condition", "return !(a < b && text != nullptr) ? g(a, b) : a + b;"),
    ("argument", "return a < b && text != nullptr ? g(b, a) : a + b;"),
    ("arithmetic", "return a < b && text != nullptr ? g(a, b) : a - b;"),
    ("constant", "int h() { return f(2, 2); }"), ("constant", "int h() { return f(1, 3); }"),
    ("constant", "int h() { return f(1, 1); }"), ("argument", "int h() { return f(2, 1); }"),
}
CAUGHT = ("platform/base/ownSlot.cpp", "constexpr int32_t kStackOwnSlot = 1;",
          "constexpr int32_t kStackOwnSlot = 2;")
# Base 10 or base 0 is something else for "0x1" and "010"; no base at all doesn't compile.
BROKEN = ("platform/base/ownSlot.cpp", "strtol(slotId, nullptr, 10)", "strtol(slotId, nullptr)")
SAME = ("platform/base/ownSlot.cpp", "slotId != nullptr", "!(slotId == nullptr)")


def change_of(path: str, before: str, after: str) -> Change:
    """A change by its text."""
    start = (ROOT / path).read_bytes().index(before.encode())
    return Change(path, 1, "-", "text", start, start + len(before), after.encode(), before, after)


class Places(unittest.TestCase):
    """What is found, and what of that is chosen."""

    def changes(self) -> list[Change]:
        """Those of the sample."""
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "sample.cpp").write_text(SAMPLE, encoding="utf-8")
            unit = parse({"command": "c++ -m32 -std=gnu++20", "file": f"{folder}/sample.cpp"},
                         resource_folder())
            return Source(unit, Path(folder), "sample.cpp").changes()

    def test_every_kind_of_change_is_found(self) -> None:
        found = {(change.kind, change.after) for change in self.changes()}
        self.assertEqual(EXPECTED, found)

    def test_changes_know_their_function(self) -> None:
        names = {change.function for change in self.changes()}
        self.assertEqual({"f", "h"}, names)

    def test_fewer_are_the_first_of_more(self) -> None:
        changes = self.changes()
        for count in range(1, len(changes)):
            self.assertEqual(choose(changes, 1, count), choose(changes, 1, len(changes))[:count])
        self.assertNotEqual(choose(changes, 1, 5), choose(changes, 2, 5))

    def test_kinds_take_turns(self) -> None:
        first = choose(self.changes(), 1, 8)
        self.assertEqual(8, len({change.kind for change in first}))


class Trials(unittest.TestCase):
    """Changes of the library, with the tests of one area."""

    def run_all(self, changes: list[Change], listed: bool = False,
                without: str = "") -> tuple[int, str]:
        """(status, output) of a run without the tests that begin with 'without'."""
        with tempfile.TemporaryDirectory() as scratch:
            cases = [case for case in read_cases() if case.name.startswith("system.")
                     and not (without and case.name.startswith(without))]
            build = Build(Path(scratch))
            trial = PROGRAM.Trial(build, Suite(cases, build.unchanged()))
            trial.listed = {change.name(): "" for change in changes} if listed else {}
            with contextlib.redirect_stdout(io.StringIO()) as output:
                for change in changes:
                    trial.tell(change, *trial.try_one(change))
                return trial.summary(0), output.getvalue()

    def test_outcomes_are_told_apart(self) -> None:
        changes = [change_of(*each) for each in (CAUGHT, BROKEN, SAME)]
        status, output = self.run_all(changes)
        self.assertIn("\n1 do not compile, 1 make the same objects", output)
        self.assertIn("\n1 mutants, 1 caught, 0 survive: 0 listed\n", output)
        self.assertEqual(0, status)

    def test_what_is_told_the_library_passes_with_it(self) -> None:
        """Programs of other rooms, with the variables and patterns that their tests have."""
        told = [case for case in read_cases() if "examples" in case.labels]
        self.assertTrue(all(case.expected for case in told) and told)
        self.assertEqual([case.name for case in told if not passes(case, PRESET)], [])

    def test_a_survivor_must_be_listed(self) -> None:
        changes = [change_of(*CAUGHT)]
        status, output = self.run_all(changes, without="system.")
        self.assertIn("\n1 mutants, 0 caught, 1 survive: 0 listed\n", output)
        self.assertIn("NOT LISTED", output)
        self.assertEqual(1, status)


class List(unittest.TestCase):
    """The list of survivors."""

    def test_entries_are_read_as_they_are_written(self) -> None:
        change = change_of(*CAUGHT)
        text = f"# Why.\n\n{survivors.block(change, 'no reason')}\n"
        self.assertEqual({change.name(): "no reason"}, survivors.read(text))

    def test_an_entry_that_fits_no_change_is_told(self) -> None:
        change = change_of(*CAUGHT)
        listed = {change.name(): ""}
        self.assertEqual([], PROGRAM.stale(listed, [change]))
        self.assertIn(change.before, PROGRAM.stale(listed, [])[0])


if __name__ == "__main__":
    if say_what_is_missing():
        print(f"skipped: {say_what_is_missing()}")
        sys.exit(77)
    unittest.main()
