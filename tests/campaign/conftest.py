"""What the tests of campaigns share."""
import stat
import sys
from pathlib import Path

import pytest
from pcsim.campaign.runs import Job, Key, Setup

pytest_plugins = ["pcsim_fixtures"]


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A working directory of the test's own."""
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture
def instead(folder):
    """Makes a program that stands where pcsim would, of the body of a shell script."""
    def make(body):
        program = folder / "instead"
        program.write_text(f"#!/bin/sh\n{body}\n")
        program.chmod(program.stat().st_mode | stat.S_IXUSR)
        return Setup(str(program), "scenario.pcsim", str(folder), timeout=20.0, campaign="test")
    return make


@pytest.fixture
def job():
    """Any run."""
    return Job(Key("none", 1, "stack", "library"))


@pytest.fixture
def write(folder):
    """Writes a file of lines, and tells its name."""
    def make(name, *lines):
        (folder / name).write_text("".join(f"{line}\n" for line in lines))
        return name
    return make


def python_path():
    """What a Python of its own needs to find the package."""
    return {"PYTHONPATH": str(Path(__file__).resolve().parents[2] / "python"),
            "PYTHONDONTWRITEBYTECODE": "1", "PYTHON": sys.executable}
