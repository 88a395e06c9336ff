"""A root file system is packed as an image whose parts name each other by what they hold."""
import gzip
import hashlib
import io
import json
import os
import re
import subprocess
import tarfile
from pathlib import Path

import pytest
import yaml
from pcsim.version import VERSION

ROOT = Path(__file__).resolve().parents[2]
TOOL = ROOT / "packaging" / "pack-image"


def pack(folder, content=b"pcsim"):
    """The image of a root with one file."""
    root, image = folder / "root.tar", folder / "image.tar"
    with tarfile.open(root, "w") as tar:
        entry = tarfile.TarInfo("usr/bin/pcsim")
        entry.size = len(content)
        tar.addfile(entry, io.BytesIO(content))
    done = subprocess.run([TOOL, root, "1.2.3", image], capture_output=True, text=True,
                          check=False, env={**os.environ, "SOURCE_DATE_EPOCH": "86400"})
    assert done.returncode == 0, done.stderr
    return root, image


@pytest.fixture(name="parts")
def read(tmp_path):
    """(contents by name, the root)."""
    root, image = pack(tmp_path)
    with tarfile.open(image) as tar:
        return {one.name: tar.extractfile(one).read() for one in tar}, root.read_bytes()


def blob(parts, told):
    """What a description describes."""
    content = parts["blobs/" + told["digest"].replace(":", "/")]
    assert (told["digest"], told["size"]) == (
        "sha256:" + hashlib.sha256(content).hexdigest(), len(content))
    return content


def test_from_the_index_to_the_layer(parts):
    contents, root = parts
    assert json.loads(contents["oci-layout"]) == {"imageLayoutVersion": "1.0.0"}
    described, = json.loads(contents["index.json"])["manifests"]
    assert described["annotations"]["org.opencontainers.image.ref.name"] == "pcsim:1.2.3"
    manifest = json.loads(blob(contents, described))
    config = json.loads(blob(contents, manifest["config"]))
    layer, = manifest["layers"]
    assert gzip.decompress(blob(contents, layer)) == root
    assert config["rootfs"]["diff_ids"] == ["sha256:" + hashlib.sha256(root).hexdigest()]
    assert len(contents) == 5


def test_how_it_starts(parts):
    contents, _ = parts
    described, = json.loads(contents["index.json"])["manifests"]
    config = json.loads(blob(contents, json.loads(blob(contents, described))["config"]))
    assert config["created"] == "1970-01-02T00:00:00Z"
    assert config["config"]["Entrypoint"] + config["config"]["Cmd"] == [
        "pcsim", "--name", "switch", "--serve", "--quiet"]
    folder, = config["config"]["Volumes"]
    assert f"PCSIM_RUN_DIR={folder}/sockets" in config["config"]["Env"]


def test_the_same_root_makes_the_same_image(tmp_path):
    for name in "one", "other", "changed":
        (tmp_path / name).mkdir()
    one, other, changed = (pack(tmp_path / name, content)[1].read_bytes() for name, content in (
        ("one", b"pcsim"), ("other", b"pcsim"), ("changed", b"pcsin")))
    assert one == other != changed


def test_an_image_that_is_too_large_is_refused(tmp_path):
    root = tmp_path / "root.tar"
    root.write_bytes(os.urandom(60_100_000))
    done = subprocess.run([TOOL, root, "1.2.3", tmp_path / "image.tar"], capture_output=True,
                          text=True, check=False)
    assert (done.returncode, done.stderr) == (1, "the image is larger than 60 MB\n")


def everything_in(value):
    """Each text of a document."""
    if isinstance(value, dict):
        return [text for inner in value.values() for text in everything_in(inner)]
    if isinstance(value, list):
        return [text for inner in value for text in everything_in(inner)]
    return [str(value)]


def test_the_document_names_the_image_of_this_version():
    text = (ROOT / "docs" / "labs.md").read_text()
    assert set(re.findall(r"pcsim[-:](\d+\.\d+\.\d+)", text)) == {VERSION}
    _, *blocks = text.split("```yaml\n")
    files = [yaml.safe_load(block.partition("```")[0]) for block in blocks]
    assert [next(iter(file)) for file in files] == ["name", "services", "apiVersion"]
    for file in files:
        images = {text for text in everything_in(file) if "localhost" in text}
        assert images == {f"localhost/pcsim:{VERSION}"}
