#!/usr/bin/env python3
"""The test of the tests: each check finds what it is there for in a tree of a few lines, says
where, and finds nothing in the same tree once that is mended."""
import unittest
from typing import Callable, Iterable

import documents
import floors
import headers
import include_order
import lengths
import names
import spellings
from cxx import blank, functions, includes
from sources import Problem, Tree

Check = Callable[[Tree], Iterable[Problem]]


class CheckTest(unittest.TestCase):
    """What the cases of all checks say."""

    def finds(self, check: Check, files: dict[str, str], *places: str) -> None:
        """The check finds problems at just these places, 'path:line: how its text begins'."""
        found = [str(problem) for problem in check(Tree(files))]
        self.assertEqual(len(found), len(places), found)
        for problem, place in zip(found, places):
            self.assertTrue(problem.startswith(place), f"{problem!r} is not {place!r}")

    def one(self, check: Check, path: str, text: str, *places: str) -> None:
        """The same for a tree of one file."""
        self.finds(check, {path: text}, *(f"{path}:{place}" for place in places))


class FloorsTest(CheckTest):
    """Includes point down."""

    FILES = {path: "" for path in (
        "include/pcsim/base.h", "platform/base/trace.h", "platform/acl/internal.h",
        "platform/l2/fdb.h", "platform/l3/fib.h",
        "platform/card/card.h", "mii/mii.h", "lab/lab.h", "console/text.h", "console/session.h",
        "host/core/loop.h", "host/cards/cards.h", "host/l2/l2.h", "host/verbs/verbs.h",
        "host/main.cpp", "tests/support/host.h")}

    def include(self, path: str, name: str, *places: str) -> None:
        """A file that includes another one of the tree above."""
        self.finds(floors.check, self.FILES | {path: f'// One.\n#include "{name}"\n'},
                   *(f"{path}:{place}" for place in places))

    def test_down_and_beside_itself(self) -> None:
        for path, name in (("platform/l2/a.cpp", "platform/l2/fdb.h"),
                           ("platform/l2/a.cpp", "platform/base/trace.h"),
                           ("platform/l2/a.cpp", "pcsim/base.h"),
                           ("platform/acl/a.cpp", "platform/acl/internal.h"),
                           ("platform/card/a.cpp", "platform/l2/fdb.h"),
                           ("host/cards/a.cpp", "console/text.h"),
                           ("host/core/a.cpp", "lab/lab.h"),
                           ("host/l2/a.cpp", "host/cards/cards.h"),
                           ("host/verbs/a.cpp", "console/session.h"),
                           ("host/main.cpp", "host/verbs/verbs.h"),
                           ("bench/a.cpp", "platform/card/card.h"),
                           ("tests/host/a.cpp", "host/core/loop.h"),
                           ("tests/platform/a.cpp", "tests/support/host.h")):
            with self.subTest(path=path, name=name):
                self.include(path, name)

    def test_up_and_across(self) -> None:
        for path, name, why in (
                ("platform/l2/a.cpp", "platform/card/card.h", "platform/l2 stands below or beside"),
                ("platform/l2/a.cpp", "platform/l3/fib.h", "platform/l2 stands below or beside"),
                ("platform/card/a.cpp", "host/core/loop.h", "platform/card stands below or beside"),
                ("platform/card/a.cpp", "console/text.h", "platform/card stands below or beside"),
                ("platform/card/a.cpp", "mii/mii.h", "platform/card stands below or beside"),
                ("include/pcsim/a.h", "platform/base/trace.h", "include stands below or beside"),
                ("mii/a.cpp", "pcsim/base.h", "mii stands below or beside include"),
                ("console/text.cpp", "console/session.h", "console:words stands below or beside"),
                ("console/a.cpp", "host/core/loop.h", "console stands below or beside host/core"),
                ("host/cards/a.cpp", "console/session.h", "host/cards stands below or beside"),
                ("host/cards/a.cpp", "host/l2/l2.h", "host/cards stands below or beside host/l2"),
                ("host/core/a.cpp", "host/cards/cards.h", "host/core stands below or beside"),
                ("platform/card/a.cpp", "platform/acl/internal.h", "platform/acl/internal.h is"),
                ("host/core/a.cpp", "tests/support/host.h", "nothing but tests"),
                ("bench/a.cpp", "tests/support/host.h", "nothing but tests"),
                ("tests/platform/a.cpp", "host/core/loop.h", "the library's tests know no host")):
            with self.subTest(path=path, name=name):
                self.include(path, name, f"2: {why}")

    def test_spelled_from_the_root(self) -> None:
        self.include("platform/l2/a.cpp", "fdb.h", "2: spell \"fdb.h\" from the root")
        self.include("platform/l2/a.cpp", "platform/l2/gone.h", "2: there is no")
        self.finds(floors.check, self.FILES | {"mii/a.cpp": "#include <mii/mii.h>\n"},
                   "mii/a.cpp:1: <mii/mii.h> is our own")
        for path, name in (("mii/a.cpp", "linux/mii.h"), ("examples/a/a.c", "pcsim/base.h")):
            self.finds(floors.check, self.FILES | {path: f"#include <{name}>\n"})

    def test_a_folder_without_a_floor(self) -> None:
        self.one(floors.check, "attic/a.cpp", "", "1: stands on no floor")
        self.finds(floors.check, {"lab/a.cpp": '#include "attic/a.h"\n', "attic/a.h": ""},
                   "lab/a.cpp:1: attic/a.h stands on no floor", "attic/a.h:1: stands on no floor")

    def test_the_table_points_down_itself(self) -> None:
        with self.assertRaises(KeyError):
            floors.build((("a", "b"), ("b", "")))


