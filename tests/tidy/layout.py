#!/usr/bin/env python3
"""Holds include/pcsim/layout_rows.h complete: every named field of every record of the interface has
exactly one row, and every row names a field or record that exists. What the numbers are worth is for
the compiler to say (layout.h).

usage: layout.py [FOLDER]   the headers' folder, include/pcsim unless given
"""
import re
import sys
from collections import Counter
from pathlib import Path

from interface import HEADERS, code, headers, records

ROW = re.compile(r"PCSIM_LAYOUT_(SIZE|FIELD|WORD)\((\w+)(?:, ([\w.]+))?, ([\d* ]+)\)")


def resolve(known, record, path):
    """The (record, field) that a path such as 'ops.cardInit' ends in; None when there is none."""
    *outer, field = path.split(".")
    for part in outer:
        record = known.get(record, {}).get(part)
    return (record, field) if field in known.get(record, {}) else None


def check(folder):
    known, names = {}, set()
    for _, text in headers(folder):
        known |= records(text)
        names |= set(re.findall(r"\w+", code(text)))
    problems, rows = [], Counter()
    for line in code((folder / "layout_rows.h").read_text()).split("\n"):
        if not line.strip():
            continue
        match = ROW.fullmatch(line)
        if match is None:
            problems.append(f"not a row: {line}")
            continue
        kind, record, path, _ = match.groups()
        if (kind == "SIZE") != (path is None):
            problems.append(f"not a row: {line}")
        elif kind == "SIZE":
            rows[record, None] += 1
            if record not in names:
                problems.append(f"no such record: {line}")
        elif (field := resolve(known, record, path)) is None:
            problems.append(f"no such field: {line}")
        else:
            rows[field] += 1
    for (record, field), count in rows.items():
        if count > 1:
            problems.append(f"{count} rows for {record}{'.' + field if field else ''}")
    for record, fields in known.items():
        for field in fields:
            if not field.startswith("reserved") and (record, field) not in rows:
                problems.append(f"no row for {record}.{field}")
    if not known or not rows:
        problems.append("no records or no rows at all")
    return problems, len(rows)


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HEADERS
    problems, count = check(folder)
    for problem in problems:
        print(f"layout_rows.h: {problem}")
    print(f"{count} rows")
    return bool(problems)


if __name__ == "__main__":
    sys.exit(main())
