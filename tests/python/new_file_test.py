"""Files that take the place of others once they are complete."""
import fcntl
import os
import signal
import subprocess
import sys
from pathlib import Path

import pytest
from pcsim.new_file import NewFile, is_replaceable, whole_file

PYTHON = Path(__file__).resolve().parents[2] / "python"
MUCH = "x" * 200000


@pytest.fixture(name="file")
def former(tmp_path):
    """One that is there already."""
    path = tmp_path / "file"
    path.write_text("former")
    path.chmod(0o640)
    return path


def names(file):
    return sorted(os.listdir(file.parent))


def test_it_takes_the_place_of_the_former(file):
    with whole_file(file) as new:
        new.write(MUCH)
        assert file.read_text() == "former"
    assert file.read_text() == MUCH and file.stat().st_mode & 0o777 == 0o640
    assert names(file) == ["file"]


def test_it_is_there_where_none_was(file):
    with whole_file(file.with_name("other")) as new:
        new.write("first")
    assert file.with_name("other").read_text() == "first" and names(file) == ["file", "other"]


def test_it_is_gone_when_the_block_fails(file):
    with pytest.raises(ZeroDivisionError), whole_file(file) as new:
        new.write(MUCH)
        raise ZeroDivisionError
    assert file.read_text() == "former" and names(file) == ["file"]


def test_two_at_once_are_each_whole(file):
    with whole_file(file) as one, whole_file(file) as two:
        one.write("one")
        two.write("two")
    assert file.read_text() == "one" and names(file) == ["file"]


def test_a_killed_process_leaves_the_former(file):
    program = (f"import os, signal, sys; sys.path.insert(0, {str(PYTHON)!r})\n"
               "from pcsim.new_file import whole_file\n"
               f"with whole_file({str(file)!r}) as new:\n"
               "    new.write('x' * 200000); new.flush(); os.kill(os.getpid(), signal.SIGKILL)\n")
    done = subprocess.run([sys.executable, "-c", program], check=False)
    assert done.returncode == -signal.SIGKILL
    assert file.read_text() == "former"
    try:
        os.close(os.open(file.parent, os.O_TMPFILE | os.O_RDWR))
    except OSError:
        return  # all files of this file system have names
    assert names(file) == ["file"]


def test_what_a_killed_process_has_left_on_the_last_step_goes(file):
    for number in 1, 2:
        file.with_name(f"file.pcsim-new-{number}").write_text("left")
    with file.with_name("file.pcsim-new-2").open(encoding="ascii") as held:
        fcntl.flock(held, fcntl.LOCK_EX)
        with whole_file(file) as new:
            new.write("new")
        assert file.read_text() == "new" and names(file) == ["file", "file.pcsim-new-2"]
    with file.open(encoding="ascii") as replaced:
        fcntl.flock(replaced, fcntl.LOCK_EX | fcntl.LOCK_NB)


def test_names_that_are_taken_are_left_alone(file):
    file.with_name("file.pcsim-new-1").mkdir()
    file.with_name("file.pcsim-new-2").symlink_to("file")
    with whole_file(file) as new:
        new.write("new")
    assert file.read_text() == "new"
    assert names(file) == ["file", "file.pcsim-new-1", "file.pcsim-new-2"]


def test_it_goes_where_a_link_leads_to(file):
    link = file.with_name("link")
    link.symlink_to("file")
    with whole_file(link) as new:
        new.write("new")
    assert link.is_symlink() and file.read_text() == "new"


def test_what_can_not_be_replaced(file):
    assert is_replaceable(file) and is_replaceable(file.with_name("none"))
    assert not is_replaceable("/dev/full")
    with pytest.raises(IsADirectoryError):
        NewFile(file.parent)
    with pytest.raises(FileNotFoundError):
        NewFile(file.parent / "no" / "file")
    with pytest.raises(OSError, match="No space"), whole_file("/dev/full") as pipe:
        pipe.write("x")
