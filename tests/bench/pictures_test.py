"""Pictures of figures."""
import re
from xml.dom import minidom

import pytest
from bench.report import pictures


def elements(picture, tag):
    return minidom.parseString(picture).getElementsByTagName(tag)


def texts(picture):
    return [one.firstChild.data for one in elements(picture, "text")]


def test_bars_are_as_long_as_their_ratios_and_say_them():
    picture = pictures.bars("Times as <fast>", [("one", 1.0), ("half", 0.5), ("ten", 10.0)])
    assert texts(picture) == ["Times as <fast>", "one", "1.00", "half", "0.50", "ten", "10.00", "→",
                              "as fast as the peer"]
    wide = [float(one.getAttribute("width")) for one in elements(picture, "rect")]
    assert wide[1] == pytest.approx(wide[0] / 2, abs=0.1)
    assert wide[2] == pytest.approx(4 * wide[0], abs=0.4)  # cut
    assert [one.getAttribute("class") for one in elements(picture, "rect")] == ["a", "b", "a"]
    # The line at 1 stands where a bar of 1 ends.
    line = elements(picture, "line")[0]
    assert float(line.getAttribute("x1")) == pytest.approx(pictures.LEFT + wide[0], abs=0.1)


def test_curves_rise_with_their_values_and_names_keep_apart():
    picture = pictures.curves("Title", "ns", [10, 1000], {"low": [1.0, 20.0], "flat": [5.0, 20.5],
                                                          "high": [10.0, 100.0]})
    points = {name: [tuple(map(float, point.split(","))) for point in
                     line.getAttribute("points").split()]
              for name, line in zip(["low", "flat", "high"], elements(picture, "polyline"))}
    assert points["low"][0][1] > points["flat"][0][1] > points["high"][0][1]
    assert all(line[0][0] < line[1][0] for line in points.values())
    places = [float(one.getAttribute("y")) for one in elements(picture, "text")
              if one.firstChild.data in points]
    assert all(above - below >= 15 for above, below in zip(places, places[1:]))
    assert {"10", "1,000", "ns", "Title"} <= set(texts(picture))


@pytest.mark.parametrize("most, marks", [(1.0, [0, 0.2, 0.4, 0.6, 0.8, 1.0]),
                                         (100.0, [0, 20, 40, 60, 80, 100]),
                                         (83.2, [0, 20, 40, 60, 80, 100]),
                                         (130.0, [0, 50, 100, 150])])
def test_marks_are_round_and_reach_the_largest_value(most, marks):
    assert pictures.steps(most) == pytest.approx(marks)


@pytest.mark.parametrize("picture", [pictures.bars("t", [("a", 1.0)]),
                                     pictures.curves("t", "ns", [1, 2], {"a": [1.0, 2.0]})])
def test_each_has_colours_for_a_light_and_for_a_dark_page(picture):
    style = elements(picture, "style")[0].firstChild.data
    light, dark = style.split("@media (prefers-color-scheme: dark)")
    used = set(re.findall(r'class="(\w+)"', picture))
    assert used and all(f".{name} {{" in light for name in used)
    assert all(f".{name} {{" in dark for name in used - {"title"})
    assert "text {" in light and "text {" in dark
