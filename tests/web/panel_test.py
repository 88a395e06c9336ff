"""The panel draws what the switch tells: marks of ports, fans that turn, how far a card is; and
whatever there is to draw stands beside each other at any width."""
import time

import pcsim
import pytest

pytestmark = pytest.mark.usefixtures("lab")

POLL_MS = 1000


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch that stands still unless it is told to go on."""
    with pcsim.Switch(ports=4, name="drawn", stopped=True) as switch:
        yield switch


@pytest.fixture(name="chassis", scope="module")
def one_chassis(run_folder):
    """A chassis in service, whose cards take their time."""
    with pcsim.Switch(ports=4, shape="chassis", name="wall", stopped=True,
                      options=["--remote-io"]) as switch:
        switch.time.warp(60_000)
        yield switch


@pytest.fixture(name="page")
def one_page(switch, open_page):
    """A page that shows the switch."""
    return open_page("drawn")


def inside(part, selector):
    """What a script has for an element of a part."""
    return f"document.querySelector(`[data-part='{part}'] {selector}`)"


def seen(part, selector):
    """What a script has for whether it is drawn."""
    return f"({inside(part, selector)}.getBoundingClientRect().width > 0)"


@pytest.mark.parametrize("told, mbps, mark", ((1, 10, "10"), (3, 1000, "1G"), (4, 10000, "10G")))
def test_speeds_are_written_on_the_plug(switch, page, told, mbps, mark):
    with switch.fault("cardPortLinkInfo", {"port": "1:2"}, {"speed": told}):
        switch.time.warp(POLL_MS)
        page.wait(f"{inside('port 1:2', '.speed')}.textContent === arguments[0]", mark)
        assert page.part("port 1:2").get_attribute("data-speed") == str(mbps)
    switch.time.warp(POLL_MS)
    page.wait(f"{inside('port 1:2', '.speed')}.textContent === '100'")


def test_half_duplex_is_marked(switch, page):
    shown = seen("port 1:3", ".half")
    assert not page.value(shown)
    with switch.fault("cardPortLinkInfo", {"port": "1:3"}, {"duplex": 0}):
        switch.time.warp(POLL_MS)
        page.wait(shown)
        assert "100 Mbps half" in page.part("port 1:3").get_attribute("aria-label")
    switch.time.warp(POLL_MS)
    page.wait(f"!{shown}")


def test_a_disabled_port_is_crossed_and_keeps_its_plug(switch, page):
    switch.run("port 1:4 disable")
    page.wait_state("port 1:4", "disabled")
    assert page.value(seen("port 1:4", ".crossed"))
    page.wait("document.querySelector(`[data-part='port 1:4']`).dataset.cable === 'plugged'")
    switch.run("cable 4 pull")
    page.wait("document.querySelector(`[data-part='port 1:4']`).dataset.cable === 'pulled'")
    switch.run("cable 4 plug")
    switch.run("port 1:4 enable")
    switch.time.warp(POLL_MS)
    page.wait_state("port 1:4", "up")


def test_fans_turn_as_fast_as_they_say(switch, page):
    seconds = page.value(f"parseFloat(getComputedStyle({inside('fan 3', '.rotor')})"
                         ".animationDuration)")
    assert seconds == pytest.approx(60 / 10003 * 120, abs=0.01)
    switch.run("module fans 0x7")
    switch.time.warp(10_000)
    page.wait_state("fan 3", "removed")
    assert not page.value(f"{inside('fan 3', '.rotor')}.classList.contains('turns')")
    switch.run("module fans 0xf")
    switch.time.warp(10_000)
    page.wait(f"{inside('fan 3', '.rotor')}.classList.contains('turns')")


def test_a_card_tells_its_step_and_the_time_left(chassis, open_page):
    page = open_page("wall")
    chassis.run("card 1 reset")
    chassis.time.warp(2000)  # it is off
    chassis.time.warp(2000)  # it has power
    text = f"{inside('card 1', '.card-state')}.textContent"
    page.wait(f"{text} === 'self test, 10 s left'")
    chassis.time.warp(3000)
    page.wait(f"{text} === 'self test, 7 s left'")
    fills = page.value("[...document.querySelectorAll(`[data-part='card 1'] .track`)].slice(0, 4)"
                       ".map((track, n) => document.querySelectorAll(`[data-part='card 1'] .fill`)"
                       "[n].getBBox().width / track.getBBox().width)")
    assert fills == [pytest.approx(1, abs=0.01), pytest.approx(0.3, abs=0.02), 0, 0]
    chassis.time.warp(60_000)
    page.wait(f"{text} === 'operational'")
    assert not page.value(seen("card 1", ".fill"))


def test_the_own_slot_alone_is_marked(chassis, open_page):
    page = open_page("wall")
    marked = page.value("[...document.querySelectorAll('.card')].filter((card) => "
                        "card.querySelector('.own').style.display !== 'none')"
                        ".map((card) => card.dataset.part)")
    assert marked == [f"card {chassis.run('show chassis').data['chassis']['ownSlot']}"]


def test_frames_let_a_lamp_blink(switch, page):
    lamp = f"{inside('port 1:1', '.lamp:nth-of-type(3)')}.getAttribute('class')"
    assert "activity" not in page.value(lamp)
    for _ in range(20):  # rates are known from the second reading on
        switch.cable(1).send(1000)
        time.sleep(0.3)
        if "activity" in page.value(lamp):
            break
    else:
        pytest.fail("frames pass, and no lamp blinks")
    page.wait(f"!{lamp}.includes('activity')")  # a second later


def test_the_overview_shows_each_switch(switch, chassis, open_page):
    page = open_page("drawn")
    page.wait("document.querySelectorAll('#overview .tile').length === 2")
    page.click(page.wait, "document.querySelector('.tile[data-instance=wall]')")
    page.wait_switch("wall")
    page.press("fan 0")
    page.wait("document.querySelector('dialog.menu[open]')")
    page.js("document.querySelector('.tile[data-instance=drawn]').click()")
    page.wait_switch("drawn")
    page.wait("!document.querySelector('dialog.menu[open]')")  # it was of the other switch


# Draws a panel of so many ports at that width, and tells what of it lies outside or upon another.
CROWD = """
const [count, width, shape] = arguments;
const done = arguments[arguments.length - 1];
Promise.all(["model", "draw"].map((name) => import(new URL(`panel/${name}.js`, document.baseURI))))
  .then(([{modelOf}, {drawPanel}]) => {
    const numbers = Array.from({length: count}, (_, n) => n + 1);
    const slot = {slot: 1, card: "Card", state: "operational", ports: count,
                  interfaces: `eth1 to eth${count}`};
    const shows = {
      chassis: {chassis: {model: "M", description: "D", ownSlot: 1, shape}}, slots: {slots: [slot]},
      ports: {ports: numbers.map((n) => ({port: `1:${n}`, interface: `eth${n}`, link: "up",
                                          admin: "enabled", speed: 10000, duplex: "half"}))},
      fans: {fans: [0, 1, 2, 3].map((fan) => ({fan, state: "present", rpm: 20000,
                                               temperature: 2500}))}};
    const model = modelOf({shows});
    const {svg, drawn, heads} = drawPanel(model, width);
    document.body.append(svg);
    for (const each of drawn.values()) each.update(model.parts.get(each.part), 0);
    for (const head of heads) head.update(model);
    const room = svg.getBoundingClientRect();
    const boxes = [...svg.querySelectorAll(".port .bezel, .unit .bay, .port .label, .unit text")]
      .map((each) => ({each, box: each.getBoundingClientRect()}));
    const inRoom = ({box}) => box.left >= room.left && box.right <= room.right + 0.5
      && box.top >= room.top && box.bottom <= room.bottom + 0.5;
    const sockets = boxes.filter(({each}) => each.classList.contains("bezel"));
    const upon = (a, b) => a.left < b.right - 0.5 && b.left < a.right - 0.5
      && a.top < b.bottom - 0.5 && b.top < a.bottom - 0.5;
    const wrong = boxes.filter((each) => !inRoom(each)).map(({each}) => each.outerHTML);
    sockets.forEach(({box}, n) => sockets.slice(n + 1).forEach((other) => {
      if (upon(box, other.box)) wrong.push(other.each.closest("[data-part]").dataset.part);
    }));
    svg.remove();
    done([sockets.length, wrong]);
  }, (problem) => done([0, [String(problem)]]));
"""


@pytest.mark.parametrize("shape", ("stack", "chassis"))
@pytest.mark.parametrize("width", (290, 700, 1200, 1750))
def test_nothing_lies_upon_another(page, width, shape):
    for count in (1, 3, 4, 12, 24, 48, 100):
        page.front()
        drawn, wrong = page.driver.execute_async_script(CROWD, count, width, shape)
        assert (drawn, wrong) == (count + 1, []), count  # and the management port
