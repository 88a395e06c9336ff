"""Fixtures of all tests that start pcsim from Python."""
import os
import subprocess
from pathlib import Path

import pytest
from pcsim.places import find_program

os.environ.setdefault("PCSIM", find_program())


@pytest.fixture(scope="session", autouse=True)
def run_folder(tmp_path_factory):
    """Sockets of the tests stand apart from those of whoever runs them."""
    folder = tmp_path_factory.mktemp("run")
    with pytest.MonkeyPatch.context() as patch:
        patch.setenv("PCSIM_RUN_DIR", str(folder))
        yield folder


@pytest.fixture(scope="session")
def lab():
    """Ends the run as skipped where no lab can be made, and as failed where it is not built."""
    program = Path(os.environ["PCSIM"]).resolve().with_name("pcsim-nics")
    done = subprocess.run([program, "--ports", "1", "--", "true"], capture_output=True, text=True,
                          check=False)
    if done.returncode != 0:
        pytest.exit(f"skipped: this machine cannot make a network namespace: {done.stderr}", 77)
