#!/usr/bin/env python3
"""Holds that a HAL's author can look up every name that the library exports: each one of
platform/exports.map is declared in exactly one interface header, and nothing is declared as an
operation or global of the library that it does not export.

usage: declared.py [EXPORTS_MAP]
"""
import re
import sys
from collections import Counter
from pathlib import Path

from interface import ROOT, code, headers

# Roots of the library's own trees: exported so that a debugger finds them, no part of the interface.
FOR_DEBUGGERS = {"groupTable", "vlanTree", "portTree", "aclTree", "aclInstanceTree"}

OPERATION = re.compile(r"^PCSIM_(?:TRACE_OPERATION\(|OPERATION\(\w+,\s+)(\w+)\)", re.M)
GLOBAL = re.compile(r"^extern PCSIM_API [^;]*?(\w+)(?:\[\w+\])*;", re.M)


def main():
    exports = Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "platform" / "exports.map"
    exported = set(re.findall(r"^    (\w+);", exports.read_text(), flags=re.M)) - FOR_DEBUGGERS
    declared = Counter()
    for _, text in headers():
        declared.update(OPERATION.findall(code(text)) + GLOBAL.findall(code(text)))
    problems = [f"{name} is exported and declared nowhere" for name in exported - set(declared)]
    problems += [f"{name} is declared and not exported" for name in set(declared) - exported]
    problems += [f"{name} is declared {n} times" for name, n in declared.items() if n > 1]
    if not exported:
        problems.append(f"{exports} lists no names")
    print("\n".join(sorted(problems) + [f"{len(declared)} names declared"]))
    return bool(problems)


if __name__ == "__main__":
    sys.exit(main())
