"""The tables of the page: what a search becomes, and what a running switch answers to it."""
import pytest

from pcsim_web.problems import Problem
from pcsim_web.table_list import TABLES
from pcsim_web.tables import MOST_ROWS, line_of, page_of


def line(table, search="", **others):
    return line_of({"table": table, "search": search, **others}).line


def ask(switch, table, search="", **others):
    """What the page gets."""
    asked = line_of({"table": table, "search": search, **others})
    return page_of(asked, switch.run(asked.line).data)


SEARCHES = (
    ("mac", "", "show fdb limit 100 from 0"),
    ("mac", "00:11:2", "show fdb mac 00:11:2 limit 100 from 0"),
    ("mac", "AA-BB", "show fdb mac aa:bb limit 100 from 0"),
    ("mac", "0", "show fdb mac 0 limit 100 from 0"),
    ("mac", "00:", "show fdb mac 00: limit 100 from 0"),
    ("mac", "00:11:22:33:44:55", "show fdb mac 00:11:22:33:44:55 limit 100 from 0"),
    ("mac", " VLAN 10  00 port 1:2 ", "show fdb mac 00 vlan 10 port 1:2 limit 100 from 0"),
    ("mac", "trunk 3", "show fdb trunk 3 limit 100 from 0"),
    ("routes4", "", "show route within 0.0.0.0/0 limit 100 from 0"),
    ("routes4", "10.1.2.3", "show route 10.1.2.3 limit 100 from 0"),
    ("routes4", "10.0.0.0/8", "show route within 10.0.0.0/8 limit 100 from 0"),
    ("routes4", "10.9.9.9/8", "show route within 10.0.0.0/8 limit 100 from 0"),
    ("routes4", "vr 2", "show route within 0.0.0.0/0 vr 2 limit 100 from 0"),
    ("routes4", "vr 2 10.0.0.0/8", "show route within 10.0.0.0/8 vr 2 limit 100 from 0"),
    ("routes6", "", "show route within ::/0 limit 100 from 0"),
    ("routes6", "2001:DB8::1", "show route 2001:db8::1 limit 100 from 0"),
    ("routes6", "2001:db8::/32", "show route within 2001:db8::/32 limit 100 from 0"),
    ("neighbors", "", "show neighbors limit 100 from 0"),
    ("neighbors", "10.0.0.1", "show neighbors within 10.0.0.1/32 limit 100 from 0"),
    ("gateways", "10.0.0.0/24", "show neighbors within 10.0.0.0/24 limit 100 from 0"),
    ("multicast", "225.1.1.1", "show mcast group 225.1.1.1 limit 100 from 0"),
    ("vlans", "", "show vlans limit 100 from 0"),
    ("vlans", "1:1", "show vlans"),
    ("rules", "web", "show acl web limit 100 from 0"),
    ("acls", "", "show acl limit 100 from 0"),
    ("devices", "psu > x | y", "show devices"),
)


@pytest.mark.parametrize("table, search, wanted", SEARCHES)
def test_a_search_becomes_words_of_the_line(table, search, wanted):
    assert line(table, search) == wanted


def test_a_page_is_a_part_of_the_line():
    assert line("mac", **{"from": 900, "count": 50}) == "show fdb limit 50 from 900"


# What would be another line, if the text of a search ever came into one.
INJECTED = ("x > /tmp/x", "00 > x", "00>x", "00 | count", "00\" > x", "$x", "$$", "00 ; vlan create 9",
            "limit 1", "from 3", "00 limit 9", "00 00", "vlan", "vlan 10 vlan 11", "vlan 0",
            "vlan 4095", "vlan x", "vlan 10>x", "port 1:1>x", "port 1", "port 1:x", "trunk 129",
            "00:11:22:33:44:55:66", "0:1", "gg", "--json", "-x", "00 --json", "?", "# x", "\\", "'",
            "1٣", "vlan ١", "show", "stats", "a" * 101)

NAMES = ("gg", "show", "stats", "vlan", "00:11:22:33:44:55:66", "0:1")  # an access list can have


@pytest.mark.parametrize("search", INJECTED)
@pytest.mark.parametrize("table", [name for name, table in TABLES.items() if table.hint
                                   and not table.hint.startswith("a text")])
def test_what_is_no_search_never_comes_into_a_line(table, search):
    if table == "rules" and search in NAMES:
        assert line(table, search) == f"show acl {search} limit 100 from 0"
        return
    with pytest.raises(Problem) as refused:
        line(table, search)
    assert "expected" in str(refused.value) and "\n" not in str(refused.value)


@pytest.mark.parametrize("search", INJECTED)
@pytest.mark.parametrize("table", ["vlans", "devices", "environment", "operations"])
def test_a_text_is_looked_for_here(table, search):
    if len(search) > 100:
        with pytest.raises(Problem):
            line(table, search)
    else:
        assert line(table, search) == TABLES[table].line


@pytest.mark.parametrize("search", ["fe80::1%eth0", "2001:db8::1/129", "10.0.0.1", "::/0/0", ":::"])
def test_what_is_no_ipv6(search):
    with pytest.raises(Problem, match="is no address or prefix; expected for example"):
        line("routes6", search)


@pytest.mark.parametrize("search", ["10.0.0.256", "10.0.0.0/33", "10.0.0.0/255.0.0.0", "10.0.0",
                                    "2001:db8::1", "010.0.0.1"])
def test_what_is_no_ipv4(search):
    with pytest.raises(Problem, match="is no address or prefix; expected for example"):
        line("routes4", search)


