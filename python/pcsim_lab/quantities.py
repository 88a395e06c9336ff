"""Numbers with units, as people write them for cables: 10mbit, 5ms, 0.5 %."""
from __future__ import annotations

import re
from typing import Any, Callable, Mapping

RATES = {"bit": 1, "kbit": 10**3, "mbit": 10**6, "gbit": 10**9}
TIMES = {"us": 1, "ms": 10**3, "s": 10**6}
LONGEST = 60 * 10**6


def quantity(text: str, units: dict[str, int]) -> float | None:
    """The number in its smallest unit, None where it is none."""
    found = re.fullmatch(r"(\d+(?:\.\d+)?)\s*([a-z]+)", text.strip().lower())
    if not found or found[2] not in units:
        return None
    return float(found[1]) * units[found[2]]


def rate(text: str) -> int:
    """In bit/s. ValueError with what was expected, here and below."""
    found = quantity(text, RATES)
    if found is None or not 8000 <= found <= 30 * 10**9:
        raise ValueError("a rate from 8kbit to 30gbit, such as 10mbit")
    return round(found)


def delay(text: str) -> int:
    """In us."""
    found = quantity(text, TIMES)
    if found is None or found > LONGEST:
        raise ValueError("a time of at most 60s, such as 5ms")
    return round(found)


def loss(text: str) -> float:
    """In per cent."""
    found = re.fullmatch(r"(\d+(?:\.\d+)?)\s*%?", text.strip())
    if not found or float(found[1]) > 100:
        raise ValueError("a loss from 0 to 100 %, such as 0.5%")
    return float(found[1])


PARSERS = {"rate": rate, "delay": delay, "jitter": delay, "loss": loss}


def word_of(*words: str) -> Callable[[str], str]:
    """One of these."""
    def read(text: str) -> str:
        if text not in words:
            raise ValueError(", ".join(words[:-1]) + f" or {words[-1]}")
        return text
    return read


CARRIES = {"speed": word_of("10", "100", "auto"), "duplex": word_of("half", "full", "auto")}


def shown(value: float, units: dict[str, int]) -> str:
    """The shortest writing of a number in its smallest unit."""
    unit, size = max(((unit, size) for unit, size in units.items() if size <= max(value, 1)),
                     key=lambda pair: pair[1])
    return f"{value / size:g}{unit}"


def shaping_words(rate_bits: int, delay_us: int, jitter_us: int, loss_percent: float) -> str:
    """What a cable does, in the words in which it is asked for."""
    parts = [f"rate {shown(rate_bits, RATES)}" if rate_bits else "",
             f"delay {shown(delay_us, TIMES)}" if delay_us else "",
             f"jitter {shown(jitter_us, TIMES)}" if jitter_us else "",
             f"loss {loss_percent:g}%" if loss_percent else ""]
    return " ".join(filter(None, parts))


def limits(link: Mapping[str, Any]) -> str:
    """All that a cable does and doesn't carry, of how it is told."""
    carries = [f"{name} {link[name]}" for name in CARRIES if link[name] != "auto"]
    shaping = shaping_words(link["rate"], link["delay"], link["jitter"], link["loss"])
    return " ".join(filter(None, [shaping, *carries]))
