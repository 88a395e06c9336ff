"""The tables behind the panel: searched, paged, asked for again, and what they point at."""
import pcsim
import pytest
from selenium.webdriver.common.keys import Keys

pytestmark = pytest.mark.usefixtures("lab")

ROUTES = 200_000


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder, tmp_path_factory):
    """A switch whose tables have something in them."""
    files = tmp_path_factory.mktemp("tables")
    (files / "macs").write_text("".join(
        f"02:00:00:00:{n // 256:02x}:{n % 256:02x} {10 + n % 2} 1:{1 + n % 4}\n" for n in range(300)))
    (files / "routes").write_text("".join(
        f"{10 + (n >> 16)}.{n >> 8 & 255}.{n & 255}.0/24\n" for n in range(ROUTES)))
    with pcsim.Switch(ports=4, stopped=True, name="tabled") as switch:
        switch.time.warp(1000)
        for line in ("vlan create 10-11", "vlan 10-11 add 1:1-4 tagged",
                     f"fdb load {files}/macs", f"route load {files}/routes via 10.0.0.1 vlan 10",
                     "acl rule web first permit proto tcp dport 80", "acl rule web rest deny",
                     "acl commit web", "acl bind web vlan 10 port 1:1 slot 0"):
            switch.run(line)
        yield switch


@pytest.fixture(name="page")
def one_page(switch, open_page):
    """A page that shows the tables."""
    page = open_page(switch.name)
    page.click_tab("Tables")
    wait_status(page, "1–100 of 300 addresses")
    return page


def wait_status(page, text):
    """Waits until the pager says so."""
    page.wait("document.querySelector('.pager .status').textContent === arguments[0]", text)


def choose(page, title):
    """Chooses a table in the list at the side."""
    page.click(page.wait, "[...document.querySelectorAll('nav.choose button')]"
                         ".find((each) => each.textContent === arguments[0])", title)
    page.wait("document.querySelector('.table h2').textContent.startsWith(arguments[0])", title)


def rows(page):
    """The texts of all cells."""
    return page.value("[...document.querySelectorAll('.table tbody tr')].map("
                      "(row) => [...row.cells].map((cell) => cell.innerText))")


def test_the_way_through_the_pages(page):
    assert rows(page)[0][:4] == ["02:00:00:00:00:00", "10", "1:1", "dynamic"]
    page.click(page.named, "button", "Next page")
    wait_status(page, "101–200 of 300 addresses")
    page.click(page.named, "button", "Last page")
    wait_status(page, "201–300 of 300 addresses")
    assert rows(page)[-1][0] == "02:00:00:00:01:2b"
    assert not page.named("button", "Next page").is_enabled()
    page.click(page.named, "button", "First page")
    wait_status(page, "1–100 of 300 addresses")
    page.fill("Go to row", 250)
    wait_status(page, "201–300 of 300 addresses")
    page.fill("Rows of a page", 500)
    wait_status(page, "1–300 of 300 addresses")


def test_a_search_is_a_line_of_the_console(page):
    page.fill("Search", "02:00:00:00:01 vlan 11")
    wait_status(page, "1–22 of 22 addresses")
    page.wait_text("show fdb mac 02:00:00:00:01 vlan 11 limit 100 from 0")
    page.fill("Search", "> /tmp/x")
    page.wait_text("'>' is not the start of a MAC address; expected for example '00:11:2'")
    page.fill("Search", "vlan 99")
    page.wait_text("VLAN 99 does not exist; 'show vlans' lists them")
    page.fill("Search", "")
    wait_status(page, "1–100 of 300 addresses")


def test_what_comes_is_seen_without_a_touch(page, switch):
    switch.run("fdb add 00:00:00:00:00:01 vlan 10 port 1:2")
    wait_status(page, "1–100 of 301 addresses")
    assert rows(page)[0][:3] == ["00:00:00:00:00:01", "10", "1:2"]
    switch.run("fdb del 00:00:00:00:00:01 vlan 10")
    wait_status(page, "1–100 of 300 addresses")