class IncludeOrderTest(CheckTest):
    """Own header, system, project."""

    def order(self, *lines: str) -> dict[str, str]:
        """lab/a.cpp with these includes, beside its header."""
        return {"lab/a.h": "", "lab/a.cpp": "".join(f"#include {line}\n" for line in lines)}

    def test_in_order(self) -> None:
        check = include_order.check
        self.finds(check, self.order('"lab/a.h"', "<stdio.h>", "<map>", '"lab/b.h"'))
        self.one(check, "tests/lab/a_test.cpp", '#include "lab/a.h"\n\n#include <map>\n')

    def test_out_of_order(self) -> None:
        check = include_order.check
        self.finds(check, self.order("<map>", '"lab/a.h"'), "lab/a.cpp:1: the first include")
        self.finds(check, self.order(), "lab/a.cpp:1: the first include")
        self.finds(check, self.order('"lab/a.h"', '"lab/b.h"', "<map>"),
                   "lab/a.cpp:3: the system's headers come before")
        self.one(check, "lab/c.cpp", '#include "x.h"\n#include "y.h"\n#include <map>\n',
                 "3: the system's headers come before")
        self.one(check, "lab/c.h", '#include "x.h"\n#include <map>\n',
                 "2: the system's headers come before")


class CxxTest(unittest.TestCase):
    """Reading C and C++."""

    def heads(self, text: str) -> list[tuple[int, int, str]]:
        """(line, length, head) of what is taken for a function."""
        return [(one.line, one.length, one.head) for one in functions(text)]

    def test_comments_and_literals_are_blank(self) -> None:
        for text in ("// {\n", "/* {\n{ */\n", '"{\\"{"\n', "'{'\n", 'R"x({"\n)x"\n'):
            self.assertNotIn("{", blank(text))
            self.assertEqual(blank(text).count("\n"), text.count("\n"), text)
        self.assertEqual(blank("1'000 { 2'000"), "1'000 { 2'000")

    def test_includes(self) -> None:
        text = '// x\n#include <map>\n#ifdef A\n#  include "a/b.h"\n#endif\n'
        self.assertEqual(includes(text), [(2, False, "map"), (4, True, "a/b.h")])

    def test_functions(self) -> None:
        for text, expected in (
                ("int f() {\n}\n", (1, 2, "int f()")),
                ("namespace a {\nint f(A a = {}) {\n  if (x) {\n  }\n}\n}\n",
                 (2, 4, "int f(A a = {})")),
                ("struct A* f(int a,\n  int b) {\n}\n", (1, 3, "struct A* f(int a, int b)")),
                ("class A {\npublic:\n    A() : a_{1} {\n    }\n};\n", (3, 2, "A() : a_{1}")),
                ("struct A {\n int f() const noexcept {\n }\n};\n",
                 (2, 2, "int f() const noexcept")),
                ("auto A::f() -> int {\n}\n", (1, 2, "auto A::f() -> int")),
                ("#define F { \\\n {\nTEST_F(A, B) {\n}\n", (3, 2, "TEST_F(A, B)")),
                ("const auto f = [] {\n};\n", (1, 2, "const auto f = []")),
                ("R rows[] = {\n {1, [](int a) {\n }},\n};\n", (2, 2, "1, [](int a)"))):
            with self.subTest(text=text):
                self.assertEqual(self.heads(text), [expected])

    def test_what_is_no_function(self) -> None:
        for text in ("int a[] = {\n1, 2};\n", "enum class A : int { a, b };\n",
                     "extern \"C\" {\nint f();\n}\n", "struct A : B<C> {\n  int a{1};\n};\n",
                     "A a[3]{{1}, {2}};\n"):
            with self.subTest(text=text):
                self.assertEqual(self.heads(text), [])


