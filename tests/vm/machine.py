"""A virtual PC with Debian's kernel and network cards that have real PHY registers.

Kernel package and unpacked files are kept in a cache directory, the initial file system is made
anew each time. Raises Skip where this machine lacks something that can be had elsewhere."""

import gzip
import io
import lzma
import os
import queue
import re
import shutil
import socket
import subprocess
import tarfile
import tempfile
import threading
import time
from pathlib import Path

WANTED_MODULES = ["e1000", "virtio_pci", "virtio_net"]
# Until the kernel's first character on the console. Some machines have KVM that starts no guest.
FIRST_SIGN_S = {"kvm": 5, "tcg": 40}
SECOND_PORT = "second"  # its file in the machine's work directory


class Skip(Exception):
    """One line: what this machine lacks."""


def run(command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, **options)


def last_line(text):
    lines = [line for line in text.strip().splitlines() if line.strip()]
    return lines[-1] if lines else "no message"


def require_program(name, package):
    path = shutil.which(name)
    if path is None:
        raise Skip(f"{name} is missing: apt-get install {package}")
    return path


class Kernel:
    """Debian's kernel image and the modules wanted, in the order in which they load."""

    def __init__(self, cache):
        self.cache = Path(cache).resolve()
        self.cache.mkdir(parents=True, exist_ok=True)
        package = self._package()
        self.directory = self.cache / package.stem
        if not (self.directory / "complete").exists():
            self._unpack(package)
        self.image = self.directory / "vmlinuz"
        self.modules = self._in_load_order()

    def _package(self):
        kept = sorted(self.cache.glob("linux-image-*.deb"))
        if kept:
            return kept[-1]
        if shutil.which("apt-get") is None:
            raise Skip("Debian's kernel package can't be had: there is no apt-get")
        depends = run(["apt-cache", "depends", "linux-image-amd64"])
        name = re.search(r"Depends: (linux-image-[0-9]\S+)", depends.stdout)
        if name is None:
            raise Skip("Debian's kernel package can't be had: apt knows no linux-image-amd64 "
                       "(apt-get update?)")
        fetched = run(["apt-get", "download", name.group(1)], cwd=self.cache)
        kept = sorted(self.cache.glob("linux-image-*.deb"))
        if fetched.returncode != 0 or not kept:
            raise Skip("Debian's kernel package can't be had: " + last_line(fetched.stderr))
        return kept[-1]

    def _unpack(self, package):
        require_program("dpkg-deb", "dpkg")
        self.directory.mkdir(exist_ok=True)
        with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package],
                              stdout=subprocess.PIPE) as unpacking:
            with tarfile.open(fileobj=unpacking.stdout, mode="r|") as archive:
                for member in archive:
                    name = os.path.basename(member.name)
                    if name.startswith("vmlinuz-"):
                        name = "vmlinuz"
                    elif not self._may_be_wanted(member.name):
                        continue
                    data = archive.extractfile(member).read()
                    if name.endswith(".xz"):
                        name, data = name[:-3], lzma.decompress(data)
                    (self.directory / name).write_bytes(data)
        if unpacking.returncode != 0 or not (self.directory / "vmlinuz").exists():
            raise Skip(f"{package.name} can't be unpacked")
        (self.directory / "complete").touch()

    @staticmethod
    def _may_be_wanted(path):
        return re.search(r"/kernel/(drivers/virtio|drivers/net/ethernet/intel/e1000|drivers/net|"
                         r"net/core)/[^/]+\.ko(\.xz)?$", path) is not None

    def _in_load_order(self):
        ordered = []

        def load(name):
            path = self.directory / f"{name}.ko"
            if path in ordered or not path.exists():
                return
            depends = re.search(rb"(?:^|\0)depends=([^\0]*)\0", path.read_bytes())
            for other in depends.group(1).decode().split(",") if depends else []:
                load(other)
            ordered.append(path)

        for name in WANTED_MODULES:
            if not (self.directory / f"{name}.ko").exists():
                raise Skip(f"the kernel package has no module {name}")
            load(name)
        return ordered