def test_a_page_that_has_gone_leads_back(page, switch):
    for number in range(1, 4):
        switch.run(f"fdb add 0a:00:00:00:00:0{number} vlan 11 port 1:2")
    wait_status(page, "1–100 of 303 addresses")
    page.click(page.named, "button", "Last page")
    wait_status(page, "301–303 of 303 addresses")
    for number in range(1, 4):
        switch.run(f"fdb del 0a:00:00:00:00:0{number} vlan 11")
    wait_status(page, "201–300 of 300 addresses")


def test_a_port_is_pointed_at(page):
    page.click(page.wait, "document.querySelector('.table td.port button')")
    page.wait("document.querySelector('[data-part=\"port 1:1\"]').classList.contains('pointed-at')")
    page.wait("document.querySelector('.pointed-at') === null")
    choose(page, "VLANs")
    page.click(page.wait, "document.querySelector('.table td.ports button')")
    page.wait("document.querySelectorAll('.pointed-at').length === 4")


def test_many_routes_are_never_all_there(page):
    choose(page, "IPv4 routes")
    wait_status(page, f"1–100 of {ROUTES:,} IPv4 routes")
    page.click(page.named, "button", "Last page")
    wait_status(page, f"{ROUTES - 99:,}–{ROUTES:,} of {ROUTES:,} IPv4 routes")
    assert len(rows(page)) == 100 and rows(page)[-1][0] == "13.13.63.0/24"
    page.fill("Search", "11.1.0.0/16")
    wait_status(page, "1–100 of 256 IPv4 routes")
    page.fill("Search", "11.1.2.3")
    wait_status(page, "1–1 of 1 IPv4 routes")
    page.wait_text("IPv4 routes that cover 11.1.2.3, the one that counts first")


def test_an_empty_table_says_what_fills_it(page):
    choose(page, "IPv6 routes")
    page.wait_text("There are no IPv6 routes.")
    page.wait_text("route load FILE")


def test_from_a_list_to_its_rules(page):
    choose(page, "Rules of a list")
    page.wait_text("an access list has to be chosen; expected its name")
    choose(page, "Bindings")
    page.wait("document.querySelector('.table td.list button')?.textContent === 'web'")
    choose(page, "Access lists")
    page.click(page.wait, "document.querySelector('.table td.list button')")
    page.wait("document.querySelector('.table h2').textContent === 'Rules of a list of web'")
    assert [row[:3] for row in rows(page)] == [["1", "first", "permit"], ["2", "rest", "deny"]]


def test_coverage_and_times(page, switch):
    choose(page, "Calls and times")
    page.wait_text(" operations were called, ")
    page.fill("Search", "cardportlinkinfo")
    page.wait("document.querySelectorAll('.table tbody tr').length === 1")
    page.click_button("times on")
    page.wait_line("times on")
    switch.time.warp(2000)
    page.wait_text("Longest")
    page.click_button("times off")
    page.wait_line("times off")


def test_the_past_has_no_tables(page):
    page.wait("document.querySelector('#slider button')?.checkVisibility()")
    page.click(page.wait, "document.querySelector('#slider button')")
    page.wait_text("Tables are those of now, the past has none; go back to now to see them.")
    assert not page.value("document.querySelector('.table .rows').checkVisibility()")
    page.click(page.named, "button", "Now")
    wait_status(page, "1–100 of 300 addresses")


def test_the_list_by_the_keyboard_alone(page):
    page.js("document.getElementById('tab-tables').focus()")
    page.keys(Keys.TAB, Keys.TAB, Keys.TAB, Keys.ENTER)
    page.wait("document.querySelector('.table h2').textContent === 'VLANs'")


def test_a_page_that_may_only_look(switch, start, open_page):
    page = open_page(switch.name, start("--read-only", token="another-token-of-tests"))
    page.click_tab("Tables")
    wait_status(page, "1–100 of 300 addresses")
    for search in ("vlan create 99", "00 | count", "\" > x"):
        page.fill("Search", search)
        page.wait("!document.querySelector('.table .problem').hidden && "
                  "document.querySelector('.table .problem').textContent.includes('; expected ')")
        page.fill("Search", "")
        wait_status(page, "1–100 of 300 addresses")
    choose(page, "Coverage")
    assert not page.button("times on").is_enabled()
    assert [row["vlan"] for row in switch.run("show vlans").data["vlans"]] == [10, 11]
