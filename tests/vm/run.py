#!/usr/bin/env python3
"""Measures the platform on network cards with real drivers, in a virtual machine.

    run.py --build build/i386 --cache build/vm [--recording FILE]
    run.py --build build/i386 --lab

The second form runs the switch's part in a lab with emulated PHYs instead. FILE gets what crossed
the boundary between switch and platform, packed.

Prints a protocol: every measurement with what was expected. Exit status 0 when all of it is as
expected, 1 when not, 77 with a line "skipped: ..." where this machine cannot run it."""

import argparse
import gzip
import json
import re
import subprocess
import sys
import tempfile
import time
import zlib
from pathlib import Path

sys.dont_write_bytecode = True  # the source folder stays clean

from machine import FileSystem, Kernel, Machine, Skip, require_program

HERE = Path(__file__).resolve().parent
LIMIT_S = 150
SKIPPED = 77  # to the test driver
UNPACKED_IN_PART = "Initramfs unpacking failed"  # the kernel's words when memory runs out
# eth1 and eth2 are cabled to each other, eth3 and eth4, too. The last two change their names in
# the machine: the spare card becomes eth8, the one without MII eth5.
CARDS = [("e1000", 0), ("e1000", 1), ("e1000", 1), ("e1000", 2), ("e1000", 2), ("e1000", 3),
         ("virtio-net-pci", 4)]

LINKED = r"eth\d: phy 0: [0-9a-f]{4} 796d 0141 0c20 0de1 41e0"
PHY_STEPS = [
    ("cards", r"eth0=e1000 eth1=e1000 eth2=e1000 eth3=e1000 eth4=e1000 eth5=virtio_net eth6=- "
              r"eth8=e1000 ?", "the kernel's own drivers, and a gap in the numbers"),
    *[(f"link.eth{n}", f"eth{n} up", "negotiated") for n in range(5)],
    *[(f"registers.eth{n}", LINKED,
       "status 796d: link; own 0de1 and partner 41e0 share 100 full, without pause")
      for n in range(5)],
    ("refused", "eth5: SIOCGMIIPHY: Operation not supported", "a driver without MII"),
    ("absent", "eth6: SIOCGMIIPHY: No such device", "a card that is not there"),
    ("pulled", "eth2 down", "the status register follows the cable"),
    ("pulled.registers", r"eth2: phy 0: 1140 7949 0141 0c20 0de1 01e0",
     "no link, partner no longer acknowledges"),
    ("pulled.others", "eth4 up", "no other card is touched"),
    ("plugged", "eth2 up", "link again after negotiation"),
    ("plugged.registers", LINKED, "everything as before"),
    ("silenced.register4", "0001", "register 4 takes the empty advertisement"),
    ("silenced", "7949", "restarted negotiation takes the link"),
    ("silenced.later", "eth1 up",
     "the driver starts over when register 0 is written, and restores its advertisement"),
    ("silenced.registers", LINKED, "register 4 is back at its default"),
    ("reset", "79(49|6d)", "a reset is accepted"),
    ("reset.later", "eth1 up", "link after a reset"),
    ("reset.registers", LINKED, "the default advertisement after a reset"),
    ("frames.received", r"(\d+) \d+ \d+ \d+ -> \d+ \d+ \d+ \d+", "1000 frames of 60 bytes arrive"),
    ("frames.sent", r"\d+ \d+ 1000 60000", "1000 frames of 60 bytes leave"),
]
REAL_STEPS = [
    *[(f"switch.registers.eth{n}", LINKED, "what the platform reads next") for n in range(1, 5)],
    ("switch.registers.eth5", "eth5: SIOCGMIIPHY: Operation not supported", "no MII"),
    ("switch.ports", "", "every port shows what its registers say"),
    ("card.disabled", r"eth1: phy 0: 1000 79[46][9d] 0141 0c20 0de1 [40]1e0",
     "the platform has written registers 4 and 0; the driver has restored register 4"),
    ("card.still-disabled", LINKED, "the card itself has link again; the port stays down"),
    ("card.enabled", r"eth1: phy 0: 0000 796d 0141 0c20 0de1 41e0", "the platform has reset it"),
]
EMULATED = r"eth\d: phy 1: 3100 786d 5043 5310 05e1 45e1"
EMULATED_STEPS = [
    *[(f"switch.registers.eth{n}", EMULATED, "what the platform reads next") for n in range(1, 6)],
    ("switch.ports", "", "every port shows what its registers say"),
    ("card.disabled", r"eth1: phy 1: 3100 7849 5043 5310 05e1 0000", "the card is down"),
    ("card.still-disabled", r"eth1: phy 1: 3100 7849 5043 5310 05e1 0000", "and stays down"),
    ("card.enabled", EMULATED, "the card is up again"),
]
END_STEPS = [
    ("script.exit", "0", "every expectation of the script held"),
    ("end", "of measurements", "the end is reached"),
]

