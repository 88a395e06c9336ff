"""What can be asked of a switch, whichever door it is asked through."""
from __future__ import annotations

import os
from typing import Callable, Mapping, Sequence

from .errors import CommandError, error_of
from .events import log_of
from .handles import (CableHandle, CardHandle, Clock, FanHandle, FaultHandle, ModuleControl,
                      PortHandle, PowerSupplyHandle, VlanHandle)
from .parts import STATUS, Answer, DoorT, Part, Verb, ask, do, run_line
from .protocol import JSON, Call, Notified, nothing
from .records import (Card, Event, Fan, Fault, OperationCoverage, Port, PowerSupply, Status, Vlan,
                      rows)
from .tables import MacTable, NeighborTable, RouteTable
from .words import Value, conditions, line, milliseconds, one_line, option


def answer_of(result: Mapping[str, JSON]) -> Answer:
    """A line of a batch."""
    text = str(result["line"])
    if (error := result.get("error")) is None:
        return Answer(result["text"], result["data"], text)
    failure = error_of(error, text)
    if not isinstance(failure, CommandError):
        raise failure
    return Answer(failure.text, None, text, failure)


def answers_of(result: Mapping[str, JSON], keep_going: bool = False) -> list[Answer]:
    """All lines of a batch. Raises the error of the first that failed, unless it keeps going."""
    answers = [answer_of(each) for each in result["results"]]
    for answer in answers:
        if answer.error is not None and not keep_going:
            raise answer.error
    return answers


def demand(verb: str, what: str, condition: str | None) -> str:
    """An `expect` or `wait` line."""
    return f"{verb} {what}" if condition is None else f"{verb} {what} -- {condition}"


