"""The program's command line."""
from __future__ import annotations

import argparse
import json
import os
import sys
from typing import Callable, NoReturn, Sequence

from pcsim.version import TellVersion

from . import commands
from .help import table, wanted
from .kinds import Programs
from .problems import BadInput, LabError

INTERRUPTED = 130
# Options of pcsim-nics, which runs one command in a network of its own and was called pcsim-lab:
# lines that begin so mean that one.
ONE_COMMAND = ("-p", "--ports")


class Parser(argparse.ArgumentParser):
    """One that says what is wrong in one line."""

    def error(self, message: str) -> NoReturn:
        raise BadInput(f"{message}; '{self.prog} --help' lists what there is")

    def format_help(self) -> str:
        """For people, or for programs."""
        return json.dumps(table(self)) + "\n" if wanted() else super().format_help()


def number(low: float, kind: Callable[[str], float], wanted: str) -> Callable[[str], float]:
    """Reads a number from 'low' on."""
    def read(text: str) -> float:
        try:
            found = kind(text)
        except ValueError:
            found = low - 1
        if not low <= found < 10**9:
            raise argparse.ArgumentTypeError(f"'{text}' is wrong; expected {wanted}")
        return found
    return read


def parser() -> Parser:
    """All commands with their arguments."""
    top = Parser(prog="pcsim-lab", allow_abbrev=False,
                 description="Labs of many nodes with cables between them.")
    top.add_argument("--version", action=TellVersion, nargs=0,
                     help="print the version and exit")
    verbs = top.add_subparsers(title="commands", metavar="COMMAND", dest="verb", required=True)

    def add(name: str, run: Callable[[argparse.Namespace], None], about: str, *arguments: str,
            as_json: bool = False, lab: bool = True) -> argparse.ArgumentParser:
        found = verbs.add_parser(name, help=about, description=f"{about}.", allow_abbrev=False)
        found.set_defaults(run=run)
        if lab:
            found.add_argument("-l", "--lab", metavar="LAB",
                               help="the lab; needless while there is only one")
        if as_json:
            found.add_argument("--json", action="store_true", help="as JSON")
        for argument in arguments:
            found.add_argument(argument.lower(), metavar=argument)
        return found

    add_labs(add)
    add_nodes(add)
    return top


def add_labs(add: Callable[..., argparse.ArgumentParser]) -> None:
    """Commands about whole labs."""
    up = add("up", commands.up, "Bring up the lab of a file", "FILE", lab=False)
    up.add_argument("--name", metavar="NAME", help="of the lab, instead of the one in the file")
    up.add_argument("--timeout", metavar="SECONDS", default=120.0,
                    type=number(0.1, float, "a number of seconds from 0.1 on"),
                    help="give up after so long; 120 without it")
    up.add_argument("-q", "--quiet", action="store_true", help="say nothing but what goes wrong")
    down = add("down", commands.down, "End a lab, and remove what is left of it", lab=False)
    down.add_argument("lab", nargs="?", metavar="LAB", help="needless while there is only one")
    down.add_argument("--all", action="store_true", help="all labs")
    add("list", commands.list_labs, "List the labs", as_json=True, lab=False)
    show = add("show", commands.show, "Show nodes and cables", as_json=True, lab=False)
    show.add_argument("lab", nargs="?", metavar="LAB", help="needless while there is only one")
    graph = add("graph", commands.graph, "Draw a lab", as_json=True, lab=False)
    graph.add_argument("lab", nargs="?", metavar="LAB|FILE",
                       help="a lab that is up, or a file named *.yml; needless while there is only "
                            "one")
    form = graph.add_mutually_exclusive_group()
    form.add_argument("--svg", action="store_true", help="as SVG, which needs no asking for")
    form.add_argument("--mermaid", action="store_true", help="as a text for mermaid")


def add_nodes(add: Callable[..., argparse.ArgumentParser]) -> None:
    """Commands about nodes and cables."""
    rest = argparse.REMAINDER
    execute = add("exec", commands.execute, "Run a command in a node", "NODE")
    execute.add_argument("command", nargs=rest, metavar="-- COMMAND")
    add("sh", commands.shell, "Start a shell in a node", "NODE")
    console = add("console", commands.console, "Open the console of a pcsim, or run a line there",
                  "NODE")
    console.add_argument("words", nargs=rest, metavar="[LINE]")
    link = add("link", commands.link, "Pull a cable, plug it, or change what it does to frames")
    link.add_argument("endpoint", metavar="NODE:INTERFACE",
                      help="NODE alone means all its cables, for up and down")
    link.add_argument("words", nargs=rest, metavar="down|up|clear|rate R delay D jitter J loss L|"
                                                   "speed S duplex D")
    disconnect = add("disconnect", commands.disconnect, "Take a cable away")
    disconnect.add_argument("endpoint", metavar="NODE:INTERFACE")
    connect = add("connect", commands.connect, "Lay a cable between two free interfaces")
    for each in ("a", "b"):
        connect.add_argument(each, metavar="NODE:INTERFACE")
    capture = add("capture", commands.capture, "Write the frames that pass at an interface")
    capture.add_argument("endpoint", metavar="NODE:INTERFACE")
    capture.add_argument("file", nargs="?", metavar="FILE",
                         help="a pcap file, - for standard output; a line each without it")
    capture.add_argument("--count", metavar="N", type=number(1, int, "a number from 1 on"),
                         help="end after so many")


def main(arguments: Sequence[str] | None = None) -> int:
    """Runs the program; what is returned is its status."""
    arguments = sys.argv[1:] if arguments is None else arguments
    try:
        if arguments and (arguments[0] == "--" or arguments[0].startswith(ONE_COMMAND)):
            commands.become([Programs().beside("pcsim-nics"), *arguments])
        given = parser().parse_args(arguments)
        given.run(given)
        sys.stdout.flush()
        return 0
    except LabError as problem:
        print(f"pcsim-lab: {problem}", file=sys.stderr)
        return problem.status
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        return 1
    except KeyboardInterrupt:
        return INTERRUPTED
