"""Each click runs the line that it shows, and the platform does what it says: it is asked through the
socket, beside the page."""
import pcsim
import pytest
from selenium.webdriver.common.keys import Keys

pytestmark = pytest.mark.usefixtures("lab")

POLL_MS = 1000
UNITS_MS = 10_000  # fans and supplies are asked less often


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A stackable switch that stands still unless it is told to go on."""
    with pcsim.Switch(ports=4, name="clicked", stopped=True) as switch:
        yield switch


@pytest.fixture(name="chassis", scope="module")
def one_chassis(run_folder):
    """A chassis in service, whose cards take their time."""
    with pcsim.Switch(ports=16, shape="chassis", name="slots", stopped=True,
                      options=["--remote-io"]) as switch:
        switch.time.warp(60_000)
        yield switch


@pytest.fixture(name="stack_page", scope="module")
def one_stack_page(switch, gateway, chromium):
    """A page that shows the stack, for all tests."""
    return chromium.show(gateway, switch.name)


@pytest.fixture(name="page")
def page_of_the_stack(stack_page, browser):
    """The same for one test."""
    yield stack_page
    stack_page.keys(Keys.ESCAPE)


@pytest.fixture(name="slots")
def page_of_the_chassis(chassis, open_page):
    """A page that shows the chassis."""
    return open_page("slots")


def do(page, part, line, fields=()):
    """Opens the menu of a part, fills in its fields, and clicks what runs that line."""
    page.press(part)
    for label, value in fields:
        page.fill(label, value)
    page.click_button(line)
    page.wait_line(line)
    page.keys(Keys.ESCAPE)


def row_of(switch, show, key, **where):
    """The row of a show that is the one."""
    (rows,) = [rows for name, rows in switch.run(show).data.items() if name == key]
    (row,) = [row for row in rows if all(row[name] == value for name, value in where.items())]
    return row


def test_pull_and_plug_a_cable(switch, page):
    page.wait_state("port 1:2", "up")
    do(page, "port 1:2", "cable 2 pull")
    assert row_of(switch, "show nics", "nics", name="eth2")["carrier"] is False
    page.wait("document.querySelector(`[data-part='port 1:2']`).dataset.cable === 'pulled'")
    assert page.state("port 1:2") == "up"  # until the platform polls
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:2", "down")
    assert switch.port("1:2").link == "down"
    do(page, "port 1:2", "cable 2 plug")
    assert row_of(switch, "show nics", "nics", name="eth2")["carrier"] is True
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:2", "up")
    assert switch.port("1:2").link == "up"
    assert page.lines()[0][0] == "cable 2 plug" and page.lines()[1][0] == "cable 2 pull"


def test_send_frames(switch, page):
    before = switch.port("1:3").counters()
    do(page, "port 1:3", "cable 3 send 250", [("Frames", 250)])
    do(page, "port 1:3", "cable 3 send 70 out", [("Frames", 70)])
    after = switch.port("1:3").counters()
    assert after.rx_packets - before.rx_packets >= 250
    assert after.tx_packets - before.tx_packets >= 70
    do(page, "port 1:3", "counters zero 1:3")
    assert switch.port("1:3").counters().rx_packets < 250


def test_a_number_that_cannot_be_is_not_sent(page):
    page.press("port 1:3")
    for wrong in ("0", "-5", "", "1e9", "2.5"):
        page.fill("Frames", wrong)
        assert page.value("[...document.querySelectorAll('button[title^=\"cable 3 send\"]')]"
                          ".every((each) => each.disabled)"), wrong
    page.fill("Frames", 1)
    assert not page.button("cable 3 send 1").get_property("disabled")


def test_disable_and_enable_a_port(switch, page):
    do(page, "port 1:1", "port 1:1 disable")
    page.wait_state("port 1:1", "disabled")
    assert row_of(switch, "show ports", "ports", port="1:1")["admin"] == "disabled"
    do(page, "port 1:1", "port 1:1 enable")
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:1", "up")
    assert row_of(switch, "show ports", "ports", port="1:1")["admin"] == "enabled"
    assert "port 1:1, up, 100 mbps full" in page.part("port 1:1").get_attribute("aria-label").lower()


def test_restart_and_negotiation(switch, page):
    do(page, "port 1:4", "port 1:4 restart")
    do(page, "port 1:4", "port 1:4 autoneg off speed 1000 duplex full", [("Speed", "1000")])
    assert "autoneg off speed 1000 duplex full" in switch.run("show running").text
    do(page, "port 1:4", "port 1:4 autoneg on", [("Speed", "auto")])
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:4", "up")


@pytest.mark.parametrize("part, remove, insert", (
    ("fan 1", "module fans 0xd", "module fans 0xf"),
    ("supply 2", "module power 0x1a", "module power 0x1e")))
def test_remove_and_insert_a_unit(switch, page, part, remove, insert):
    kind, number = part.split()
    show, key = {"fan": ("show fans", "fans"), "supply": ("show power", "power")}[kind]
    page.wait_state(part, "present")
    do(page, part, remove)
    switch.time.warp(UNITS_MS)
    page.wait_state(part, "removed")
    assert row_of(switch, show, key, **{kind: int(number)})["state"] == "removed"
    do(page, part, insert)
    switch.time.warp(UNITS_MS)
    page.wait_state(part, "present")
    assert row_of(switch, show, key, **{kind: int(number)})["state"] == "present"


@pytest.mark.parametrize("part, fault", (
    ("fan 0", "fault fanSlot.fanReadRpm where slot 0 returns -1 count 1000000"),
    ("supply 1", "fault psSlot.pSReadInputLine where slot 1 returns -1 count 1000000")))
def test_let_a_unit_fail_and_repair_it(switch, page, part, fault):
    kind, number = part.split()
    show, key = {"fan": ("show fans", "fans"), "supply": ("show power", "power")}[kind]
    do(page, part, fault)
    rule, = switch.faults()
    assert rule.operation == fault.split()[1]
    switch.time.warp(UNITS_MS)
    page.wait_state(part, "failing")
    assert row_of(switch, show, key, **{kind: int(number)})["state"] == "failing"
    do(page, part, f"fault-remove {rule.rule}")
    assert switch.faults() == []
    switch.time.warp(UNITS_MS)
    page.wait_state(part, "present")


def test_the_speed_of_a_fan(switch, page):
    do(page, "fan 2", "fan 2 speed 35", [("Percent", 35)])
    assert "fan 2 speed 35" in switch.run("show running").text
    do(page, "fan 2", "fan 2 speed none")
    assert "fan 2 speed 35" not in switch.run("show running").text


def test_remove_and_insert_a_card(chassis, slots):
    slot = next(row["slot"] for row in chassis.run("show slots").data["slots"]
                if row["state"] == "operational" and row["ports"])
    part, port = f"card {slot}", f"port {slot}:1"
    slots.wait_state(port, "up")
    do(slots, part, f"card {slot} remove")
    chassis.time.warp(POLL_MS)
    slots.wait_state(part, "empty")
    assert row_of(chassis, "show slots", "slots", slot=slot)["state"] == "empty"
    slots.wait("!['up', 'down'].includes(document.querySelector(arguments[0])?.dataset.state)",
               f'[data-part="{port}"]')
    do(slots, part, f"card {slot} insert")
    seen = set()
    for _ in range(100):
        state = row_of(chassis, "show slots", "slots", slot=slot)["state"]
        seen.add(state)
        slots.wait_state(part, state)
        if state == "operational":
            break
        chassis.time.warp(500)
    assert {"self test", "downloading", "booting", "operational"} <= seen
    chassis.time.warp(POLL_MS)
    slots.wait_state(port, "up")


def test_what_was_pulled_is_found_in_the_timeline(chassis, slots):
    slots.wait_state("card 2", "operational")
    do(slots, "port 1:1", "cable 1 pull")
    do(slots, "card 2", "card 2 remove")
    chassis.time.warp(2 * POLL_MS)
    slots.wait_state("card 2", "empty")
    slots.click_tab("Events")
    for text in ("Cable 1 pulled", "Port 1:1 link down", "Slot 2"):
        slots.fill("Search", text)
        slots.wait("[...document.querySelectorAll('#page-events .row .what')].some((each) => "
                   "each.checkVisibility() && each.textContent.includes(arguments[0]))", text)
    do(slots, "port 1:1", "cable 1 plug")
    do(slots, "card 2", "card 2 insert")
    chassis.time.warp(60_000)
    slots.wait_state("card 2", "operational")
    slots.wait_state("port 1:1", "up")


def test_power_and_diagnostics_of_a_card(chassis, slots):
    slot = next(row["slot"] for row in chassis.run("show slots").data["slots"]
                if row["state"] == "operational" and row["ports"])
    part = f"card {slot}"
    do(slots, part, f"card {slot} power off")
    chassis.time.warp(5000)
    slots.wait_state(part, "powered off")
    assert row_of(chassis, "show slots", "slots", slot=slot)["state"] == "powered off"
    do(slots, part, f"card {slot} power on")
    chassis.time.warp(60_000)
    slots.wait_state(part, "operational")
    do(slots, part, f"card {slot} diag")
    slots.wait_state(part, row_of(chassis, "show slots", "slots", slot=slot)["state"])
    chassis.time.warp(60_000)
    slots.wait_state(part, "operational")
    do(slots, part, f"card {slot} reset")
    state = row_of(chassis, "show slots", "slots", slot=slot)["state"]
    assert state != "operational"
    slots.wait_state(part, state)
    chassis.time.warp(60_000)
    slots.wait_state(part, "operational")


def test_the_clock(switch, page):
    before = switch.time.now
    page.fill("How far to move the clock", 7)
    page.click_button("time warp 7000")
    page.wait_line("time warp 7000")
    assert switch.time.now == before + 7000
    page.click_button("time run")
    page.wait("[...document.querySelectorAll('button')].some((each) => each.title === 'time stop')")
    assert not switch.status().stopped
    page.click_button("time stop")
    page.wait_line("time stop")
    assert switch.status().stopped
    page.button("time run")


def test_a_line_that_is_refused_says_what_would_be_right(page):
    page.press("fan 3")
    page.js("document.querySelector('[name=percent]').removeAttribute('max')")
    page.fill("Percent", 250)
    page.click_button("fan 3 speed 250")
    assert page.wait_line("fan 3 speed 250", "refused") == (
        "percent '250' is not a number from 0 to 100")


def test_what_is_typed_stays_while_things_change(switch, page):
    page.press("port 1:4")
    page.fill("Frames", 12)
    switch.cable(1).pull()
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:1", "down")
    page.button("cable 4 send 12")
    switch.cable(1).plug()
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:1", "up")
    page.button("cable 4 send 12")


# --- Who may not, and who can't -------------------------------------------------------------------

def test_a_read_only_page_can_click_nothing(switch, start, open_page):
    page = open_page("clicked", start("--read-only"))
    page.wait_text("You may look, but not touch: this page is read-only.")
    for part in ("port 1:1", "fan 0", "supply 1", "card 1", "management"):
        if page.value("!!document.querySelector(arguments[0])", f'[data-part="{part}"]'):
            page.press(part)
            page.wait("document.querySelector('dialog[open]')")
            touching = page.value("[...document.querySelectorAll('dialog[open] button[title]')]"
                                  ".map((each) => each.disabled)")
            assert touching and all(touching), part
            page.keys(Keys.ESCAPE)
    assert page.value("[...document.querySelectorAll('#clock button')].every((e) => e.disabled)")
    before = switch.run("show running").text
    for button in page.value("[...document.querySelectorAll('button[title]')].filter((each) => "
                             "/^(cable|port|fan|module|time|fault)/.test(each.title))"):
        page.js("arguments[0].disabled = false; arguments[0].click()", button)
    page.wait("[...document.querySelectorAll('#verbs li')].every((e) => e.className === 'refused')")
    assert page.lines() and all("may look, but not touch" in text for _, _, text in page.lines())
    assert switch.run("show running").text == before


def test_by_keys_alone(switch, open_page):
    """From the top of the page to a pulled cable and back, without a mouse."""
    page = open_page("clicked")
    page.keys(Keys.TAB)
    assert "To the front panel" in page.value("document.activeElement.textContent")
    page.keys(Keys.ENTER)
    for _ in range(20):
        page.keys(Keys.TAB)
        if page.value("document.activeElement.dataset.part ?? null"):
            break
    for _ in range(10):
        if page.value("document.activeElement.dataset.part") == "port 1:2":
            break
        page.keys(Keys.ARROW_RIGHT)
        if page.value("document.activeElement.dataset.part") == "port 1:3":
            page.keys(Keys.ARROW_LEFT, Keys.ARROW_DOWN)
    assert page.value("document.activeElement.dataset.part") == "port 1:2"
    page.keys(Keys.ENTER)
    for _ in range(20):
        page.keys(Keys.TAB)
        if page.value("document.activeElement.title") == "cable 2 pull":
            break
    page.keys(Keys.SPACE)
    page.wait_line("cable 2 pull")
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:2", "down")
    page.wait("document.activeElement.title === 'cable 2 plug'")  # it stays where it was
    page.keys(Keys.ENTER)
    page.wait_line("cable 2 plug")
    page.keys(Keys.ESCAPE)
    page.wait("document.activeElement.dataset.part === 'port 1:2'")
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:2", "up")
