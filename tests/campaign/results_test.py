"""The file of a campaign: what is kept, what is refused, and what others read of it."""
import random
import sqlite3
import subprocess
import sys
from collections import Counter
from dataclasses import replace
from pathlib import Path

import pytest
from pcsim.campaign import CampaignError, Fault, Key, Outcome, Result, Results
from pcsim.campaign.files import File
from pcsim.campaign.results import Identity, default_path

PATH = Path("a.db")
FACTS = {"pcsim": "0.1.0", "ports": "4"}
FILES = (File("pcsim", "/bin/pcsim", "1" * 64), File("library", "/lib/a.so", "2" * 64))
FAULTS = (Fault("none"), Fault("late", ("fault open", "fault calloc")))
IDENTITY = Identity(FACTS, FILES, FAULTS)

PASSED = Result("late", 2, "stack", "a.so", Outcome.PASSED, 0.5, status=0, command="true")
CRASHED = Result("none", 1, "chassis", "a.so", Outcome.CRASHED, 1.5, "killed by signal 11", -11,
                 "tcp://there", "pcsim -f x", "many lines\n" * 1000)
ENDED = Result("late", 1, "stack", "a.so", Outcome.TIMEOUT, 60.0, "still running", None)


@pytest.fixture
def results(folder):
    """A new file."""
    with Results(PATH, write=True) as made:
        made.begin(IDENTITY, resume=False)
        yield made


def test_results_come_back_as_they_were(results):
    for result in (PASSED, CRASHED, ENDED):
        assert results.add(result)
    assert list(results.all()) == [CRASHED, ENDED, PASSED]
    assert list(results.all(Outcome.CRASHED, Outcome.TIMEOUT)) == [CRASHED, ENDED]
    assert results.rules() == {"none": [], "late": ["fault open", "fault calloc"]}
    assert results.counts() == {
        ("none", "chassis", "a.so"): Counter({Outcome.CRASHED: 1}),
        ("late", "stack", "a.so"): Counter({Outcome.PASSED: 1, Outcome.TIMEOUT: 1})}
    assert results.outcomes() == {CRASHED.key: Outcome.CRASHED, ENDED.key: Outcome.TIMEOUT,
                                  PASSED.key: Outcome.PASSED}


def test_the_first_result_of_a_run_stays(results):
    assert results.add(PASSED)
    assert not results.add(replace(PASSED, outcome=Outcome.FAILED, reason="later"))
    assert list(results.all()) == [PASSED]


def test_others_read_while_a_campaign_runs(results):
    results.add(CRASHED)
    with sqlite3.connect(PATH) as other:
        assert other.execute("SELECT outcome, seed, status FROM runs").fetchall() == [
            ("crashed", 1, -11)]
        assert other.execute("SELECT length(log) < 1000 FROM runs").fetchall() == [(1,)]
        assert other.execute("SELECT name, value FROM campaign ORDER BY name").fetchall() == [
            ("format", "1"), ("pcsim", "0.1.0"), ("ports", "4")]
        assert other.execute("SELECT role, path, checksum FROM files ORDER BY role").fetchall() == [
            ("library", "/lib/a.so", "2" * 64), ("pcsim", "/bin/pcsim", "1" * 64)]
    other.close()
    with Results(PATH) as reader:
        assert list(reader.all()) == [CRASHED]


def test_a_file_is_one_file_when_it_is_closed(results):
    results.add(PASSED)
    results.close()
    assert [path.name for path in Path().iterdir()] == ["a.db"]


def begin_again(resume=True, **changes):
    """What is said when a campaign begins on a file that is there."""
    with pytest.raises(CampaignError) as told:
        with Results(PATH, write=True) as results:
            results.begin(IDENTITY._replace(**changes), resume)
    return str(told.value)


def test_a_campaign_goes_on_where_it_is_the_same(folder):
    for _ in range(3):
        with Results(PATH, write=True) as results:
            results.begin(IDENTITY, resume=True)
            results.add(PASSED)
    with Results(PATH) as results:
        assert list(results.all()) == [PASSED]


def test_what_differs_is_told(results):
    results.add(PASSED)
    results.close()
    assert begin_again(resume=False) == ("a.db has a campaign in it; expected --resume to go on "
                                         "with it, or another name")
    begins, ends = "a.db is of another campaign: ", "; expected the same, or another --out"
    new = replace(FILES[1], checksum="3" * 64)
    assert begin_again(files=(FILES[0], new)) == (
        f"{begins}library /lib/a.so is 333333333333, and was 222222222222 when it began{ends}")
    assert begin_again(files=(*FILES, File("include", "/i", "4" * 64))) == (
        f"{begins}include /i is 444444444444, and was no part of it when it began{ends}")
    assert begin_again(files=FILES[:1]) == (
        f"{begins}library /lib/a.so is no part of it, and was 222222222222 when it began{ends}")
    assert begin_again(facts={**FACTS, "ports": "8"}) == (
        f"{begins}ports is '8', and was '4' when it began{ends}")
    with Results(PATH) as reader:
        assert list(reader.all()) == [PASSED]


