"""What a person types to search a table, as words of a line.

Whatever is typed is read here, and the line is made of what was understood, never of the text: a
page that may only look can't bring a word of its own into a line. What is not understood is refused
with what would be right.
"""
from __future__ import annotations

import re
from dataclasses import dataclass
from ipaddress import AddressValueError, IPv4Address, IPv4Network, IPv6Address, IPv6Network
from typing import Callable, Iterator, Mapping

from pcsim.words import Value

from .problems import Problem

LONGEST = 100  # characters of a search


@dataclass(frozen=True)
class Found:
    """What a search has become: words for the line, and a text that rows are held against here."""

    words: tuple[Value, ...] = ()
    text: str = ""
    says: str = ""  # for people, behind the name of the table: "that cover 10.0.0.1"


Search = Callable[[str], Found]


def nothing(text: str) -> Found:
    """Of a table that can't be searched."""
    if text:
        raise Problem("this table has no search", "an empty field")
    return Found()


def anything(text: str) -> Found:
    """Rows with this text in any of their cells."""
    return Found(text=text.lower(), says=f"with '{text}'" if text else "")


MAC_START = re.compile(r"([0-9a-f]{2}[:-]){0,5}[0-9a-f]{0,2}", re.IGNORECASE)
PORT = re.compile(r"\d{1,3}:\d{1,4}", re.ASCII)
MAC_RIGHT = "for example '00:11:2', 'vlan 10', 'port 1:1' or 'trunk 1'"
# Names as nearly all have them. What is no option and no other word of a line begins otherwise.
NAME = re.compile(r"[\w.:][\w.:,/*+@%=()-]*", re.ASCII)


def number(word: str, low: int, high: int, right: str) -> int:
    """A number between these."""
    if not re.fullmatch(r"\d{1,10}", word, re.ASCII) or not low <= int(word) <= high:
        raise Problem(f"'{word}' is no number that can be", f"{low} to {high}; {right}")
    return int(word)


def port(word: str, right: str) -> str:
    """A port like 1:1."""
    if not PORT.fullmatch(word):
        raise Problem(f"'{word}' is no port", f"SLOT:PORT; {right}")
    return word


def mac_start(word: str, right: str) -> str:
    """The start of a MAC address."""
    if not MAC_START.fullmatch(word) or not word:
        raise Problem(f"'{word}' is not the start of a MAC address", right)
    return word.lower().replace("-", ":")


def _options(text: str, known: Mapping[str, Callable[[str], Value]],
             bare: Callable[[str], tuple[Value, ...]], right: str) -> tuple[Value, ...]:
    """The words of a search like "00:11 vlan 10": names with a value, and at most one thing without
    a name."""
    words: Iterator[str] = iter(text.split())
    found: list[Value] = []
    seen: set[str] = set()
    for word in words:
        name = word.lower() if word.lower() in known else ""
        if name in seen:
            raise Problem(f"'{word}' is one too many", right)
        seen.add(name)
        if not name:
            found = [*bare(word), *found]
            continue
        value = next(words, None)
        if value is None:
            raise Problem(f"'{name}' says nothing alone", right)
        found += [name, known[name](value)]
    return tuple(found)


def macs(text: str) -> Found:
    """The start of an address, a VLAN, a port or a trunk."""
    words = _options(text, {
        "vlan": lambda word: number(word, 1, 4094, MAC_RIGHT),
        "port": lambda word: port(word, MAC_RIGHT),
        "trunk": lambda word: number(word, 1, 128, MAC_RIGHT),
    }, lambda word: ("mac", mac_start(word, MAC_RIGHT)), MAC_RIGHT)
    return Found(words, says=f"with {' '.join(map(str, words))}" if words else "")


@dataclass(frozen=True)
class Family:
    """What is different about addresses of a kind."""

    everything: str
    address: type[IPv4Address] | type[IPv6Address]
    network: type[IPv4Network] | type[IPv6Network]
    example: str


V4 = Family("0.0.0.0/0", IPv4Address, IPv4Network, "'10.1.2.3' or '10.0.0.0/8'")
V6 = Family("::/0", IPv6Address, IPv6Network, "'2001:db8::1' or '2001:db8::/32'")


def _destination(word: str, family: Family) -> str:
    """An address or a prefix, in the form that Python gives it."""
    right = f"for example {family.example}"
    try:
        # A zone or a mask in another form is no part of what a route is to.
        if "%" in word or not re.search(r"/\d{1,3}$|^[^/]*$", word, re.ASCII):
            raise ValueError
        return str(family.network(word, strict=False) if "/" in word else family.address(word))
    except ValueError as problem:
        raise Problem(f"'{word}' is no address or prefix", right) from problem


def routes(family: Family) -> Search:
    """An address finds the routes that cover it, a prefix those inside; in a virtual router."""
    right = f"for example {family.example}, also with 'vr 1'"

    def search(text: str) -> Found:
        bare: list[str] = []

        def take(word: str) -> tuple[Value, ...]:
            destination = _destination(word, family)
            bare.append(destination)
            return (destination,) if "/" not in destination else ("within", destination)

        words = _options(text, {"vr": lambda word: number(word, 0, 2**32 - 1, right)}, take, right)
        where = ""
        if not bare:
            words = ("within", family.everything, *words)
        elif "/" in bare[0]:
            where = f"within {bare[0]}"
        else:
            where = f"that cover {bare[0]}, the one that counts first"
        if "vr" in words:
            where += f"{' ' if where else ''}of virtual router {words[-1]}"
        return Found(words, says=where)
    return search


def neighbors(text: str) -> Found:
    """Neighbors with an address inside a prefix."""
    if not text:
        return Found()
    destination = _destination(text.strip(), V4)
    prefix = destination if "/" in destination else f"{destination}/32"
    return Found(("within", prefix), says=f"within {prefix}")


def groups(text: str) -> Found:
    """Caches of one group."""
    if not text:
        return Found()
    right = "224.0.0.0 to 239.255.255.255"
    try:
        group = IPv4Address(text.strip())
    except AddressValueError as problem:
        raise Problem(f"'{text}' is no multicast group", right) from problem
    if not group.is_multicast:
        raise Problem(f"'{text}' is no multicast group", right)
    return Found(("group", group), says=f"of {group}")


def access_list(text: str) -> Found:
    """The access list of that name."""
    name = text.strip()
    if not name:
        raise Problem("an access list has to be chosen", "its name, as 'Access lists' shows it")
    if not NAME.fullmatch(name) or name.lower() in ("limit", "from"):
        raise Problem(f"'{name}' can't be asked for here", "letters, digits and '_.:,/*+@%=()-'")
    return Found((name,), says=f"of {name}")


def read(search: Search, text: str) -> Found:
    """What a search means."""
    if len(text) > LONGEST:
        raise Problem("this is a long search", f"at most {LONGEST} characters")
    return search(text.strip())
