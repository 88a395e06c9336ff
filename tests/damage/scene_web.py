"""pcsim-web with a page that is open, before a switch that it doesn't own."""
import contextlib
import http.client
import signal
import subprocess
import sys

from remains import OURS
from sandbox import TREE
from scenes import GONE, PROGRAMS, Scene, need, waiting
from victims import NAME, PORT, TOKEN

sys.path[:0] = [str(TREE / "tests" / "web")]
from page_socket import PageSocket  # pylint: disable=wrong-import-position
import pcsim  # pylint: disable=wrong-import-position


class Served:
    """What a page has to know of the gateway."""

    host, token = f"127.0.0.1:{PORT}", TOKEN


def page_status() -> int:
    """Of the page."""
    connection = http.client.HTTPConnection("127.0.0.1", PORT, timeout=60)
    try:
        connection.request("GET", f"/{TOKEN}/")
        return connection.getresponse().status
    except ConnectionError:
        return 0
    finally:
        connection.close()


class Web(Scene):
    """A page asks while switches change; the switch has to live on."""

    process: subprocess.Popen[bytes]
    switch: subprocess.Popen[bytes]

    def prepare(self) -> None:
        self.switch = self.spawn(PROGRAMS / "pcsim", "--lab", "3", "--serve", "--quiet", "--name",
                                 NAME)
        waiting(lambda: pcsim.connect(NAME).close() is None, "there is no switch", self.switch)

    def start(self) -> int:
        self.process = self.spawn(PROGRAMS / "pcsim-web", "--port", str(PORT), "--token", TOKEN)
        return self.process.pid

    def load(self) -> None:
        waiting(lambda: page_status() == 200, "there is no page", self.process)
        with contextlib.suppress(AssertionError, Exception), PageSocket(Served) as page:
            page.instance(NAME)
            page.ask("look", instance=NAME)
            while True:
                for line in ("cable 1 pull", "show ports", "cable 1 plug", "show counters 1:1"):
                    page.ask("run", instance=NAME, line=line)
                    self.busy = True

    def settle(self) -> None:
        need(self.switch.poll() is None, f"the switch has ended, too: {self.said()}")
        with pcsim.connect(NAME) as switch:
            need("1:1" in switch.run("show ports").text, "the switch does not answer")

    def again(self) -> None:
        self.start()
        waiting(lambda: page_status() == 200, "the next page does not come up", self.process)
        with PageSocket(Served) as page:
            page.instance(NAME)
            answer = page.ask("run", instance=NAME, line="echo again")
            need(answer["text"] == "again\n", f"the page answers {answer}")
        self.process.send_signal(signal.SIGTERM)
        self.ends(self.process, "the next pcsim-web")

    def close(self) -> None:
        self.switch.send_signal(signal.SIGTERM)
        with contextlib.suppress(*GONE):
            self.switch.wait(60)
        OURS.discard(self.switch.pid)
        super().close()
