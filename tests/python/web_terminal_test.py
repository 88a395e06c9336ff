"""The questions of a terminal in the page, asked over its WebSocket of a running switch."""
import asyncio
import json
from contextlib import asynccontextmanager

import pytest
from aiohttp import ClientSession, web
from pcsim_web.output import MOST, Output
from pcsim_web.server import Server, Serving
from pcsim.protocol import Notified

TOKEN = "t" * 20
WITHIN_S = 20


class Page:
    """A page that has been opened."""

    def __init__(self, socket, instance):
        self.socket = socket
        self.instance = instance
        self.told = []
        self._last = 0

    async def _hear(self):
        message = json.loads((await self.socket.receive(WITHIN_S)).data)
        self.told.append(message)
        return message

    def send(self, do, **params):
        """Asks, and gives the number of the question."""
        self._last += 1
        question = {"id": self._last, "do": do, "instance": self.instance, **params}
        return self._last, self.socket.send_str(json.dumps(question))

    async def answer(self, number):
        """The answer to that question, or the message of its error."""
        while True:
            for message in self.told:
                if message.get("id") == number:
                    return message["answer"] if "answer" in message else message["error"]["message"]
            await self._hear()

    async def ask(self, do, **params):
        """Asks and waits."""
        number, sent = self.send(do, **params)
        await sent
        return await self.answer(number)

    async def run(self, line, **params):
        """Runs a line of the terminal; what it has printed, or its error."""
        number, sent = self.send("run", line=line, stream=True, terminal=True, **params)
        await sent
        answer = await self.answer(number)
        return answer if isinstance(answer, str) else self.output(number)

    def output(self, number):
        """What the line of that question has printed so far."""
        return "".join(each["text"] for each in self.told if each.get("to") == number)

    async def until(self, wanted):
        """Hears until that is so."""
        while not wanted():
            await self._hear()


@asynccontextmanager
async def opened(switch, **serving):
    """A page of a server of its own."""
    runner = web.AppRunner(Server(Serving("127.0.0.1", 0, TOKEN, **serving)).application())
    await runner.setup()
    site = web.TCPSite(runner, "127.0.0.1", 0, shutdown_timeout=1)
    await site.start()
    host, port = runner.addresses[0][:2]
    try:
        async with ClientSession() as session, session.ws_connect(
                f"http://{host}:{port}/{TOKEN}/live") as socket:
            page = Page(socket, switch.name)
            await page.until(lambda: any(
                each["name"] == switch.name and each["alive"]
                for message in page.told for each in message.get("instances", ())))
            yield page
    finally:
        await runner.cleanup()


def with_page(switch, work, **serving):
    """Runs `work(page)`."""
    async def main():
        async with opened(switch, **serving) as page:
            await asyncio.wait_for(work(page), WITHIN_S)
    asyncio.run(main())


def test_lines_run_in_one_session(switch):
    async def work(page):
        assert (await page.ask("prompt"))["text"] == f"{switch.name} (stopped 0.000)> "
        await page.run("set n 5")
        assert await page.run("echo n is $n") == "n is 5\n"
        await page.run("repeat 2")
        assert (await page.ask("prompt"))["text"] == "...> "
        await page.run("echo hi")
        assert await page.run("end") == "hi\nhi\n"
    with_page(switch, work)


def test_a_block_is_given_up(switch):
    async def work(page):
        await page.run("repeat 2")
        assert await page.ask("drop") == {}
        assert (await page.ask("prompt"))["text"].startswith(switch.name)
        assert "there is no 'repeat'" in await page.run("end")
    with_page(switch, work)


def test_what_runs_is_interrupted(switch):
    async def work(page):
        number, sent = page.send("run", line="sleep 3600000", stream=True, terminal=True)
        await sent
        await asyncio.sleep(0.3)
        assert (await page.ask("interrupt", terminal=True))["interrupted"] is True
        assert await page.answer(number) == "interrupted"
        assert (await page.ask("interrupt", terminal=True))["interrupted"] is False
    with_page(switch, work)


def test_output_comes_while_the_line_runs(switch):
    async def work(page):
        for line in ("time run", "repeat 2", "echo now", "sleep 400"):
            await page.run(line)
        number, sent = page.send("run", line="end", stream=True, terminal=True)
        await sent
        await page.until(lambda: page.output(number) == "now\n")
        assert not any(each.get("id") == number for each in page.told)
        await page.answer(number)
        assert page.output(number) == "now\nnow\n"
    with_page(switch, work)


def test_completion_and_help(switch):
    async def work(page):
        answer = await page.ask("complete", line="show port")
        assert (answer["candidates"], answer["from"]) == (["ports", "port"], 5)
        assert "the front panel" in (await page.ask("question", line="show p", width=60))["text"]
        assert (await page.ask("question", line='echo "a', width=60))["text"] is None
    with_page(switch, work)


def test_the_text_fits_the_terminal(switch):
    async def work(page):
        assert max(map(len, (await page.run("show ports", width=30)).splitlines())) <= 30
    with_page(switch, work)


def test_a_session_that_has_ended_is_followed_by_another(switch):
    async def work(page):
        await page.run("set n 5")
        await page.run("quit")
        assert "there is no variable 'n'" in await page.run("echo $n")
    with_page(switch, work)


@pytest.mark.parametrize("do, params", [
    ("run", {"line": "show ports"}), ("run", {"line": "vlan create 9", "terminal": True}),
    ("complete", {"line": "show "}), ("question", {"line": "show "}), ("prompt", {}), ("drop", {}),
    ("interrupt", {}), ("interrupt", {"terminal": True})])
def test_a_page_that_may_only_look_has_no_console(switch, do, params):
    async def work(page):
        assert "this page may look, but not touch; expected a pcsim-web without" in await page.ask(
            do, **params)
    with_page(switch, work, read_only=True)
    assert not switch.run("show vlans").data["vlans"]


@pytest.mark.parametrize("search", ["10 > out", "10 | count", "vlan create 9", "10\nvlan create 9"])
def test_a_page_that_may_only_look_searches_tables_alone(switch, search):
    async def work(page):
        assert "; expected " in await page.ask("table", table="mac", search=search)
        assert (await page.ask("table", table="mac"))["total"] == 0
        assert (await page.ask("table", table="vlans", search="9"))["rows"] == []
    with_page(switch, work, read_only=True)
    assert not switch.run("show vlans").data["vlans"]


@pytest.mark.parametrize("text, wanted", [
    ("a\n" * 10, "a\n" * 10),
    ("x" * (MOST + 5), f"[5 characters were too many at once]\n{'x' * MOST}"),
    ("x" * 9 + "\n" + "y" * (MOST - 3), f"[10 characters were too many at once]\n{'y' * (MOST - 3)}")])
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