def test_what_had_not_begun_is_made_again(results):
    refused = replace(CRASHED, outcome=Outcome.REFUSED)
    results.add(PASSED)
    results.add(refused)
    results.begin(IDENTITY, resume=True)
    assert list(results.all()) == [PASSED]


def test_two_campaigns_do_not_share_a_file(results):
    assert begin_again() == ("a.db is in use by a campaign that runs; expected another name, or "
                             "its end")
    assert results.add(PASSED)


def test_whoever_is_killed_leaves_what_it_knew(folder):
    program = ("import os, signal, sys\n"
               "sys.path[:0] = sys.argv[1:]\n"
               "from results_test import *\n"
               "results = Results(PATH, write=True)\n"
               "results.begin(IDENTITY, False)\n"
               "for seed in range(500): results.add(replace(PASSED, seed=seed))\n"
               "os.kill(os.getpid(), signal.SIGKILL)\n")
    here = Path(__file__).resolve().parent
    done = subprocess.run([sys.executable, "-B", "-c", program, here, here.parents[1] / "python"],
                          check=False)
    assert done.returncode == -9
    with Results(PATH, write=True) as results:
        results.begin(IDENTITY, resume=True)
        assert len(results.outcomes()) == 500


def test_files_that_are_no_campaigns_are_told(folder):
    with pytest.raises(CampaignError) as told:
        Results(PATH)
    assert str(told.value) == "a.db is not there; expected the file of a campaign"
    PATH.write_text("no database at all, but long enough to be seen as something else\n" * 20)
    with pytest.raises(CampaignError) as told:
        Results(PATH)
    assert str(told.value) == ("a.db can't be opened: file is not a database; expected the file of "
                               "a campaign or the name of a new one")
    assert begin_again().startswith("a.db can't be opened: file is not a database")
    assert PATH.read_text().startswith("no database")
    PATH.unlink()
    with sqlite3.connect(PATH) as other:
        other.execute("CREATE TABLE theirs (x)")
    other.close()
    before = PATH.read_bytes()
    assert begin_again() == "a.db is no campaign's file of this version; expected another name"
    assert PATH.read_bytes() == before
    with pytest.raises(CampaignError) as told:
        Results(PATH)
    assert str(told.value) == "a.db is no campaign's file of this version; expected another name"


def test_a_place_that_cannot_be_written_is_told(folder):
    (folder / "file").touch()
    with pytest.raises(CampaignError, match="^file/a.db can't be opened: .*; expected the file"):
        Results(Path("file/a.db"), write=True)


@pytest.mark.parametrize("out, expected", [
    (None, "boot.campaign.db"), ("x.db", "x.db"), ("there", "there/boot.campaign.db"),
    ("a.b/c.db", "a.b/c.db"), ("folder.db", "folder.db/boot.campaign.db")])
def test_results_go_where_they_should(folder, out, expected):
    (folder / "folder.db").mkdir()
    assert default_path(out, "scripts/boot.pcsim") == Path(expected)


def test_keys_are_written_as_people_say_them():
    assert str(Key("late", 2, "stack", "a.so")) == "late, seed 2, stack, a.so"


def test_a_disk_that_is_full_is_told(results):
    results.add(PASSED)
    with sqlite3.connect(PATH) as other:
        pages, = other.execute("PRAGMA page_count").fetchone()
    results._database.execute(f"PRAGMA max_page_count = {pages}")  # what a full disk comes to
    noise = "".join(map(chr, random.Random(1).choices(range(32, 127), k=100_000)))
    with pytest.raises(CampaignError) as told:
        results.add(replace(CRASHED, log=noise))
    assert str(told.value) == ("a.db can't be written: database or disk is full; what it has "
                               "stays, and --resume goes on with it")
    assert list(results.all()) == [PASSED]


def test_a_damaged_file_is_told(results):
    results.add(PASSED)
    results.close()
    data = bytearray(PATH.read_bytes())
    data[4096:] = b"x" * (len(data) - 4096)
    PATH.write_bytes(data)
    with Results(PATH) as damaged, pytest.raises(CampaignError) as told:
        list(damaged.all())
    assert str(told.value).startswith("a.db can't be read: ")
