"""The page is there: it draws a switch of either shape at any width, for eyes, keys and screen
readers, and lets nobody from elsewhere use it."""
import http.server
import threading
from urllib.parse import quote

import pcsim
import pytest
from selenium.webdriver.common.action_chains import ActionChains

from gateway import TOKEN

pytestmark = pytest.mark.usefixtures("lab")

WIDTHS = ((360, 740), (768, 1024), (1280, 900), (2560, 1440))


@pytest.fixture(name="stack", scope="module")
def one_stack(run_folder):
    """A stackable switch."""
    with pcsim.Switch(ports=4, name="stack") as switch:
        yield switch


@pytest.fixture(name="chassis", scope="module")
def one_chassis(run_folder):
    """A chassis that stands in the middle of its boot."""
    with pcsim.Switch(ports=16, shape="chassis", name="chassis", stopped=True,
                      options=["--remote-io"]) as switch:
        yield switch


@pytest.fixture(name="page")
def one_page(stack, open_page):
    """A page that shows the stack."""
    return open_page("stack")


def test_what_is_drawn_is_what_is_so(stack, page):
    for row in stack.run("show ports").data["ports"]:
        page.wait_state(f"port {row['port']}", row["link"])
        assert "100 Mbps full" in page.part(f"port {row['port']}").get_attribute("aria-label")
    for row in stack.run("show fans").data["fans"]:
        page.wait_state(f"fan {row['fan']}", row["state"])
    for row in stack.run("show power").data["power"]:
        page.wait_state(f"supply {row['supply']}", row["state"])
    assert page.state("management") == stack.run("show ports").data["management"]["link"]


def test_each_slot_of_a_booting_chassis(chassis, open_page):
    page = open_page("chassis")
    for _ in range(6):
        for row in chassis.run("show slots").data["slots"]:
            page.wait_state(f"card {row['slot']}", row["state"])
        if all(row["state"] in ("empty", "operational")
               for row in chassis.run("show slots").data["slots"]):
            break
        chassis.time.warp(5000)
    assert page.state("card 1") == "operational"


@pytest.mark.parametrize("name", ("stack", "chassis"))
def test_no_width_scrolls_sideways(stack, chassis, open_page, name):
    page = open_page(name)
    for width, height in WIDTHS:
        page.resize(width, height)
        page.wait("innerWidth === arguments[0]", width)
        page.wait("new Promise((done) => requestAnimationFrame(() => setTimeout(done, 100, true)))")
        for tab in page.value("[...document.querySelectorAll('[role=tab]')].map((e) => e.textContent)"):
            page.click_tab(tab)
            assert page.too_wide() <= 0, (width, tab)


def test_everything_has_a_name(page):
    for tab in page.value("[...document.querySelectorAll('[role=tab]')].map((each) => each.textContent)"):
        page.click_tab(tab)
        assert page.say() == [], tab


def test_light_and_dark(page):
    def ground():
        return page.value("getComputedStyle(document.body).backgroundColor")
    before = ground()
    page.click(page.named, "button", "Light or dark")
    page.wait("getComputedStyle(document.body).backgroundColor !== arguments[0]", before)
    chosen = page.value("document.documentElement.dataset.theme")
    page.driver.refresh()
    page.wait_switch("stack")
    assert page.value("document.documentElement.dataset.theme") == chosen
    page.click(page.named, "button", "Light or dark")
    page.wait("getComputedStyle(document.body).backgroundColor === arguments[0]", before)


def test_every_file_of_the_page_is_used(gateway, page):
    """What the package brings is what the browser has asked for, from here alone."""
    asked = page.value("performance.getEntriesByType('resource').map((each) => each.name)")
    own = f"http://{gateway.host}/{TOKEN}/"
    assert all(name.startswith((own, own.replace("http", "ws"))) for name in asked), asked
    from pcsim_web.server import STATIC
    there = {str(path.relative_to(STATIC)) for path in STATIC.rglob("*.*")} - {"index.html"}
    assert there == {name.removeprefix(own) for name in asked if not name.endswith("/live")}