class LengthsTest(CheckTest):
    """Files of 400 lines, functions of 50."""

    def test_files(self) -> None:
        self.one(lengths.check, "lab/a.cpp", "\n" * 400)
        self.one(lengths.check, "lab/a.cpp", "\n" * 401, "401: 401 lines")
        self.one(lengths.check, "tools/a", "#!/bin/sh\n" + "\n" * 400, "401: 401 lines")
        self.one(lengths.check, "tests/lab/a_test.cpp", "\n" * 401)
        self.one(lengths.check, "tests/lab/a.cpp", "\n" * 401, "401: 401 lines")

    def test_functions(self) -> None:
        self.one(lengths.check, "lab/a.cpp", "\nint f() {\n" + "\n" * 48 + "}\n")
        self.one(lengths.check, "lab/a.cpp", "\nint f() {\n" + "\n" * 49 + "}\n", "2: 'int f()'")
        body = "    pass\n"
        self.one(lengths.check, "a.py", "def f():\n" + body * 49)
        self.one(lengths.check, "a.py", "def f():\n" + body * 50, "1: 'f' has 51 lines")
        self.one(lengths.check, "a.sh", "f() {\n" + "    :\n" * 60 + "}\n")
        self.one(lengths.check, "a", "#!/usr/bin/env python3\ndef f():\n" + body * 50, "2: 'f'")

    def test_functions_of_pages(self) -> None:
        for head, end in (("function f(a, b) {", "}"), ("export async function f() {", "}"),
                          ("  #f(a) {", "  }"), ("  static get f() {", "  }"),
                          ("const f = (a) => {", "};"), ("    g(a, (b) => {", "    });")):
            with self.subTest(head=head):
                self.one(lengths.check, "a.js", f"\n{head}\n" + "\n" * 48 + f"{end}\n")
                self.one(lengths.check, "a.js", f"\n{head}\n" + "\n" * 49 + f"{end}\n",
                         f"2: '{head.strip()}' has 51 lines")
        for head in ("if (a) {", "for (const a of b) {", "class A {", "const a = {", "switch (a) {"):
            self.one(lengths.check, "a.js", f"\n{head}\n" + "\n" * 60 + "}\n")
        self.one(lengths.check, "a.css", "\n" * 401, "401: 401 lines")

    def test_columns(self) -> None:
        for path in ("a.js", "a/static/a.css", "python/a/b.py"):
            self.one(lengths.check_columns, path, "x\n" + "x" * 100 + "\n")
            self.one(lengths.check_columns, path, "x\n" + "x" * 101 + "\n", "2: 101 columns")
        self.one(lengths.check_columns, "tests/a.py", "x" * 101)

    def test_exceptions_that_nothing_needs(self) -> None:
        file, begin, *_ = lengths.LONGER_FUNCTIONS[0]
        files = {file: begin + ") {\n" + "\n" * 50 + "}\n"}
        files |= {path.replace("*", "a"): "\n" * 401 for path, *_ in lengths.LONGER_FILES}
        self.finds(lengths.check_exceptions, files)
        for path in files:
            self.finds(lengths.check_exceptions, files | {path: ""}, "tests/tidy/lengths.py:1: no ")