@pytest.mark.parametrize("message, problem", [
    ({"table": "users"}, "there is no table 'users'; expected mac, "),
    ({}, "'table' is missing"),
    ({"table": "mac", "from": -1}, "'from' is no number that can be; expected one from 0"),
    ({"table": "mac", "from": "0 > x"}, "'from' is no number"),
    ({"table": "mac", "from": float("nan")}, "'from' is no number"),
    ({"table": "mac", "count": MOST_ROWS + 1}, "expected one from 1 to 500"),
    ({"table": "mac", "search": 5}, "'search' is missing or no line"),
    ({"table": "mac", "search": "00\nvlan create 9"}, "'search' is missing or no line"),
    ({"table": "rules"}, "an access list has to be chosen; expected its name"),
    ({"table": "acls", "search": "x"}, "this table has no search; expected an empty field")])
def test_what_can_not_be_asked(message, problem):
    with pytest.raises(Problem) as refused:
        line_of(message)
    assert str(refused.value).startswith(problem) or problem in str(refused.value)


def test_every_table_of_a_switch_that_has_just_begun(switch):
    for name in TABLES:
        if name != "rules":
            page = ask(switch, name)
            assert page["total"] >= page["shown"] == len(page["rows"]), name
            assert all(len(row) == len(page["columns"]) for row in page["rows"]), name
            # A column that no row has is one that is called otherwise by the switch.
            if page["rows"] and name not in ("timers", "interfaces"):
                missing = [column["title"] for number, column in enumerate(page["columns"])
                           if all(row[number] is None for row in page["rows"])]
                assert not missing, f"{name}: {missing}"


def test_pages_of_the_mac_table(switch):
    switch.run("vlan create 10-11")
    switch.run("vlan 10-11 add 1:1")
    for number in range(20):
        switch.run(f"fdb add 02:00:00:00:00:{number:02x} vlan {10 + number % 2} port 1:1")
    page = ask(switch, "mac", "vlan 11", **{"from": 4, "count": 3})
    assert [row[0] for row in page["rows"]] == [f"02:00:00:00:00:{n:02x}" for n in (9, 11, 13)]
    assert (page["from"], page["shown"], page["total"]) == (4, 3, 10)
    assert page["line"] == "show fdb vlan 11 limit 3 from 4"
    assert page["columns"][2] == {"title": "Port", "kind": "port"}
    assert ask(switch, "mac", "02:00:00:00:00:1")["total"] == 4
    assert ask(switch, "mac", **{"from": 99})["rows"] == []


def test_pages_of_routes_count_routes(switch):
    for number in range(5):
        switch.run(f"route add 10.{number}.0.0/16 via 10.9.0.1 vlan 5 via 10.9.0.2 vlan 5")
    switch.run("route add 2001:db8::/32 via fe80::1 vlan 5")
    page = ask(switch, "routes4", "10.0.0.0/8", count=2)
    assert [row[0] for row in page["rows"]] == ["10.0.0.0/16"] * 2 + ["10.1.0.0/16"] * 2
    assert (page["shown"], page["total"], page["cut"]) == (2, 5, 0)
    assert page["says"] == "within 10.0.0.0/8"
    assert [row[0] for row in ask(switch, "routes4", "10.3.7.7")["rows"]] == ["10.3.0.0/16"] * 2
    assert ask(switch, "routes6")["rows"] == [["2001:db8::/32", 0, "fe80::1", 5]]
    assert ask(switch, "gateways")["rows"] == [["10.9.0.1", 0, 5, 5], ["10.9.0.2", 0, 5, 5]]


def test_a_route_with_thousands_of_next_hops_is_cut(switch):
    hops = " ".join(f"via 10.9.{n // 200}.{n % 200 + 1} vlan 5" for n in range(600))
    switch.run(f"route add 10.0.0.0/8 {hops}")
    page = ask(switch, "routes4")
    assert (len(page["rows"]), page["shown"], page["total"], page["cut"]) == (500, 1, 1, 100)


def test_rules_and_bindings_of_access_lists(switch):
    switch.run("vlan create 10")
    switch.run("vlan 10 add 1:1")
    switch.run("acl rule web first permit proto tcp dport 80")
    switch.run("acl rule web rest deny")
    switch.run("acl commit web")
    switch.run("acl bind web vlan 10 port 1:1 slot 0")
    assert ask(switch, "acls")["rows"] == [["web", 2, 0, 1]]
    assert [row[:3] for row in ask(switch, "rules", "web")["rows"]] == [
        [1, "first", "permit"], [2, "rest", "deny"]]
    assert ask(switch, "bindings")["rows"] == [[10, "1:1", 0, "web", "stored"]]


def test_short_tables_are_searched_here(switch):
    switch.run("vlan create 10-19")
    assert [row[0] for row in ask(switch, "vlans", "19")["rows"]] == [19]
    assert ask(switch, "vlans", "1", count=3, **{"from": 8})["total"] == 10
    assert [row[0] for row in ask(switch, "environment", "FAN")["rows"]] == [
        "fan 0", "fan 1", "fan 2", "fan 3"]
    assert {row[0] for row in ask(switch, "poe-ports", "1:2")["rows"]} == {"1:2"}


def test_times_have_columns_when_they_are_taken(switch):
    titles = [column["title"] for column in ask(switch, "sums")["columns"]]
    assert titles == ["Table", "Operations", "Called", "Never", "Calls", "Failures", "Nulls"]
    switch.run("times on")
    switch.run("sleep 2000")
    assert [column["title"] for column in ask(switch, "sums")["columns"]] == [
        *titles, "Time in all", "Longest"]
    assert " operations were called, " in ask(switch, "never")["note"]
    assert ask(switch, "operations", "LinkInfo")["total"] > 0
