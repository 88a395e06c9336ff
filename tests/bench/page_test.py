"""The parts of a page that the benchmarks write."""
from pathlib import Path

import pytest
from bench.report import page
from bench.report.figures import Series


BEGIN = page.begin("all")
OTHER = f"{page.begin('fdb')}\nother\n{page.END}\n"


def test_what_stands_between_the_marks_is_replaced_and_nothing_else():
    text = f"# Title\n\n{OTHER}{BEGIN}\nold\n\n{page.END}\n\n## After\n"
    once = page.replaced(text, "all", "new")
    assert once == f"# Title\n\n{OTHER}{BEGIN}\nnew\n{page.END}\n\n## After\n"
    assert page.replaced(once, "all", "new") == once


@pytest.mark.parametrize("text", [
    "", OTHER, BEGIN, page.END, page.END + BEGIN, BEGIN + page.END + BEGIN + page.END,
    BEGIN + OTHER])
def test_a_page_without_a_place_is_refused(text):
    with pytest.raises(ValueError, match="the page has no place for all; expected '<!--"):
        page.replaced(text, "all", "new")


@pytest.mark.parametrize("name", ["all", "fdb", "routes", "mcast", "acl", "stats", "trace", "probe",
                                  "doors"])
def test_the_page_of_the_tree_has_its_places(name):
    text = (Path(__file__).parents[2] / "docs" / "performance.md").read_text()
    assert "new" in page.replaced(text, name, "new")


def test_a_report_is_as_it_was_printed():
    assert page.verbatim("\n  a   b\n  1   2\n\n") == "```\n  a   b\n  1   2\n```"
    assert page.verbatim("\n| a |\n|---|\n| 1 |\n\n") == "| a |\n|---|\n| 1 |"


def test_a_row_tells_median_and_spread():
    assert page.ratio_table([Series("Routes", "add", "AVL set", [0.5, 0.25, 1.0])]) == (
        "| what | step | peer | times as fast | spread |\n"
        "|---|---|---|---|---|\n"
        "| Routes | add | AVL set | 0.50 | 0.25 to 1.00 |")
