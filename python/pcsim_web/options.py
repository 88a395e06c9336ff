"""The command line of pcsim-web. It is read before anything else is loaded, so that --help and what
the manuals ask work without any other package."""
from __future__ import annotations

import argparse
import json
import os
import re
import secrets
from dataclasses import dataclass
from typing import Any, NoReturn, Sequence

from pcsim.version import TellVersion

DEFAULT_PORT = 8470
ABOUT = "pcsim-web: shows running switches in a browser."
USAGE = "[options] [NAME...]"
BAD_USAGE = 2


@dataclass(frozen=True)
class Serving:
    """How the page is served."""

    address: str
    port: int
    token: str
    hosts: tuple[str, ...] = ()
    read_only: bool = False
    names: tuple[str, ...] = ()  # of instances; all without


def port_number(text: str) -> int:
    """A port to listen on."""
    if not re.fullmatch(r"[0-9]{1,5}", text) or int(text) > 65535:
        raise argparse.ArgumentTypeError(f"'{text}' is no port; expected 0 to 65535")
    return int(text)


def token(text: str) -> str:
    """A token that can't be guessed and stands in an address as it is."""
    if not re.fullmatch(r"[A-Za-z0-9_-]{16,128}", text):
        raise argparse.ArgumentTypeError(
            "this is no token; expected 16 to 128 letters, digits, '_' and '-'")
    return text


def address(text: str) -> str:
    """An address to listen on; the empty one would be all of them."""
    if not text:
        raise argparse.ArgumentTypeError("'' is no address; expected one like 127.0.0.1 or ::1")
    return text


def instance(text: str) -> str:
    """The name of an instance."""
    if not re.fullmatch(r"[A-Za-z0-9._-]{1,64}", text):
        raise argparse.ArgumentTypeError(
            f"'{text}' is no name of an instance; expected letters, digits, '.', '_' and '-'")
    return text


# Name, letter, value, what it does, and how argparse takes it.
OPTIONS: tuple[tuple[str, str, str, str, dict[str, Any]], ...] = (
    ("help", "h", "", "Print this help and exit", {"action": "store_true"}),
    ("version", "", "", "Print the version and exit",
     {"action": TellVersion, "nargs": 0}),
    ("bind", "", "ADDRESS", "Listen on this address; 127.0.0.1 without it",
     {"type": address, "default": "127.0.0.1"}),
    ("port", "", "PORT", f"Listen on this port, 0 for any; {DEFAULT_PORT} without it",
     {"type": port_number, "default": DEFAULT_PORT}),
    ("host", "", "NAME", "A name under which browsers reach this machine; may be repeated",
     {"action": "append", "default": []}),
    ("token", "", "TOKEN", "The secret in the address, at least 16 characters; a random one "
                           "without it", {"type": token}),
    ("read-only", "", "", "Let pages look, but not touch", {"action": "store_true"}),
)


class Parser(argparse.ArgumentParser):
    """Says in one line what is wrong with the command line."""

    def error(self, message: str) -> NoReturn:
        self.exit(BAD_USAGE, f"{self.prog}: {message.partition('NAME: ')[2] or message}; "
                             f"see {self.prog} --help\n")


def parser() -> Parser:
    """What reads the words."""
    reading = Parser(prog="pcsim-web", allow_abbrev=False, add_help=False)
    reading.add_argument("names", nargs="*", metavar="NAME", type=instance)
    for name, letter, value, _, taking in OPTIONS:
        spelled = [f"-{letter}"] * bool(letter) + [f"--{name}"]
        settings: dict[str, Any] = taking | ({"metavar": value} if value else {})
        reading.add_argument(*spelled, **settings)
    return reading


def help_text() -> str:
    """The table of options, as JSON for the manuals, as a text otherwise."""
    if os.environ.get("PCSIM_HELP") == "json":
        rows = [{"name": name, "letter": letter, "value": value, "help": text,
                 "takes": "text" if value else "nothing", "choices": []}
                for name, letter, value, text, _ in OPTIONS]
        return json.dumps({"name": "pcsim-web", "about": ABOUT, "usage": USAGE, "options": rows,
                           "commands": []}, indent=2)
    lines = [ABOUT, "", f"usage: pcsim-web {USAGE}", ""]
    for name, letter, value, text, _ in OPTIONS:
        spelled = f"  {f'-{letter},' if letter else '   '} --{name} {value}".rstrip()
        lines.append(f"{spelled:<24} {text}")
    lines += ["", "Prints an address and serves a page there until it is interrupted. With names",
              "it shows these instances only, all of the user's without."]
    return "\n".join(lines)


def serving_of(words: Sequence[str] | None = None) -> Serving | None:
    """What the command line wants; None when help is all that it wants."""
    given = parser().parse_args(words)
    if given.help:
        print(help_text())
        return None
    return Serving(given.bind, given.port, given.token or secrets.token_urlsafe(18),
                   tuple(given.host), given.read_only, tuple(given.names))
