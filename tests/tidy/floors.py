"""Includes point down: a room stands above what it uses, and only there.

The table is the house from the ground up. A room may include itself, what its row names, and what
that stands on; a row names only rooms of rows above it in the text, so there is no way round.
"""
import re
from posixpath import dirname
from typing import Iterator

from cxx import includes
from sources import Problem, Tree

FLOORS = (
    # rooms                                               stand on
    ("include",                                           ""),
    ("platform/base",                                     "include"),
    ("platform/{acl,device,env,l2,l3,mcast,misc}",        "platform/base"),
    ("platform/port",                                     "platform/l2"),
    ("platform/card",                                     "platform/{acl,l3,mcast,misc,port}"),
    ("platform/system",                                   "platform/{card,device,env}"),
    ("mii",                                               ""),
    ("lab",                                               ""),
    ("console:words",                                     ""),
    ("console",                                           "console:words"),
    ("console/server",                                    "console"),
    ("console/ctl",                                       "console lab"),
    ("tree",                                              "include"),
    ("probe/interface",                                   "include"),
    ("probe/boundary",                                    "probe/interface"),
    ("probe/values",                                      "probe/interface console:words"),
    ("probe/{coverage,ledger,record,rules,trace}",        "probe/boundary probe/values"),
    ("probe/replay",                                      "probe/record tree"),
    ("probe/tools",                                       "probe/{replay,trace} lab"),
    ("probe/control",                                     "probe/{coverage,ledger,record,rules,trace} lab"),
    ("probe/verbs",                                       "probe/control console"),
    ("probe/preload",                                     "probe/verbs"),
    ("probe",                                             "probe/{preload,tools,verbs} lab"),
    ("host/core",           "include lab console:words probe/{coverage,ledger,record,rules,trace}"),
    ("host/{acl,cards,devices,environment,l3,mcast,state}", "host/core"),
    ("host/{misc,ports}",                                 "host/cards"),
    ("host/l2",                                           "host/ports"),
    ("host/machine", "host/{acl,cards,devices,environment,l2,l3,mcast,misc,ports,state}"),
    ("host/verbs",                                        "host/machine probe/verbs console"),
    ("host",                                              "host/verbs console/server"),
    ("examples",                                          "include"),
)

# What of the console is no console: texts, values, and the time a long work passes in. Managers
# have this, and no prompt, script, verb or report.
WORDS = re.compile(
    r"console/(?:error|event_log|input_file|mac_address|new_file|output_file|packing|progress|"
    r"run_folder|signals|surroundings|text|values|words)\.")

FREE = ("tests", "bench")


def expand(rooms: str) -> list[str]:
    """Names that are written 'a/{b,c} d' one by one."""
    names = []
    for name in rooms.split():
        match = re.fullmatch(r"(.*)\{(.*)\}", name)
        names += [match[1] + last for last in match[2].split(",")] if match else [name]
    return names


def build(floors: tuple[tuple[str, str], ...]) -> dict[str, set[str]]:
    """{room: rooms that it may include}. A row that names a later one is a KeyError."""
    below: dict[str, set[str]] = {}
    for rooms, ground in floors:
        reached = set().union(*({name} | below[name] for name in expand(ground)))
        below |= {room: reached | {room} for room in expand(rooms)}
    return below


BELOW = build(FLOORS)


def room_of(path: str) -> str | None:
    """The room that a file stands in, None when the table has none."""
    if WORDS.match(path):
        return "console:words"
    if path.startswith(FREE):
        return path.split("/")[0]
    folder = dirname(path)
    if folder.split("/")[0] in ("include", "examples"):
        return folder.split("/")[0]
    return folder if folder in BELOW else None


def target_of(tree: Tree, path: str, name: str) -> tuple[str | None, bool]:
    """The file that an include means, and whether it is spelled from the root."""
    for candidate in (name, f"include/{name}"):
        if candidate in tree.files:
            return candidate, True
    beside = f"{dirname(path)}/{name}"
    return (beside if beside in tree.files else None), False


def objection(path: str, target: str) -> str | None:
    """Why 'path' may not include 'target', or nothing."""
    room, used = room_of(path), room_of(target)
    if room == "tests":
        if path.startswith("tests/platform/") and target.startswith("host/"):
            return "the library's tests know no host; use tests/support"
        return None
    if used == "tests":
        return "nothing but tests includes tests; move what is shared to where both may use it"
    if target.endswith("/internal.h") and dirname(path) != dirname(target):
        return f"{target} is for its own folder; declare what others may use elsewhere"
    if room in FREE or used in BELOW.get(room, ()):
        return None
    if used is None:
        return f"{target} stands on no floor; give its folder a row in tests/tidy/floors.py"
    return f"{room} stands below or beside {used}; move what it needs of {target} down"


def check(tree: Tree) -> Iterator[Problem]:
    """Every include goes to the same room or one below, and is spelled so that one sees which."""
    for path, text in tree.c_sources():
        if room_of(path) is None:
            yield Problem(path, 1, "stands on no floor; give its folder a row in "
                                   "tests/tidy/floors.py")
            continue
        for line, quoted, name in includes(text):
            target, from_root = target_of(tree, path, name)
            if not quoted:
                if target is not None and from_root and not path.startswith("examples/"):
                    yield Problem(path, line, f'<{name}> is our own; include "{name}"')
            elif target is None:
                yield Problem(path, line, f'there is no "{name}"; spell it from the root')
            elif not from_root and not path.startswith("tests/"):
                yield Problem(path, line, f'spell "{name}" from the root: "{target}"')
            elif reason := objection(path, target):
                yield Problem(path, line, reason)
