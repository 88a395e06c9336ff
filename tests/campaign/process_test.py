"""Making a run, with a shell script in the place of pcsim: what becomes of any program at all."""
import os
import subprocess
import sys
import threading
import time
from dataclasses import replace

import pytest
from conftest import python_path
from pcsim.campaign import CampaignError, Outcome, process
from pcsim.campaign.files import file_of
from pcsim.campaign.process import HEAD_BYTES, RUNNING, TAIL_BYTES, execute, run_folder
from pcsim.campaign.runs import Job, Key

BEGUN = "echo '[    0.000] lab       eth0 to eth4 are cabled'"


def alive(number):
    """Whether that process is there, and is no zombie that nobody has waited for."""
    try:
        with open(f"/proc/{number}/stat", encoding="ascii") as file:
            return file.read().rsplit(")", 1)[1].split()[0] != "Z"
    except FileNotFoundError:
        return False


def gone(number, within=10.0):
    """Waits until that process isn't there."""
    end = time.monotonic() + within
    while alive(number) and time.monotonic() < end:
        time.sleep(0.01)
    return not alive(number)


def number_in(path):
    """A process's number, once it has been written."""
    for _ in range(1000):
        if path.exists() and path.read_text().endswith("\n"):
            return int(path.read_text())
        time.sleep(0.01)
    raise AssertionError(f"{path} was not written")


def test_a_run_has_its_words_and_rules(instead, folder):
    setup = replace(instead('printf "%s\\n" "$@" >words; cat >rules; env >environment'), ports=2,
                    definitions=(("where", "a b"),), options=("--remote-io",))
    result = execute(setup, Job(Key("two words", 9, "chassis", "new"),
                                ("fault open", "fault calloc"), "lib.so"), "here")
    assert (result.outcome, result.status, result.log, result.worker) == (
        Outcome.PASSED, 0, "", "here")
    assert (folder / "words").read_text().splitlines() == [
        "--lab", "2", "--stopped", "--echo", "--shape", "chassis", "--library", "lib.so",
        "-D", "where=a b", "-D", "SEED=9", "-D", "SHAPE=chassis", "-D", "FAULT=two words",
        "--remote-io", "--plan", "/dev/stdin", "-f", "scenario.pcsim"]
    assert (folder / "rules").read_text() == "fault open\nfault calloc\n"
    assert f"PCSIM_RUN_DIR={run_folder()}\n" in (folder / "environment").read_text()


def test_settings_are_those_of_who_began(instead, folder, monkeypatch, job):
    monkeypatch.setenv("VORN_SLOT_ID", "5")
    monkeypatch.setenv("HAL_SIM_REMOTE_IO", "1")
    setup = replace(instead("env | grep -E 'VORN|HAL' >environment; true"),
                    settings=(("VORN_SLOT_ID", "3"),))
    execute(setup, job)
    assert (folder / "environment").read_text() == "VORN_SLOT_ID=3\n"


def test_rules_may_be_longer_than_a_pipe(instead, folder, job):
    rules = tuple(f"fault open after {number}" for number in range(20_000))
    assert execute(instead("wc -l >count"), replace(job, rules=rules)).passed
    assert (folder / "count").read_text() == "20000\n"


def test_the_line_that_repeats_a_run_is_the_run(instead, folder):
    setup = replace(instead('printf "%s|" "$@"; cat; echo $VORN_SLOT_ID; exit 3'),
                    settings=(("VORN_SLOT_ID", "3"),))
    job = Job(Key("it's", 9, "stack", "x"), ("fault open where text 'a\\b %s'",))
    result = execute(setup, job)
    again = subprocess.run(["sh", "-c", result.command], cwd="/", capture_output=True, text=True,
                           check=False)
    assert (again.returncode, again.stdout) == (3, result.log)
    assert "it's" in again.stdout and "a\\b %s" in again.stdout
    bare = execute(setup, replace(job, rules=()))
    again = subprocess.run(["sh", "-c", bare.command], cwd="/", capture_output=True, text=True,
                           check=False, input="never read")
    assert (again.returncode, again.stdout) == (3, bare.log)
    assert folder.name in bare.command


def test_output_and_errors_are_the_log(instead, job):
    result = execute(instead(f"{BEGUN}; echo 'pcsim: a:1: no' >&2; exit 1"), job)
    assert (result.outcome, result.reason, result.status) == (Outcome.FAILED, "a:1: no", 1)
    assert result.log == "[    0.000] lab       eth0 to eth4 are cabled\npcsim: a:1: no\n"
    assert 0 < result.seconds < 20


