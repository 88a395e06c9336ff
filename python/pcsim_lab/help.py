"""The command line as data, as all programs tell it when $PCSIM_HELP is json: manual page and
completion are made of that.
"""
from __future__ import annotations

import argparse
import os
from typing import Any

JSON = dict[str, Any]


def wanted() -> bool:
    """Whether --help is asked for by a program."""
    return os.environ.get("PCSIM_HELP") == "json"


def table(parser: argparse.ArgumentParser) -> JSON:
    """Of the program, or of one of its commands."""
    actions = parser._actions  # argparse has no other way to ask for them
    verbs = [action for action in actions if isinstance(action, argparse._SubParsersAction)]
    return {"name": parser.prog, "about": parser.description, "usage": usage(parser),
            "options": [option(action) for action in actions if action.option_strings],
            "commands": [{"name": choice.dest, "help": choice.help,
                          "usage": usage(action.choices[choice.dest])}
                         for action in verbs for choice in action._choices_actions]}


def option(action: argparse.Action) -> JSON:
    """One of its options."""
    about = action.help or ""
    letters = [name[1] for name in action.option_strings if not name.startswith("--")]
    return {"name": action.option_strings[-1].lstrip("-"), "letter": "".join(letters),
            "value": action.metavar or "", "help": about[:1].upper() + about[1:],
            "takes": "text" if action.metavar else "nothing", "choices": []}


def usage(parser: argparse.ArgumentParser) -> str:
    """The words of a command line that are no options."""
    words = [f"[{action.metavar}]" if action.nargs == argparse.OPTIONAL else str(action.metavar)
             for action in parser._actions if not action.option_strings]
    return " ".join(["[options]", *words])
