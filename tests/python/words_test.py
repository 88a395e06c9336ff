"""How values become words of a line, and which ones no line can carry."""
from ipaddress import ip_address, ip_network

import pytest
from pcsim import words


@pytest.mark.parametrize("value, written", [
    ("1:1", "1:1"),
    (10, "10"),
    (-1, "-1"),
    ("239.1.1.1", "239.1.1.1"),
    (ip_address("fe80::1"), "fe80::1"),
    (ip_network("10.1.0.0/16"), "10.1.0.0/16"),
    ("*", "*"),
    ("pcSim*Fdb*", "pcSim*Fdb*"),
    ("", '""'),
    ("two words", '"two words"'),
    ("#1", '"#1"'),
    ("a|b", '"a|b"'),
    ("a>b", '"a>b"'),
    ("it's", '"it\'s"'),
    ("$HOME", '"$$HOME"'),
    ("Gerät", '"Gerät"'),
])
def test_a_value_is_one_word(value, written):
    assert words.word(value) == written


@pytest.mark.parametrize("value", ['say "hi"', "two\nlines", "nul\0", "tab\t", "\x7f", "\udcff"])
def test_values_that_no_line_can_carry_are_refused(value):
    with pytest.raises(ValueError, match="can't stand in a line; expected a text without quotes"):
        words.word(value)


def test_a_truth_is_no_value():
    with pytest.raises(ValueError, match="True is no value of a line; expected a text or a number"):
        words.word(True)


def test_lines_leave_out_what_is_not_there():
    assert words.line("vlan", 10, "add", "1:1", None) == "vlan 10 add 1:1"
    assert words.line("show", *words.option("limit", None), *words.option("vr", 0)) == "show vr 0"


def test_a_written_line_stays_as_it_is():
    assert words.one_line('wait event "a b" # so') == 'wait event "a b" # so'
    with pytest.raises(ValueError, match=r"'\\n' can't stand in a line; run several lines with"):
        words.one_line("a\nb")


def test_seconds_become_ms():
    assert words.milliseconds(3) == 3000
    assert words.milliseconds(0.0015) == 2
    for bad in (-1, float("nan"), float("inf")):
        with pytest.raises(ValueError, match="is not a time; expected seconds from 0 up"):
            words.milliseconds(bad)


def test_conditions_take_networks_as_a_whole():
    where = {"slot": 2, "address": ip_network("10.0.0.0/8"), "port": "1:1"}
    assert words.line(*words.conditions(where)) == (
        "where slot 2 where address within 10.0.0.0/8 where port 1:1")


def test_next_hops_may_be_one_or_many():
    assert words.line(*words.hops(("10.0.0.1", 5))) == "via 10.0.0.1 vlan 5"
    assert words.line(*words.hops([("10.0.0.1", 5), ("10.0.0.2", 6)])) == (
        "via 10.0.0.1 vlan 5 via 10.0.0.2 vlan 6")
    assert words.line(*words.hops((("10.0.0.1", 5), ("10.0.0.2", 6)))) == (
        "via 10.0.0.1 vlan 5 via 10.0.0.2 vlan 6")
    assert words.hops(()) == []
