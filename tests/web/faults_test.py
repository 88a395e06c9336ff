"""Faults are armed, put to rest and cleared in the page, and the platform obeys them."""
import pcsim
import pytest

pytestmark = pytest.mark.usefixtures("lab")

POLL_MS = 1000
LINK_INFO = "slot.cardPortLinkInfo"


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch that stands still unless it is told to go on."""
    with pcsim.Switch(ports=4, name="faulty", stopped=True) as switch:
        yield switch


@pytest.fixture(name="page")
def page_of_faults(switch, open_page):
    """The page of faults. Whatever a test arms goes with it."""
    page = open_page("faulty")
    page.click_tab("Faults")
    yield page
    switch.run("fault-clear")


def line_of(page):
    """The line that the form makes."""
    return page.value("document.querySelector('.fault-line').textContent")


def fill_all(page, **values):
    """Fills in the fields of the form, by their labels with _ for a space."""
    for label, value in values.items():
        page.fill(label.replace("_", " "), value)


def rows(page):
    """The rules that are listed: their number and state."""
    return page.value("[...document.querySelectorAll('.faults tbody tr')].map((row) => "
                      "[Number(row.dataset.rule), row.dataset.state])")


def test_every_operation_is_offered(switch, page):
    there = {row["word"] for row in switch.run("show operations").data["operations"]}
    page.wait("document.querySelectorAll('#fault-operations option').length === arguments[0]",
              len(there))
    offered = page.value("[...document.querySelectorAll('#fault-operations option')]"
                         ".map((each) => each.value)")
    assert set(offered) == there


def test_the_fields_of_the_operation_are_offered(page):
    page.fill("Operation", LINK_INFO)
    page.wait("document.querySelector('#fault-fields-set option')")
    fields = page.value("['where', 'set'].map((each) => [...document.querySelectorAll("
                        "`#fault-fields-${each} option`)].map((option) => option.value))")
    assert fields == [["portInstance"],
                      ["link", "duplex", "speed", "flowControl", "extra", "result"]]
    page.fill("Field of a condition", "portInstance")
    hint = page.value("document.querySelector('[aria-label=\"Value of a condition\"]').placeholder")
    assert hint == "a port, such as 1:3 or trunk:2"


def test_arm_rest_apply_and_remove(switch, page):
    fill_all(page, Operation=LINK_INFO, Field_of_a_condition="portInstance",
             Value_of_a_condition="1:2", Field_of_a_handed="speed", Value_of_a_handed="1",
             Applies_so_often="1000")
    line = f"fault {LINK_INFO} where portInstance 1:2 count 1000 set speed 1"
    assert line_of(page) == line
    page.click_button(line)
    page.wait_line(line)
    rule, = switch.faults()
    switch.time.warp(POLL_MS)
    page.wait("document.querySelector(`[data-part='port 1:2']`).dataset.speed === '10'")
    assert switch.run("show ports").data["ports"][1]["speed"] == 10

    page.click_button(f"fault-off {rule.rule}")
    page.wait("document.querySelector('.faults tbody tr').dataset.state === 'off'")
    switch.time.warp(POLL_MS)
    page.wait("document.querySelector(`[data-part='port 1:2']`).dataset.speed === '100'")
    page.click_button(f"fault-on {rule.rule}")
    page.wait("document.querySelector('.faults tbody tr').dataset.state === 'on'")
    page.click_button(f"fault-remove {rule.rule}")
    page.wait("document.querySelector('.faults').hidden")
    assert switch.faults() == []


def test_several_conditions_and_a_plain_failure(switch, page):
    fill_all(page, Operation="fanSlot.fanReadTemp", Field_of_a_condition="slot",
             Value_of_a_condition="1", After_so_many_calls="2", Comes_late_by="5")
    page.click(page.named, "button", "Add a condition")
    assert line_of(page) == "fault fanSlot.fanReadTemp where slot 1 after 2 delay 5"
    page.click(page.named, "button", "Take this condition away")
    assert line_of(page) == "fault fanSlot.fanReadTemp after 2 delay 5"
    fill_all(page, After_so_many_calls="", Comes_late_by="", Answers="null")
    assert line_of(page) == "fault fanSlot.fanReadTemp returns null"
    page.fill("Answers", "")
    page.click_button("fault fanSlot.fanReadTemp")
    page.wait_line("fault fanSlot.fanReadTemp")
    assert [rule.operation for rule in switch.faults()] == ["fanSlot.fanReadTemp"]


def test_all_are_cleared(switch, page):
    for slot in range(3):
        switch.run(f"fault fanSlot.fanReadTemp where slot {slot}")
    page.wait("document.querySelectorAll('.faults tbody tr').length === 3")
    assert [state for _, state in rows(page)] == ["on"] * 3
    page.click_button("fault-clear")
    page.wait_text("No fault is armed")
    assert switch.faults() == []


@pytest.mark.parametrize("label, wrong", (
    ("Answers", "many"), ("Comes late by", "-1"), ("Applies so often", "0"), ("Operation", ""),
    ("Operation", "two words")))
def test_what_cannot_be_is_not_sent(page, label, wrong):
    page.fill("Operation", LINK_INFO)
    assert not page.value("document.querySelector('.fault-arm button').disabled")
    page.fill(label, wrong)
    assert page.value("document.querySelector('.fault-arm button').disabled")


def test_an_unknown_operation_is_refused_with_what_would_be_right(switch, page):
    page.fill("Operation", "pcSimFanReadTmp")
    page.click_button("fault pcSimFanReadTmp")
    told = page.wait_line("fault pcSimFanReadTmp", "refused")
    assert told == "no operation goes by 'pcSimFanReadTmp'; perhaps pcSimFanReadTemp"
    assert switch.faults() == []