def test_a_signal_is_a_crash(instead, job):
    result = execute(instead(f"{BEGUN}; kill -SEGV $$"), job)
    assert (result.outcome, result.status, result.reason) == (
        Outcome.CRASHED, -11, "killed by signal 11 (Segmentation fault)")


@pytest.mark.parametrize("body", [
    "sleep 1000", "exec >&- 2>&-; exec sleep 1000", "trap '' TERM INT; while :; do sleep 1; done",
    "kill -STOP $$", "while :; do echo more; done"])
def test_what_takes_too_long_is_ended(instead, folder, job, body):
    result = execute(replace(instead(f"echo $$ >number; {body}"), timeout=2.0), job)
    assert (result.outcome, result.status) == (Outcome.TIMEOUT, None)
    assert result.reason == "still running after 2 s"
    assert 2 <= result.seconds < 20
    assert gone(number_in(folder / "number"))


def test_what_a_run_has_started_goes_with_it(instead, folder, job):
    setup = replace(instead("sleep 1000 & echo $! >number; wait"), timeout=2.0)
    assert execute(setup, job).outcome is Outcome.TIMEOUT
    assert gone(number_in(folder / "number"))


def test_begin_and_end_of_a_long_output_are_kept(instead, job):
    result = execute(
        instead("echo begin; head -c 3000000 /dev/zero | tr '\\0' x; echo end; exit 1"), job)
    assert result.log.startswith("begin\nxxx") and result.log.endswith("xxxend\n")
    left_out = 3_000_010 - HEAD_BYTES - TAIL_BYTES
    assert f"x\n... {left_out} bytes left out ...\nx" in result.log


def test_bytes_that_are_no_text_are_kept_as_signs(instead, job):
    result = execute(instead("printf 'a\\377b\\n'; exit 1"), job)
    assert result.log == "a\ufffdb\n"


def test_a_program_that_cannot_be_started_is_told(instead, folder, job):
    setup = replace(instead("true"), folder=str(folder / "nowhere"))
    with pytest.raises(CampaignError, match="pcsim can't be started: .*nowhere"):
        execute(setup, job)


def test_what_has_changed_meanwhile_is_told(instead, write, job):
    library = file_of("library", write("library", "old"))
    setup = instead("true").of([library])
    assert execute(setup, job).passed
    write("library", "new and longer")
    with pytest.raises(CampaignError, match="^library library is [0-9a-f]{12}; expected "
                                            f"{library.checksum[:12]} on tcp://there$"):
        execute(setup, job, "tcp://there")


def test_a_campaign_that_is_ended_ends_its_runs(instead, folder, job):
    setup = replace(instead("echo $$ >number; exec sleep 1000"), campaign="ended")
    results = []
    thread = threading.Thread(target=lambda: results.append(execute(setup, job)))
    thread.start()
    number = number_in(folder / "number")
    RUNNING.end_campaign("another")
    assert alive(number)
    RUNNING.end_campaign("ended")
    thread.join(10)
    assert results == [None] and gone(number)
    assert execute(setup, job) is None


def test_sockets_of_the_dead_are_cleared_away(monkeypatch, folder):
    monkeypatch.setattr(process, "run_folder", lambda: str(folder))
    dead = subprocess.run(["sh", "-c", "echo $$"], capture_output=True, text=True,
                          check=True).stdout.strip()
    here = {"pcsim-x.sock", "other.sock", f"pcsim-{os.getpid()}.sock", f"pcsim-{os.getpid()}.lock"}
    for name in (*here, f"pcsim-{dead}.sock", f"pcsim-{dead}.lock"):
        (folder / name).touch()
    process.forget_dead()
    assert {path.name for path in folder.iterdir()} == here


def test_no_run_outlives_who_has_started_it(instead, folder):
    instead("echo $$ >number; exec sleep 1000")
    starter = subprocess.Popen(
        [sys.executable, "-c",
         "from pcsim.campaign.runs import *; from pcsim.campaign.process import execute\n"
         "execute(Setup('./instead', 's', '.'), Job(Key('none', 1, 'stack', 'x')))"],
        env={**os.environ, **python_path()})
    number = number_in(folder / "number")
    assert alive(number)
    starter.kill()
    starter.wait()
    assert gone(number)