class SpellingsTest(CheckTest):
    """What is never written. The examples are put together, so that they stand nowhere whole."""

    def test_everywhere(self) -> None:
        for parts in (("TO", "DO"), ("FIX", "ME"), ("X", "XX"), ("Not implemented", " yet"),
                      ("GTEST_", "SKIP()"), ("TEST(A, DISABLED", "_B)"), ("cd /ho", "me/me/a"),
                      ('"/wo', 'rk/a"'), ("deb.deb", "ian.org"), ("files.python", "hosted.org")):
            text = "".join(parts)
            with self.subTest(text=text):
                self.one(spellings.check, "a.md", f"good\n{text}\n", "2: '")

    def test_in_their_places(self) -> None:
        for parts in (("#pragma ", "once"), ("using namespace ", "std;"), ("FMT_HEADER", "_ONLY"),
                      ("#include <io", "stream>")):
            text = "".join(parts)
            with self.subTest(text=text):
                self.one(spellings.check, "lab/a.h", f"{text}\n", "1: '")
        self.one(spellings.check, "lab/main.cpp", "#include <io" + "stream>\n")
        self.one(spellings.check, "bench/a.cpp", "#define FMT_HEADER" + "_ONLY\n")

    def test_in_pages(self) -> None:
        for parts in (("a.inner", "HTML = b"), ("a.insertAdjacent", "HTML(b)"), ("<p sty", 'le="a">'),
                      ("document.", "write(a)"), ('<img src="htt', 'p://a.b/c">'),
                      ("import a from 'HTT", "PS://a'"), ("url(", "//a.b/c)")):
            text = "".join(parts)
            with self.subTest(text=text):
                self.one(spellings.check, "python/a/static/a.js", f"good\n{text}\n", "2: '")
                self.one(spellings.check, "python/a/a.py", f"{text}\n")
        for text in ('"http://www.w3.org/2000/svg"', "a.style.width = b", "// a (b) // c"):
            self.one(spellings.check, "python/a/static/a.js", f"{text}\n")

    def test_what_looks_alike(self) -> None:
        for text in ("mktemp aXXXXXX", "$scratch/home/a", "network/home/a", "bare Debian 12",
                     "using namespace stdlike;", "using namespace pcsim::test;"):
            with self.subTest(text=text):
                self.one(spellings.check, "lab/a.h", f"{text}\n")


class WidthsTest(CheckTest):
    """Records of the interface."""

    def test_words_without_a_width(self) -> None:
        for field in ("long a;", "time_t a;", "size_t a;", "enum A a;", "uint32_t a : 3;"):
            text = "// x\nstruct A {\n    uint32_t b[4];\n    %s\n};\n" % field
            with self.subTest(field=field):
                self.one(spellings.check_widths, "include/pcsim/a.h", text, "4: '")
                self.one(spellings.check_widths, "host/core/a.h", text)

    def test_words_with_one(self) -> None:
        self.one(spellings.check_widths, "include/pcsim/a.h",
                 "struct A {\n    uint32_t a; /* 8 long : 3; */\n    union {\n        int8_t b;\n"
                 "    } c;\n};\nint32_t f(size_t size);\n")


class HeadersTest(CheckTest):
    """Guards and purposes."""

    def guard(self, path: str, guard: str, *places: str) -> None:
        """A header with this guard."""
        self.one(headers.check_guards, path, f"// x\n#ifndef {guard}\n#define {guard}\n", *places)

    def test_guards(self) -> None:
        self.guard("include/pcsim/card_slot.h", "PCSIM_CARD_SLOT_H")
        self.guard("platform/base/ownSlot.h", "PCSIM_BASE_OWNSLOT_H")
        self.guard("tests/platform/l2/a.h", "PCSIM_TESTS_L2_A_H")
        self.guard("host/l2/fdb.h", "PCSIM_HOST_L2_FDB_H")
        self.guard("host/l2/fdb.h", "PCSIM_L2_FDB_H", "2: the guard is PCSIM_L2_FDB_H")
        self.one(headers.check_guards, "lab/a.h", "// x\n", "1: no include guard")
        self.one(headers.check_guards, "lab/a.cpp", "// x\n")
        self.one(headers.check_guards, next(iter(headers.UNGUARDED)), "// x\n")

    def test_no_guard_is_taken_twice(self) -> None:
        text = "#ifndef PCSIM_CARD_SLOT_H\n#define PCSIM_CARD_SLOT_H\n"
        self.finds(headers.check_guards,
                   {"include/pcsim/card_slot.h": text, "platform/card/slot.h": text},
                   "platform/card/slot.h:1: its guard PCSIM_CARD_SLOT_H is that of")

    def test_purposes(self) -> None:
        for path, good, bad in (("lab/a.cpp", "// What it does.\n", "#include <map>\n"),
                                ("lab/a.c", "/* What it does. */\n", "// Trunks.\n"),
                                ("lab/a.h", "/* What it\n * does. */\n", "// clang-format off\n"),
                                ("a.py", '"""What it does."""\n', "import sys\n"),
                                ("a.sh", "#!/bin/sh\n# What it does.\n", "#!/bin/sh\nset -e\n"),
                                ("a", "#!/usr/bin/python3\n# What it does.\n", "#!/bin/sh\n"),
                                ("a.js", "// What it does.\n", "import a from 'b';\n"),
                                ("a.css", "/* What it does. */\n", "p { margin: 0; }\n"),
                                ("a.cmake", "# What it does.\n", "set(a b)\n")):
            with self.subTest(path=path):
                self.one(headers.check_purposes, path, good)
                self.one(headers.check_purposes, path, bad, "1: does not open")


