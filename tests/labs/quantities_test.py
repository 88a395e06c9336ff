"""What cables do, in words and numbers."""
import pytest
from pcsim_lab import quantities


@pytest.mark.parametrize("parse, text, value", [
    (quantities.rate, "8kbit", 8000), (quantities.rate, "10Mbit", 10_000_000),
    (quantities.rate, "2.5 gbit", 2_500_000_000), (quantities.rate, "30gbit", 30 * 10**9),
    (quantities.delay, "5ms", 5000), (quantities.delay, "0us", 0), (quantities.delay, "60s", 60 * 10**6),
    (quantities.loss, "0.5%", 0.5), (quantities.loss, "100", 100.0), (quantities.loss, "1 %", 1.0)])
def test_a_quantity(parse, text, value):
    assert parse(text) == value


@pytest.mark.parametrize("parse, text, expected", [
    (quantities.rate, "10", "a rate from 8kbit to 30gbit, such as 10mbit"),
    (quantities.rate, "7kbit", "a rate from 8kbit to 30gbit, such as 10mbit"),
    (quantities.rate, "31gbit", "a rate from 8kbit to 30gbit, such as 10mbit"),
    (quantities.delay, "5", "a time of at most 60s, such as 5ms"),
    (quantities.delay, "61s", "a time of at most 60s, such as 5ms"),
    (quantities.delay, "-1ms", "a time of at most 60s, such as 5ms"),
    (quantities.loss, "101", "a loss from 0 to 100 %, such as 0.5%"),
    (quantities.loss, "much", "a loss from 0 to 100 %, such as 0.5%")])
def test_what_is_none(parse, text, expected):
    with pytest.raises(ValueError) as raised:
        parse(text)
    assert str(raised.value) == expected


def test_words_are_those_that_are_asked_for():
    assert quantities.shaping_words(0, 0, 0, 0) == ""
    assert quantities.shaping_words(10**7, 5000, 500, 0.5) \
        == "rate 10mbit delay 5ms jitter 500us loss 0.5%"
    assert quantities.shaping_words(8000, 1_500_000, 0, 0) == "rate 8kbit delay 1.5s"
