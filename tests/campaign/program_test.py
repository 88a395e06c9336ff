"""The program pcsim-campaign: options, texts, exit statuses."""
import json
import os
import pty
import re
import signal
import subprocess
import sys
import time

import pytest
from campaign_test import HANG, LINES, NAME, PLAN
from conftest import python_path
from pcsim.campaign import Campaign, options
from pcsim.version import told

PROGRAM = (sys.executable, "-m", "pcsim.campaign")
ENVIRONMENT = {**os.environ, **python_path()}


def run(*words, **environment):
    """Status, output and errors."""
    done = subprocess.run([*PROGRAM, *map(str, words)], capture_output=True, text=True, check=False,
                          env={**ENVIRONMENT, **environment}, timeout=200)
    return done.returncode, done.stdout, done.stderr


@pytest.fixture
def scenario(lab, write):
    """A scenario that passes without a fault."""
    return write("scenario.pcsim", *LINES)


def test_a_campaign_that_passes(scenario):
    assert run(scenario, "--seeds", 3, "--shapes", "stack,chassis") == (0, """\
Runs
  Fault  Shape    Passed
  -----  -------  ------
  none   chassis       3
  none   stack         3
""", "")


def test_a_campaign_that_does_not_pass(scenario, write, folder):
    status, output, errors = run(
        scenario, "--faults", write("plan", *PLAN), "--seeds", "2,5-6", "--no-base", "--out",
        "x.db", "--report", "tap", "x.tap", "--report", "junit", "x.xml", "-j", 2, "--ports", 4)
    assert (status, errors) == (1, "")
    lines = output.splitlines()
    assert lines[:5] == [
        "Runs",
        "  Fault                                Shape  Passed  Failed  Crashed",
        "  -----------------------------------  -----  ------  ------  -------",
        "  fault cardPortEnable where port 1:9  stack       3       0        0",
        "  never                                stack       0       3        0"
    ]
    assert "  crashed: no tree, stack, seeds 2, 5-6" in lines
    commands = [line.split("repeat  ")[1] for line in lines if line.startswith("    repeat  ")]
    for command in commands:
        again = subprocess.run(["sh", "-c", command], capture_output=True, check=False)
        assert again.returncode != 0
    bad = sum(int(number) for line in lines[3:7] for number in line.split()[-2:])
    assert (folder / "x.tap").read_text().count("\nnot ok ") == bad >= 6
    assert 'tests="12"' in (folder / "x.xml").read_text()
    status, shown, _ = run("--show", "x.db")
    assert (status, shown) == (0, output)
    status, log, _ = run("--show", "x.db", "--log", "no tree,5,stack")
    assert status == 0 and "pcsim> route add 10.1.0.0/16 via 10.0.0.1 vlan 10\n" in log
    assert run("--show", "x.db", "--log", f"no tree,5,stack,{NAME}")[1] == log


def test_options_reach_pcsim(write, lab):
    write("scenario.pcsim", "expect show chassis -- shape is $SHAPE", "echo $who $other",
          "expect show ports -- count where link is up is 3", "quit 4")
    assert run("scenario.pcsim", "-D", "who=me", "--define", "other=a=b", "--ports", 3, "--shapes",
               "chassis", "--quiet", "--", "--virtual-routers", 16)[0] == 1
    _, log, _ = run("--show", "scenario.campaign.db", "--log", "none,1,chassis")
    assert "\nme a=b\n" in log and log.endswith("pcsim> quit 4\n")
    [result] = Campaign("scenario.pcsim")
    assert result.status == 4 and " --virtual-routers 16 " in result.command


def test_going_on_is_asked_for(scenario):
    assert run(scenario)[0] == 0
    assert run(scenario) == (1, "", "pcsim-campaign: scenario.campaign.db has a campaign in it; "
                                    "expected --resume to go on with it, or another name\n")
    assert run(scenario, "--seeds", 2, "--resume")[0] == 0


def test_whoever_reads_it_may_have_read_enough(scenario):
    done = subprocess.run(["sh", "-c", f"{' '.join(PROGRAM)} {scenario} | true"], env=ENVIRONMENT,
                          capture_output=True, text=True, check=False)
    assert done.stderr == ""
    assert run("--show", "scenario.campaign.db")[0] == 0