class FileSystem:
    """An initial file system in cpio's "newc" format."""

    def __init__(self):
        self._archive = io.BytesIO()
        self._inode = 0
        self._directories = set()

    def _entry(self, name, mode, data):
        self._inode += 1
        fields = [self._inode, mode, 0, 0, 1, 0, len(data), 0, 0, 0, 0, len(name) + 1, 0]
        header = b"070701" + b"".join(b"%08X" % field for field in fields)
        for part in (header + name.encode() + b"\0", data):
            self._archive.write(part + b"\0" * (-len(part) % 4))

    def directory(self, name):
        if name and name not in self._directories:
            self.directory(os.path.dirname(name))
            self._directories.add(name)
            self._entry(name, 0o040755, b"")

    def add(self, name, data):
        self.directory(os.path.dirname(name))
        self._entry(name, 0o100755, data)

    def add_file(self, name, path):
        self.add(name, Path(path).read_bytes())

    def add_program(self, path, name=None):
        """A program with the libraries and the loader it needs. It goes without its debug
        information: that is most of a file, and the machine keeps all of them in its memory."""
        with tempfile.NamedTemporaryFile() as stripped:
            stripping = run([require_program("strip", "binutils"), "--strip-debug", "-o",
                             stripped.name, path])
            if stripping.returncode != 0:
                raise RuntimeError(f"{path} can't be stripped: {last_line(stripping.stderr)}")
            self.add_file(name or f"bin/{os.path.basename(path)}", stripped.name)
        for line in run(["ldd", path]).stdout.splitlines():
            found = re.search(r"(/\S+) \(0x", line)
            if found is None:
                continue
            library = "lib/" + os.path.basename(found.group(1))
            if library not in self._directories:
                self._directories.add(library)
                self.add_file(library, found.group(1))

    def write(self, path):
        self._entry("TRAILER!!!", 0, b"")
        Path(path).write_bytes(gzip.compress(self._archive.getvalue(), 1))


class Machine:
    """The running PC: lines of its console, a cable per network card, and what it writes to its
    second serial port.

    cards: a list of (model, hub); cards on the same hub are cabled to each other."""

    def __init__(self, kernel, file_system, cards, work):
        self._qemu = require_program("qemu-system-x86_64", "qemu-system-x86")
        self._kernel = kernel
        self._file_system = file_system
        self._cards = cards
        self._work = Path(work)
        self._lines = queue.Queue()
        self._complaints = open(self._work / "qemu.log", "w+", encoding="utf-8")
        self._process = None
        self.started = 0.0
        self.accelerator = None

    def _command(self, accelerator):
        command = [self._qemu, "-accel", accelerator, "-m", "256", "-nodefaults", "-no-reboot",
                   "-display", "none", "-kernel", str(self._kernel.image),
                   "-initrd", str(self._file_system), "-append",
                   "console=ttyS0 earlyprintk=serial,ttyS0,115200 quiet net.ifnames=0 panic=-1",
                   "-serial", "stdio", "-serial", f"file:{SECOND_PORT}",
                   "-monitor", "unix:monitor,server,nowait"]
        for number, (model, hub) in enumerate(self._cards):
            command += ["-netdev", f"hubport,id=port{number},hubid={hub}", "-device",
                        f"{model},id=card{number},netdev=port{number},romfile=,"
                        f"mac=52:54:00:00:00:{number:02x}"]
        return command

    def start(self):
        choices = ["tcg"]
        if os.access("/dev/kvm", os.R_OK | os.W_OK):
            choices.insert(0, "kvm")
        for accelerator in choices:
            self.accelerator = accelerator
            self.started = time.monotonic()
            self._lines = queue.Queue()
            # A relative socket path: the length of an absolute one is limited.
            self._process = subprocess.Popen(self._command(accelerator), cwd=self._work, bufsize=0,
                                             stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                             stderr=self._complaints)
            threading.Thread(target=self._read, args=(self._process, self._lines),
                             daemon=True).start()
            if self._lives(FIRST_SIGN_S[accelerator]):
                return
            self.stop()
        self._complaints.seek(0)
        raise RuntimeError("QEMU starts no machine: " + last_line(self._complaints.read()))

    def _lives(self, within_s):
        try:
            return self._lines.get(timeout=within_s) is not None
        except queue.Empty:
            return False

    @staticmethod
    def _read(process, lines):
        for line in process.stdout:
            lines.put((time.monotonic(), line.decode(errors="replace").rstrip("\r\n")))
        lines.put(None)

    def lines(self, limit_s):
        """(seconds since the start, line) until the machine is off; TimeoutError after limit_s."""
        while True:
            left = self.started + limit_s - time.monotonic()
            try:
                item = self._lines.get(timeout=max(left, 0.01))
            except queue.Empty:
                raise TimeoutError(f"the machine did not end within {limit_s} s") from None
            if item is None:
                return
            yield item[0] - self.started, item[1]

    def answer(self, text):
        self._process.stdin.write(text.encode() + b"\n")

    def written(self):
        """All that the second serial port has been given."""
        path = self._work / SECOND_PORT
        return path.read_bytes() if path.exists() else b""

    def set_cable(self, card, plugged):
        with socket.socket(socket.AF_UNIX) as monitor:
            monitor.connect(os.path.relpath(self._work / "monitor"))
            monitor.settimeout(10)
            self._until_prompt(monitor)
            monitor.sendall(f"set_link card{card} {'on' if plugged else 'off'}\n".encode())
            self._until_prompt(monitor)

    @staticmethod
    def _until_prompt(monitor):
        text = b""
        while not text.endswith(b"(qemu) "):
            piece = monitor.recv(4096)
            if not piece:
                raise ConnectionError("the machine's monitor is gone")
            text += piece

    def stop(self):
        if self._process is not None and self._process.poll() is None:
            self._process.kill()
        if self._process is not None:
            self._process.wait()
