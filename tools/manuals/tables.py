"""What programs tell of themselves: options, commands, verbs and operations, as roff."""
import json
import os
import re
import subprocess
from pathlib import Path

from roff import guarded, inline, plain, tagged, wrapped


def asked(*command: str) -> str:
    """What a program prints."""
    environment = dict(os.environ, PCSIM_HELP="json", PYTHONDONTWRITEBYTECODE="1")
    return subprocess.run(command, env=environment, capture_output=True, text=True, check=True,
                          timeout=60).stdout


def reports(pcsim: str, *shows: str) -> list[dict]:
    """Reports of one run."""
    commands = [word for show in shows for word in ("-x", f"{show} --json")]
    text = asked(pcsim, "--stopped", "--quiet", *commands)
    decoder, found, at = json.JSONDecoder(), [], text.find("{")
    while at >= 0:
        report, at = decoder.raw_decode(text, at)
        found.append(report)
        at = text.find("{", at)
    return found


class Programs:
    """The tables of the programs in a folder."""

    def __init__(self, folder: Path):
        self.folder = folder

    def path(self, name: str) -> str:
        return str(self.folder / name)

    def has(self, name: str) -> bool:
        return (self.folder / name).exists()

    def table(self, name: str) -> dict:
        """'pcsim-probe replay' is a command of pcsim-probe."""
        program, *command = name.split()
        return json.loads(asked(self.path(program), *command, "--help"))

    def verbs(self) -> list[dict]:
        return reports(self.path("pcsim"), "show verbs")[0]["verbs"]


def value_of(option: dict) -> str:
    """The value behind an option's name."""
    if option["takes"] == "form":
        return f"[\\fB=\\fI{plain(option['value'], code=True)}\\fR]"
    return f" \\fI{plain(option['value'], code=True)}\\fR" if option["value"] else ""


def options(table: dict) -> list[str]:
    lines = []
    for option in table["options"]:
        letter = f"\\fB\\-{option['letter']}\\fR, " if option["letter"] else ""
        name = plain("--" + option["name"], code=True)
        lines += tagged(f"{letter}\\fB{name}\\fR{value_of(option)}",
                        wrapped(inline(option["help"] + ".")))
    return lines


def synopsis(table: dict) -> list[str]:
    usages = [table["usage"]]
    if table["commands"]:
        usages.append("COMMAND [--help]")
    lines = []
    for usage in usages:
        lines += [*([".br"] if lines else []), f".B {plain(table['name'], code=True)}",
                  guarded(plain(usage, code=True))]
    return lines


def commands(programs: Programs, table: dict) -> list[str]:
    """The commands of a program, each with its own options."""
    lines = []
    for command in table["commands"]:
        usage = plain(command["usage"], code=True)
        lines += tagged(f"\\fB{plain(command['name'], code=True)}\\fR {usage}".rstrip(),
                        wrapped(inline(command["help"] + ".")))
        if not re.fullmatch(r"[a-z-]+", command["name"]):
            continue
        own = programs.table(f"{table['name']} {command['name']}")
        own["options"] = [one for one in own["options"] if one["name"] != "help"]
        if own["options"]:
            lines += [".RS", *options(own), ".RE"]
    return lines


def verbs(all_verbs: list[dict], area: str) -> list[str]:
    lines = []
    for verb in all_verbs:
        if verb["area"] == area:
            lines += tagged(f"\\fB{plain(verb['usage'], code=True)}\\fR",
                            wrapped(inline(verb["help"][0].upper() + verb["help"][1:] + ".")))
    return lines


# --- The interface --------------------------------------------------------------------------------

def contracts(headers: Path) -> dict[str, str]:
    """What the headers say of each function type: the comment above it or above its group."""
    found = {}
    for header in sorted(headers.glob("*.h")):
        comment = ""
        for block in re.split(r"\n\s*\n", header.read_text()):
            said = re.match(r"/\*(.*?)\*/\s*", block, re.DOTALL)
            comment = " ".join(re.sub(r"^\s*\* ?", "", line).strip()
                               for line in said[1].split("\n")).strip() if said else ""
            for name in re.findall(r"\b(Hal\w+Fn)(?=\(|;)", block[said.end():] if said else block):
                if comment and not comment.startswith("---"):
                    found.setdefault(name, comment)
    return found


def operations(programs: Programs, headers: Path, table: str) -> list[str]:
    """A table's words, with what each is in a stack and in a chassis."""
    said = contracts(headers)
    shapes = [{row["word"]: row for row in rows["operations"]} for rows in (
        reports(programs.path("pcsim"), f"show operations table {table}")[0],
        shape_of(programs, table))]
    described = reports(programs.path("pcsim"), *(f"show operation {word}" for word in shapes[0]))
    lines = []
    for (word, row), report in zip(shapes[0].items(), described):
        operation = report["operation"]
        names = [shape[word]["operation"] for shape in shapes
                 if shape.get(word, {}).get("state") == "there"]
        where = ", ".join(dict.fromkeys(name for name in names if name))
        if len(names) == 1:
            where += "; a stack's alone"
        signature = plain(operation["signature"], code=True)
        contract = said.get(operation["type"], "").replace("'", "`")
        lines += tagged(f"\\fB{plain(word, code=True)}\\fR (word {row['number']}: "
                        f"{plain(where, code=True)})",
                        [guarded(signature), ".br", *wrapped(inline(quoted(contract)))]
                        if contract else [guarded(signature)])
    return lines


def quoted(contract: str) -> str:
    """Names that a contract quotes, as code."""
    return re.sub(r"`(\*?\w+)`", r"**\1**", contract).replace("`", "'")


def shape_of(programs: Programs, table: str) -> dict:
    """The same table of a chassis."""
    text = asked(programs.path("pcsim"), "--shape", "chassis", "--stopped", "--quiet", "-x",
                 f"show operations table {table} --json")
    return json.loads(text[text.index("{"):])
