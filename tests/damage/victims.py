"""Who is killed, as data: what runs, what it is busy with, when it is killed, and what it may leave
until the next one of its name starts. After that nothing may be left of any.
"""
from dataclasses import dataclass

NAME = "victim"
PORT = 8099
TOKEN = "a-token-of-the-tests"

LAB = """\
name: victim
topology:
  kinds:
    pcsim: {ports: 2}
  nodes:
    sw1: {kind: pcsim}
    sw2: {kind: pcsim}
    h1: {kind: linux, exec: ["ip address add 10.0.0.1/24 dev eth1"]}
  links:
    - endpoints: ["sw1:eth1", "sw2:eth1"]
    - endpoints: ["sw1:eth2", "h1:eth1"]
"""

PLAN = "record run.rec\ncalls on to calls.txt\n"
SCRIPT = """\
expect show ports -- count is 2
repeat 10000
    cable 1 pull
    wait show port 1:1 -- link is down within 60000
    cable 1 plug
    wait show port 1:1 -- link is up within 60000
end
"""

# What a switch does under load, over and over. It saves nothing but states of many VLANs.
PREPARE = "".join(f"vlan create {number}\n" for number in range(2, 400))
LOAD = ("save state.txt", "save state.gz", "show running > shown.txt", "cable 1 pull",
        "checkpoint a", "trunk create 4", "cable 2 send 200", "cable 1 plug", "restore a",
        "show counters 1:1 > shown.txt", "checkpoint-remove a")
LAB_LOAD = ("pull", "plug")

# What is whole or as it was: its former content, or all of a new one.
FORMER = "# what was there before\n"
STATE = r"vlan create 2\n(vlan create \d+\n){396}vlan create 399\n((trunk|cable) [^\n]*\n)*"
KEPT = {"state.txt": STATE, "state.gz": STATE,
        "report.tap": r"TAP version 14\n.*\n1..20001\n",
        "report.xml": r"<\?xml.*</testsuites>\n"}

SOCKET = (f"run/{NAME}.sock", f"run/{NAME}.sock.new", f"run/{NAME}.lock")
NAMELESS = ("run/pcsim-*.sock", "run/pcsim-*.sock.new", "run/pcsim-*.lock")
# What the user has asked for, what was there before, and the folder of all labs.
WRITTEN = ("run/labs", "work/shown.txt", "work/run.rec", "work/calls.txt", *(f"work/{name}" for name in KEPT))
# Names that files have on the last step to where others are, until they are written again.
LAST_STEP = ("work/state.txt.pcsim-new-?", "work/state.gz.pcsim-new-?",
             "work/shown.txt.pcsim-new-?")
LAB_FOLDER = ("run/labs/victim", "run/labs/victim/*", "run/labs/.victim.*", "run/labs/.victim.*/*",
              "run/victim.*.sock", "run/victim.*.sock.new", "run/victim.*.lock")


@dataclass(frozen=True)
class Victim:
    """One kind of death."""

    name: str
    door: str              # --only: switch, lab or web
    scene: str             # the class in scenes.py that knows how it lives
    latest_s: float        # it is killed within this time
    may_leave: tuple[str, ...]
    options: tuple[str, ...] = ()
    group: bool = False    # its whole process group is killed, as a terminal or a service does


SWITCH = ("--lab", "3", "--serve", "--quiet")
VICTIMS = (
    Victim("pcsim", "switch", "Switch", 2.0, SOCKET, (*SWITCH, "--name", NAME)),
    Victim("pcsim-lab starting", "lab", "StartingLab", 2.0, LAB_FOLDER),
    Victim("pcsim recording", "switch", "Recording", 2.0, SOCKET,
           (*SWITCH, "--name", NAME, "--plan", "plan")),
    Victim("pcsim-web", "web", "Web", 3.0, ()),
    Victim("pcsim and its group", "switch", "Switch", 2.0, SOCKET, (*SWITCH, "--name", NAME),
           group=True),
    Victim("keeper of a lab", "lab", "RunningLab", 2.0, LAB_FOLDER),
    Victim("pcsim without a name", "switch", "Nameless", 1.0, NAMELESS, SWITCH),
    Victim("pcsim with a script", "switch", "Scripted", 2.0, SOCKET,
           ("--lab", "2", "--quiet", "--name", NAME, "--report", "tap", "report.tap",
            "--report", "junit", "report.xml", "-f", "script")),
    Victim("pcsim recording, and its group", "switch", "Recording", 2.0, SOCKET,
           (*SWITCH, "--name", NAME, "--plan", "plan"), group=True),
    Victim("pcsim-lab stopping", "lab", "StoppingLab", 1.0, LAB_FOLDER),
    Victim("pcsim of a chassis", "switch", "Switch", 2.0, SOCKET,
           ("--lab", "16", "--shape", "chassis", "--serve", "--quiet", "--name", NAME)),
    Victim("pcsim-lab starting, and its group", "lab", "StartingLab", 2.0, LAB_FOLDER, group=True),
    Victim("pcsim-web and its group", "web", "Web", 3.0, (), group=True),
    Victim("keeper of a lab that starts", "lab", "StartingKeeper", 2.0, LAB_FOLDER),
)
# How often each comes in a round: labs and pages take much longer than a switch.
WEIGHTS = {"switch": 4, "lab": 1, "web": 1}


def chosen(door: str | None) -> list[Victim]:
    """Those of a door, or all of them, in an order that mixes them."""
    return [victim for victim in VICTIMS if door in (None, victim.door)]


def of_number(number: int, door: str | None) -> Victim:
    """Who is killed at that number: first each of them once, then switches more often."""
    victims = chosen(door)
    if number <= len(victims):
        return victims[number - 1]
    often = [victim for turn in range(max(WEIGHTS.values())) for victim in victims
             if turn < WEIGHTS[victim.door]]
    return often[number % len(often)]
