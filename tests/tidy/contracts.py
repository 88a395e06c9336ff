#!/usr/bin/env python3
"""Holds the contract of every function type of the interface to one form (base.h): the comment above
it, or above the group that it stands in, ends in one of the five tags, and the comment that opens its
header says with 'Thread:' who calls.

usage: contracts.py [FOLDER]   the headers' folder, include/pcsim unless given
"""
import re
import sys
from pathlib import Path

from interface import HEADERS, headers

TAGS = "Live|Simulated|Constant|Accepted and ignored|Callback"
# The last sentence, but for one about the thread: the tag, and what it is limited to.
TAGGED = re.compile(rf"(?:^|[.:;] )(?:{TAGS})(?:|[,:;] [^.]*| but [^.]*)\.(?: Thread: .*)?$")
TYPE = re.compile(r"typedef [^;{}]*?\b(Hal\w+Fn)(?:\([^;]*\))?(?:\s*__attribute__\(\(.*\)\))?;", re.S)
GROUP = re.compile(r"(/\*(?:(?!\*/).)*\*/\n)?((?:typedef [^;{}]*;\n)+)", re.S)


def words(comment):
    """A comment as one line, without its stars."""
    return " ".join(re.sub(r"^/\*|\*/$|^ \*", " ", comment.strip(), flags=re.M).split())


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HEADERS
    problems, count = [], 0
    for name, text in headers(folder):
        text = re.sub(r"^#(?:.*\\\n)*.*\n", "", text, flags=re.M)
        types = 0
        for comment, group in GROUP.findall(text):
            for operation in TYPE.findall(group):
                types += 1
                if not TAGGED.search(words(comment)):
                    problems.append(f"{name}: {operation} has no tag at the end of its comment")
        if types != len(re.findall(r"^typedef [^;{}]*?\bHal\w+Fn\b(?=\(|;)", text, flags=re.M)):
            problems.append(f"{name}: not every function type could be read")
        if types and "Thread: " not in words(re.match(r"/\*.*?\*/", text, re.S).group()):
            problems.append(f"{name}: its opening comment does not say 'Thread:'")
        count += types
    print("\n".join(problems + [f"{count} function types"]))
    return bool(problems) or count == 0


if __name__ == "__main__":
    sys.exit(main())
