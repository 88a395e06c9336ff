"""docs/dependencies.md tells of every package that the scripts install, that the packages name, and
that is linked; and of no other."""
import re
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TABLE = re.compile(r"^\| `([^`]+)` \| ([^|]+) \| ([^|]+) \|$", re.MULTILINE)
# What dpkg-shlibdeps finds that the programs are linked with.
LINKED = {"libc6-i386", "lib32stdc++6", "lib32gcc-s1", "lib32readline8", "lib32tinfo6"}
# Tried where it is there, and installed by nobody.
TRIED = {"podman"}
LICENCE = re.compile(r"[A-Za-z0-9.+-]+(?: (?:AND|OR|WITH) [A-Za-z0-9.+-]+)*")


def rows():
    return [(name, licence.strip(), why.strip()) for name, licence, why in TABLE.findall(
        (ROOT / "docs" / "dependencies.md").read_text())]


def installed():
    """What ./run and ./check --all install."""
    lists = "$build_packages $web_packages $check_packages $packaging_packages"
    return set(subprocess.run(["bash", "-c", f". tools/common.sh; echo {lists}"], check=True,
                              capture_output=True, text=True, cwd=ROOT).stdout.split())


def named():
    """What the packages are built with, depend on, recommend and suggest."""
    control = (ROOT / "packaging" / "debian" / "control").read_text()
    own = set(re.findall(r"^(?:Package|Source): (\S+)$", control, re.MULTILINE))
    fields = re.findall(r"^(?:Build-Depends|Depends|Recommends|Suggests):((?:\n .*)+)", control,
                        re.MULTILINE)
    every = {re.match(r"[\w.+-]+", one.strip())[0] for field in fields
             for one in field.replace("\n", " ").split(",") if re.match(r" *\w", one)}
    tools = (ROOT / "packaging" / "proof" / "tools").read_text().split()
    return (every | set(tools)) - own - {"debhelper-compat"}


def test_each_has_one_row_with_a_licence_and_a_reason():
    names = [name for name, _, _ in rows()]
    assert len(names) == len(set(names)) > 50
    for name, licence, why in rows():
        assert LICENCE.fullmatch(licence), f"{name}: '{licence}' is no SPDX expression"
        assert len(why) >= 4, name


def test_they_are_those_that_are_used():
    assert {name for name, _, _ in rows()} == installed() | named() | LINKED | TRIED


def test_the_build_of_packages_takes_what_the_build_takes():
    control = (ROOT / "packaging" / "debian" / "control").read_text()
    needed = re.search(r"^Build-Depends:((?:\n .*)+)", control, re.MULTILINE)[1]
    for name in "cmake", "ninja-build", "g++-multilib", "libboost1.81-dev", "libfmt-dev":
        assert f"\n {name}" in needed and name in installed()