class NamesTest(CheckTest):
    """One scheme per tree."""

    def test_good_names(self) -> None:
        for path in ("platform/l2/pcSimFdb.cpp", "platform/l2/fdbHash.h", "platform/CMakeLists.txt",
                     "host/l2/mac_line.cpp", "include/pcsim/card_slot.h", "tools/check-install",
                     "docs/hal-interface.md", "docs/ARCHITECTURE.md", "docs/console/README.md",
                     "examples/minimal-host/host.c", "cmake/Flags.cmake", ".ci/run", ".gitignore",
                     "cmake/pcsimulation-link.pc.in", "README.md", "tests/l2/fdb_test.cpp",
                     "python/a/__init__.py", "python/a/__main__.py"):
            with self.subTest(path=path):
                self.one(names.check, path, "")

    def test_bad_names(self) -> None:
        for path in ("platform/l2/fdb_hash.cpp", "platform/l2/PcSimFdb.cpp", "host/l2/macLine.cpp",
                     "host/macLines/a.cpp", "include/pcsim/cardSlot.h", "tools/check_install",
                     "docs/hal_interface.md", "tests/host/mac-line.pcsim",
                     "examples/minimal_host/host.c"):
            with self.subTest(path=path):
                self.one(names.check, path, "", "1: '")


class DocumentsTest(CheckTest):
    """Maps and links."""

    PICTURE = "# Architecture\n```\nlab/ docs/\n```\n"
    TABLE = "# x\n## Where things are\n| `lab/`, `docs/` | what |\n## More\n"

    def test_maps(self) -> None:
        good = {"docs/ARCHITECTURE.md": self.PICTURE, "README.md": self.TABLE, "lab/a": "",
                ".ci/run": ""}
        self.finds(documents.check_maps, good)
        self.finds(documents.check_maps, good | {"attic/a": ""},
                   "docs/ARCHITECTURE.md:1: attic/ is missing in the picture",
                   "README.md:1: attic/ is missing in the table")
        behind = {"docs/ARCHITECTURE.md": self.PICTURE + "attic/\n", "attic/a": "",
                  "README.md": self.TABLE + "`attic/`\n"}
        self.finds(documents.check_maps, good | behind, "docs/ARCHITECTURE.md:1: attic/",
                   "README.md:1: attic/")

    def test_links_to_what_is_no_text(self) -> None:
        files = {"docs/a.md": "![a](images/a.png) ![b](images/b.png)\n"}
        found = documents.check_links(Tree(files, {"docs/images/a.png"}))
        self.assertEqual([str(problem)[:43] for problem in found],
                         ["docs/a.md:1: 'images/b.png' leads nowhere; t"[:43]])

    def test_links(self) -> None:
        files = {"docs/a.md": "# One & two\n[b](../README.md) [c](b.md#the-other)\n[d](#one--two)\n"
                              "[e](https://example.com/x) [f](../lab) `[g](gone)`\n",
                 "docs/b.md": "## The other\n", "README.md": "[a](docs/a.md)\n", "lab/x.h": ""}
        self.finds(documents.check_links, files | {"a.cpp": "kTable[i](call)\n"})
        self.finds(documents.check_links, files | {"README.md": "\n[a](docs/c.md)\n"},
                   "README.md:2: 'docs/c.md' leads nowhere")
        self.finds(documents.check_links, files | {"docs/b.md": "## Another\n"},
                   "docs/a.md:2: 'b.md#the-other' leads nowhere; no heading")


if __name__ == "__main__":
    unittest.main()
