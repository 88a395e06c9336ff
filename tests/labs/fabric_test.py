"""The leaf-spine fabric of the example: spines go, and the right leaves tell of it."""
from pathlib import Path

import pcsim
import pytest
from conftest import eventually

FILE = Path(__file__).resolve().parents[2] / "examples" / "leaf-spine" / "lab.yml"
LEAVES, SPINES = range(1, 17), range(1, 5)


def told(leaf):
    """What a leaf has told of links that went down."""
    with pcsim.connect(f"leaf-spine.leaf{leaf}") as switch:
        return [event.text for event in switch.events(sources=["port"], since=0, follow=False)
                if event.text.endswith("link down")]


@pytest.fixture
def fabric(labs):
    """The example, up."""
    labs.up(FILE.read_text())
    return labs


def test_everything_is_up(fabric):
    shown = fabric.show()
    assert [link["state"] for link in shown["links"]] == ["up"] * 68
    up = {node["name"]: node["ports_up"] for node in shown["nodes"]}
    assert [up[f"spine{number}"] for number in SPINES] == [16] * 4
    assert [up[f"leaf{number}"] for number in LEAVES] == [5] * 4 + [4] * 12


def test_a_spine_that_is_pulled_is_an_event_at_every_leaf(fabric):
    fabric.ask("link", "spine2", "down")
    assert fabric.states().count("pulled") == 16
    for leaf in LEAVES:
        assert eventually(lambda of=leaf: told(of)) == ["Port 1:2 link down"]


def test_a_card_that_is_pulled_is_an_event_at_its_two_leaves(fabric):
    with pcsim.connect("leaf-spine.spine3") as spine:
        for port in ("4:1", "4:2"):
            spine.port(port).disable()
    assert eventually(lambda: told(7)) == eventually(lambda: told(8)) == ["Port 1:3 link down"]
    assert [told(leaf) for leaf in LEAVES if leaf not in (7, 8)] == [[]] * 14


def test_a_spine_that_ends_leaves_its_cables_in_place(fabric):
    """Its interfaces are still there: a switch without software doesn't drop its links."""
    with pcsim.connect("leaf-spine.spine1") as spine:
        spine.shutdown()
    assert eventually(lambda: fabric.show()["nodes"][0]["state"] == "ended (status 0)")
    assert told(1) == []
