"""What the tests of pcsim-web share."""
import contextlib

import pytest

from browser import browser as one_browser
from gateway import Gateway
from page_socket import PageSocket

pytest_plugins = ["pcsim_fixtures"]


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


@pytest.fixture(name="chromium", scope="module")
def one_chromium():
    """The browser of a file."""
    with one_browser() as chromium:
        yield chromium


@pytest.fixture(name="browser")
def quiet_browser(chromium):
    """The same for one test, behind which nothing may be left that the browser complains of."""
    kept = chromium.driver.window_handles
    yield chromium
    complaints = chromium.complaints()
    chromium.close_pages(kept)
    assert complaints == []


@pytest.fixture(name="open_page")
def page_opener(gateway, browser):
    """Opens pages that show a switch, of the usual gateway or another one."""
    return lambda name, served=None, **size: browser.show(served or gateway, name, **size)
