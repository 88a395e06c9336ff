"""The parts of a switch by name: ports, cables, cards, fans, VLANs, the clock, faults.

Making a handle asks nothing; each of its methods is a line of the console, `docs/console` says what
it does. Times to wait are in simulated seconds.
"""
from __future__ import annotations

from .async_connection import AsyncConnection
from .connection import Connection
from .parts import DoorT, Part, Reading, Verb, ask, do
from .protocol import Call
from .records import Card, Counters, Fan, Fault, Port, PowerSupply, Vlan, row
from .words import milliseconds, option


class PortHandle(Part[DoorT]):
    """A front-panel port, `SLOT:PORT`."""

    def __init__(self, door: DoorT, name: str) -> None:
        super().__init__(door)
        self.name = name

    def __repr__(self) -> str:
        return f"<port {self.name}>"

    @Verb
    def show(self) -> Call[Port]:
        """The port, asked now."""
        return ask(lambda data: Port.of(data["port"]), "show", "port", self.name)

    @Reading
    def link(self) -> Call[str | None]:
        """`up` or `down`."""
        return ask(lambda data: Port.of(data["port"]).link, "show", "port", self.name)

    @Reading
    def admin(self) -> Call[str]:
        """`enabled` or `disabled`."""
        return ask(lambda data: Port.of(data["port"]).admin, "show", "port", self.name)

    @Verb
    def counters(self) -> Call[Counters]:
        """Its counters since they were zeroed."""
        return ask(lambda data: Counters.of(data["counters"]), "show", "counters", self.name)

    @Verb
    def read_and_clear(self) -> Call[Counters]:
        """Its counters, which count anew from here."""
        return ask(lambda data: Counters.of(data["counters"]), "counters", "read-clear", self.name)

    @Verb
    def zero_counters(self) -> Call[None]:
        """Count from now on."""
        return do("counters", "zero", self.name)

    @Verb
    def enable(self) -> Call[None]:
        """Enable it through its PHY."""
        return do("port", self.name, "enable")

    @Verb
    def disable(self) -> Call[None]:
        """Disable it through its PHY."""
        return do("port", self.name, "disable")

    @Verb
    def restart(self) -> Call[None]:
        """Reset its PHY."""
        return do("port", self.name, "restart")

    @Verb
    def autoneg(self, on: bool, speed: int | None = None, duplex: str | None = None) -> Call[None]:
        """Negotiate, or not."""
        return do("port", self.name, "autoneg", "on" if on else "off", *option("speed", speed),
                  *option("duplex", duplex))

    @Verb
    def wait_link(self, link: str = "up", within: float = 5) -> Call[None]:
        """Give the link so many simulated seconds to come, or to go."""
        return do("wait", "show", "port", self.name, "--", "link", "is", link, "within",
                  milliseconds(within))


class CableHandle(Part[DoorT]):
    """The cable of ethN in a lab."""

    def __init__(self, door: DoorT, number: int) -> None:
        super().__init__(door)
        self.number = number

    @Verb
    def pull(self) -> Call[None]:
        """Pull it."""
        return do("cable", self.number, "pull")

    @Verb
    def plug(self) -> Call[None]:
        """Plug it in again."""
        return do("cable", self.number, "plug")

    @Verb
    def send(self, count: int, out: bool = False) -> Call[None]:
        """So many frames into the port, or out of it."""
        return do("cable", self.number, "send", count, "out" if out else None)


class CardHandle(Part[DoorT]):
    """A slot and its card."""

    def __init__(self, door: DoorT, slot: int) -> None:
        super().__init__(door)
        self.slot = slot

    @Verb
    def show(self) -> Call[Card]:
        """The card's row of `show cards`."""
        return ask(row(Card, "cards", "slot", self.slot), "show", "cards")

    @Reading
    def state(self) -> Call[str]:
        """Its state: `empty`, `present`, ..., `operational`."""
        take = row(Card, "cards", "slot", self.slot)
        return ask(lambda data: take(data).state, "show", "cards")

    @Verb
    def insert(self) -> Call[None]:
        """Put a card in."""
        return do("card", self.slot, "insert")

    @Verb
    def remove(self) -> Call[None]:
        """Pull the card out."""
        return do("card", self.slot, "remove")

    @Verb
    def power(self, on: bool) -> Call[None]:
        """Switch it on or off."""
        return do("card", self.slot, "power", "on" if on else "off")

    @Verb
    def reset(self) -> Call[None]:
        """Off and on again."""
        return do("card", self.slot, "reset")

    @Verb
    def diagnose(self) -> Call[None]:
        """Run its diagnostics."""
        return do("card", self.slot, "diag")

    @Verb
    def wait_state(self, state: str = "operational", within: float = 60) -> Call[None]:
        """Give it so many simulated seconds to come into a state."""
        return do("wait", "show", "cards", "--", f"{self.slot}.state", "is", state, "within",
                  milliseconds(within))


