"""The keeper's socket bears whatever comes: each request gets an answer, and the lab goes on."""
import errno
import importlib.util
import json
import os
import random
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

import pytest
from conftest import PROGRAM, eventually, run
from pcsim_lab import control, folders
from pcsim_lab.folders import Folder, Keeper, began
from pcsim_lab.problems import BadInput
from pcsim_lab.tool import main
from pcsim_lab.topology import Node, Topology

LAB = "name: one\ntopology: {nodes: {h: {kind: linux, ports: 1}}}\n"
SEED = int(os.environ.get("PCSIM_SEED", "1"))


@pytest.fixture(scope="module")
def door(shared_labs):
    """Sends bytes, returns the answers."""
    shared_labs.up(LAB)
    path = shared_labs.folder / "run" / "labs" / "one" / "control"

    def send(data):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(20)
            with control.short(path) as name:
                connection.connect(name)
            connection.sendall(data)
            connection.shutdown(socket.SHUT_WR)
            with connection.makefile("rb") as answers:
                return [json.loads(line) for line in answers]
    return send


NO_REQUEST = "expected an object with 'method' and 'params'"


@pytest.mark.parametrize("line, said", [
    (b"nonsense", NO_REQUEST), (b"3", NO_REQUEST), (b"{}", NO_REQUEST), (b"\xff\xfe", NO_REQUEST),
    (b'{"method": "pull"}', NO_REQUEST), (b'{"method": "pull", "params": []}', NO_REQUEST),
    (b'{"method": "pull", "params": {"endpoint": 3, "pulled": true}}', NO_REQUEST),
    (b'{"method": "connect", "params": {"endpoints": ["h:eth1"]}}', NO_REQUEST),
    (b'{"method": "shape", "params": {"endpoint": "h:eth1", "values": {"mtu": "3"}}}',
     "'mtu' is not known; expected rate, delay, jitter, loss"),
    (b'{"method": "carry", "params": {"endpoint": "h:eth1", "values": {"mtu": "3"}}}',
     "'mtu' is not known; expected speed, duplex"),
    (b'{"method": "explode"}', "there is no method 'explode'; expected show, look, space, pull, shape, "
                               "carry, connect, disconnect, capture")])
def test_what_is_no_request_is_answered(door, line, said):
    [answer] = door(line + b"\n")
    assert answer["error"]["status"] == 2
    assert answer["error"]["text"].endswith(said)
    [answer] = door(b'{"method": "show"}\n')
    assert answer["result"]["name"] == "one"


def test_requests_may_come_in_one_piece_and_in_many(door):
    assert len(door(b'{"method": "show"}\n' * 20)) == 20
    assert door(b'{"method": "show"}') == []


def test_a_request_without_end_is_cut_off(door):
    with pytest.raises((BrokenPipeError, ConnectionResetError)):
        for _ in range(20):
            door(b"x" * (1 << 20))
    assert door(b'{"method": "show"}\n')[0]["result"]["name"] == "one"


def test_nobody_answers_where_no_keeper_is(tmp_path):
    with pytest.raises(control.LabError) as raised:
        control.ask(tmp_path / "control", "show")
    assert str(raised.value) == "the keeper of the lab doesn't answer: No such file or directory"


def test_a_start_that_is_killed_anywhere_leaves_what_down_cleans(labs, run_folder):
    """kill -9 of the starter at ten random moments; nothing of the lab lives on, and it can be
    started afterwards."""
    print(f"PCSIM_SEED={SEED}")
    chance = random.Random(SEED)
    file = labs.write(LAB)
    for _ in range(10):
        with subprocess.Popen([sys.executable, PROGRAM, "up", file, "--quiet"]) as starter:
            time.sleep(chance.uniform(0, 0.6))
            starter.kill()
        # It may have come up before.
        assert eventually(lambda: not keepers(run_folder) or run("show").returncode == 0)
        assert run("down", "--all").returncode == 0
        assert eventually(lambda: keepers(run_folder) == [])
    labs.up(LAB)


def keepers(run_folder):
    """The living keepers of this test."""
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/cmdline", "rb") as file:
                words = file.read().split(b"\0")
        except OSError:
            continue
        if b"keep" in words and os.fsencode(run_folder) in b"".join(words) and began(int(pid)):
            found.append(int(pid))
    return found


def test_without_what_makes_labs_nothing_is_begun(labs, run_folder, monkeypatch, capsys):
    monkeypatch.setattr(importlib.util, "find_spec", lambda _: None)
    assert main(["up", str(labs.write(LAB))]) == 1
    assert capsys.readouterr().err == (
        "pcsim-lab: labs are made with pyroute2, which is missing; expected Debian's package "
        "python3-pyroute2, or that of 'pip install pcsim[lab]'\n")
    assert not list((run_folder / "labs").glob("*"))


def test_who_comes_second_leaves_the_sockets_of_the_first(run_folder, monkeypatch):
    run_folder.mkdir(mode=0o700)
    socket_file = run_folder / "one.sw.sock"
    socket_file.touch()

    def refuse(*_):
        raise OSError(errno.ENOTEMPTY, "not empty")
    monkeypatch.setattr(Path, "rename", refuse)
    with pytest.raises(BadInput, match="lab 'one' is up already"):
        Folder.claim(Topology("one", "lab.yml", (Node("sw", "pcsim", instance="one.sw"),), ()))
    assert socket_file.exists() and not list((run_folder / "labs").iterdir())


def test_a_lab_lives_while_it_is_handed_over(tmp_path, monkeypatch):
    folder = Folder(tmp_path)
    folder.write_keeper(Keeper(1, 10))

    def seen(pid):
        if pid == 1:  # who starts the lab ends in this moment, and has left it to the next
            folder.write_keeper(Keeper(2, 20))
        return {2: 20}.get(pid)
    monkeypatch.setattr(folders, "began", seen)
    assert folder.alive()
    folder.write_keeper(Keeper(3, 30))
    assert not folder.alive()


def test_two_starts_of_one_name_make_one_lab(labs, run_folder):
    file = labs.write(LAB)
    starters = [subprocess.Popen([sys.executable, PROGRAM, "up", file], stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL) for _ in range(4)]
    assert sorted(starter.wait(60) for starter in starters) == [0, 2, 2, 2]
    assert len(keepers(run_folder)) == 1
    os.kill(keepers(run_folder)[0], signal.SIGTERM)
    assert eventually(lambda: keepers(run_folder) == [])
