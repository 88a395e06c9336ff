"""Lines of the console from values: each value becomes one word, quoted where it has to be.

Quotes keep blanks, #, | and the like in a word, and $$ is a dollar that begins no variable; a quote
itself can't be written. Values that no line can carry are refused here, before anything is sent.
"""
from __future__ import annotations

import re
from ipaddress import IPv4Address, IPv4Network, IPv6Address, IPv6Network
from typing import Mapping, Sequence, cast

Address = str | IPv4Address | IPv6Address
Prefix = str | IPv4Network | IPv6Network
Value = str | int | Address | Prefix
Via = Sequence[tuple[Address, int]] | tuple[Address, int]  # next hops: gateway and VLAN

# What a word may be made of without quotes around it.
PLAIN = re.compile(r"[\w.:,/*+@%=()-]+", re.ASCII)


def word(value: Value) -> str:
    """The value as one word of a line. ValueError when a line can't carry it."""
    if isinstance(value, bool):
        raise ValueError(f"{value} is no value of a line; expected a text or a number")
    text = str(value)
    if bad := re.search(r'["\x00-\x1f\x7f\ud800-\udfff]', text):
        raise ValueError(f"{bad.group()!r} can't stand in a line; expected a text without quotes "
                         f"and control characters, not {text!r}")
    text = text.replace("$", "$$")
    return text if PLAIN.fullmatch(text) else f'"{text}"'


def line(*parts: Value | None) -> str:
    """A line of these words; those that are None or False are left out."""
    return " ".join(word(part) for part in parts if part is not None and part is not False)


def option(name: str, value: Value | None) -> tuple[Value, ...]:
    """The words `name value`, or none when there is no value."""
    return () if value is None else (name, value)


def one_line(text: str) -> str:
    """A line that somebody has written, as it is. ValueError when it is more than one."""
    if bad := re.search(r"[\x00\n\ud800-\udfff]", text):
        raise ValueError(f"{bad.group()!r} can't stand in a line; run several lines with batch()")
    return text


def milliseconds(seconds: float) -> int:
    """Simulated seconds as pcsim writes them."""
    if not 0 <= seconds < float("inf"):
        raise ValueError(f"{seconds} is not a time; expected seconds from 0 up")
    return round(seconds * 1000)


def conditions(where: Mapping[str, Value]) -> list[Value]:
    """`where FIELD VALUE` for each; networks take in all that is within them."""
    words: list[Value] = []
    for field, value in where.items():
        inside = isinstance(value, (IPv4Network, IPv6Network))
        words += ["where", field, *(["within"] if inside else []), value]
    return words


def hops(via: Via) -> list[Value]:
    """`via GATEWAY vlan ID` for each next hop; one alone needs no list around it."""
    words: list[Value] = []
    for hop in [via] if len(via) == 2 and isinstance(via[1], int) else via:
        gateway, vlan = cast(tuple[Address, int], hop)
        words += ["via", gateway, "vlan", vlan]
    return words
