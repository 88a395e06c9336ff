"""A pcsim-web of a test's own, and requests to it as nobody's browser would make them."""
import contextlib
import http.client
import os
import signal
import socket
import subprocess
import sys
import tempfile
from pathlib import Path
from urllib.parse import urlsplit

PYTHON = Path(__file__).resolve().parents[2] / "python"
TOKEN = "a-token-of-the-tests"
END_S = 60


def command(*options):
    """The words that start it."""
    return [sys.executable, "-m", "pcsim_web", *options]


def environment():
    """With the package of the tree."""
    return {**os.environ, "PYTHONPATH": str(PYTHON), "PYTHONDONTWRITEBYTECODE": "1"}


class Gateway:
    """Runs from `with` to its end, and has to end well and quietly: a line on stderr that is not in
    `says` is a mistake of its own that it has logged."""

    def __init__(self, *options, port=0, token=TOKEN, says=""):
        self.options = (*options, "--port", str(port), "--token", token)
        self.token = token
        self.says = says
        self.address = ""
        self.process = None
        self._errors = None

    def __enter__(self):
        self._errors = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen(command(*self.options), env=environment(), text=True,
                                        stdout=subprocess.PIPE, stderr=self._errors)
        self.address = self.process.stdout.readline().strip()
        assert self.address.startswith("http://"), self.said()
        return self

    def __exit__(self, kind, *_):
        if self.process.poll() is None:
            status = self.end(signal.SIGTERM)
            assert kind is not None or status == 0, self.said()
        self.process.stdout.close()
        said = self.said()
        self._errors.close()
        assert kind is not None or self.says in said and (self.says or not said), said

    def end(self, number):
        """Sends a signal; the status that it ends with."""
        self.process.send_signal(number)
        return self.process.wait(END_S)

    def said(self):
        """What it has said on stderr."""
        self._errors.seek(0)
        return self._errors.read()

    @property
    def host(self):
        """Host and port, as they stand in the address."""
        return urlsplit(self.address).netloc

    @property
    def port(self):
        """The port it listens on."""
        return urlsplit(self.address).port

    def ask(self, path=None, method="GET", body=None, **headers):
        """(status, body, headers) of a request for a path behind the token."""
        path = f"/{self.token}/" if path is None else path
        connection = http.client.HTTPConnection(urlsplit(self.address).hostname, self.port,
                                                timeout=END_S)
        try:
            named = {name.replace("_", "-"): value for name, value in headers.items()}
            connection.request(method, path, body, named)
            answer = connection.getresponse()
            return answer.status, answer.read().decode(), dict(answer.getheaders())
        finally:
            connection.close()

    def throw(self, data):
        """Sends these bytes and goes away without waiting for an answer."""
        host = urlsplit(self.address).hostname
        with socket.create_connection((host, self.port), END_S) as opened:
            with contextlib.suppress(ConnectionError):
                opened.sendall(data)

    def send(self, data):
        """What comes back for these bytes, until it closes, or is silent for a second behind
        some."""
        host = urlsplit(self.address).hostname
        with socket.create_connection((host, self.port), END_S) as opened:
            opened.sendall(data)
            parts = []
            try:
                while part := opened.recv(1 << 16):
                    parts.append(part)
                    opened.settimeout(1)
            except TimeoutError:
                pass
            return b"".join(parts)


def run(*options, **extra):
    """(status, stdout, stderr) of one that ends by itself."""
    done = subprocess.run(command(*options), capture_output=True, text=True, timeout=END_S,
                          check=False, env={**environment(), **extra})
    return done.returncode, done.stdout, done.stderr
