"""Instances come, end, are killed and come back: pages are told, and go on by themselves."""
import os
import signal

import pcsim
import pytest

pytestmark = pytest.mark.usefixtures("lab")


def kill(switch):
    """As if it had crashed: its socket stays behind."""
    os.kill(switch.status().pid, signal.SIGKILL)


@pytest.fixture(name="page")
def one_page(gateway, join):
    """A page that was there before the switches."""
    return join(gateway)


def test_one_that_comes_and_ends(page):
    with pcsim.Switch(ports=2, name="comes") as switch:
        assert page.instance("comes") == {"name": "comes", "alive": True, "problem": "",
                                          "shape": "stack", "ports": 2,
                                          "portsUp": 2, "stopped": False}
        page.ask("look", instance="comes")
        switch.cable(1).pull()
        page.news(lambda news: "Port 1:1 link down" in str(news.get("events")))
    assert page.instance("comes", alive=False)["problem"] == (
        "it has ended, or closed its socket")
    news = page.news(lambda news: not news["alive"])
    assert "ports" in news["shows"]  # how it was last
    assert page.refused("run", instance="comes", line="show ports") == (
        "comes is gone; start it again, or choose another")


def test_one_that_is_killed_and_comes_back_with_its_name(page):
    with pytest.raises(pcsim.ConnectionLost), pcsim.Switch(ports=2, name="back") as switch:
        page.instance("back")
        page.ask("look", instance="back")
        page.news()
        assert page.ask("run", instance="back", line="echo one")["text"] == "one\n"
        kill(switch)
        page.instance("back", alive=False)
        page.news(lambda news: not news["alive"])
        switch.status()
    with pcsim.Switch(ports=3, name="back", stopped=True):
        assert page.instance("back")["ports"] == 3
        # Without having been asked again.
        page.news(lambda news: news["alive"] and len(news["shows"].get("ports", {}).get(
            "ports", ())) == 3)
        assert page.ask("run", instance="back", line="echo two")["text"] == "two\n"


def test_a_line_that_runs_while_it_is_killed(page):
    with pytest.raises(pcsim.ConnectionLost), pcsim.Switch(ports=2, name="dies") as switch:
        page.instance("dies")
        waiting = page.start("run", instance="dies", line="wait event never within 3000000")
        assert page.ask("look", instance="dies") == {"name": "dies"}
        kill(switch)
        assert page.answer(waiting)["error"]["message"] == (
            "dies is gone; start it again, or choose another")
        switch.status()


def test_shutdown_from_the_page(page):
    switch = pcsim.Switch(ports=2, name="down")
    switch.start()
    page.instance("down")
    page.answer(page.start("run", instance="down", line="shutdown"))
    page.instance("down", alive=False)
    switch.close()


def test_several_beside_each_other(page):
    with pcsim.Switch(ports=2, name="left") as left, pcsim.Switch(ports=2, name="right"):
        page.instance("left")
        page.instance("right")
        page.ask("look", instance="right")
        page.ask("run", instance="left", line="cable 1 pull")
        left.wait_event("Port 1:1 link down")
        assert page.instance("left")["alive"]
        assert page.ask("run", instance="right", line="show port 1:1")["data"]["port"]["link"] == "up"
        page.ask("run", instance="right", line="cable 2 pull")
        news = page.news(lambda news: "link down" in str(news.get("events")))
        assert "1:1" not in str([event["text"] for event in news["events"]
                                 if "link down" in event["text"]])


def test_only_those_that_were_named(start, join):
    page = join(start("named", "absent"))
    with pcsim.Switch(ports=2, name="named"), pcsim.Switch(ports=2, name="unnamed"):
        told = page.told("instances", lambda message: any(
            each["name"] == "named" and each["alive"] for each in message["instances"]))
        assert [each["name"] for each in told["instances"]] == ["absent", "named"]
        assert page.refused("look", instance="unnamed") == (
            "there is no instance 'unnamed'; expected absent, named")


def test_files_that_are_no_sockets(run_folder, page):
    (run_folder / "file.sock").write_text("no socket")
    (run_folder / "dangling.sock").symlink_to(run_folder / "nowhere")
    with pcsim.Switch(ports=2, name="beside"):
        listed = page.told("instances", lambda message: any(
            each["name"] == "beside" and each["alive"] for each in message["instances"]))
        names = {each["name"] for each in listed["instances"]}
        assert "file" not in names and "dangling" not in names
    (run_folder / "file.sock").unlink()
    (run_folder / "dangling.sock").unlink()
