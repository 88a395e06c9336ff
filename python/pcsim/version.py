"""The version of pcSim, and those of what it understands: the one place where they stand. The build
of the programs and of the packages reads them here."""
import argparse
from typing import NoReturn

VERSION = "0.2.0"  # of the programs and the library
PROTOCOL = 1  # of what is spoken over an instance's socket


def told(program: str) -> str:
    """What a program answers to --version: a fact a line, and its name and version first."""
    return (f"{program} {VERSION}\n"
            f"library {VERSION}, ABI {VERSION.split('.', maxsplit=1)[0]}\n"
            f"protocol {PROTOCOL}")


class TellVersion(argparse.Action):
    """The option --version; argparse's own would make one line of these."""

    def __call__(self, parser: argparse.ArgumentParser, *_: object, **__: object) -> NoReturn:
        print(told(parser.prog))
        parser.exit()