# What the switch says about a cable that is moved, and within how long: two polls, the way of the
# request to the cable and back, and a second for a PHY to negotiate.
EVENTS = {"@pull eth2": "Port 1:2 link down", "@plug eth2": "Port 1:2 link up",
          "@pull eth0": "Management port of slot 1 link down",
          "@plug eth0": "Management port of slot 1 link up"}
POLLS_S = 2.0
WAY_S = 0.5
NEGOTIATION_S = 1.0


def ability(registers):
    """Link, speed, duplex and flow control that registers 0 to 5 stand for."""
    status, own, partner = (int(registers[i], 16) for i in (1, 4, 5))
    if not status & 0x0004:
        return ("down", None, None, None)
    for bit, speed, duplex in ((0x0100, 100, "full"), (0x0080, 100, "half"),
                               (0x0040, 10, "full"), (0x0020, 10, "half")):
        if own & partner & bit:
            pause = duplex == "full" and own & partner & 0x0400
            return ("up", speed, duplex, "pause" if pause else "none")
    return ("down", None, None, None)


def shortened(measured):
    """'show ports' in JSON as one line for people."""
    try:
        ports = json.loads(measured)["ports"]
    except ValueError:
        return measured
    keys = ("port", "link", "speed", "duplex", "flow")
    return ", ".join(" ".join(str(port[key] or "-") for key in keys) for port in ports)


class Protocol:
    """Holds what a machine prints against a list of (step, pattern, meaning), in its order, and the
    switch's events against the cables that were moved."""

    def __init__(self, steps):
        self._steps = steps
        self._next = 0
        self._registers = {}
        self._booted = False  # the switch; before that cables are moved for the cards alone
        self._awaited = None  # event text, when its cable was moved, latest time
        self._chatter = []
        self.failures = 0

    def take(self, at_s, line):
        step, colon, measured = line.partition(": ")
        expected = self._steps[self._next] if self._next < len(self._steps) else None
        if line.startswith("@"):
            self._say(at_s, "      ", line[1:])
            self._await(at_s, line)
        elif self._awaited is not None and self._awaited[0] in line and line.startswith("["):
            self._arrived(at_s, line)
        elif expected is not None and colon and step == expected[0]:
            self._next += 1
            ok = self._holds(step, expected[1], measured)
            text = f"{step}: {shortened(measured)}" if step == "switch.ports" else line
            self._check(at_s, ok, text, expected[2] if ok else
                        f"expected {expected[1] or 'something else'}: {expected[2]}")
        elif UNPACKED_IN_PART in line:
            self.fail("the machine's memory doesn't hold its file system: " + line)
        elif line.startswith("-- "):
            self._say(at_s, "      ", line[3:])
        else:
            self._chatter.append(f"{at_s:6.1f} s  |       {line}")

    def fail(self, text):
        self.failures += 1
        print(f"          FAILED  {text}", flush=True)

    def finish(self):
        missing = self._steps[self._next:]
        if missing:
            step, _, meaning = missing[0]
            self.fail(f"{step}: not measured ({meaning})"
                      + (f", nor the {len(missing) - 1} steps after it" if missing[1:] else ""))
        if self._awaited is not None:
            self.fail(f"never: {self._awaited[0]}")
        if self.failures:
            print("          what else was said:", *self._chatter, sep="\n")
        return self.failures

    def _say(self, at_s, verdict, text):
        print(f"{at_s:6.1f} s  {verdict}  {text}", flush=True)

    def _check(self, at_s, ok, text, meaning):
        self.failures += not ok
        self._say(at_s, "ok    " if ok else "FAILED", text)
        print(f"                    {meaning}", flush=True)

    def _await(self, at_s, line):
        if line not in EVENTS or not self._booted:
            return
        limit_s = POLLS_S + WAY_S + (NEGOTIATION_S if line.startswith("@plug") else 0)
        self._awaited = (EVENTS[line], at_s, limit_s)

    def _arrived(self, at_s, line):
        _, moved_s, limit_s = self._awaited
        self._awaited = None
        self._check(at_s, at_s - moved_s <= limit_s, line,
                    f"{at_s - moved_s:.1f} s after the cable was moved, at most {limit_s:.1f} s")

    def _holds(self, step, pattern, measured):
        if step.startswith("switch.registers."):
            self._registers[step.rpartition(".")[2]] = measured
        if step == "switch.ports":
            self._booted = True
            return self._ports_agree(measured)
        if re.fullmatch(pattern, measured) is None:
            return False
        if step == "frames.received":
            before, after = ([int(word) for word in part.split()] for part in measured.split(" -> "))
            return after[0] - before[0] == 1000 and after[1] - before[1] == 60000
        return True

    def _ports_agree(self, measured):
        try:
            ports = json.loads(measured)["ports"]
        except ValueError:
            return False
        shown = {port["interface"]: (port["link"], port["speed"], port["duplex"], port["flow"])
                 for port in ports}
        expected = {}
        for name, text in self._registers.items():
            words = text.split()
            readable = len(words) == 9 and words[1] == "phy"
            expected[name] = ability(words[3:]) if readable else ("down", None, None, None)
        return shown == expected and len(shown) == 5


