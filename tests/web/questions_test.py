"""What a page asks over its WebSocket, right and wrong: each question gets one line, and no client
harms another."""
import json
import time

import pcsim
import pytest

from page_socket import PageSocket

pytestmark = pytest.mark.usefixtures("lab")

SHOWS = {"chassis", "ports", "cards", "slots", "fans", "power", "environment", "faults", "nics"}
CHANGING = ("run", "complete", "question", "prompt", "drop", "interrupt")


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch whose clock stands, for all tests of this file."""
    with pcsim.Switch(ports=4, stopped=True, name="asked") as switch:
        yield switch


@pytest.fixture(name="page")
def one_page(switch, gateway, join):
    """A page that has seen the switch."""
    page = join(gateway)
    page.instance(switch.name)
    return page


@pytest.fixture(name="looker")
def read_only_page(switch, start, join):
    """A page that may look only."""
    page = join(start("--read-only"))
    assert page.told("hello") == {"tell": "hello", "readOnly": True}
    page.instance(switch.name)
    return page


def test_what_a_page_is_told(page, switch):
    page.ask("look", instance=switch.name)
    shows = page.shows(SHOWS)
    assert [port["link"] for port in shows["ports"]["ports"]] == ["up"] * 4
    page.ask("look", instance=switch.name)
    news = page.news(lambda news: news.get("whole"))
    assert news["instance"] == switch.name and news["alive"] is True
    assert news["now"]["stopped"] is True and news["now"]["timeMs"] == switch.time.now
    assert set(news["shows"]) >= SHOWS
    assert any("Port 1:1 link up" in event["text"] for event in news["events"])


def test_a_line_is_run_and_seen(page, switch):
    page.ask("look", instance=switch.name)
    answer = page.ask("run", instance=switch.name, line="show port 1:2")
    assert answer["data"]["port"]["port"] == "1:2" and answer["text"].startswith("Port 1:2")
    page.ask("run", instance=switch.name, line="cable 2 pull")
    page.ask("run", instance=switch.name, line="time warp 1000")
    event = page.news(lambda news: "link down" in str(news.get("events")))["events"][-1]
    assert event["text"] == "Port 1:2 link down" and abs(event["at"] - time.time()) < 10
    assert switch.port("1:2").link == "down"
    switch.cable(2).plug()
    switch.time.warp(1000)
    page.news(lambda news: "Port 1:2 link up" in str(news.get("events")))


def test_what_it_prints_comes_on_the_way(page, switch):
    number = page.start("run", instance=switch.name, line="echo first", stream=True)
    assert page.told("output") == {"tell": "output", "to": number, "text": "first\n"}
    assert page.answer(number)["answer"]["text"] == ""


def test_the_prompt_of_the_page(page, switch):
    found = page.ask("complete", instance=switch.name, line="show por")
    assert "ports" in str(found["candidates"])
    assert "ports" in page.ask("question", instance=switch.name, line="show ", width=60)["text"]
    assert page.ask("prompt", instance=switch.name)["text"].endswith("> ")
    assert page.ask("describe", instance=switch.name)["verbs"]


def test_sessions_of_pages_are_their_own(page, switch, gateway, join):
    page.ask("run", instance=switch.name, line="set secret 42")
    other = join(gateway)
    other.instance(switch.name)
    assert "secret" in other.refused("run", instance=switch.name, line="echo $secret")
    assert page.ask("run", instance=switch.name, line="echo $secret")["text"] == "42\n"


def test_a_refused_line_says_what_would_be_right(page, switch):
    page.send(json.dumps({"id": 77, "do": "run", "instance": switch.name,
                          "line": "port 1:9 disable"}))
    error = page.answer(77)["error"]
    assert error == {"code": 1, "message": "port 1:9 does not exist; ports are 1:1 to 1:4",
                     "right": "ports are 1:1 to 1:4", "text": ""}


@pytest.mark.parametrize("message, text", (
    ({"do": "fly"}, "'fly' can't be asked; expected look, run"),
    ({"do": None}, "'None' can't be asked"),
    ({"do": ["run"]}, "can't be asked"),
    ({}, "can't be asked"),
    ({"do": "run", "line": "echo"}, "'instance' is missing or no line of text"),
    ({"do": "run", "instance": 5, "line": "echo"}, "'instance' is missing or no line of text"),
    ({"do": "run", "instance": "asked"}, "'line' is missing or no line of text"),
    ({"do": "run", "instance": "asked", "line": "a\nb"}, "'line' is missing or no line of text"),
    ({"do": "run", "instance": "asked", "line": "echo", "width": 1}, "one from 20 to 1000"),
    ({"do": "run", "instance": "asked", "line": "echo", "width": True}, "'width' is no number"),
    ({"do": "run", "instance": "nowhere", "line": "echo"}, "there is no instance 'nowhere'"),
    ({"do": "run", "instance": "../asked", "line": "echo"}, "there is no instance '../asked'"),
    ({"do": "look", "instance": "nowhere"}, "there is no instance 'nowhere'; expected"),
    ({"do": "table", "instance": "asked", "table": "passwords"}, "there is no table 'passwords'"),
    ({"do": "table", "instance": "asked", "table": "vlans", "count": 1e9}, "one from 1 to 500"),
    ({"do": "at", "instance": "asked", "time": "noon"}, "'time' is no number that can be"),
    ({"do": "at", "instance": "asked", "time": -1}, "'time' is no number that can be"),
    ({"do": "rates", "instance": "asked", "ports": "1:1"}, "'ports' is no list of ports"),
    ({"do": "rates", "instance": "asked", "ports": ["1:1"] * 200}, "at most 128"),
    ({"do": "events", "instance": "asked", "count": 0}, "one from 1 to 5000"),
))
def test_questions_that_are_wrong(page, message, text):
    page.send(json.dumps({"id": 1} | message))
    error = page.answer(1)["error"]["message"]
    assert text in error and "\n" not in error


@pytest.mark.parametrize("data", ("", "hello", "[]", "[1,2]", "null", "{}", '{"id":"x","do":"run"}',
                                  '{"id":true}', '{"id":1', "\x00", '{"id":1.5,"do":"run"}',
                                  "[" * 100_000, '{"do":"run"}'))
def test_messages_that_are_no_questions(page, data):
    page.send(data)
    error = page.told("problem")["error"]
    assert error["message"] == ('this is no question; expected an object with "id" and "do"')
    assert page.ask("look", instance="asked") == {"name": "asked"}


@pytest.mark.parametrize("data", (b"", b"\xff\xfe", b'{"id":1,"do":"run"}'))
def test_binary_messages(page, data):
    page.send(data)
    assert page.told("problem")["error"]["message"] == "this message is binary; expected JSON as text"
    assert page.ask("look", instance="asked") == {"name": "asked"}


@pytest.mark.parametrize("number", ("1e400", "NaN", "Infinity", "-Infinity"))
def test_numbers_that_are_none(page, number):
    page.send(f'{{"id":5,"do":"at","instance":"asked","time":{number}}}')
    assert "'time' is no number" in page.answer(5)["error"]["message"]


def test_a_message_that_is_too_large_ends_its_own_page_alone(page, gateway, join):
    other = join(gateway)
    other.send(json.dumps({"id": 1, "do": "run", "instance": "asked", "line": "x" * (2 << 20)}))
    while other.receive() is not None:
        pass
    assert page.ask("look", instance="asked") == {"name": "asked"}


def test_too_many_questions_at_once(page, switch):
    many = 100
    numbers = [page.start("run", instance="asked", line="wait event never within 3000000")
               for _ in range(many)]
    refused = [number for number in numbers if number > 64]
    assert all("64 questions are open already; expected to wait for their answers"
               in page.answer(number)["error"]["message"] for number in refused)
    page.send(json.dumps({"id": 1000, "do": "look", "instance": "asked"}))
    assert "64 questions" in page.answer(1000)["error"]["message"]
    assert switch.port("1:1").link == "up"


def test_questions_end_with_their_page(switch, gateway, join):
    with PageSocket(gateway) as page:
        page.instance("asked")
        page.start("run", instance="asked", line="wait event never within 3000000")
        page.start("run", instance="asked", line="show ports")
    assert switch.port("1:1").link == "up"
    page = join(gateway)
    page.instance("asked")
    assert page.ask("run", instance="asked", line="echo free")["text"] == "free\n"


def test_a_wait_can_be_interrupted(page):
    waiting = page.start("run", instance="asked", line="wait event never within 3000000")
    page.ask("interrupt", instance="asked")
    assert page.answer(waiting)["error"]["code"] in (3, 4)


def test_a_client_that_never_reads(page, switch, gateway, join):
    deaf = join(gateway)
    deaf.send(json.dumps({"id": 1, "do": "look", "instance": "asked"}))
    for number in range(300):
        deaf.send(json.dumps({"id": number, "do": "describe", "instance": "asked"}))
    begin = time.monotonic()
    for _ in range(20):
        assert page.ask("run", instance="asked", line="echo heard")["text"] == "heard\n"
    assert time.monotonic() - begin < 10
    assert switch.port("1:1").link == "up"


def test_many_pages(page, switch, gateway, join):
    pages = [join(gateway) for _ in range(40)]
    for each in pages:
        each.instance("asked")
        each.ask("look", instance="asked")
    page.ask("run", instance="asked", line="vlan create 77")
    page.ask("run", instance="asked", line="vlan delete 77")
    switch.cable(4).pull()
    switch.time.warp(1000)
    for each in pages:
        each.news(lambda news: any(event["text"] == "Port 1:4 link down"
                                   for event in news.get("events", ())))
    switch.cable(4).plug()
    switch.time.warp(1000)


def test_a_read_only_page_may_not_touch(looker, switch):
    for do in CHANGING:
        assert looker.refused(do, instance="asked", line="port 1:1 disable") == (
            "this page may look, but not touch; expected a pcsim-web without --read-only")
    assert switch.run("show port 1:1").data["port"]["admin"] == "enabled"


def test_a_read_only_page_sees_everything(looker, switch):
    looker.ask("look", instance="asked")
    assert looker.shows(SHOWS)["ports"]["ports"][0]["link"] == "up"
    assert looker.ask("table", instance="asked", table="vlans")["table"] == "vlans"
    assert looker.ask("describe", instance="asked")["verbs"]
    assert looker.ask("events", instance="asked")["events"]


def test_no_table_is_a_way_round_read_only(looker, switch):
    for table in ("vlans\nport 1:1 disable", "vlans; port 1:1 disable"):
        looker.refused("table", instance="asked", table=table)
    for extra in ({"search": "x > /dev/null"}, {"search": "x\nport 1:1 disable"},
                  {"search": "| include x"}, {"filter": "$x"}, {"vr": "0 > file"}):
        number = looker.start("table", instance="asked", table="vlans", **extra)
        assert "answer" in (answer := looker.answer(number)) or "error" in answer
    assert switch.run("show port 1:1").data["port"]["admin"] == "enabled"