def test_the_first_failure_ends_it_when_asked(write, lab):
    write("scenario.pcsim", "quit $SEED")
    status, output, _ = run("scenario.pcsim", "--seeds", 100, "--fail-fast", "-j", 1)
    assert status == 1
    assert output.endswith("\n99 runs are left; --resume goes on with them\n")


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_an_interrupt_ends_it(write, lab, number):
    write("scenario.pcsim", *HANG)
    with subprocess.Popen([*PROGRAM, "scenario.pcsim", "--timeout", "100"], env=ENVIRONMENT,
                          stderr=subprocess.PIPE, text=True) as process:
        for _ in range(500):
            if os.path.exists("scenario.campaign.db"):
                break
            time.sleep(0.02)
        process.send_signal(number)
        errors = process.communicate(timeout=20)[1]
    assert (process.returncode, errors) == (130, "pcsim-campaign: interrupted; --resume goes on\n")


def test_a_terminal_has_a_bar(scenario):
    pytest.importorskip("tqdm")
    reader, writer = pty.openpty()
    done = subprocess.run([*PROGRAM, scenario, "--seeds", "3"], env=ENVIRONMENT, stderr=writer,
                          stdout=subprocess.DEVNULL, check=False)
    os.close(writer)
    assert done.returncode == 0
    assert b"3/3" in os.read(reader, 100_000)
    os.close(reader)


@pytest.mark.parametrize("words, problem", [
    ([], "expected a scenario, or --show FILE"),
    (["a.pcsim", "--show", "x.db"], "expected a scenario, or --show FILE"),
    (["a.pcsim", "--bogus"], "unrecognized arguments: --bogus"),
    (["a.pcsim", "--seeds", "a"], "argument --seeds: 'a' are no seeds; expected a count, or "
                                  "numbers and ranges as in 3-7,12"),
    (["a.pcsim", "--jobs", "0"], "argument -j/--jobs: '0' is no number; expected 1 or more"),
    (["a.pcsim", "--timeout", "soon"],
     "argument --timeout: 'soon' are no seconds; expected more than 0"),
    (["a.pcsim", "-D", "x"], "argument -D/--define: 'x' is no definition; expected NAME=VALUE"),
])
def test_a_wrong_command_line_is_told(words, problem):
    assert run(*words) == (
        2, "", f"pcsim-campaign: {problem}; see pcsim-campaign --help\n")


@pytest.mark.parametrize("words, problem", [
    (["nowhere.pcsim"], "scenario $/nowhere.pcsim can't be read: No such file or directory"),
    (["scenario.pcsim", "--shapes", "ring"], "there is no shape 'ring'; expected stack or chassis"),
    (["scenario.pcsim", "--report", "html", "x"],
     "there is no report 'html'; expected tap or junit"),
    (["scenario.pcsim", "--report", "tap", "no/where"], "report no/where can't be written: No such "
                                                        "file or directory"),
    (["scenario.pcsim", "--faults", "nowhere"],
     "plan nowhere can't be read: No such file or directory"),
    (["--show", "nowhere.db"], "nowhere.db is not there; expected the file of a campaign"),
])
def test_a_campaign_that_cannot_be_is_told(scenario, folder, words, problem):
    assert run(*words) == (1, "", f"pcsim-campaign: {problem.replace('$', str(folder))}\n")
    assert not (folder / "scenario.campaign.db").exists()


def test_a_run_that_is_none_is_told(scenario):
    assert run(scenario, "--quiet")[0] == 0
    assert run("--show", "scenario.campaign.db", "--log", "none,2,stack") == (
        1, "", "pcsim-campaign: 'none,2,stack' is no run of this file; expected one as "
               f"none,1,stack,{NAME}\n")


def test_without_dask_there_is_no_scheduler(scenario, folder):
    (folder / "distributed.py").write_text("raise ImportError('not here')\n")
    path = f"{folder}:{ENVIRONMENT['PYTHONPATH']}"
    assert run(scenario, "--scheduler", "tcp://127.0.0.1:1", PYTHONPATH=path) == (
        1, "", "pcsim-campaign: --scheduler needs Dask's distributed, which is not installed; "
               "expected the package python3-distributed\n")


def test_help_tells_of_all_options():
    status, text, _ = run("--help")
    table = json.loads(run("--help", PCSIM_HELP="json")[1])
    assert status == 0 and max(map(len, text.splitlines())) <= 79
    assert re.findall(r"^ +(?:-., )?--([a-z-]+)", text, re.MULTILINE) == [
        option["name"] for option in table["options"]] == [option.name for option in options.OPTIONS]
    assert (table["name"], table["commands"]) == ("pcsim-campaign", [])
    assert run("--version") == (0, f"{told('pcsim-campaign')}\n", "")
