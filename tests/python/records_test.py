"""Answers as dataclasses: keys of a later pcsim don't hurt, missing ones are told."""
import pytest
from pcsim import Counters, Event, Fan, NotFound, ProtocolError, Status
from pcsim.records import row, rows

FAN = {"fan": 2, "state": "present", "rpm": 10002, "setPercent": None, "temperature": 2502,
       "odometer": 20}


def test_fields_are_called_as_keys():
    fan = Fan.of(FAN)
    assert (fan.fan, fan.rpm, fan.set_percent, fan.temperature) == (2, 10002, None, 2502)
    assert fan.more == {}


def test_unknown_keys_are_kept_aside():
    fan = Fan.of({**FAN, "colour": "red"})
    assert fan.more == {"colour": "red"}
    assert "colour" not in repr(fan)


@pytest.mark.parametrize("data, text", [
    ({"fan": 2}, "a Fan has 'state', but got {'fan': 2}"),
    (None, "expected a Fan but got None"),
    ([FAN], r"expected a Fan but got \["),
])
def test_what_is_no_record_is_refused(data, text):
    with pytest.raises(ProtocolError, match=text):
        Fan.of(data)


def test_rows_come_from_their_sections():
    assert [fan.fan for fan in rows(Fan, "fans")({"fans": [FAN, {**FAN, "fan": 3}]})] == [2, 3]
    assert row(Fan, "fans", "fan", 2)({"fans": [FAN]}) == Fan.of(FAN)
    with pytest.raises(NotFound, match="^there is no fan 9; there are 2$"):
        row(Fan, "fans", "fan", 9)({"fans": [FAN]})
    with pytest.raises(NotFound, match="^there is no fan 9; there are none$"):
        row(Fan, "fans", "fan", 9)({"fans": []})


def test_keys_of_several_words():
    status = Status.of({"name": "a", "pid": 1, "shape": "stack", "timeMs": 5, "stopped": True,
                        "upMs": 7, "ports": 4, "portsUp": 3})
    assert (status.time_ms, status.up_ms, status.ports_up) == (5, 7, 3)
    names = ("port", "rxPackets", "rxBytes", "rxMulticast", "rxErrors", "rxFrameErrors",
             "txPackets", "txBytes", "txErrors", "txDrops", "collisions")
    counters = Counters.of(dict(zip(names, ["1:1", *range(10)])))
    assert counters.rx_packets == 0 and counters.rx_frame_errors == 4 and counters.collisions == 9


def test_events_read_as_in_the_log():
    event = Event.of({"number": 15, "timeMs": 1000, "source": "port", "text": "Port 1:1 link up"})
    assert str(event) == "[    1.000] port      Port 1:1 link up"
