"""Doors of an instance, each as a class whose `run` gives the text that a line printed, and its data
where the door tells them; rpc.py has another.
"""
import fcntl
import os
import pty
import re
import select
import struct
import subprocess
import sys
import termios
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "python"))
import pcsim  # pylint: disable=wrong-import-position
from rpc import PATIENCE_S, Failed  # pylint: disable=wrong-import-position

COLUMNS = 80


class Client:
    """The Python client."""

    def __init__(self, name):
        self._switch = pcsim.connect(name, timeout=PATIENCE_S)

    def run(self, line):
        """Text and data."""
        try:
            answer = self._switch.run(line)
        except pcsim.CommandError as problem:
            raise Failed(problem.message) from problem
        return answer.text, answer.data

    def close(self):
        """Ends it."""
        self._switch.close()


class Prompt:
    """A program with a prompt, on a terminal of very many lines."""

    def __init__(self, command):
        self._screen, terminal = pty.openpty()
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 20000, COLUMNS, 0, 0))
        environment = {key: value for key, value in os.environ.items()
                       if key not in ("COLUMNS", "LINES")}
        self.process = subprocess.Popen(
            command, stdin=terminal, stdout=terminal, stderr=terminal, start_new_session=True,
            env=environment | {"TERM": "dumb", "NO_COLOR": "1", "HOME": os.getcwd()})
        os.close(terminal)
        self._pending = ""
        # It begins with the instance's name, and what is behind that changes with the time.
        name = re.match(r"[^\s>]*", self._until(re.compile(r"[^\n]*> $")))[0]
        self._prompt = re.compile(rf"\n{re.escape(name)}[^\n]*> $")

    def run(self, line):
        """The text: what stands between the line that was typed and the next prompt."""
        os.write(self._screen, f"{line}\n".encode())
        text = self._prompt.sub("\n", self._until(self._prompt)).partition("\n")[2]
        if text.startswith("error: "):
            raise Failed(" ".join(text.removeprefix("error: ").split()))
        return text, None

    def _until(self, wanted):
        end = time.monotonic() + PATIENCE_S
        while not wanted.search(self._pending):
            if not select.select([self._screen], [], [], max(0, end - time.monotonic()))[0]:
                raise Failed(f"there is no prompt after {self._pending[-300:]!r}")
            try:
                read = os.read(self._screen, 65536)
            except OSError as problem:
                raise Failed(f"the prompt has gone; {self._pending[-300:]!r}") from problem
            # A reading may end between the two characters of a line's end.
            self._pending = (self._pending + read.decode(errors="replace")).replace("\r\n", "\n")
        text, self._pending = self._pending, ""
        return text

    def close(self, line="quit"):
        """Ends it with that line; the status that it ends with."""
        try:
            os.write(self._screen, f"{line}\n".encode())
            return self.process.wait(PATIENCE_S)
        finally:
            self.process.kill()
            self.process.wait()
            os.close(self._screen)
