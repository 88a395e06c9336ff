"""Pictures of labs."""
import xml.etree.ElementTree as xml

import pytest
from conftest import run
from pcsim_lab import graph
from pcsim_lab.topology import Endpoint, Link, Node, Topology

SVG = "{http://www.w3.org/2000/svg}"


def fabric():
    """Two spines above two leaves above two hosts, and a node without a cable."""
    kinds = {"leaf1": "pcsim", "leaf2": "pcsim", "spine1": "pcsim", "spine2": "hal",
             "a&b": "linux", "h2": "linux", "alone": "pcsim"}
    cables = [("leaf1", "spine1"), ("leaf1", "spine2"), ("leaf2", "spine1"), ("leaf2", "spine2"),
              ("a&b", "leaf1"), ("h2", "leaf2")]
    return Topology("f", "f.yml", tuple(Node(name, kind) for name, kind in kinds.items()),
                    tuple(Link(Endpoint(a, "eth1"), Endpoint(b, "eth2")) for a, b in cables))


def test_hosts_stand_at_the_bottom():
    assert graph.rows(fabric()) == [["spine1", "spine2"], ["leaf1", "leaf2"],
                                    ["a&b", "h2", "alone"]]


def test_leaves_without_hosts_stand_beside_those_with():
    kinds = {"spine": "pcsim", "leaf1": "pcsim", "leaf2": "pcsim", "leaf3": "pcsim", "h": "linux"}
    cables = [("leaf1", "spine"), ("leaf2", "spine"), ("leaf3", "spine"), ("h", "leaf1")]
    topology = Topology("f", "f.yml", tuple(Node(name, kind) for name, kind in kinds.items()),
                        tuple(Link(Endpoint(a, "eth1"), Endpoint(b, "eth2")) for a, b in cables))
    assert graph.rows(topology) == [["spine"], ["leaf1", "leaf2", "leaf3"], ["h"]]


def test_without_hosts_who_has_the_fewest_cables_does():
    nodes = tuple(Node(name, "pcsim") for name in ("root", "a", "b"))
    links = tuple(Link(Endpoint("root", f"eth{n}"), Endpoint(name, "eth1"))
                  for n, name in enumerate("ab", 1))
    assert graph.rows(Topology("f", "f.yml", nodes, links)) == [["root"], ["a", "b"]]


def test_the_picture_has_all_nodes_and_cables():
    topology = fabric()
    first = topology.links[0]
    picture = xml.fromstring(graph.svg(topology, {(first.a, first.b): "pulled"}))
    assert len(picture.findall(f"{SVG}g")) == 7
    lines = picture.findall(f"{SVG}line")
    assert [line.get("stroke") for line in lines] == ["#b02020"] + ["#888"] * 5
    assert lines[0].find(f"{SVG}title").text == "leaf1:eth1 - spine1:eth2: pulled"
    texts = [text.text for text in picture.iter(f"{SVG}text")]
    assert "a&b" in texts and texts.count("eth1") == 6
    width, height = int(picture.get("width")), int(picture.get("height"))
    for rectangle in picture.iter(f"{SVG}rect"):
        assert 0 <= int(rectangle.get("x")) <= width - int(rectangle.get("width"))
        assert 0 <= int(rectangle.get("y")) <= height - int(rectangle.get("height"))


def test_nodes_of_one_row_are_joined_around_others():
    topology = Topology("f", "f.yml", (Node("a", "linux"), Node("b", "linux")),
                        (Link(Endpoint("a", "eth1"), Endpoint("b", "eth1")),))
    assert xml.fromstring(graph.svg(topology, {})).findall(f"{SVG}path")


def test_the_text_for_mermaid():
    assert graph.mermaid(fabric()).splitlines()[:3] + graph.mermaid(fabric()).splitlines()[-1:] == [
        "graph TD", '    n0["leaf1<br/>pcsim"]', '    n1["leaf2<br/>pcsim"]',
        '    n5 ---|"eth1 - eth2"| n1']


FILE = "name: f\ntopology: {nodes: {a: {kind: linux}, b: {kind: linux}}, links: [%s]}\n"


@pytest.mark.parametrize("form, begin", [((), "<svg "), (("--svg",), "<svg "),
                                         (("--mermaid",), "graph TD\n"), (("--json",), "{\n")])
def test_a_file_needs_not_be_up(tmp_path, run_folder, form, begin):
    file = tmp_path / "f.yml"
    file.write_text(FILE % '{endpoints: ["a:x", "b:y"]}')
    done = run("graph", str(file), *form)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.startswith(begin)
    assert not run_folder.exists()