def make_file_system(build, kernel):
    files = FileSystem()
    for directory in ("proc", "sys", "dev", "tmp"):
        files.directory(directory)
    files.add_file("init", HERE / "guest.sh")
    files.add_program(require_program("busybox", "busybox-static"), "bin/busybox")
    for program in ("phy", "frames", "pcsim"):
        files.add_program(build / program)
    files.add_program(build / "libpcsimulation.so.0")
    for script in ("phy.sh", "switch.sh", "switch.pcsim"):
        files.add_file(f"tests/{script}", HERE / script)
    files.add_file("tests/kind.pcsim", HERE / "real" / "kind.pcsim")
    for module in kernel.modules:
        files.add_file(f"modules/{module.name}", module)
    files.add("modules/order", "".join(f"{module.name}\n" for module in kernel.modules).encode())
    return files


def obey(machine, request):
    verb, card = request.split()
    number = {"eth8": 5, "eth5": 6}.get(card, int(card[3:]))
    machine.set_cable(number, plugged=verb == "@plug")
    machine.answer("done")


def keep_recording(packed, path, protocol):
    """What has come out of the machine; a line that loses a byte is noticed."""
    try:
        if not gzip.decompress(packed):
            raise EOFError("it is empty")
    except (EOFError, OSError, zlib.error) as problem:
        protocol.fail(f"the recording has not come out of the machine whole: {problem}")
    else:
        path.write_bytes(packed)
        print(f"          recording of {len(packed)} bytes", flush=True)


def measure_cards(arguments, work):
    require_program("qemu-system-x86_64", "qemu-system-x86")
    kernel = Kernel(arguments.cache)
    make_file_system(arguments.build, kernel).write(work / "initrd")
    machine = Machine(kernel, work / "initrd", CARDS, work)
    protocol = Protocol(PHY_STEPS + REAL_STEPS + END_STEPS)
    try:
        machine.start()
        print(f"          {kernel.directory.name}, {machine.accelerator}", flush=True)
        for at_s, line in machine.lines(LIMIT_S):
            if line.startswith(("@pull ", "@plug ")):
                obey(machine, line)
            protocol.take(at_s, line)
    except (TimeoutError, RuntimeError) as problem:
        protocol.fail(problem)
    finally:
        machine.stop()
    if arguments.recording is not None:
        keep_recording(machine.written(), arguments.recording, protocol)
    return protocol.finish()


def measure_lab(build):
    protocol = Protocol(EMULATED_STEPS + END_STEPS)
    build = build.resolve()
    started = time.monotonic()
    with subprocess.Popen([build / "pcsim-nics", "--ports", "8", "--", "sh", HERE / "lab.sh", build],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as lab:
        said = ""
        for line in lab.stdout:
            said = line.rstrip("\n")
            protocol.take(time.monotonic() - started, said)
    if lab.returncode == SKIPPED:
        raise Skip(said)
    return protocol.finish()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--build", type=Path, required=True, help="directory of the built programs")
    parser.add_argument("--cache", type=Path, help="keeps the kernel package")
    parser.add_argument("--recording", type=Path, help="gets the recording of the switch's run")
    parser.add_argument("--lab", action="store_true", help="in a lab, with emulated PHYs")
    arguments = parser.parse_args()
    if not arguments.lab and arguments.cache is None:
        parser.error("one of --cache and --lab is needed")
    if arguments.recording is not None:
        arguments.recording.unlink(missing_ok=True)  # no run is taken for another
    try:
        if arguments.lab:
            failures = measure_lab(arguments.build)
        else:
            with tempfile.TemporaryDirectory() as work:
                failures = measure_cards(arguments, Path(work))
    except Skip as reason:
        print(f"skipped: {reason}")
        return SKIPPED
    print(f"{failures} measurements failed" if failures else "all measurements as expected")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
