"""A cluster on one machine: a scheduler here, and workers in network namespaces of their own, each
on a cable to a bridge. Everything runs within an empty network namespace that was made for it.
"""
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

from conftest import python_path

NETWORK = "10.77.0"
PORT = 8786
ADDRESS = f"tcp://{NETWORK}.1:{PORT}"
# Begins once its interface is there. What it starts with may change its files for itself alone.
WORKER = """
read -r begin
ip link set lo up
ip link set eth0 up
ip address add {address}/24 dev eth0
{before}
exec {python} -m distributed.cli.dask_worker {scheduler} --host {address} --name {name} \
    --nthreads 1 --no-nanny --no-dashboard --local-directory {folder}
"""


def ip(*words):
    """Changes this namespace."""
    subprocess.run(["ip", *words], check=True)


class Cluster:
    """The scheduler and its workers."""

    def __init__(self, folder):
        self._folder = folder
        self._processes = {}
        self._environment = {**os.environ, **python_path(), "LC_ALL": "C.UTF-8"}
        ip("link", "set", "lo", "up")
        ip("link", "add", "bridge", "type", "bridge")
        ip("link", "set", "bridge", "up")
        ip("address", "add", f"{NETWORK}.1/24", "dev", "bridge")
        self.start_scheduler()

    def start_scheduler(self):
        """Starts it where all know it."""
        self._start("scheduler", [sys.executable, "-m", "distributed.cli.dask_scheduler", "--host",
                                  f"{NETWORK}.1", "--port", str(PORT), "--no-dashboard"])

    def _start(self, name, command, environment=None, **how):
        with open(self._folder / f"{name}.log", "wb") as log:
            self._processes[name] = subprocess.Popen(
                command, stdout=log, stderr=subprocess.STDOUT, cwd=self._folder,
                env=self._environment | (environment or {}), **how)
        return self._processes[name]

    def start_worker(self, number, before="", **environment):
        """A worker: its name. 'before' are commands that it begins with."""
        name, address = f"worker-{number}", f"{NETWORK}.{10 + number}"
        scratch = self._folder / name
        scratch.mkdir()
        script = WORKER.format(address=address, before=before, python=sys.executable, name=name,
                               scheduler=ADDRESS, folder=scratch)
        process = self._start(name, ["unshare", "--net", "--mount", "sh", "-c", script],
                              environment, stdin=subprocess.PIPE)
        while os.readlink(f"/proc/{process.pid}/ns/net") == os.readlink("/proc/self/ns/net"):
            assert process.poll() is None, self.said(name)
            time.sleep(0.01)
        ip("link", "add", f"cable{number}", "type", "veth", "peer", "name", "eth0", "netns",
           str(process.pid))
        ip("link", "set", f"cable{number}", "master", "bridge", "up")
        process.stdin.write(b"begin\n")
        process.stdin.close()
        return name

    def wait_for(self, count):
        """Waits until the scheduler has so many workers."""
        import distributed  # pylint: disable=import-outside-toplevel
        with distributed.Client(ADDRESS, timeout=60, set_as_default=False) as client:
            client.wait_for_workers(count, timeout=120)

    def kill(self, name):
        """Ends a process as a machine ends whose power is cut."""
        process = self._processes.pop(name)
        process.send_signal(signal.SIGKILL)
        process.wait()
        return process.pid

    def said(self, name):
        """What a process has printed."""
        return (self._folder / f"{name}.log").read_text()

    def close(self):
        """Ends all."""
        for name in list(self._processes):
            self.kill(name)
        for path in Path("/sys/class/net").iterdir():
            if path.name.startswith("cable") or path.name == "bridge":
                subprocess.run(["ip", "link", "delete", path.name], check=False)