class FanHandle(Part[DoorT]):
    """A fan."""

    def __init__(self, door: DoorT, number: int) -> None:
        super().__init__(door)
        self.number = number

    @Verb
    def show(self) -> Call[Fan]:
        """Its readings, as of the last poll."""
        return ask(row(Fan, "fans", "fan", self.number), "show", "fans")

    @Verb
    def speed(self, percent: int) -> Call[None]:
        """Set its speed."""
        return do("fan", self.number, "speed", percent)

    @Verb
    def odometer(self, value: int | None = None) -> Call[None]:
        """Set its odometer, or let it start from 0."""
        return do("odometer", "fan", self.number, "init" if value is None else value)


class PowerSupplyHandle(Part[DoorT]):
    """A power supply."""

    def __init__(self, door: DoorT, number: int) -> None:
        super().__init__(door)
        self.number = number

    @Verb
    def show(self) -> Call[PowerSupply]:
        """Its readings, as of the last poll."""
        return ask(row(PowerSupply, "power", "supply", self.number), "show", "power")

    @Verb
    def odometer(self, value: int | None = None) -> Call[None]:
        """Set its odometer, or let it start from 0."""
        return do("odometer", "power", self.number, "init" if value is None else value)


class ModuleControl(Part[DoorT]):
    """Which cards, fans and supplies are present; bit n of a mask is slot or unit n."""

    @Verb
    def cards(self, mask: int) -> Call[None]:
        """The slots that have a card; the presence poll sees it."""
        return do("module", "cards", hex(mask))

    @Verb
    def fans(self, mask: int) -> Call[None]:
        """The fans that are there."""
        return do("module", "fans", hex(mask))

    @Verb
    def power(self, mask: int) -> Call[None]:
        """The power supplies that are there."""
        return do("module", "power", hex(mask))


class VlanHandle(Part[DoorT]):
    """A VLAN."""

    def __init__(self, door: DoorT, vlan: int) -> None:
        super().__init__(door)
        self.vlan = vlan

    @Verb
    def show(self) -> Call[Vlan]:
        """Its row of `show vlans`."""
        return ask(row(Vlan, "vlans", "vlan", self.vlan), "show", "vlans")

    @Verb
    def create(self) -> Call[None]:
        """Make it."""
        return do("vlan", "create", self.vlan)

    @Verb
    def delete(self) -> Call[None]:
        """Delete it with its memberships and MAC addresses."""
        return do("vlan", "delete", self.vlan)

    @Verb
    def add(self, port: str, tagged: bool = False) -> Call[None]:
        """Add a port, or change its tag."""
        return do("vlan", self.vlan, "add", port, "tagged" if tagged else None)

    @Verb
    def remove(self, port: str) -> Call[None]:
        """Remove a port."""
        return do("vlan", self.vlan, "remove", port)


class Clock(Part[DoorT]):
    """Simulated time, in ms."""

    @Reading
    def now(self) -> Call[int]:
        """The simulated time."""
        return Call("status", {}, lambda status: int(status["timeMs"]))

    @Reading
    def stopped(self) -> Call[bool]:
        """Whether the clock stands still."""
        return Call("status", {}, lambda status: bool(status["stopped"]))

    @Verb
    def stop(self) -> Call[None]:
        """Let it stand still."""
        return do("time", "stop")

    @Verb
    def run(self) -> Call[None]:
        """Let it follow the PC's."""
        return do("time", "run")

    @Verb
    def warp(self, ms: int) -> Call[None]:
        """Move a stopped clock; everything that is due on the way runs at its exact time."""
        return do("time", "warp", ms)

    @Verb
    def sleep(self, ms: int) -> Call[None]:
        """Let so much time pass, stopped or not."""
        return do("sleep", ms)


class FaultHandle(Part[DoorT]):
    """A fault that was set. As a context manager it is removed at the end."""

    def __init__(self, door: DoorT, rule: int) -> None:
        super().__init__(door)
        self.rule = rule

    def __repr__(self) -> str:
        return f"<fault {self.rule}>"

    def __enter__(self: FaultHandle[Connection]) -> FaultHandle[Connection]:
        return self

    def __exit__(self: FaultHandle[Connection], *_: object) -> None:
        self.remove()

    async def __aenter__(self: FaultHandle[AsyncConnection]) -> FaultHandle[AsyncConnection]:
        return self

    async def __aexit__(self: FaultHandle[AsyncConnection], *_: object) -> None:
        await self.remove()

    @Verb
    def show(self) -> Call[Fault]:
        """The rule, with the calls that it has met."""
        return ask(row(Fault, "faults", "rule", self.rule), "show", "faults")

    @Verb
    def remove(self) -> Call[None]:
        """Remove the rule."""
        return do("fault-remove", self.rule)

    @Verb
    def rest(self) -> Call[None]:
        """Let it rest."""
        return do("fault-off", self.rule)

    @Verb
    def resume(self) -> Call[None]:
        """Let it apply again."""
        return do("fault-on", self.rule)
