"""What the tests of pcsim-web share."""
import contextlib
import os

import pytest
from pcsim.places import find_program

from gateway import Gateway
from page_socket import PageSocket

os.environ.setdefault("PCSIM", find_program())
pytest_plugins = ["labs"]


@pytest.fixture(name="start")
def starter():
    """Starts gateways that end with the test, each without a word on stderr."""
    with contextlib.ExitStack() as started:
        yield lambda *options, **kept: started.enter_context(Gateway(*options, **kept))


@pytest.fixture(name="gateway", scope="module")
def one_gateway(run_folder):
    """A gateway to whatever instances there are, for all tests of a file."""
    with Gateway() as gateway:
        yield gateway


@pytest.fixture(name="join")
def joiner():
    """Opens WebSockets as a page does; they end with the test."""
    with contextlib.ExitStack() as opened:
        yield lambda gateway, **kept: opened.enter_context(PageSocket(gateway, **kept))
