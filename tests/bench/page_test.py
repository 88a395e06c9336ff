"""The part of a page that the benchmarks write."""
from pathlib import Path

import pytest
from bench.report import page
from bench.report.figures import Series


def test_what_stands_between_the_marks_is_replaced_and_nothing_else():
    text = f"# Title\n\n{page.BEGIN}\nold\n\n{page.END}\n\n## After\n"
    once = page.replaced(text, "new")
    assert once == f"# Title\n\n{page.BEGIN}\nnew\n{page.END}\n\n## After\n"
    assert page.replaced(once, "new") == once


@pytest.mark.parametrize("text", ["", page.BEGIN, page.END, page.END + page.BEGIN,
                                  page.BEGIN + page.END + page.BEGIN])
def test_a_page_without_a_place_is_refused(text):
    with pytest.raises(ValueError, match="the page has no place for the figures; expected '<!--"):
        page.replaced(text, "new")


def test_the_page_of_the_tree_has_its_place():
    text = (Path(__file__).parents[2] / "docs" / "performance.md").read_text()
    assert "new" in page.replaced(text, "new")


def test_a_row_tells_median_and_spread():
    assert page.ratio_table([Series("Routes", "add", "AVL set", [0.5, 0.25, 1.0])]) == (
        "| what | step | peer | times as fast | spread |\n"
        "|---|---|---|---|---|\n"
        "| Routes | add | AVL set | 0.50 | 0.25 to 1.00 |")
