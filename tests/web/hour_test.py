"""The last hour in a browser: the list of events, the slider through what was, and the charts."""
import pcsim
import pytest
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

pytestmark = pytest.mark.usefixtures("lab")

ROWS = "[...document.querySelectorAll('.timeline .row')]"
TOP_ROW = f"{ROWS}.find((each) => each.getAttribute('aria-posinset') === '1')"
TEXTS = f"{ROWS}.map((each) => each.querySelector('.what').textContent)"
CHIP = ("[...document.querySelectorAll('.chip')]"
        ".find((each) => each.textContent === arguments[0])")
LIST = "document.querySelector('.newest-first')"
NOTICE = "document.querySelector('#slider .moment').textContent"
CHART = "document.querySelector('.chart canvas[aria-label^=\"Port {}:\"]')"
DRAWN = "new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done(true))))"

AWHILE = "new Promise((done) => setTimeout(done, 500, true))"


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch that stands still unless it is told to go on, with 600 events behind its boot."""
    with pcsim.Switch(ports=4, name="hour", stopped=True) as switch:
        switch.time.warp(2000)
        switch.batch([f"odometer fan 0 {turn}" for turn in range(600)])
        yield switch


@pytest.fixture(name="page")
def one_page(switch, open_page):
    """A page that shows the switch, and its events."""
    page = open_page("hour")
    page.wait(f"{ROWS}.length > 0")
    yield page
    switch.batch([f"cable {cable} plug" for cable in range(1, 5)])
    switch.time.warp(1000)


def top_text(page):
    """The text of the newest event that is shown."""
    return page.value(f"{TOP_ROW}?.querySelector('.what').textContent")


def wait_top(page, text):
    """Waits until that is the newest event."""
    page.wait(f"{TOP_ROW}?.querySelector('.what').textContent === arguments[0]", text)


def pull(switch, cable):
    """Pulls a cable and lets the platform see it."""
    switch.cable(cable).pull()
    switch.time.warp(1000)


def plug(switch, cable):
    """Plugs it in again."""
    switch.cable(cable).plug()
    switch.time.warp(1000)


# --- Events ---------------------------------------------------------------------------------------

def test_the_newest_is_at_the_top(switch, page):
    pull(switch, 2)
    wait_top(page, "Port 1:2 link down")
    assert page.value(f"{TOP_ROW}.querySelector('.tag').textContent") == "port"
    shown = page.value(f"{TOP_ROW}.querySelector('.when').textContent")
    hours, minutes, seconds = shown.split(":")
    told = 1000 * (3600 * int(hours) + 60 * int(minutes) + float(seconds))
    assert round(told) == switch.run("show events limit 1").data["events"][0]["timeMs"]
    plug(switch, 2)
    wait_top(page, "Port 1:2 link up, 100 Mbps full, pause")


def test_only_what_can_be_seen_is_drawn(page):
    page.js(f"window.going = setInterval(() => {{ {LIST}.scrollTop = 1e9; }}, 50)")
    page.wait(f"{TEXTS}.includes('eth0 to eth4 are cabled')", what="the oldest event")
    assert page.value(f"{ROWS}.length") < 60
    assert int(page.value(f"{ROWS}[0].getAttribute('aria-setsize')")) > 600


def test_a_source_is_hidden_and_shown(switch, page):
    pull(switch, 1)
    wait_top(page, "Port 1:1 link down")
    page.click(page.wait, CHIP, "port")
    wait_top(page, "Cable 1 pulled")
    page.js(f"{CHIP}.dispatchEvent(new MouseEvent('click', {{shiftKey: true}}))", "env")
    page.wait(f"{TEXTS}.every((text) => text.startsWith('Fan ')) && {TEXTS}.length > 3")
    page.js(f"{CHIP}.dispatchEvent(new MouseEvent('click', {{shiftKey: true}}))", "env")
    wait_top(page, "Port 1:1 link down")
    plug(switch, 1)


def test_a_text_is_searched_in_all_events(page):
    page.fill("Search events", "EMPTY of this")
    page.wait_text("None of the events that are known is like that.")
    page.fill("Search events", "are cabled")  # the very first, which has to be asked for
    wait_top(page, "eth0 to eth4 are cabled")
    assert page.value(f"{ROWS}.length") == 1


def test_what_one_reads_stays_where_it_is(switch, page):
    page.js(f"{LIST}.scrollTop = 900")
    page.wait("document.querySelector('.follow').getAttribute('aria-pressed') === 'false'")
    where = (f"(() => {{ const row = {ROWS}.find((each) => each.checkVisibility() && "
             f"each.getBoundingClientRect().top > {LIST}.getBoundingClientRect().top); return "
             "[row.querySelector('.what').textContent, Math.round(row.getBoundingClientRect().top)]"
             "; })()")
    page.value(DRAWN)
    before = page.value(where)
    pull(switch, 3)
    page.wait("document.querySelector('.follow').textContent.endsWith('new')")
    page.wait_state("port 1:3", "down")
    page.value(DRAWN)
    assert page.value(where) == before
    page.click(page.named, "button", "▲")
    wait_top(page, "Port 1:3 link down")
    plug(switch, 3)
    wait_top(page, "Port 1:3 link up, 100 Mbps full, pause")


def test_what_was_summed_up_can_be_seen(switch, page):
    switch.batch([f"odometer fan 1 {7000 + turn}" for turn in range(1500)])
    page.wait_text("more summed up")
    row = ".row.summed .there"
    page.js("window.looking = setInterval(() => { if (document.querySelector('.row.summed .there'))"
            f" clearInterval(looking); else {LIST}.scrollTop += 150; }}, 20)")
    page.wait(f"document.querySelector('{row}') !== null")
    count = int(page.value("document.querySelector('.row.summed .what').textContent")
                .split()[0].replace(",", ""))
    rows = int(page.value(f"{ROWS}[0].getAttribute('aria-setsize')"))
    page.click(page.wait, f"document.querySelector('{row}')")
    page.wait(f"Number({ROWS}[0].getAttribute('aria-setsize')) === arguments[0]", rows + count - 1)


def test_an_event_shows_its_part(switch, page):
    pull(switch, 4)
    wait_top(page, "Port 1:4 link down")
    page.js(f"{LIST}.focus()")
    page.keys(Keys.ARROW_DOWN)
    page.wait("document.querySelector('[data-part=\"port 1:4\"]').classList.contains('pointed')")
    page.keys(Keys.ESCAPE)
    page.wait("document.querySelector('.pointed') === null")
    plug(switch, 4)


def test_what_is_shown_is_copied(page):
    page.js("navigator.clipboard.writeText = async (text) => { window.copied = text; }")
    page.fill("Search events", "are cabled")
    wait_top(page, "eth0 to eth4 are cabled")
    page.click(page.named, "button", "Copy")
    page.wait_text("Copied 1")
    assert page.value("copied") == "[    0.000] lab       eth0 to eth4 are cabled\n"


# --- The slider -----------------------------------------------------------------------------------

def test_the_switch_as_it_was(switch, page):
    pull(switch, 2)
    page.wait_state("port 1:2", "down")
    page.value(AWHILE)  # what happens at once is one step
    plug(switch, 2)
    page.wait_state("port 1:2", "up")
    page.wait("!document.querySelector('#slider input').disabled")
    page.js("document.querySelector('#slider input').focus()")
    page.keys(Keys.ARROW_LEFT)
    page.wait(f"{NOTICE}.includes('Port 1:2 link up')")
    page.wait_state("port 1:2", "up")
    page.keys(Keys.ARROW_LEFT)
    page.wait(f"{NOTICE}.includes('Port 1:2 link down')")
    page.wait_state("port 1:2", "down")
    assert page.value(NOTICE).startswith("This is ")
    assert "nothing can be touched" in page.value(NOTICE)
    wait_top(page, "Port 1:2 link down")
    page.keys(Keys.END)
    page.wait("!document.body.classList.contains('past')")
    page.wait_state("port 1:2", "up")
    assert page.value(NOTICE) == "Now"


def test_an_event_leads_to_its_moment(switch, page):
    pull(switch, 3)
    wait_top(page, "Port 1:3 link down")
    page.wait_state("port 1:3", "down")
    page.value(AWHILE)
    plug(switch, 3)
    page.wait_state("port 1:3", "up")
    row = f"{ROWS}.find((each) => each.textContent.includes('Port 1:3 link down'))"
    ActionChains(page.driver).move_to_element(page.wait(row)).perform()
    page.click(page.wait, f"{row}.querySelector('.there')")
    page.wait_state("port 1:3", "down")
    wait_top(page, "Port 1:3 link down")
    page.click(page.named, "button", "Now")
    page.wait_state("port 1:3", "up")
    wait_top(page, "Port 1:3 link up, 100 Mbps full, pause")


def test_the_oldest_moment_and_the_newest(page):
    page.wait("!document.querySelector('#slider input').disabled")
    page.js("document.querySelector('#slider input').focus()")
    page.keys(Keys.HOME)
    page.wait("document.body.classList.contains('past')")
    assert page.value("document.querySelector('#slider input').getAttribute('aria-valuetext')"
                      ).startswith("This is ")
    page.keys(Keys.ESCAPE)
    page.wait("!document.body.classList.contains('past')")


# --- Rates ----------------------------------------------------------------------------------------

def received(page, port):
    """What the chart of a port says it has received, as a screen reader hears it."""
    label = page.value(f"{CHART.format(port)}?.getAttribute('aria-label')")
    return label and label.partition(": received ")[2].partition(",")[0]


def test_a_chart_for_each_port(switch, page):
    page.click_tab("Rates")
    page.wait("document.querySelectorAll('.chart').length === 4")
    page.wait(f"{CHART.format('1:1')} !== null")
    for _ in range(20):
        switch.cable(1).send(400)
        page.value(DRAWN)
        if received(page, "1:1") != "0/s":
            break
        page.value(AWHILE)
    assert received(page, "1:1") != "0/s"
    assert received(page, "1:2") == "0/s"
    page.click(page.named, "button", "Bytes")
    page.value(DRAWN)
    assert received(page, "1:2") == "0 B/s"
    page.click(page.named, "button", "Busy ports")
    page.wait("document.querySelectorAll('.chart').length === 1")


def test_values_of_each_moment(switch, page):
    page.click_tab("Rates")
    page.wait(f"{CHART.format('1:2')} !== null")
    page.value("new Promise((done) => setTimeout(done, 1500, true))")
    switch.cable(2).send(300)
    page.wait(f"!{CHART.format('1:2')}.getAttribute('aria-label').includes('received 0/s')")
    page.wait(f"{CHART.format('1:2')}.getAttribute('aria-label').includes('received 0/s')")
    page.js(f"{CHART.format('1:2')}.focus()")
    for _ in range(8):
        page.keys(Keys.ARROW_LEFT)
        page.value(DRAWN)
        if received(page, "1:2") != "0/s":
            break
    assert received(page, "1:2") != "0/s"
    page.keys(Keys.ESCAPE)
    page.wait(f"{CHART.format('1:2')}.getAttribute('aria-label').includes('received 0/s')")
