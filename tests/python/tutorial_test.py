"""The tests of docs/testing-with-python.md are run as they stand there."""
import re
from pathlib import Path

import pytest

pytestmark = pytest.mark.usefixtures("lab")

TEXT = (Path(__file__).resolve().parents[2] / "docs" / "testing-with-python.md").read_text()
BLOCKS = re.findall(r"^```python\n(.*?)^```", TEXT, re.DOTALL | re.MULTILINE)


@pytest.fixture(name="run")
def runner(pytester, monkeypatch, request):
    """Runs files of tests."""
    monkeypatch.setenv("PYTHONPATH", str(request.config.rootpath.parents[1] / "python"))

    def run(**files):
        pytester.makepyfile(**files)
        return pytester.runpytest_subprocess("-p", "pcsim.pytest_plugin", "-p", "no:cacheprovider",
                                             "-v", timeout=100)
    return run


def test_there_are_ten():
    titles = re.findall(r"^## (\d+)\. ", TEXT, re.MULTILINE)
    assert titles == [str(number) for number in range(1, 11)] and len(BLOCKS) == 10


@pytest.mark.parametrize("number", range(1, len(BLOCKS) + 1))
def test_they_pass(run, number):
    result = run(**{f"test_{number}": BLOCKS[number - 1]})
    outcomes = result.parseoutcomes()
    assert set(outcomes) == {"passed"} and outcomes["passed"] >= 1, result.stdout.str()


def shown(lines):
    """The lines of a text block as patterns; dots stand for what differs."""
    pattern = "\n".join(lines).replace("python-4711-1", "*")
    return ["*" if line == "..." else re.sub(r"^-+|-+$|=+", "*", line.replace("[", "[[]"))
            .replace("...", "*") for line in pattern.split("\n")]


def test_a_failed_one_looks_as_shown(run):
    shown_as = 'assert [port.link for port in switch.ports()] == ["up", "down", "up", "up"]'
    assert shown_as in BLOCKS[1]
    result = run(test_fails=BLOCKS[1].replace(shown_as, "assert switch.port('1:2').link == 'up'"))
    blocks = re.findall(r"(?:^    .*\n)+", TEXT.split("## When a test fails")[1], re.MULTILINE)
    for block in blocks:
        lines = [line[4:] for line in block.rstrip("\n").split("\n")]
        result.stdout.fnmatch_lines(shown(lines))
