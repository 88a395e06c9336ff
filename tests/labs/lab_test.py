"""Labs from the outside: the program, with all that it starts and leaves."""
import functools
import json
import os
import re
import resource
import signal
import stat
import subprocess
import sys

import pcsim
import pytest
from conftest import NO_NAMESPACES, PAIR, PROGRAM, eventually, run
from pcsim_lab.folders import began

ONE = "name: one\ntopology: {nodes: {h: {kind: linux, exec: [%s]}}}\n"


def keeper(run_folder, lab="pair"):
    """The number of the process that keeps a lab."""
    return json.loads((run_folder / "labs" / lab / "keeper.json").read_text())["pid"]


def test_a_lab_comes_up_and_goes(labs, run_folder):
    said = labs.up(PAIR).stdout
    assert said.startswith("Lab 'pair' is up: 4 nodes, 3 cables, ") and said.endswith(" s\n")
    shown = labs.show()
    assert [(node["name"], node["kind"], node["state"], node["ports"], node["ports_up"],
             node["instance"]) for node in shown["nodes"]] == [
        ("sw1", "pcsim", "running", 2, 2, "pair.sw1"), ("sw2", "pcsim", "running", 2, 2, "pair.sw2"),
        ("h1", "linux", "ready", 1, 1, None), ("h2", "linux", "ready", 1, 1, None)]
    assert all(node["pss_kib"] > 100 and node["private_kib"] > 100 for node in shown["nodes"][:2])
    assert [link["state"] for link in shown["links"]] == ["up"] * 3
    assert stat.S_IMODE((run_folder / "labs" / "pair").stat().st_mode) == 0o700
    assert (run_folder / "labs" / "pair" / "logs" / "h2.log").read_text() == "done\n"
    pid = keeper(run_folder)
    labs.ask("down")
    assert began(pid) is None
    assert labs.ask("list") == "No lab is up\n"
    assert not list(run_folder.glob("pair.*"))


def test_nodes_have_the_interfaces_of_the_file_and_no_others(labs):
    labs.up(PAIR)
    names = json.loads(labs.ask("exec", "sw1", "--", "ip", "-json", "link"))
    assert [found["ifname"] for found in names] == ["lo", "eth0", "eth1", "eth2"]
    assert [found["address"] for found in names[1:]] == [f"02:00:00:01:00:0{number}"
                                                         for number in range(3)]
    names = json.loads(labs.ask("exec", "h1", "--", "ip", "-json", "address"))
    assert [found["ifname"] for found in names] == ["lo", "eth1"]
    assert names[1]["addr_info"][0]["local"] == "10.0.0.1"


