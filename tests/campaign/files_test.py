"""What a campaign is made of: checksums, included scripts, and what has changed."""
import os

import pytest
from pcsim.campaign import CampaignError
from pcsim.campaign.files import (File, difference, file_of, includes_of, package_file)

NOTHING = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"


def test_a_checksum_is_that_of_other_tools(folder):
    (folder / "empty").touch()
    assert file_of("need", "empty") == File("need", "empty", NOTHING)


def test_a_file_that_cannot_be_read_is_told():
    with pytest.raises(CampaignError) as told:
        file_of("library", "nowhere/at/all")
    assert str(told.value) == "library nowhere/at/all can't be read: No such file or directory"


def test_nothing_differs_until_something_does(folder, write):
    files = [package_file(), file_of("library", write("a", "one"))]
    assert difference(files) == ""
    (folder / "a").write_text("two\n")
    os.utime("a", ns=(1, 1))
    assert difference(files) == "library a is 27dd8ed44a83; expected 2c8b08da5ce6"
    (folder / "a").unlink()
    assert difference(files) == ("library a can't be read: No such file or directory; "
                                 "expected 2c8b08da5ce6")


def test_another_package_differs():
    [digits] = {package_file().checksum[:12]}
    assert difference([File("package", "pcsim.campaign", NOTHING)]) == (
        f"package pcsim.campaign is {digits}; expected e3b0c44298fc")


def included(folder, **variables):
    """Names of what the scenario includes."""
    return [os.path.relpath(file.path, folder)
            for file in includes_of(folder / "main.pcsim", variables)]


def test_included_scripts_are_found_at_any_depth(folder, write):
    (folder / "parts").mkdir()
    write("main.pcsim", "include parts/a.pcsim", "  inc  \"parts/with blank.pcsim\"  # comment",
          "# include parts/c.pcsim", "include nowhere.pcsim", "includes parts/c.pcsim",
          "echo include parts/c.pcsim", "include \"open")
    write("parts/a.pcsim", "i b.pcsim")
    write("parts/b.pcsim", "include a.pcsim")
    write("parts/c.pcsim")
    write("parts/with blank.pcsim")
    assert included(folder) == ["parts/a.pcsim", "parts/b.pcsim", "parts/with blank.pcsim"]


def test_names_may_have_variables(folder, write):
    write("main.pcsim", "include ${SHAPE}-$part.pcsim", "include $SEED.pcsim")
    write("stack-one.pcsim")
    write("chassis-one.pcsim")
    assert included(folder, SHAPE="stack", part="one") == ["stack-one.pcsim"]
