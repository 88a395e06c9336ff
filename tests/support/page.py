#!/usr/bin/env python3
"""Runs every command of a page, one after the other, in a shell of its own in a lab of two ports,
and compares what each prints with what the page says.

usage: page.py PAGE SOURCES BUILD

A session is an indented block whose first line begins with a prompt, '$ '. What follows a command is
its output; a line '...' stands for any lines. The page's reader has the tree in ~/pcsim."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
TIME_LIMIT_S = 200
MARK = "\x01"

# What differs from run to run, or from one reader's machine to another's.
VARYING = (
    (re.compile(r"^.*: line \d+: +\d+ (Illegal instruction|Segmentation fault|Killed) .*"), r"\1"),
    (re.compile(r"after \d+ ms"), "after N ms"),
    (re.compile(r"^( *\S+) +\d+ +(runs|ended|killed|gone) "), r"\1 PID \2 "),
    (re.compile(r"^( +Process) +\d+$"), r"\1 PID"),
    (re.compile(r"\(process \d+\)"), "(process PID)"),
    # Columns are as wide as what is in them.
    (re.compile(r"-{3,}"), "---"),
    (re.compile(r"(?<=\S) {2,}"), " "),
)


class Command:
    def __init__(self, line: int, text: str):
        self.line = line
        self.text = text
        self.expected: list[str] = []


def sessions(page: str) -> list[Command]:
    """The commands of all sessions, each with the output that the page tells."""
    commands: list[Command] = []
    inside = False
    until = ""
    for number, line in enumerate(page.splitlines(), 1):
        text = line[4:]
        if line and not line.startswith("    "):
            inside = False
        elif until:
            commands[-1].text += "\n" + text
            until = "" if text == until else until
        elif text.startswith("$ "):
            inside = True
            commands.append(Command(number, text[2:]))
            here = re.search(r"<<'?(\w+)'?$", text)
            until = here[1] if here else ""
        elif inside and commands[-1].text.endswith("\\"):
            commands[-1].text += "\n" + text
        elif inside:
            commands[-1].expected.append(text)
    for command in commands:
        while command.expected and not command.expected[-1]:
            command.expected.pop()
    return commands


def script(commands: list[Command]) -> str:
    """All of them for one shell; a mark stands behind the output of each."""
    steps = ["ulimit -c 0", "cd"]
    for command in commands:
        steps += [command.text, f"{{ was=$?; printf '{MARK}'; (exit $was); }}"]
    return "\n".join(steps) + "\n"


def evened(lines: list[str], home: str) -> list[str]:
    result = []
    for line in lines:
        line = line.replace(home, "~").rstrip()
        for pattern, instead in VARYING:
            line = pattern.sub(instead, line)
        result.append(line)
    return result


def matches(expected: list[str], seen: list[str]) -> bool:
    """Whether lines are the expected ones, where '...' is any lines."""
    parts: list[list[str]] = [[]]
    for line in expected:
        if line == "...":
            parts.append([])
        else:
            parts[-1].append(line)
    if len(parts) == 1:
        return seen == expected
    first, last = parts[0], parts[-1]
    at, end = len(first), len(seen) - len(last)
    if at > end or seen[:at] != first or seen[end:] != last:
        return False
    for part in parts[1:-1]:
        while at + len(part) <= end and seen[at:at + len(part)] != part:
            at += 1
        at += len(part)
        if at > end:
            return False
    return True


def run(commands: list[Command], sources: Path, build: Path, scratch: Path) -> list[str]:
    """What each command has printed."""
    home = scratch / "you"
    tree = home / "pcsim"
    (tree / "build").mkdir(parents=True)
    for folder in sources.iterdir():
        if folder.name not in ("build", ".git"):
            (tree / folder.name).symlink_to(folder)
    (tree / "build" / "i386").symlink_to(build)
    steps = scratch / "steps.sh"
    steps.write_text(script(commands))
    environment = {"HOME": str(home), "PATH": "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin",
                   "PCSIM_RUN_DIR": str(scratch / "run"), "TMPDIR": str(scratch), "LC_ALL": "C"}
    done = subprocess.run([build / "pcsim-nics", "--ports", "2", "--", "bash", steps],
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", env=environment,
                          timeout=TIME_LIMIT_S, check=False)
    return done.stdout.split(MARK)


def main(page: str, sources: str, build: str) -> int:
    lab = [f"{build}/pcsim-nics", "--ports", "1", "--", "true"]
    if not Path(lab[0]).exists():
        print(f"FAILED: {lab[0]} is not built")
        return 1
    if subprocess.run(lab, check=False).returncode != 0:
        print("skipped: this machine cannot make a network namespace")
        return SKIPPED
    commands = sessions(Path(page).read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory() as folder:
        scratch = Path(folder).resolve()
        outputs = run(commands, Path(sources).resolve(), Path(build).resolve(), scratch)
        home = str(scratch / "you")
    if not commands or len(outputs) != len(commands) + 1:
        print(f"{page}: {len(commands)} commands, but {len(outputs) - 1} of them came to an end")
        return 1
    failures = 0
    for command, output in zip(commands, outputs):
        seen = evened(output.rstrip("\n").splitlines(), home)
        expected = evened(command.expected, home)
        if not matches(expected, seen):
            failures += 1
            print(f"{page}:{command.line}: '{command.text}' prints")
            print("".join(f"    {line}\n" for line in seen), end="")
    print(f"{len(commands)} commands, {failures} of them with another output")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
