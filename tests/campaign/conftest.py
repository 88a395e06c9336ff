"""What the tests of campaigns share."""
import pytest

pytest_plugins = ["pcsim_fixtures"]


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A working directory of the test's own."""
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture
def write(folder):
    """Writes a file of lines, and tells its name."""
    def make(name, *lines):
        (folder / name).write_text("".join(f"{line}\n" for line in lines))
        return name
    return make
