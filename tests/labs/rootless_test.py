"""A user without rights has labs, too."""
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import pytest
from conftest import NO_NAMESPACES, PROGRAM
from pcsim.places import find_program

USER = 65533  # nobody's
LAB = """\
name: mine
topology:
  nodes:
    sw: {kind: pcsim, ports: 2}
    h: {kind: linux, exec: ["ip address add 10.0.0.1/24 dev eth1"]}
  links:
    - endpoints: ["sw:eth1", "h:eth1"]
"""


@pytest.fixture
def user():
    """Runs the program as that user, from a folder of his own."""
    if os.geteuid() != 0:
        pytest.skip("this is no root, so all the other tests are rootless")
    folder = Path(tempfile.mkdtemp(prefix="rootless"))
    folder.chmod(0o755)
    # The tree need not be open to others.
    shutil.copytree(PROGRAM.parent, folder / "python", ignore=shutil.ignore_patterns("__pycache__"))
    programs = Path(find_program()).resolve().parent
    for name in ("pcsim", "pcsimctl", "libpcsimulation.so.0"):
        shutil.copy(programs / name, folder / name)
    home = folder / "home"
    home.mkdir()
    try:
        os.chown(home, USER, USER)
    except OSError:
        shutil.rmtree(folder)
        pytest.exit("skipped: there is no other user here", NO_NAMESPACES)
    (home / "lab.yml").write_text(LAB)
    environment = {"PATH": os.environ["PATH"], "HOME": str(home), "PCSIM": str(folder / "pcsim"),
                   "PCSIM_RUN_DIR": str(home / "run"), "PYTHONDONTWRITEBYTECODE": "1"}

    def run(*arguments):
        return subprocess.run(
            ["setpriv", "--reuid", str(USER), "--regid", str(USER), "--clear-groups",
             "--inh-caps=-all", "--bounding-set=-all", sys.executable, folder / "python" / "pcsim_lab",
             *arguments], cwd=home, env=environment, capture_output=True, text=True, timeout=60,
            check=False)
    yield run
    run("down", "--all")
    shutil.rmtree(folder)


def test_a_lab_without_rights(user):
    done = user("up", "lab.yml")
    if done.returncode == NO_NAMESPACES:
        pytest.exit(f"skipped: {done.stderr}", NO_NAMESPACES)
    assert (done.returncode, done.stderr) == (0, "")
    assert "sw:eth1  h:eth1  up" in user("show").stdout
    inside = user("exec", "h", "--", "sh", "-c", "id -u; ip -brief address show eth1; ls -a ~")
    number, *_ = inside.stdout.split()
    assert number == "0" and "10.0.0.1/24" in inside.stdout and "lab.yml" in inside.stdout
    assert "1:1" in user("console", "sw", "show", "ports").stdout
    assert user("link", "sw:eth1", "down").returncode == 0
    assert "pulled" in user("show").stdout
    down = user("down")
    assert (down.returncode, down.stderr) == (0, "")
    assert user("list").stdout == "No lab is up\n"