def test_a_command_has_the_status_the_folder_and_the_namespace(labs, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    labs.up(PAIR)
    done = run("exec", "h1", "--", "sh", "-c", "pwd; echo $PCSIM_NODE; ps -e | wc -l; exit 3")
    assert done.returncode == 3
    where, node, processes = done.stdout.split()
    assert (where, node) == (str(tmp_path), "h1")
    assert int(processes) < 10
    assert labs.ask("console", "sw1", "show", "ports").startswith("Front panel\n")


@pytest.mark.parametrize("line, said", [
    ("echo first; echo second; exit 3",
     "node 'h': 'echo first; echo second; exit 3' ended with status 3; its last lines:\n"
     "    first\n    second\n"),
    ("kill -9 $$", "node 'h': 'kill -9 $$' ended with signal 9\n")])
def test_a_node_that_fails_takes_the_lab_with_it(labs, run_folder, line, said):
    done = run("up", str(labs.write(ONE % f'"{line}"')))
    assert (done.returncode, done.stderr) == (1, f"pcsim-lab: {said}")
    assert not list((run_folder / "labs").iterdir())


def test_a_pcsim_that_fails_shows_what_it_has_said(labs, run_folder):
    text = PAIR.replace("sw2: {kind: pcsim}", "sw2: {kind: pcsim, run: [nonsense]}")
    done = run("up", str(labs.write(text)))
    assert done.returncode == 1
    first, second = done.stderr.splitlines()
    assert first == "pcsim-lab: node 'sw2': ended with status 1; its last lines:"
    assert second.startswith("    ") and "'nonsense' is not a verb" in second
    assert not list((run_folder / "labs").iterdir())
    assert not list(run_folder.glob("pair.*"))


def test_a_program_that_is_not_there(labs, run_folder):
    text = "name: one\ntopology: {nodes: {h: {kind: hal, command: no-such-hal}}}\n"
    done = run("up", str(labs.write(text)))
    assert (done.returncode, done.stderr) == (
        1, "pcsim-lab: node 'h': 'no-such-hal' can't be run: No such file or directory\n")
    assert not list((run_folder / "labs").iterdir())


def test_a_lab_that_takes_too_long(labs, run_folder):
    done = run("up", str(labs.write(ONE % "sleep 60")), "--timeout", "0.5")
    assert (done.returncode, done.stderr) == (
        1, "pcsim-lab: lab 'one' is not up after 0.5 s; --timeout gives it more\n")
    assert not list((run_folder / "labs").iterdir())


def test_a_hal_runs_among_its_ports(labs):
    labs.up("name: one\ntopology: {nodes: {h: {kind: hal, ports: 3, env: {WHAT: x}, "
            "command: \"sh -c 'echo $WHAT $PCSIM_LAB.$PCSIM_NODE; cat /proc/net/dev; "
            "exec sleep 100'\"}}}\n")
    node = labs.show()["nodes"][0]
    assert (node["state"], node["ports"]) == ("running", 3)
    log = (labs.folder / "run" / "labs" / "one" / "logs" / "h.log").read_text()
    assert log.startswith("x one.h\n")
    assert [f"eth{number}:" in log for number in range(5)] == [True] * 4 + [False]


def test_a_killed_node_is_shown_and_the_others_go_on(labs):
    labs.up(PAIR)
    assert run("exec", "sw1", "--", "pkill", "-9", "-f", "pair.sw1").returncode in (0, 137)
    assert eventually(lambda: labs.show()["nodes"][0]["state"] == "ended (signal 9)")
    assert labs.show()["nodes"][1]["state"] == "running"
    assert labs.states()[0] == "up"


@pytest.mark.parametrize("name, others", [("pair", []), ("second", ["pair"])])
def test_a_killed_keeper_takes_everything_and_down_cleans_up(labs, run_folder, name, others):
    for other in others:
        labs.up(PAIR, "--name", other)
    labs.up(PAIR, "--name", name)
    pids = [status.pid for status in pcsim.instances() if status.name.startswith(f"{name}.")]
    assert len(pids) == 2
    os.kill(keeper(run_folder, name), signal.SIGKILL)
    wanted = {name: "ended", **dict.fromkeys(others, "up")}
    assert eventually(lambda: {lab["name"]: lab["state"] for lab in json.loads(
        labs.ask("list", "--json"))} == wanted)
    assert eventually(lambda: [status.name for status in pcsim.instances()
                               if status.name.startswith(f"{name}.")] == [])
    done = run("show", name)
    assert (done.returncode, done.stderr) == (
        1, f"pcsim-lab: lab '{name}' has ended; 'down {name}' cleans up, and 'up' starts it again\n")
    labs.ask("down", name)
    assert not list(run_folder.glob(f"{name}.*"))


def test_an_ended_lab_can_be_started_again(labs, run_folder):
    labs.up(PAIR)
    os.kill(keeper(run_folder), signal.SIGKILL)
    assert eventually(lambda: "ended" in labs.ask("list"))
    labs.up(PAIR)
    assert labs.states() == ["up"] * 3


def test_one_name_one_lab(labs):
    labs.up(PAIR)
    done = run("up", str(labs.write(PAIR)))
    assert (done.returncode, done.stderr) == (
        2, "pcsim-lab: lab 'pair' is up already; 'down pair' ends it, and --name gives another one "
           "a name of its own\n")
    labs.up(PAIR, "--name", "other")
    done = run("show")
    assert (done.returncode, done.stderr) == (
        2, "pcsim-lab: 2 labs are up; expected the name of one: other, pair\n")
    assert json.loads(labs.ask("show", "other", "--json"))["name"] == "other"
    assert [lab["name"] for lab in json.loads(labs.ask("list", "--json"))] == ["other", "pair"]
    labs.ask("link", "--lab", "other", "sw1:eth1", "down")
    shown = json.loads(labs.ask("show", "pair", "--json"))
    assert shown["links"][0]["state"] == "up"


def test_who_starts_a_lab_and_vanishes_takes_it_with_him(labs, run_folder):
    with subprocess.Popen([sys.executable, PROGRAM, "up", labs.write(ONE % "sleep 60")]) as starter:
        control = run_folder / "labs" / "one" / "control"
        assert eventually(control.exists)
        pid = keeper(run_folder, "one")
        starter.kill()
    assert eventually(lambda: began(pid) is None)
    assert not list((run_folder / "labs").iterdir())


@pytest.mark.parametrize("most", [0, 200])
def test_a_disk_that_is_full_is_told(labs, run_folder, most):
    limit = functools.partial(resource.setrlimit, resource.RLIMIT_FSIZE, (most, most))
    done = subprocess.run([sys.executable, PROGRAM, "up", labs.write(ONE % "true")], check=False,
                          capture_output=True, text=True, preexec_fn=limit)
    assert done.returncode == 1
    assert re.fullmatch(rf"pcsim-lab: {run_folder}/labs/\.one\.\d+/\w+\.json can't be written: "
                        "File too large\n", done.stderr), done.stderr
    assert not list((run_folder / "labs").iterdir())


@pytest.mark.parametrize("taken", ["run", "run/labs"])
def test_a_file_where_the_folder_should_be_is_told(labs, run_folder, taken):
    path = run_folder.parent / taken
    path.parent.mkdir(mode=0o700, exist_ok=True)
    path.write_text("")
    for words in (("up", str(labs.write(ONE % "true"))), ("list",), ("down", "--all")):
        done = run(*words)
        assert (done.returncode, done.stderr) == (
            1, f"pcsim-lab: folder {run_folder}/labs can't be made: File exists; expected another "
               "one in PCSIM_RUN_DIR\n")
    path.unlink()


def test_what_a_killed_start_has_drafted_goes(labs, run_folder):
    with subprocess.Popen(["true"]) as ended:
        pass
    drafts = [run_folder / "labs" / name for name in (f".one.{ended.pid}", f".a.{os.getpid()}", ".b.c")]
    for draft in drafts:
        draft.mkdir(parents=True)
    run_folder.chmod(0o700)
    labs.up(ONE % "true")
    assert [draft.exists() for draft in drafts] == [False, True, True]
    for draft in drafts[1:]:
        draft.rmdir()


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_an_interrupted_start_leaves_nothing(labs, run_folder, number):
    with subprocess.Popen([sys.executable, PROGRAM, "up", labs.write(ONE % "sleep 60")]) as starter:
        assert eventually((run_folder / "labs" / "one" / "control").exists)
        starter.send_signal(number)
        assert starter.wait(10) == 130
    assert not list((run_folder / "labs").iterdir())


@pytest.mark.parametrize("options", (["-p", "2", "--"], ["-p2"], ["--ports=2"], ["--ports", "2"]))
def test_lines_that_mean_one_command_are_handed_to_the_program_for_that(options):
    done = run(*options, "sh", "-c", "ip -brief link; exit 3")
    if done.returncode == NO_NAMESPACES:
        pytest.exit(f"skipped: {done.stderr}", NO_NAMESPACES)
    assert done.returncode == 3, done.stderr
    assert [line.split("@")[0] for line in done.stdout.splitlines()
            if line.startswith("eth")] == ["eth0", "eth1", "eth2"]


def test_a_line_for_one_command_without_one_is_told_so():
    done = run("--")
    assert (done.returncode, done.stderr) == (
        2, "pcsim-nics: expected a command, for example: pcsim-nics --ports 4 -- ip link\n")
