"""A lab on the overview: its nodes and cables as they are, and a way to each panel."""
import os
import signal
import subprocess
import time
from pathlib import Path

import pytest

pytestmark = pytest.mark.usefixtures("lab")

LAB = """\
name: three
topology:
  kinds:
    pcsim: {ports: 4}
  nodes:
    top: {kind: pcsim}
    left: {kind: pcsim}
    right: {kind: pcsim}
    host: {kind: linux}
  links:
    - endpoints: ["left:eth1", "top:eth1"]
    - endpoints: ["right:eth1", "top:eth2"]
    - endpoints: ["left:eth2", "right:eth2"]
    - endpoints: ["left:eth3", "right:eth3"]
    - {endpoints: ["host:eth1", "left:eth4"], speed: 10}
"""
CABLES = ["left:eth1 top:eth1", "right:eth1 top:eth2", "left:eth2 right:eth2",
          "left:eth3 right:eth3", "host:eth1 left:eth4"]


def lab_program(*words):
    """Runs pcsim-lab; what it prints."""
    program = Path(os.environ["PCSIM"]).resolve().with_name("pcsim-lab")
    done = subprocess.run([program, *words], capture_output=True, text=True, timeout=120,
                          check=False)
    assert done.returncode == 0, done.stderr
    return done.stdout


@pytest.fixture(name="three", scope="module")
def one_lab(run_folder):
    """Three switches in a triangle, and a host."""
    (run_folder / "lab.yml").write_text(LAB)
    lab_program("up", str(run_folder / "lab.yml"))
    yield run_folder / "labs" / "three"
    lab_program("down", "three")


def labs_of(page, seen=0):
    """The labs, once they are as the page has not seen them."""
    while "labs" not in (answer := page.ask("labs", seen=seen)):
        time.sleep(0.1)
    return answer


def states(lab):
    """The states of the cables of a lab."""
    return {" ".join(link["endpoints"]): link["state"] for link in lab["links"]}


def keeper(three):
    """The number of the process that keeps the lab."""
    text = (three / "keeper.json").read_text()
    return int(text.split('"pid":')[1].split(",")[0])


def test_a_page_is_told_of_the_lab(three, gateway, join):
    page = join(gateway)
    answer = labs_of(page)
    [lab] = answer["labs"]
    assert lab["name"] == "three" and lab["rows"][-1] == ["host"]
    assert sorted(sum(lab["rows"], [])) == ["host", "left", "right", "top"]
    assert [(node["name"], node["kind"], node["instance"], node["state"])
            for node in lab["nodes"]][::3] == [("top", "pcsim", "three.top", "running"),
                                               ("host", "linux", None, "ready")]
    assert list(states(lab)) == CABLES and set(states(lab).values()) == {"up"}
    assert [link["limits"] for link in lab["links"]] == ["", "", "", "", "speed 10"]
    # What it has seen is not told again.
    assert page.ask("labs", seen=answer["number"]) == {"number": answer["number"]}
    lab_program("link", "top:eth1", "down")
    after = labs_of(page, answer["number"])
    assert after["number"] == answer["number"] + 1
    assert states(after["labs"][0])["left:eth1 top:eth1"] == "pulled"
    lab_program("link", "top:eth1", "up")
    back = labs_of(page, after["number"])
    while set(states(back["labs"][0]).values()) != {"up"}:
        back = labs_of(page, back["number"])


def test_who_shows_some_instances_shows_their_lab_alone(three, start, join):
    assert [lab["name"] for lab in labs_of(join(start("three.left")))["labs"]] == ["three"]
    assert labs_of(join(start("another")))["labs"] == []


def test_wrong_questions(three, gateway, join):
    page = join(gateway)
    assert "seen" in page.refused("labs", seen="x")
    assert "seen" in page.refused("labs", seen=-1)


def test_a_keeper_that_hangs_keeps_nobody_waiting(three, start, join):
    page = join(start())
    os.kill(keeper(three), signal.SIGSTOP)
    try:
        assert page.ask("labs", seen=0)["labs"] == []
        page.instance("three.top")
    finally:
        os.kill(keeper(three), signal.SIGCONT)


def cable(name):
    """What a script has for a cable."""
    return f"document.querySelector(`[data-lab] [data-link='{name}'] path`).dataset.state"


def test_the_lab_is_drawn_and_follows(three, open_page):
    page = open_page("three.top")
    page.wait("document.querySelector('[data-lab=three]')")
    page.wait_text("4 nodes, 5 of 5 cables up")
    assert page.value("[...document.querySelectorAll('[data-lab] [data-link]')]"
                      ".map((each) => each.dataset.link)") == CABLES
    ways = page.value("[...document.querySelectorAll('[data-lab] [data-link] path:first-of-type')]"
                      ".map((each) => each.getAttribute('d'))")
    assert len(set(ways)) == len(CABLES), "no cable lies on another"
    lab_program("link", "left:eth2", "down")
    page.wait(cable(CABLES[2]) + " === 'pulled'")
    page.wait_text("4 nodes, 4 of 5 cables up")
    lab_program("disconnect", "left:eth2")
    page.wait("!document.querySelector(`[data-lab] [data-link='left:eth2 right:eth2']`)")
    lab_program("connect", "left:eth2", "right:eth2")
    page.wait("document.querySelectorAll('[data-lab] [data-link]').length === 5")
    page.wait_text("4 nodes, 5 of 5 cables up")
    assert page.say() == [] and page.too_wide() <= 0
    page.resize(360, 780)
    assert page.too_wide() <= 0


def test_a_node_leads_to_its_panel(three, open_page):
    page = open_page("three.top")
    pressed = "document.querySelector('[data-lab] [aria-pressed=true]')?.dataset.node"
    page.wait(f"{pressed} === 'top'")
    page.click(page.named, "button", "left: ")
    page.wait_switch("three.left")
    page.wait(f"{pressed} === 'left'")
    page.js("document.querySelector('[data-node=right]').focus()")
    page.keys("\ue007")
    page.wait_switch("three.right")
    assert page.value("document.querySelector('[data-node=host]').getAttribute('role')") is None


def test_a_port_that_is_disabled_shows_at_its_cable(three, open_page):
    page = open_page("three.left")
    page.wait(cable(CABLES[0]) + " === 'up'")
    lab_program("console", "left", "port 1:1 disable")
    page.wait(cable(CABLES[0]) + " === 'down'")
    page.wait("document.querySelector(`[data-lab] [data-link='left:eth1 top:eth1'] title`).textContent"
              " === 'left:eth1 to top:eth1: left:eth1 down'")
    lab_program("console", "left", "port 1:1 enable")
    page.wait(cable(CABLES[0]) + " === 'up'")
