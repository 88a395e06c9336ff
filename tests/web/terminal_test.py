"""What the console in the page is made of: a session of its own, asked over the page's WebSocket."""
import asyncio
import time

import pcsim
import pytest
from pcsim.protocol import Notified
from pcsim_web.output import MOST, Output

pytestmark = pytest.mark.usefixtures("lab")


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch for all tests of this file."""
    with pcsim.Switch(ports=4, stopped=True, name="typed") as switch:
        yield switch


class Terminal:
    """Asks as the console does."""

    def __init__(self, page, name):
        self.page = page
        self.name = name

    def ask(self, do, **params):
        """An answer."""
        return self.page.ask(do, instance=self.name, **params)

    def start(self, line, **params):
        """Begins a line."""
        return self.page.start("run", instance=self.name, line=line, stream=True, terminal=True,
                               **params)

    def output(self, number, size):
        """So many characters of what that line prints."""
        text = ""
        while len(text) < size:
            text += self.page.told("output", lambda told: told["to"] == number)["text"]
        return text

    def run(self, line, wanted="", **params):
        """Runs a line that prints as much as is wanted; what it prints."""
        number = self.start(line, **params)
        text = self.output(number, len(wanted))
        assert "error" not in self.page.answer(number)
        return text

    def refused(self, line):
        """What is wrong with a line."""
        return self.page.answer(self.start(line))["error"]["message"]

    def prompt(self):
        """What stands before the next line."""
        return self.ask("prompt")["text"]


@pytest.fixture(name="terminal")
def one_terminal(switch, gateway, join):
    """A console that nobody has typed in."""
    page = join(gateway)
    page.instance(switch.name)
    return Terminal(page, switch.name)


def test_lines_run_in_one_session(terminal):
    assert terminal.prompt() == "typed (stopped 0.000)> "
    terminal.run("set n 5")
    assert terminal.run("echo n is $n", "n is 5\n") == "n is 5\n"
    terminal.run("repeat 2")
    assert terminal.prompt() == "...> "
    terminal.run("echo hi")
    assert terminal.run("end", "hi\nhi\n") == "hi\nhi\n"


def test_a_block_is_given_up(terminal):
    terminal.run("repeat 2")
    assert terminal.ask("drop") == {}
    assert terminal.prompt().startswith("typed ")
    assert "there is no 'repeat'" in terminal.refused("end")


def test_what_runs_is_interrupted(terminal, switch):
    switch.time.run()
    number = terminal.start("sleep 3600000")
    time.sleep(0.3)
    assert terminal.page.start("interrupt", instance=switch.name, terminal=True) == number + 1
    assert terminal.page.answer(number)["error"]["message"] == "interrupted"
    assert terminal.ask("interrupt", terminal=True)["interrupted"] is False
    switch.time.stop()


def test_what_runs_for_a_click_is_not_interrupted(terminal, switch):
    switch.time.run()
    clicked = terminal.page.start("run", instance=switch.name, line="sleep 700")
    time.sleep(0.2)
    assert terminal.ask("interrupt", terminal=True)["interrupted"] is False
    assert "answer" in terminal.page.answer(clicked)
    switch.time.stop()


def test_output_comes_while_the_line_runs(terminal, switch):
    switch.time.run()
    for line in ("repeat 2", "echo now", "sleep 500"):
        terminal.run(line)
    begun = time.monotonic()
    number = terminal.start("end")
    assert terminal.output(number, 4) == "now\n"
    assert time.monotonic() - begun < 0.5
    assert terminal.output(number, 4) == "now\n"
    assert "answer" in terminal.page.answer(number)
    switch.time.stop()


def test_the_text_fits_the_terminal(terminal):
    text = terminal.run("show ports", "x" * 100, width=30)
    assert max(map(len, text.splitlines())) <= 30


def test_a_session_that_has_ended_is_followed_by_another(terminal):
    terminal.run("set n 5")
    terminal.run("quit")
    assert "there is no variable 'n'" in terminal.refused("echo $n")


@pytest.mark.parametrize("text, wanted", [
    ("a\n" * 10, "a\n" * 10),
    ("x" * (MOST + 5), f"[5 characters were too many at once]\n{'x' * MOST}"),
    (f"{'x' * 9}\n{'y' * (MOST - 3)}", f"[10 characters were too many at once]\n{'y' * (MOST - 3)}"),
])
def test_of_too_much_output_the_end_is_told(text, wanted):
    assert pieces_of([text]) == [wanted]


def test_of_many_outputs_at_once_the_last_are_told():
    texts = [f"{n:07}\n" * 1000 for n in range(100)]
    (piece,) = pieces_of(texts)
    assert piece.endswith("".join(texts[-32:]))
    assert piece.startswith("[544000 characters were too many at once]\n")


def pieces_of(texts):
    """What is told of output that comes at once."""
    told = []

    async def tell(text):
        told.append(text)

    async def line(output):
        for text in texts:
            output.hear(Notified("output", {"text": text}))
            output.hear(Notified("event", {"text": "x"}))

    async def main():
        output = Output(tell)
        await output.during(line(output))
    asyncio.run(main())
    return told
