"""Namespaces of Linux: a lab's own, and those of its nodes.

A lab has a PID, a mount and a network namespace; for users without rights these stand in a user
namespace, where the user is root. Whatever runs in the lab ends with the first process of its PID
namespace.
"""
from __future__ import annotations

import ctypes
import errno
import fcntl
import os
import socket
import struct
from contextlib import contextmanager
from pathlib import Path
from typing import Iterator

from .problems import NoNamespaces

CLONE_NEWNS = 0x00020000
CLONE_NEWUSER = 0x10000000
CLONE_NEWPID = 0x20000000
CLONE_NEWNET = 0x40000000
MS_NOSUID, MS_NODEV, MS_NOEXEC, MS_REC, MS_PRIVATE = 2, 4, 8, 0x4000, 0x40000
SIOCGIFFLAGS, SIOCSIFFLAGS, SIOCETHTOOL = 0x8913, 0x8914, 0x8946
IFF_UP = 1
ETHTOOL_SFLAGS = 0x26

# Settings of the kernel that forbid namespaces, with what allows them.
SETTINGS = (
    ("/proc/sys/kernel/unprivileged_userns_clone", "0",
     "sysctl kernel.unprivileged_userns_clone=1"),
    ("/proc/sys/kernel/apparmor_restrict_unprivileged_userns", "1",
     "sysctl kernel.apparmor_restrict_unprivileged_userns=0"),
    ("/proc/sys/user/max_user_namespaces", "0", "sysctl user.max_user_namespaces=1000"),
    ("/proc/sys/user/max_net_namespaces", "0", "sysctl user.max_net_namespaces=1000"),
)

libc = ctypes.CDLL(None, use_errno=True)


def checked(result: int) -> None:
    """OSError for a call of libc that has failed."""
    if result < 0:
        number = ctypes.get_errno()
        raise OSError(number, os.strerror(number))


def unshare(flags: int) -> None:
    """Leaves the namespaces of these kinds for new ones."""
    checked(libc.unshare(flags))


def enter(descriptor: int, kind: int) -> None:
    """Goes into the namespace of that descriptor."""
    checked(libc.setns(descriptor, kind))


def mount(what: str, where: str, kind: str, flags: int) -> None:
    """mount(2)."""
    checked(libc.mount(what.encode(), where.encode(), kind.encode(), flags, None))


def become_lab() -> bool:
    """Enters namespaces of a lab's own; the next child is the first process there. Returns whether
    it took a user namespace. NoNamespaces where that is refused."""
    kinds = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET
    try:
        if os.geteuid() == 0:
            try:
                unshare(kinds)
                return False
            except PermissionError:
                pass
        user, group = os.geteuid(), os.getegid()
        unshare(CLONE_NEWUSER)
        Path("/proc/self/setgroups").write_text("deny", encoding="ascii")
        Path("/proc/self/uid_map").write_text(f"0 {user} 1", encoding="ascii")
        Path("/proc/self/gid_map").write_text(f"0 {group} 1", encoding="ascii")
        unshare(kinds)
        return True
    except OSError as problem:
        raise NoNamespaces(refusal(problem)) from problem


def refusal(problem: OSError) -> str:
    """Why namespaces are refused, with what would allow them where that is known."""
    if problem.errno in (errno.EPERM, errno.ENOSPC, errno.EACCES):
        for path, forbids, remedy in SETTINGS:
            try:
                if Path(path).read_text(encoding="ascii").strip() == forbids:
                    return ("cannot make namespaces: this machine forbids it; run as root, or "
                            f"allow it: {remedy}")
            except OSError:
                continue
    return (f"cannot make namespaces: {problem.strerror}; run as root, or where CAP_SYS_ADMIN is "
            "given")


def settle() -> bool:
    """In the lab's first process: mounts stay in here, and /proc tells of the lab alone. Returns
    whether it does; containers may forbid it. NoNamespaces in a changed root that is no mount:
    what is mounted there would be seen outside."""
    try:
        mount("none", "/", "", MS_REC | MS_PRIVATE)
    except OSError as problem:
        raise NoNamespaces("cannot keep mounts to a lab: the root folder is no mount point; run "
                           "outside of chroot, or bind the folder to itself first") from problem
    try:
        mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC)
        return True
    except OSError:
        return False


def network() -> int:
    """A descriptor of the network namespace that this thread is in."""
    return os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)


@contextmanager
def within(descriptor: int, home: int) -> Iterator[None]:
    """In another network namespace, and then back `home`."""
    enter(descriptor, CLONE_NEWNET)
    try:
        yield
    finally:
        enter(home, CLONE_NEWNET)


def new_network(home: int, silent: bool) -> int:
    """A descriptor of a new network namespace, where the kernel keeps silent if it shall, and the
    loopback works."""
    unshare(CLONE_NEWNET)
    try:
        made = network()
        if silent:
            no_ipv6()
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
            fcntl.ioctl(control, SIOCSIFFLAGS, struct.pack("16sH22x", b"lo", IFF_UP))
        return made
    finally:
        enter(home, CLONE_NEWNET)


def no_ipv6() -> None:
    """Interfaces to come in this namespace send nothing of IPv6."""
    for scope in ("all", "default"):
        try:
            Path(f"/proc/sys/net/ipv6/conf/{scope}/disable_ipv6").write_text("1", encoding="ascii")
        except FileNotFoundError:
            return  # a kernel without IPv6


def keep_tags_in_frames(control: socket.socket, interface: str) -> None:
    """A VLAN's tag is part of the frame that leaves there, and counted with it, as on a wire."""
    flags = ctypes.create_string_buffer(struct.pack("=II", ETHTOOL_SFLAGS, 0))
    request = struct.pack("16sP16x", interface.encode(), ctypes.addressof(flags))
    fcntl.ioctl(control, SIOCETHTOOL, request)
