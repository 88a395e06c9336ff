"""The WebSocket of a page, without the page: asks, and looks at what is told."""
import asyncio
import json
import time

import aiohttp

WAIT_S = 60  # for what takes a few ms where nothing else runs


class PageSocket:
    """Blocks. What is told while an answer is awaited is kept for `told`."""

    def __init__(self, gateway, path=None, **headers):
        self._loop = asyncio.new_event_loop()
        self._session = None
        self._url = f"http://{gateway.host}" + (path or f"/{gateway.token}/live")
        self._headers = {name.replace("_", "-"): value for name, value in headers.items()}
        self._last = 0
        self._kept = []
        self.closed_with = None
        self.instances = []  # as they were told last
        self.socket = None

    def __enter__(self):
        try:
            self._wait(self._open())
        except BaseException:
            self._loop.close()
            raise
        return self

    def __exit__(self, *_):
        self._wait(self._close())
        self._loop.close()

    async def _open(self):
        self._session = aiohttp.ClientSession()
        try:
            self.socket = await self._session.ws_connect(self._url, headers=self._headers,
                                                         max_msg_size=0)
        except BaseException:
            await self._session.close()
            raise

    async def _close(self):
        await self.socket.close()
        await self._session.close()

    def _wait(self, work):
        return self._loop.run_until_complete(asyncio.wait_for(work, WAIT_S))

    def send(self, data):
        """Sends text or bytes as they are."""
        self._wait(self.socket.send_bytes(data) if isinstance(data, bytes)
                   else self.socket.send_str(data))

    def receive(self):
        """The next message, whatever it is; None when the other side has closed."""
        message = self._wait(self.socket.receive())
        if message.type != aiohttp.WSMsgType.TEXT:
            self.closed_with = message.data
            return None
        told = json.loads(message.data)
        self.instances = told.get("instances", self.instances)
        return told

    def start(self, do, **params):
        """Sends a question; its number."""
        self._last += 1
        self.send(json.dumps({"id": self._last, "do": do, **params}))
        return self._last

    def answer(self, number):
        """The whole answer to that question."""
        while True:
            message = self.receive()
            assert message is not None, "the connection was closed"
            if message.get("id") == number:
                return message
            self._kept.append(message)

    def ask(self, do, **params):
        """The answer to a question; an error fails the test."""
        message = self.answer(self.start(do, **params))
        assert "error" not in message, message
        return message["answer"]

    def refused(self, do, **params):
        """The text of the error that a question is answered with."""
        message = self.answer(self.start(do, **params))
        assert "answer" not in message, message
        assert "\n" not in message["error"]["message"] and "Traceback" not in str(message)
        return message["error"]["message"]

    def told(self, tell, is_it=lambda message: True):
        """The next message that is told and is the one. Those of another kind are kept: which comes
        first is chance."""
        end = time.monotonic() + WAIT_S
        others = []
        while time.monotonic() < end:
            message = self._kept.pop(0) if self._kept else self.receive()
            assert message is not None, "the connection was closed"
            if message.get("tell") != tell:
                others.append(message)
            elif is_it(message):
                self._kept = others + self._kept
                return message
        raise AssertionError(f"nothing of the kind was told as '{tell}'")

    def instance(self, name, alive=True):
        """What is told of an instance, once it is told as living, or as ended and why."""
        while True:
            for each in self.instances:
                if each["name"] == name and each["alive"] is alive and (alive or each["problem"]):
                    return each
            self.told("instances")

    def news(self, is_it=lambda message: True):
        """The next news that are the ones."""
        return self.told("news", is_it)

    def shows(self, names):
        """The documents of these shows, as they are once all of them have come."""
        shows = {}

        def complete(news):
            shows.update(news["shows"])
            return names <= set(shows)
        self.news(complete)
        return shows
