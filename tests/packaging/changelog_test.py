"""The packages' changelog is made of the project's own."""
import re
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TOOL = ROOT / "packaging" / "make-changelog"
WHO = "Some Body <some@body.invalid>"
TEXT = """# Changelog

## [Unreleased]

### Added

- Nothing that is told.

## [1.1.0] - 2026-02-03

About this version.

### Added

- One thing, of which there is so much to tell that its line is broken where a package's
  changelog wants it.
- Another.

### Fixed

- A third.

## [1.0.0] - 2026-01-02

### Added

- The first.
"""


def make(version, text=TEXT):
    """(status, output, errors)."""
    done = subprocess.run([TOOL, version, WHO], input=text, capture_output=True, text=True,
                          check=False)
    return done.returncode, done.stdout, done.stderr


def test_releases_are_told_the_newest_first():
    assert make("1.1.0") == (0, f"""\
pcsim (1.1.0) unstable; urgency=medium

  [ Added ]
  * One thing, of which there is so much to tell that its line is broken where
    a package's changelog wants it.
  * Another.

  [ Fixed ]
  * A third.

 -- {WHO}  Tue, 03 Feb 2026 12:00:00 +0000

pcsim (1.0.0) unstable; urgency=medium

  [ Added ]
  * The first.

 -- {WHO}  Fri, 02 Jan 2026 12:00:00 +0000

""", "")


def test_later_ones_are_not_told():
    status, told, _ = make("1.0.0")
    assert status == 0 and "1.1.0" not in told and "The first." in told


def test_a_version_that_is_not_told_of():
    assert make("2.0.0") == (1, "", "CHANGELOG.md does not tell of 2.0.0; expected one of 1.1.0, "
                                    "1.0.0, or a heading '## [2.0.0] - YYYY-MM-DD'\n")


def test_the_changelog_of_the_tree_keeps_its_form():
    text = (ROOT / "CHANGELOG.md").read_text()
    headings = re.findall(r"^## (.*)$", text, re.MULTILINE)
    assert headings[0] == "[Unreleased]"
    assert all(re.fullmatch(r"\[\d+\.\d+\.\d+\] - \d{4}-\d\d-\d\d", one) for one in headings[1:])
    numbers = [tuple(map(int, re.findall(r"\d+", one)[:3])) for one in headings[1:]]
    assert numbers == sorted(numbers, reverse=True)
    kinds = re.findall(r"^### (.*)$", text, re.MULTILINE)
    assert set(kinds) <= {"Added", "Changed", "Deprecated", "Removed", "Fixed", "Security"}
