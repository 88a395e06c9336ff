"""What the tests of labs share."""
import contextlib
import io
import json
import os
import subprocess
import sys
import time
import traceback
from pathlib import Path

import pytest
from pcsim_lab import namespaces
from pcsim_lab.problems import NoNamespaces
from pcsim_lab.tool import main

PROGRAM = Path(__file__).resolve().parents[2] / "python" / "pcsim_lab"
NO_NAMESPACES = 77

# Two switches and two hosts.
PAIR = """\
name: pair
topology:
  kinds:
    pcsim: {ports: 2}
  nodes:
    sw1: {kind: pcsim}
    sw2: {kind: pcsim}
    h1: {kind: linux, exec: ["ip address add 10.0.0.1/24 dev eth1"]}
    h2: {kind: linux, exec: ["ip address add 10.0.0.2/24 dev eth1", "echo done"]}
  links:
    - endpoints: ["sw1:eth1", "sw2:eth1"]
    - endpoints: ["sw1:eth2", "sw2:eth2"]
    - endpoints: ["h1:eth1", "h2:eth1"]
"""

# Commands that only ask and answer; the others become other programs, or live long.
BRIEF = ("connect", "disconnect", "graph", "link", "list", "show")


def run(*arguments):
    """The program's run; within this process where that makes no difference, since a Python takes
    its time to start."""
    if arguments[0] in BRIEF:
        out, errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(errors):
            status = main(arguments)
        return subprocess.CompletedProcess(arguments, status, out.getvalue(), errors.getvalue())
    return subprocess.run([sys.executable, PROGRAM, *arguments], capture_output=True, text=True,
                          timeout=200, check=False)


def eventually(look, within=30.0):
    """What 'look' returns when it is first true, or at the end."""
    end = time.monotonic() + within
    while not (found := look()) and time.monotonic() < end:
        time.sleep(0.02)
    return found


class Labs:
    """The labs of one test, which end with it."""

    def __init__(self, folder):
        self.folder = folder

    def write(self, text, file="lab.yml"):
        """A lab file."""
        path = self.folder / file
        path.write_text(text, encoding="utf-8")
        return path

    def up(self, text, *options):
        """Brings a lab up; ends the run as skipped where none can be made."""
        done = run("up", str(self.write(text)), *options)
        if done.returncode == NO_NAMESPACES:
            pytest.exit(f"skipped: {done.stderr}", NO_NAMESPACES)
        assert done.returncode == 0, done.stderr
        return done

    @staticmethod
    def ask(*arguments):
        """What a command prints, when it succeeds."""
        done = run(*arguments)
        assert done.returncode == 0, done.stderr
        return done.stdout

    def show(self):
        """The lab that is up."""
        return json.loads(self.ask("show", "--json"))

    def states(self):
        """The states of its cables."""
        return [link["state"] for link in self.show()["links"]]

    def carrier(self, node, interface="eth1"):
        """Whether an interface has carrier, as the node sees it."""
        said = self.ask("exec", node, "--", "ip", "-json", "link", "show", interface)
        return "LOWER_UP" in json.loads(said)[0]["flags"]


@pytest.fixture
def run_folder(tmp_path, monkeypatch):
    """State of the test stands apart from that of whoever runs it."""
    folder = tmp_path / "run"
    monkeypatch.setenv("PCSIM_RUN_DIR", str(folder))
    return folder


@pytest.fixture
def labs(tmp_path, run_folder):
    """The labs of this test."""
    yield Labs(tmp_path)
    done = run("down", "--all")
    assert done.returncode == 0, done.stderr
    assert not list((run_folder / "labs").iterdir())
    assert not list(run_folder.glob("*.sock"))


@pytest.fixture(scope="module")
def shared_labs(tmp_path_factory):
    """Those of all tests of a file."""
    folder = tmp_path_factory.mktemp("shared")
    with pytest.MonkeyPatch.context() as patch:
        patch.setenv("PCSIM_RUN_DIR", str(folder / "run"))
        yield Labs(folder)
        assert run("down", "--all").returncode == 0


def in_lab(work):
    """What 'work' returns in namespaces of a lab's own, in a process of its own."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        answer_from_lab(work, writer)
    os.close(writer)
    with os.fdopen(reader) as answers:
        said = answers.read()
    os.waitpid(child, 0)
    answer = json.loads(said)
    if "skip" in answer:
        pytest.exit(f"skipped: {answer['skip']}", NO_NAMESPACES)
    assert "failure" not in answer, answer["failure"]
    return answer["result"]


def answer_from_lab(work, writer):
    """Never returns."""
    try:
        namespaces.become_lab()
        first = os.fork()
        if first:
            os.waitpid(first, 0)
            os._exit(0)
        namespaces.settle()
        answer = {"result": work()}
    except NoNamespaces as problem:
        answer = {"skip": str(problem)}
    except BaseException:  # the test that has started us tells of it
        answer = {"failure": traceback.format_exc()}
    with os.fdopen(writer, "w") as answers:
        json.dump(answer, answers)
    os._exit(0)
