"""What a machine refuses, and what is said of it."""
import errno
import os

import pytest
from conftest import in_lab
from pcsim_lab import namespaces
from pcsim_lab.problems import NoNamespaces


def test_a_changed_root_that_is_no_mount_point(tmp_path):
    def work():
        os.chroot(tmp_path)
        with pytest.raises(NoNamespaces) as refused:
            namespaces.settle()
        return [str(refused.value), refused.value.status]
    said, status = in_lab(work)
    assert said.startswith("cannot keep mounts to a lab: the root folder is no mount point; run ")
    assert status == 77


def test_a_proc_that_can_not_be_mounted(tmp_path):
    def work():
        namespaces.mount("none", str(tmp_path), "tmpfs", 0)
        os.chroot(tmp_path)  # where there is no folder for it
        return namespaces.settle()
    assert in_lab(work) is False


@pytest.mark.parametrize("forbids, said", [
    ("0", "cannot make namespaces: this machine forbids it; run as root, or allow it: sysctl "
          "kernel.unprivileged_userns_clone=1"),
    ("1", "cannot make namespaces: Operation not permitted; run as root, or where CAP_SYS_ADMIN is "
          "given")])
def test_a_setting_that_forbids_is_named(tmp_path, monkeypatch, forbids, said):
    setting = tmp_path / "setting"
    setting.write_text(forbids + "\n", encoding="ascii")
    monkeypatch.setattr(namespaces, "SETTINGS", (
        (str(tmp_path / "missing"), "0", "nothing"),
        (str(setting), "0", "sysctl kernel.unprivileged_userns_clone=1")))
    assert namespaces.refusal(OSError(errno.EPERM, "Operation not permitted")) == said
