#!/usr/bin/env python3
"""A program in Python, a shell script with pcsimctl and somebody at the prompt drive one instance at
the same time: everybody's work is done, and what one does another sees.

    together.py PCSIM
"""
import os
import subprocess
import sys
import tempfile
import threading
from pathlib import Path

from doors import Prompt, pcsim

PROGRAM = Path(sys.argv[1]).resolve()
NAME = f"together-{os.getpid()}"
ROUNDS = 30
failures = []

# What the shell does; its VLANs begin with 1.
SCRIPT = """
set -eu
for i in $(seq 10 39); do
    "$PCSIMCTL" "$NAME" vlan create 1$i
    "$PCSIMCTL" "$NAME" vlan 1$i add 1:2 tagged
    "$PCSIMCTL" "$NAME" fdb add 02:00:00:00:02:$i vlan 1$i port 1:2
    "$PCSIMCTL" "$NAME" expect show vlans -- 1$i.addresses is 1
    if "$PCSIMCTL" "$NAME" vlan create 1$i 2>/dev/null; then exit 9; fi
done
"""


def check(good, what):
    """Notes what isn't so."""
    if not good:
        failures.append(what)


def python_works():
    """VLANs that begin with 2, and time."""
    with pcsim.connect(NAME, timeout=60) as switch:
        for number in range(10, 10 + ROUNDS):
            vlan = switch.vlan(200 + number)
            vlan.create()
            vlan.add("1:1", tagged=True)
            switch.fdb.add(f"02:00:00:00:01:{number}", vlan.vlan, "1:1")
            switch.time.warp(100)
            check(vlan.show().addresses == 1, f"Python: VLAN {vlan.vlan} is not as it was left")


def shell_works():
    """What the script says."""
    environment = os.environ | {"PCSIMCTL": str(PROGRAM.with_name("pcsimctl")), "NAME": NAME}
    done = subprocess.run(["bash", "-c", SCRIPT], env=environment, capture_output=True, text=True,
                          timeout=100, check=False)
    check(done.returncode == 0, f"the shell ends with {done.returncode}: {done.stderr}")


def prompt_works(prompt):
    """VLANs that begin with 3."""
    for number in range(10, 10 + ROUNDS):
        for line in (f"vlan create 3{number}", f"vlan 3{number} add 1:3 tagged",
                     f"fdb add 02:00:00:00:03:{number} vlan 3{number} port 1:3",
                     f"expect show vlans -- 3{number}.addresses is 1", "time warp 100"):
            text, _ = prompt.run(line)
            check("not" not in text, f"the prompt: '{line}' says {text}")


def all_work(prompt):
    """Each has done all of its own, and all see the same."""
    others = [threading.Thread(target=work) for work in (python_works, shell_works)]
    for other in others:
        other.start()
    prompt_works(prompt)
    for other in others:
        while other.is_alive():
            check("eth1" in prompt.run("show ports")[0], "the prompt doesn't show ports")
            other.join(0.05)
    with pcsim.connect(NAME, timeout=60) as switch:
        wanted = {str(first * 100 + number) for first in (1, 2, 3) for number in range(10, 40)}
        check({str(vlan.vlan) for vlan in switch.vlans()} == wanted, "VLANs are missing")
        check(len(switch.fdb.entries()) == len(wanted), "addresses are missing")
        # Warps at the same time go the same way together.
        check(ROUNDS * 100 <= switch.time.now <= 2 * ROUNDS * 100, f"it is {switch.time.now} ms")
        text = switch.run("show vlans").text
    check(prompt.run("show vlans")[0] == text, "the prompt shows other VLANs than Python")
    shown = subprocess.run([PROGRAM.with_name("pcsimctl"), NAME, "show", "vlans"],
                           capture_output=True, text=True, timeout=60, check=False)
    check(shown.stdout == text, "pcsimctl shows other VLANs than Python")


def one_waits_for_another(prompt):
    """Python waits for what the shell does, and the prompt tells of it while nobody types."""
    prompt.run("time run")
    with pcsim.connect(NAME, timeout=60) as switch, switch.events(about="1:2") as events:
        puller = threading.Timer(0.3, subprocess.run, (
            [PROGRAM.with_name("pcsimctl"), NAME, "cable", "2", "pull"],))
        puller.start()
        switch.wait_event("Port 1:2 link down", within=30)
        puller.join()
        check("Port 1:2 link down" in next(events).text, "the stream tells of something else")
    check("1:2   eth2       enabled  down" in prompt.run("show ports")[0], "the prompt sees no pull")


def main():
    """The exit status."""
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        prompt = Prompt([str(PROGRAM), "--lab", "4", "--stopped", "--quiet", "--name", NAME])
        try:
            all_work(prompt)
            one_waits_for_another(prompt)
        finally:
            check(prompt.close() == 0, "the instance has not ended well")
        os.chdir("/")
    for failure in failures:
        print("FAILED:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
