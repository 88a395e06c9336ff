#!/usr/bin/env python3
"""The test of what is tested of modules of Python and of the page; self_test.py says how."""
import unittest

import modules
from self_test import CheckTest


class ModulesTest(CheckTest):
    """Imports of Python packages and of the page."""

    PAGE = "python/pcsim_web/static/"

    def test_python(self) -> None:
        files = {"python/pcsim/a.py": "from .b import c\n", "python/pcsim/b.py": "import json\n",
                 "python/pcsim_web/a.py": "from . import b\nfrom pcsim.a import c\n",
                 "python/pcsim_web/b.py": "def f():\n    from .c import d\n",
                 "python/pcsim_web/c.py": "", "tests/a.py": "from .a import a\n"}
        self.finds(modules.check, files)
        self.finds(modules.check, files | {"python/pcsim_web/c.py": "from .a import b\n"},
                   "python/pcsim_web/a.py:1: imports itself by way of python/pcsim_web/b.py, "
                   "python/pcsim_web/c.py;")
        for line in ("from pcsim_web.c import d\n", "import pcsim_web\n"):
            self.finds(modules.check, files | {"python/pcsim/b.py": "x = 1\n" + line},
                       "python/pcsim/b.py:2: the client knows nothing of the page")
        self.finds(modules.check, files | {"python/pcsim/b.py": "from pcsim_lab.c import d\n"},
                   "python/pcsim/b.py:1: the client knows nothing of labs")
        self.finds(modules.check, files | {"python/pcsim_lab/b.py": "from pcsim_web.c import d\n"},
                   "python/pcsim_lab/b.py:1: labs know nothing of the page")

    def test_page(self) -> None:
        files = {self.PAGE + path: text for path, text in {
            "app.js": 'import {a} from "./a/a.js";\nimport {b} from "./b/b.js";\n',
            "dom.js": "", "a/a.js": 'import {\n  c,\n} from "../dom.js";\nimport "./c.js";\n',
            "a/c.js": 'export {d} from "../dom.js";\n', "b/b.js": ""}.items()}
        self.finds(modules.check, files)
        for text, places in (
                ('import {a} from "../b/b.js";\n', ["1: rooms of the page know nothing"]),
                ('// A.\nconst a = await import("../b/b.js");\n', ["2: rooms of the page know"]),
                ('import {a} from "./x.js";\n', [f"1: there is no {self.PAGE}a/x.js"]),
                ('import {a} from "react";\n', ["1: there is no react"])):
            with self.subTest(text=text):
                self.finds(modules.check, files | {self.PAGE + "a/c.js": text},
                           *(f"{self.PAGE}a/c.js:{place}" for place in places))
        self.finds(modules.check, files | {self.PAGE + "a/c.js": 'import "./a.js";\n'},
                   f"{self.PAGE}a/a.js:1: imports itself by way of {self.PAGE}a/c.js;")
        self.finds(modules.check, files | {self.PAGE + "dom.js": 'import "./a/c.js";\n'},
                   f"{self.PAGE}dom.js:1: rooms", f"{self.PAGE}a/c.js:1: imports itself by way")


if __name__ == "__main__":
    unittest.main()