class Verbs(Part[DoorT]):
    """What can be asked of a switch."""

    @Verb
    def run(self, text: str, output: Callable[[str], None] | None = None) -> Call[Answer]:
        """Runs a line of the console. With `output`, what it prints goes there as it comes."""
        def take(result: Mapping[str, JSON]) -> Answer:
            return Answer(result["text"], result["data"], text)

        def hear(notified: Notified) -> None:
            if output is not None and notified.method == "output":
                output(notified.params["text"])
        return run_line(text, take, hear if output is not None else None)

    @Verb
    def show(self, what: str) -> Call[JSON]:
        """The data of `show WHAT`."""
        return run_line(f"show {what}", lambda result: result["data"])

    @Verb
    def batch(self, lines: Sequence[str], keep_going: bool = False) -> Call[list[Answer]]:
        """Runs lines one after the other. The first that fails is raised; when it keeps going,
        the answer of each line that failed has its error instead."""
        params = {"lines": [one_line(each) for each in lines], "keepGoing": keep_going}
        return Call("batch", params, lambda result: answers_of(result, keep_going))

    @Verb
    def expect(self, what: str, condition: str | None = None) -> Call[None]:
        """Fails unless it is so: `expect("show port 1:1", "link is up")`."""
        return run_line(demand("expect", what, condition), nothing)

    @Verb
    def wait(self, what: str, condition: str | None = None, within: float = 5) -> Call[None]:
        """Gives it so many simulated seconds: `wait("show port 1:1", "link is up", within=3)`."""
        text = f"{demand('wait', what, condition)} within {milliseconds(within)}"
        return run_line(text, nothing)

    @Verb
    def expect_event(self, text: str) -> Call[None]:
        """Fails unless an event with this text has come since the last one that was expected or
        waited for."""
        return do("expect", "event", text)

    @Verb
    def expect_no_event(self, text: str) -> Call[None]:
        """Fails if such an event has come."""
        return do("expect", "no", "event", text)

    @Verb
    def wait_event(self, text: str, within: float = 5) -> Call[None]:
        """Gives an event with this text so many simulated seconds to come."""
        return do("wait", "event", text, "within", milliseconds(within))

    @Verb
    def interrupt(self) -> Call[bool]:
        """Ends what runs on this connection, for another thread or task; whether something did."""
        return Call("interrupt", {}, lambda result: bool(result["interrupted"]))

    @Verb
    def status(self) -> Call[Status]:
        """The instance: its name, shape, time, ports."""
        return STATUS

    @Verb
    def describe(self) -> Call[JSON]:
        """What the instance can do: verbs, methods, events, errors, versions."""
        return Call("describe", {}, lambda result: result)

    @Verb
    def complete(self, text: str) -> Call[list[str]]:
        """What may stand in place of the line's last word."""
        return Call("complete", {"line": one_line(text), "folder": os.getcwd()},
                    lambda result: list(result["candidates"]))

    @Verb
    def ports(self) -> Call[list[Port]]:
        """The front panel, as of the last poll."""
        return ask(rows(Port, "ports"), "show", "ports")

    @Verb
    def cards(self) -> Call[list[Card]]:
        """All slots."""
        return ask(rows(Card, "cards"), "show", "cards")

    @Verb
    def fans(self) -> Call[list[Fan]]:
        """All fans."""
        return ask(rows(Fan, "fans"), "show", "fans")

    @Verb
    def power_supplies(self) -> Call[list[PowerSupply]]:
        """All power supplies."""
        return ask(rows(PowerSupply, "power"), "show", "power")

    @Verb
    def vlans(self) -> Call[list[Vlan]]:
        """All VLANs."""
        return ask(rows(Vlan, "vlans"), "show", "vlans")

    @Verb
    def faults(self) -> Call[list[Fault]]:
        """All fault rules."""
        return ask(rows(Fault, "faults"), "show", "faults")

    @Verb
    def clear_faults(self) -> Call[None]:
        """No more faults."""
        return do("fault-clear")

    @Verb
    def coverage(self) -> Call[list[OperationCoverage]]:
        """Every operation of every table, called or not, and host functions that were called."""
        return ask(rows(OperationCoverage, "operations"), "show", "coverage")

    @Verb
    def fault(self, operation: str, where: Mapping[str, Value] | None = None,
              set: Mapping[str, Value] | None = None, *, after: int | None = None,
              count: int | None = None, chance: int | None = None, seed: int | None = None,
              delay: int | None = None,
              returns: int | str | None = None) -> Call[FaultHandle[DoorT]]:
        """Lets calls of an operation fail, come late, answer a number, or hand out other values.
        The delay is in ms; a network in `where` takes in all that is within it."""
        values: list[Value] = []
        for name, value in (set or {}).items():
            values += ["set", name, value]
        text = line("fault", operation, *conditions(where or {}), *option("after", after),
                    *option("count", count), *option("chance", chance), *option("seed", seed),
                    *option("delay", delay), *option("returns", returns), *values)

        def take(result: Mapping[str, JSON]) -> FaultHandle[DoorT]:
            faults = answers_of(result)[1].data["faults"]
            return FaultHandle(self._door, max(each["rule"] for each in faults))
        return Call("batch", {"lines": [text, "show faults"]}, take)

    @Verb
    def calls(self, on: bool = True, *, everything: bool = False, only: Sequence[str] = (),
              table: str | None = None, port: str | None = None, slot: int | None = None,
              to: str | os.PathLike[str] | None = None) -> Call[None]:
        """A line for each call across the boundary to the platform, or no more of them."""
        words: list[Value] = ["all"] if everything else []
        for operation in only:
            words += ["only", operation]
        file = None if to is None else os.fspath(to)
        return do("calls", "on" if on else "off", *words, *option("table", table),
                  *option("port", port), *option("slot", slot), *option("to", file))

    @Verb
    def times(self, on: bool = True) -> Call[None]:
        """Takes the time of every call, or not."""
        return do("times", "on" if on else "off")

    @Verb
    def log(self, about: str | None = None, sources: Sequence[str] | None = None,
            since: int = 0) -> Call[list[Event]]:
        """What has happened, from that number of the event log on."""
        return log_of(about, sources, since)

    def port(self, name: str) -> PortHandle[DoorT]:
        """The port of that name, `SLOT:PORT`."""
        return PortHandle(self._door, name)

    def cable(self, number: int) -> CableHandle[DoorT]:
        """The cable of ethN in a lab."""
        return CableHandle(self._door, number)

    def card(self, slot: int) -> CardHandle[DoorT]:
        """The slot of that number."""
        return CardHandle(self._door, slot)

    def fan(self, number: int) -> FanHandle[DoorT]:
        """The fan of that number."""
        return FanHandle(self._door, number)

    def power_supply(self, number: int) -> PowerSupplyHandle[DoorT]:
        """The power supply of that number."""
        return PowerSupplyHandle(self._door, number)

    def vlan(self, vlan: int) -> VlanHandle[DoorT]:
        """The VLAN of that number, whether it is there or not."""
        return VlanHandle(self._door, vlan)

    @property
    def module(self) -> ModuleControl[DoorT]:
        """Which cards, fans and supplies are present."""
        return ModuleControl(self._door)

    @property
    def time(self) -> Clock[DoorT]:
        """The clock."""
        return Clock(self._door)

    @property
    def fdb(self) -> MacTable[DoorT]:
        """The MAC table."""
        return MacTable(self._door)

    @property
    def routes(self) -> RouteTable[DoorT]:
        """The routes."""
        return RouteTable(self._door)

    @property
    def neighbors(self) -> NeighborTable[DoorT]:
        """The neighbors."""
        return NeighborTable(self._door)
