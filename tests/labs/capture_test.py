"""Captured frames, as a file and as lines."""
import contextlib
import resource
import signal
import struct
import subprocess
import sys
import time

import pytest
from conftest import PROGRAM, eventually, run
from pcsim_lab import capture

LAB = """\
name: pair
topology:
  nodes:
    a: {kind: hal, ports: 1, command: sleep 1000}
    b: {kind: hal, ports: 1, command: sleep 1000}
  links:
    - endpoints: ["a:eth1", "b:eth1"]
"""
# Frames of 60 bytes, the second with a VLAN's tag.
SEND = ("import socket, sys; s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0); "
        "s.bind(('eth1', 0)); [s.send(bytes.fromhex(text).ljust(60, bytes([n]))) "
        "for n, text in enumerate(sys.argv[1:])]")
PLAIN, TAGGED = "ffffffffffff02000000000988b5", "ffffffffffff0200000000098100006488b5"


def send(labs, node, *frames):
    """A node sends these."""
    labs.ask("exec", node, "--", "python3", "-c", SEND, *frames)


@contextlib.contextmanager
def capturing(*arguments):
    """A capture at a:eth1 that has begun."""
    command = [sys.executable, PROGRAM, "capture", "a:eth1", *arguments]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True) as process:
        try:
            assert process.stderr.readline() == "capturing at a:eth1; Ctrl-C ends it\n"
            yield process
        finally:
            process.kill()


def ended(process):
    """What it has said when it ends well."""
    said, wrong = process.communicate(timeout=20)
    assert (process.returncode, wrong) == (0, "")
    return said


def captured(labs, *arguments, frames):
    """What a capture says of frames: (node, text) each."""
    with capturing(*arguments, "--count", str(len(frames))) as process:
        for node, text in frames:
            send(labs, node, text)
        return ended(process)


def test_both_directions_are_in_the_file(labs, tmp_path):
    labs.up(LAB)
    before = time.time()
    file = tmp_path / "frames.pcap"
    said = captured(labs, str(file), frames=[("a", PLAIN), ("b", TAGGED)])
    assert said == f"2 frames in {file}\n"
    data = file.read_bytes()
    assert data[:24] == struct.pack("=IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 262144, 1)
    found, at = [], 24
    while at < len(data):
        seconds, rest, length, whole = struct.unpack_from("=IIII", data, at)
        assert length == whole and rest < 10**9
        assert before - 1 < seconds + rest / 1e9 < time.time() + 1
        found.append(data[at + 16:at + 16 + length])
        at += 16 + length
    assert found == [bytes.fromhex(text).ljust(60, b"\0") for text in (PLAIN, TAGGED)]


def test_lines_say_which_way(labs):
    labs.up(LAB)
    said = captured(labs, frames=[("a", PLAIN), ("b", TAGGED)]).splitlines()
    assert [line.split(" ", 1)[1] for line in said] == [
        "from node  02:00:00:00:00:09 > ff:ff:ff:ff:ff:ff  0x88b5  60 bytes",
        "to   node  02:00:00:00:00:09 > ff:ff:ff:ff:ff:ff  VLAN  60 bytes"]


def test_a_pulled_cable_is_waited_for(labs):
    labs.up(LAB)
    with capturing("--count", "1") as process:
        labs.ask("link", "b:eth1", "down")
        assert eventually(lambda: not labs.carrier("b"))
        labs.ask("link", "b:eth1", "up")
        assert eventually(lambda: labs.carrier("b"))
        send(labs, "b", PLAIN)
        assert ended(process).endswith("60 bytes\n")


def test_it_ends_with_the_lab(labs, tmp_path):
    labs.up(LAB)
    file = tmp_path / "frames.pcap"
    with capturing(str(file)) as process:
        labs.ask("down")
        assert ended(process) == f"0 frames in {file}\n"
    assert len(file.read_bytes()) == 24


def test_it_ends_when_it_is_told_to(labs):
    labs.up(LAB)
    with capturing() as process:
        process.send_signal(signal.SIGINT)
        assert ended(process) == ""


def test_a_reader_that_wants_no_more(labs):
    labs.up(LAB)
    with capturing() as process:
        process.stdout.close()
        send(labs, "b", PLAIN)
        assert (process.stderr.read(), process.wait(20)) == ("", 1)


def test_a_file_that_can_not_be_written(labs, tmp_path):
    labs.up(LAB)
    done = run("capture", "a:eth1", str(tmp_path / "no" / "file"))
    assert (done.returncode, done.stderr) == (
        1, f"pcsim-lab: {tmp_path}/no/file can't be written: No such file or directory\n")


def test_standard_output_takes_the_file(labs):
    labs.up(LAB)
    with subprocess.Popen([sys.executable, PROGRAM, "capture", "a:eth1", "-", "--count", "1"],
                          stdout=subprocess.PIPE) as process:
        assert process.stdout.read(4) == struct.pack("=I", 0xA1B23C4D)
        send(labs, "b", PLAIN)
        rest = process.stdout.read()
        assert process.wait(10) == 0
    assert rest[36:] == bytes.fromhex(PLAIN).ljust(60, b"\0")


@pytest.mark.parametrize("auxiliary, data", [
    ((0, 0, 0), b"to....from..\x88\xb5"),
    ((0x10, 100, 0), b"to....from..\x81\x00\x00\x64\x88\xb5"),
    ((0x50, 100, 0x88A8), b"to....from..\x88\xa8\x00\x64\x88\xb5")])
def test_a_tag_stands_where_it_stood(auxiliary, data):
    status, tag, kind = auxiliary
    packed = struct.pack("=IIIHHHH", status, 0, 0, 0, 0, tag, kind)
    assert capture.tagged(b"to....from..\x88\xb5", packed) == data


def test_a_full_disk_leaves_whole_frames(tmp_path):
    """Of a file that takes 150 bytes: its begin has 24 of them, a frame of 64 takes 80."""
    path, frame = tmp_path / "frames.pcap", capture.Frame(1, True, bytes(64))
    limits = resource.getrlimit(resource.RLIMIT_FSIZE)
    target = capture.Pcap(str(path))
    resource.setrlimit(resource.RLIMIT_FSIZE, (150, limits[1]))
    try:
        target.add(frame)
        with pytest.raises(OSError):
            target.add(frame)
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
    target.close()
    assert path.stat().st_size == 24 + 80
    assert [each.name for each in tmp_path.iterdir()] == ["frames.pcap"]