def test_several_switches(stack, chassis, open_page):
    page = open_page("stack")
    page.click(page.named, "button", "chassis")
    page.wait_switch("chassis")
    page.part("card 10")
    page.driver.back()
    page.wait_switch("stack")
    page.driver.refresh()
    page.wait_switch("stack")


def test_an_address_that_names_a_switch_to_come(gateway, browser, stack):
    page = browser.open(f"{gateway.address}#later")
    page.wait("document.querySelector('[data-part]')", what="a switch that runs already")
    with pcsim.Switch(ports=1, name="later"):
        page.wait_switch("later")
        page.click(page.named, "button", "stack")
        page.wait_switch("stack")


def test_who_has_chosen_meanwhile_keeps_that(gateway, browser, stack, chassis):
    page = browser.open(f"{gateway.address}#later")
    page.click(page.named, "button", "chassis")
    page.wait_switch("chassis")
    with pcsim.Switch(ports=1, name="later"):
        page.named("button", "later")
        page.wait_switch("chassis")


@pytest.mark.parametrize("place", ("#instances button", ".tile"))
def test_a_press_outlasts_news(stack, chassis, open_page, place):
    """Another switch comes while the button of one is held down, in the head and in the overview."""
    page = open_page("stack")
    held = page.wait("[...document.querySelectorAll(arguments[0])].find((each) => "
                     "each.textContent.startsWith('chassis'))", place)
    ActionChains(page.driver).click_and_hold(held).perform()
    with pcsim.Switch(ports=1, name="visitor"):
        page.named("button", "visitor")
        ActionChains(page.driver).release().perform()
        page.wait_switch("chassis")


def test_an_address_that_is_wrong(gateway, browser):
    page = browser.open(f"http://{gateway.host}/wrong/")
    assert page.text().strip() == ("pcsim-web: this address lacks the token; expected the whole "
                                   "address that pcsim-web has printed")
    assert browser.complaints(but="403") == []


# --- From elsewhere --------------------------------------------------------------------------------

FOREIGN = """<!doctype html><title>foreign</title><iframe src="ADDRESS"></iframe>
<script src="ADDRESSapp.js" onload="window.script = 'loaded'" onerror="window.script = 'refused'"></script>
<img src="ADDRESSicon.svg" onload="window.image = 'loaded'" onerror="window.image = 'refused'">
<script>
const note = (name) => [() => { window[name] = "loaded"; }, () => { window[name] = "refused"; }];
fetch("ADDRESS").then(...note("fetched"));
fetch("ADDRESS", {method: "POST", mode: "no-cors", body: "x"}).then(
  async (answer) => { window.posted = answer.type === "opaque" ? "refused" : "loaded"; },
  () => { window.posted = "refused"; });
const socket = new WebSocket("ADDRESSlive".replace("http", "ws"));
[socket.onopen, socket.onerror] = note("socket");
</script>"""


@pytest.fixture(name="foreign")
def foreign_page(gateway, stack):
    """The address of a page on another port of this machine, which knows the whole address."""
    body = FOREIGN.replace("ADDRESS", gateway.address).encode()

    class Handler(http.server.BaseHTTPRequestHandler):
        """Serves that page."""

        def do_GET(self):
            """As its base class calls it."""
            self.send_response(200)
            self.send_header("Content-Type", "text/html")
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_):
            """Says nothing."""
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler) as server:
        serving = threading.Thread(target=server.serve_forever, daemon=True)
        serving.start()
        yield f"http://127.0.0.1:{server.server_address[1]}/{quote('page')}"
        server.shutdown()
        serving.join()


@pytest.mark.parametrize("host", ("127.0.0.1", "localhost"))
def test_a_foreign_page_gets_nothing(foreign, browser, host):
    page = browser.open(foreign.replace("127.0.0.1", host))
    for what in ("script", "image", "fetched", "posted", "socket"):
        assert page.wait("window[arguments[0]]", what) == "refused", what
    page.driver.switch_to.frame(0)
    assert "pcsim" not in page.value("document.body.innerText").replace("pcsim-web: a page from", "")
    assert page.value("document.querySelector('#panel')") is None
    page.driver.switch_to.default_content()
    browser.complaints()  # that it was refused
