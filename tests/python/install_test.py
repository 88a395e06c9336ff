"""The package can be installed by pip without a network, and is then the program's version."""
import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

FOLDER = Path(__file__).resolve().parents[2] / "python"


@pytest.fixture(scope="module", name="python")
def installed(tmp_path_factory):
    """A Python of its own with the package in it."""
    folder = tmp_path_factory.mktemp("install")
    # pip leaves its work beside the sources.
    shutil.copytree(FOLDER, folder / "python", ignore=shutil.ignore_patterns("__pycache__"))
    run([sys.executable, "-m", "venv", "--system-site-packages", folder / "venv"])
    python = folder / "venv" / "bin" / "python"
    run([python, "-m", "pip", "install", "--quiet", "--no-index", "--no-build-isolation",
         "--no-deps", folder / "python"])
    return python


def run(command):
    """What it prints."""
    environment = {key: value for key, value in os.environ.items() if key != "PYTHONPATH"}
    done = subprocess.run(command, capture_output=True, text=True, check=False, env=environment,
                          cwd="/")
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout.strip()


def told(program):
    """What it says of its version: its name, and the rest, which is the same of all programs."""
    name, _, rest = run([program, "--version"]).partition(" ")
    return name, rest


def test_the_version_is_that_of_pcsim(python):
    version = told(os.environ["PCSIM"])[1].splitlines()[0]
    assert run([python, "-c", "import pcsim; print(pcsim.__version__)"]) == version
    assert run([python, "-m", "pip", "show", "pcsim"]).splitlines()[1] == f"Version: {version}"


def test_types_come_along(python):
    where = run([python, "-c", "import pcsim; print(pcsim.__path__[0])"])
    assert "site-packages" in where
    assert (Path(where) / "py.typed").exists()


def test_its_programs_come_along(python):
    for name in "pcsim-campaign", "pcsim-lab", "pcsim-web":
        assert told(python.with_name(name)) == (name, told(os.environ["PCSIM"])[1])


def test_the_page_comes_along(python):
    where = Path(run([python, "-c", "import pcsim_web; print(pcsim_web.__path__[0])"]))
    assert "site-packages" in str(where)
    source = FOLDER / "pcsim_web"
    assert {path.relative_to(where) for path in where.rglob("*") if "__pycache__" not in str(path)
            } == {path.relative_to(source) for path in source.rglob("*")
                  if "__pycache__" not in str(path)}


def test_labs_have_their_program(python):
    said = run([python.with_name("pcsim-lab"), "--help"])
    assert said.startswith("usage: pcsim-lab ")
