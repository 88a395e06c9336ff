#!/usr/bin/env python3
"""Reads the test reports of a run and looks at them. usage: test_reports.py TAP JUNIT PROGRAM

PROGRAM has 'tap' and 'junit', lists of (good, name, facts), and same(got, wanted)."""
import json
import re
import sys
from xml.etree import ElementTree


def unescaped(text):
    return re.sub(r"\\(.)", r"\1", text)


def read_tap(path):
    """Holds the file against what TAP 14 allows."""
    with open(path, encoding="utf-8") as file:
        lines = file.read().split("\n")
    assert lines[0] == "TAP version 14", lines[0]
    assert lines.pop() == "", "the last line has no end"
    plan = re.fullmatch(r"1\.\.(\d+)", lines.pop())
    cases = []
    at = 1
    while at < len(lines):
        found = re.fullmatch(r"(ok|not ok) (\d+) - ((?:[^\\#]|\\[\\#])*)", lines[at])
        assert found, lines[at]
        assert int(found[2]) == len(cases) + 1, lines[at]
        assert lines[at + 1] == "  ---", lines[at + 1]
        end = lines.index("  ...", at)
        facts = {}
        for line in lines[at + 2:end]:
            key, value = re.fullmatch(r"  (\w+): (.*)", line).groups()
            plain = re.fullmatch(r"[a-z]+", value)
            facts[key] = value if plain else json.loads(value)
        cases.append((found[1] == "ok", unescaped(found[3]), facts))
        at = end + 1
    assert plan and int(plan[1]) == len(cases), "the plan"
    return cases


def read_junit(path):
    """Holds the file against what those who read such files look at."""
    top = ElementTree.parse(path).getroot()
    assert top.tag == "testsuites" and len(top) == 1 and top[0].tag == "testsuite"
    cases = []
    kinds = {"failure": 0, "error": 0}
    for case in top[0]:
        assert case.tag == "testcase" and len(case) <= 1
        facts = {"kind": None, **case.attrib}
        for outcome in case:
            kinds[outcome.tag] += 1
            facts.update(kind=outcome.tag, message=outcome.attrib["message"])
        cases.append((len(case) == 0, case.attrib["name"], facts))
    for part in (top, top[0]):
        sums = {key: int(part.attrib[key]) for key in ("tests", "failures", "errors")}
        assert sums == {"tests": len(cases), "failures": kinds["failure"],
                        "errors": kinds["error"]}, sums
    return cases


def same(got, wanted):
    assert got == wanted, f"{got!r} instead of {wanted!r}"


def main():
    tap, junit = read_tap(sys.argv[1]), read_junit(sys.argv[2])
    exec(sys.argv[3].strip(), {"tap": tap, "junit": junit, "same": same})  # the caller's own


if __name__ == "__main__":
    main()
