"""The client is typed: mypy is content with it, and sees the same types as its users."""
import subprocess
import sys
from pathlib import Path

import pytest

FOLDER = Path(__file__).resolve().parents[2] / "python"

USER = """\
import pcsim

def blocking(switch: pcsim.Switch) -> None:
    reveal_type(switch.port("1:1").disable())
    reveal_type(switch.port("1:1").link)
    reveal_type(switch.port("1:1").counters().rx_packets)
    reveal_type(switch.fault("x").show())
    reveal_type(next(switch.events()))

async def awaited(switch: pcsim.AsyncSwitch) -> None:
    reveal_type(await switch.port("1:1").link)
    reveal_type((await (await switch.fault("x")).show()).hits)
    async for event in switch.events():
        reveal_type(event)
"""

SEEN = ["None", "Union[builtins.str, None]", "builtins.int", "pcsim.records.Fault",
        "pcsim.records.Event", "Union[builtins.str, None]", "builtins.int", "pcsim.records.Event"]

MISTAKES = """\
import pcsim

def wrong(switch: pcsim.Switch, other: pcsim.AsyncSwitch) -> None:
    switch.port(1)
    switch.port("1:1").wait_link("up", until=3)
    other.port("1:1").link.upper()
"""


def mypy(cache, *arguments):
    return subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir", cache,
                           *arguments], cwd=FOLDER, capture_output=True, text=True, check=False)


@pytest.mark.parametrize("package", ("pcsim", "pcsim_lab", "pcsim_web"))
def test_it_is_strictly_typed(tmp_path, package):
    done = mypy(tmp_path, package)
    assert done.returncode == 0, done.stdout + done.stderr


def test_users_see_the_types_of_values(tmp_path):
    (tmp_path / "user.py").write_text(USER)
    done = mypy(tmp_path, tmp_path / "user.py")
    seen = [line.split('"')[1] for line in done.stdout.splitlines() if "Revealed" in line]
    assert seen == SEEN, done.stdout


def test_mistakes_are_seen(tmp_path):
    (tmp_path / "wrong.py").write_text(MISTAKES)
    done = mypy(tmp_path, tmp_path / "wrong.py")
    lines = sorted({int(line.split(":")[1]) for line in done.stdout.splitlines()
                    if ": error: " in line})
    assert lines == [4, 5, 6], done.stdout
