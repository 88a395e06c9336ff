"""Pictures of figures, drawn by the real gnuplot."""
import re
from xml.dom import minidom

import pytest
from bench.report import pictures


def elements(picture, tag):
    return minidom.parseString(picture).getElementsByTagName(tag)


def texts(picture):
    return [one.firstChild.data for one in elements(picture, "text")]


def place(picture, text):
    """Where the text stands, as (x, y)."""
    words = next(one for one in elements(picture, "text") if one.firstChild.data == text)
    return [float(number) for number in
            re.search(r"translate\(([\d.]+),([\d.]+)\)", words.parentNode.getAttribute("transform")).groups()]


def boxes(picture):
    """The bars from the topmost, as (colour, width)."""
    found = []
    for one in elements(picture, "polygon"):
        points = [tuple(map(float, point.split(","))) for point in one.getAttribute("points").split()]
        xs, ys = zip(*points)
        colour = re.search(r"--(\w+)", one.getAttribute("style"))[1]
        found.append((min(ys), colour, max(xs) - min(xs)))
    return [(colour, width) for _, colour, width in sorted(found)]


def test_bars_are_as_long_as_their_ratios_and_say_them():
    picture = pictures.bars("Times as <fast>", [("one", 1.0), ("half's", 0.5), ("ten", 10.0)])
    assert set(texts(picture)) == {"Times as <fast>", "one", "1.00", "half's", "0.50", "ten", "10.00 →",
                                   "as fast as the peer"}
    (_, one), (_, half), (_, ten) = boxes(picture)
    assert half == pytest.approx(one / 2, abs=0.1)
    assert ten == pytest.approx(4 * one, abs=0.1)  # cut
    assert [colour for colour, _ in boxes(picture)] == ["a", "b", "a"]
    # Each name stands beside its bar.
    assert place(picture, "one")[1] < place(picture, "half's")[1] < place(picture, "ten")[1]


def test_curves_rise_with_their_values_and_names_keep_apart():
    picture = pictures.curves("Title", "ns", [10, 1000], {"low": [1.0, 20.0], "flat": [5.0, 20.5],
                                                          "high": [10.0, 100.0]})
    assert {"10", "1,000", "ns", "Title"} <= set(texts(picture))
    low, flat, high = (place(picture, name)[1] for name in ("low", "flat", "high"))
    assert low - flat >= 15 and flat - high >= 100
    ends = {}
    for one in elements(picture, "path"):
        colour = re.search(r"--([abc])\)", one.getAttribute("style"))
        points = re.findall(r"[ML]([\d.]+),([\d.]+)", one.getAttribute("d"))
        if colour and len(points) == 2:
            ends[colour[1]] = [(float(x), float(y)) for x, y in points]
    assert sorted(ends) == ["a", "b", "c"]
    assert all(left[0] < right[0] and left[1] > right[1] for left, right in ends.values())
    assert ends["a"][0][1] > ends["b"][0][1] > ends["c"][0][1]


@pytest.mark.parametrize("picture", [pictures.bars("t", [("a", 1.0), ("b", 0.1)]),
                                     pictures.curves("t", "ns", [1, 2], {"a": [1.0, 2.0]})])
def test_each_has_colours_for_a_light_and_for_a_dark_page(picture):
    light, dark = elements(picture, "style")[0].firstChild.data.split("@media (prefers-color-scheme: dark)")
    used = set(re.findall(r"var\((--\w+)\)", picture))
    assert len(used) > 2 and all(f"{name}: #" in light and f"{name}: #" in dark for name in used)
    assert not re.search(r'(fill|stroke) *= *["\']rgb', picture)


def test_the_same_figures_make_the_same_picture():
    assert len({pictures.bars("t", [("a", 1.5)]) for _ in range(3)}) == 1
