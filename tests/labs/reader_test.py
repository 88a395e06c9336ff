"""A lab file becomes a topology, or one line that says where it is wrong and what would be right."""
import pytest
from pcsim_lab import source
from pcsim_lab.kinds import Programs
from pcsim_lab.problems import BadInput, LabError
from pcsim_lab.reader import read
from pcsim_lab.topology import Carries, Endpoint, Link, Node, Shaping, Topology

PROGRAMS = Programs("pcsim")
PLAIN = ("pcsim", "--name", "l.{}", "--serve", "--quiet", "--shape")

WHOLE = """\
name: l
topology:
  defaults: {kind: pcsim, ports: 2}
  kinds:
    pcsim: {shape: chassis}
  nodes:
    a:
    b: {shape: stack, ports: 4, run: ["port 1:1 disable"], options: ["--virtual-routers", 4]}
    c: {cards: [1, 8]}
    d: {kind: hal, command: "my-hal 'a b'", env: {N: 1}, exec: ["true"]}
    h: {kind: linux}
  links:
    - endpoints: ["a:eth0", "b:eth4"]
    - {endpoints: [h:up, d:eth1], rate: 10mbit, delay: 5ms, jitter: 500us, loss: 0.5,
       speed: 10, duplex: half}
"""


def command(name, *rest):
    """What a pcsim of that name is started with."""
    return tuple(word.format(name) for word in PLAIN) + rest


def read_text(folder, text, name=None):
    """The topology of a text."""
    file = folder / "lab.yml"
    file.write_bytes(text if isinstance(text, bytes) else text.encode())
    return read(file, PROGRAMS, name)


def problem(folder, text):
    """What is wrong with a text, without the name of its folder."""
    with pytest.raises(BadInput) as raised:
        read_text(folder, text)
    assert raised.value.status == 2
    return str(raised.value).replace(f"{folder}/", "")


@pytest.fixture(autouse=True)
def short_run_folder(monkeypatch):
    """Sockets have short names."""
    monkeypatch.setenv("PCSIM_RUN_DIR", "/r")


def test_a_file_with_everything(tmp_path):
    removed = [part for slot in range(2, 8) for part in ("-x", f"card {slot} remove")]
    assert read_text(tmp_path, WHOLE) == Topology(
        "l", str(tmp_path / "lab.yml"), (
            Node("a", "pcsim", ("eth0", "eth1", "eth2"), command("a", "chassis"), instance="l.a"),
            Node("b", "pcsim", ("eth0", "eth1", "eth2", "eth3", "eth4"),
                 command("b", "stack", "--virtual-routers", "4", "-x", "port 1:1 disable"),
                 instance="l.b"),
            Node("c", "pcsim", ("eth0", "eth1", "eth2"),
                 command("c", "chassis", *removed, "-x", "card 8 insert"), instance="l.c"),
            Node("d", "hal", ("eth0", "eth1", "eth2"), ("my-hal", "a b"), {"N": "1"}, ("true",)),
            Node("h", "linux", ("eth1", "eth2", "up"))),
        (Link(Endpoint("a", "eth0"), Endpoint("b", "eth4")),
         Link(Endpoint("h", "up"), Endpoint("d", "eth1"), Shaping(10**7, 5000, 500, 0.5),
              carries=Carries("10", "half"))))


def test_what_was_written_is_read_again(tmp_path):
    topology = read_text(tmp_path, WHOLE)
    assert Topology.of(topology.to_json()) == topology


def test_another_name_is_that_of_the_instances(tmp_path):
    topology = read_text(tmp_path, WHOLE, "other")
    assert topology.name == "other"
    assert topology.nodes[0].instance == "other.a"
    assert "other.a" in topology.nodes[0].command


def test_a_hal_with_probe_and_mii(tmp_path):
    text = WHOLE.replace("command:", "mii: true, probe: [--record, r.rec], command:")
    words = read_text(tmp_path, text).nodes[3].command
    assert words[0] == "env"
    assert words[1].startswith("LD_PRELOAD=") and words[1].endswith("/libpcsim-mii.so.0")
    assert words[2].endswith("/pcsim-probe")
    assert words[3:] == ("--record", "r.rec", "--", "my-hal", "a b")


def test_keys_can_be_merged(tmp_path):
    text = ("name: l\ntopology:\n  nodes:\n    a: &all {kind: pcsim, ports: 3}\n"
            "    b: {<<: *all, ports: 2}\n")
    assert [len(node.ports) for node in read_text(tmp_path, text).nodes] == [3, 2]


HEAD = "name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, ports: 2}\n"
NODES = "  nodes:\n    a: {kind: pcsim, ports: 2}\n"
ENDS = '    - endpoints: ["a:eth1", "b:eth1"]\n'

WRONG = [
    ("", "1: the file is empty; expected 'name' and 'topology'"),
    ("a: [", "1: this is no YAML: expected the node content, but found '<stream end>'"),
    ("a: 1\n b: 2", "2: this is no YAML: mapping values are not allowed here"),
    ("a: \x01", "1: this is no YAML: special characters are not allowed"),
    (b"\xff", "1: this is no text: invalid start byte"),
    ("[" * 5000, "1: this is no lab: it is nested too deeply"),
    ("- a", "1: the file is a list; expected a mapping"),
    ("name: l", "1: there is no 'topology'; expected 'name' and 'topology'"),
    ("name: l\ntopology: 3", "2: 'topology' of the file is '3'; expected a mapping"),
    ("name: l\ntopology: {}", "2: 'topology' has no 'nodes'; expected some"),
    ("name: l\nmgmt: 1\n", "2: unknown key 'mgmt' of the file; expected name, topology"),
    ("name: a/b\ntopology: {}", "1: 'name' of the file is 'a/b'; expected a name of letters, digits,"
     " '_' and '-', a letter or digit first"),
    ("name: l\nname: m\n", "2: key 'name' stands twice; the first is in line 1"),
    ("name: l\ntopology:\n  nodes:\n    a:\n    b:\n    a:\n",
     "6: node 'a' stands twice; the first is in line 4"),
    ("name: l\ntopology:\n  nodes: {}\n", "3: 'nodes' is empty; expected some"),
    ("name: l\ntopology:\n  nodes:\n    a: {ports: 2}\n",
     "4: node 'a' has no kind; expected pcsim, hal, linux"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: bridge}\n",
     "4: 'kind' of node 'a' is 'bridge'; expected pcsim or hal or linux"),
    ("name: l\ntopology:\n  nodes:\n    a b: {kind: linux}\n",
     "4: 'a b' is no name of a node; expected letters, digits, '_' and '-', a letter or digit "
     "first"),
    ("name: l\ntopology:\n  nodes:\n    a:\n      kind: pcsim\n      port: 2\n",
     "6: unknown key 'port' of node 'a'; expected kind, ports, exec, env, shape, cards, run, "
     "options, command, mii, probe"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: linux, shape: stack}\n",
     "4: unknown key 'shape' of node 'a'; expected kind, ports, exec, env"),
    ("name: l\ntopology:\n  kinds:\n    bridge: {}\n" + NODES,
     "4: there is no kind 'bridge'; expected pcsim, hal, linux"),
    ("name: l\ntopology:\n  kinds:\n    linux: {shape: 1}\n" + NODES,
     "4: unknown key 'shape' of kind 'linux'; expected ports, exec, env"),
    ("name: l\ntopology:\n  defaults: {image: x}\n" + NODES,
     "3: unknown key 'image' of 'defaults'; expected kind, ports, exec, env, shape, cards, run, "
     "options, command, mii, probe"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: hal}\n",
     "4: node 'a' has no command; expected that of a HAL"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: hal, command: \"x 'y\"}\n",
     "4: 'command' of node 'a' can't be divided into words: No closing quotation"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, ports: 13}\n",
     "4: 'ports' of node 'a' is '13'; expected a number from 1 to 12, as many as a stack has"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, shape: chassis, ports: 17}\n",
     "4: 'ports' of node 'a' is '17'; expected a number from 1 to 16, as many as a chassis has"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, ports: 0}\n",
     "4: 'ports' of node 'a' is '0'; expected a number from 1 to 12, as many as a stack has"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, ports: many}\n",
     "4: 'ports' of node 'a' is 'many'; expected a number from 1 to 12, as many as a stack has"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, shape: ring}\n",
     "4: 'shape' of node 'a' is 'ring'; expected stack or chassis"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, cards: [1]}\n",
     "4: a stack has no cards to choose; expected 'shape: chassis'"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, shape: chassis, cards: [9]}\n",
     "4: an item of 'cards' of node 'a' is '9'; expected a number from 1 to 8"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: pcsim, options: [--name=x]}\n",
     "4: the lab itself gives pcsim its --name; expected other options"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: linux, exec: reboot}\n",
     "4: 'exec' of node 'a' is 'reboot'; expected a list of texts"),
    ("name: !x l\ntopology: {}",
     "1: 'name' of the file: could not determine a constructor for the tag '!x'"),
    ("name: 2024-99-99\ntopology: {}", "2: 'topology' has no 'nodes'; expected some"),
    ("[a]: 3\n", "1: a key is a list; expected a text"),
    (HEAD + "  links: 3\n", "5: 'links' of 'topology' of the file is '3'; expected a list of links"),
    (HEAD + "  links:\n    - a:eth1\n", "6: a link is 'a:eth1'; expected a mapping"),
    (HEAD + "  links:\n    - {rate: 1mbit}\n",
     "6: a link has no endpoints; expected [\"NODE:INTERFACE\", \"NODE:INTERFACE\"]"),
    (HEAD + "  links:\n    - endpoints: [a:eth1]\n", "6: a link has 1 endpoints; expected two"),
    (HEAD + "  links:\n    - endpoints: [a:eth1, eth2]\n",
     "6: 'eth2' is no endpoint; expected NODE:INTERFACE, such as sw1:eth1"),
    (HEAD + "  links:\n" + ENDS, "6: there is no node 'b'; expected a"),
    (HEAD + "  links:\n    - endpoints: [a:eth1, a:eth3]\n",
     "6: node 'a' has 2 ports; expected eth0 to eth2 instead of 'eth3'"),
    (HEAD + "  links:\n    - endpoints: [a:eth1, a:wlan0]\n",
     "6: node 'a' has no interface 'wlan0'; expected eth0 to eth2"),
    (HEAD + "  links:\n    - endpoints: [a:eth1, a:eth2]\n    - endpoints: [a:eth2, a:eth0]\n",
     "7: a:eth2 has a cable already, in line 6; expected another interface"),
    (HEAD + "  links:\n    - endpoints: [a:eth1, a:eth1]\n",
     "6: a:eth1 has a cable already, in line 6; expected another interface"),
    (HEAD + "    h: {kind: linux}\n  links:\n    - endpoints: [a:eth1, h:a234567890123456]\n",
     "7: 'a234567890123456' is no name of an interface; expected at most 15 letters, digits, '_', "
     "'.' and '-'"),
    (HEAD + "  links:\n    - {endpoints: [a:eth1, a:eth2], rate: fast}\n",
     "6: 'rate' of a link is 'fast'; expected a rate from 8kbit to 30gbit, such as 10mbit"),
    (HEAD + "  links:\n    - {endpoints: [a:eth1, a:eth2], jitter: 1ms}\n",
     "6: a link has jitter without delay; expected both"),
    (HEAD + "  links:\n    - {endpoints: [a:eth1, a:eth2], speed: 7}\n",
     "6: 'speed' of a link is '7'; expected 10, 100 or auto"),
    (HEAD + "  links:\n    - {endpoints: [a:eth1, a:eth2], mtu: 1500}\n",
     "6: unknown key 'mtu' of a link; expected endpoints, rate, delay, jitter, loss, "
     "speed, duplex"),
    ("name: l\ntopology:\n  nodes:\n    a: &x {<<: *x}\n",
     "4: node 'a' has no kind; expected pcsim, hal, linux"),
    ("name: l\ntopology:\n  nodes:\n    a: {<<: 3}\n",
     "4: expected a mapping or list of mappings for merging, but found scalar"),
    ("name: l\ntopology:\n  nodes:\n    a: {kind: linux, ports: 101}\n",
     "4: 'ports' of node 'a' is '101'; expected a number from 0 to 100"),
]


@pytest.mark.parametrize("text, said", WRONG)
def test_what_is_wrong_is_said_in_one_line(tmp_path, text, said):
    assert problem(tmp_path, text) == f"lab.yml:{said}"


def test_a_file_that_is_not_there(tmp_path):
    with pytest.raises(BadInput) as raised:
        read(tmp_path / "no.yml", PROGRAMS)
    assert str(raised.value) == (f"{tmp_path}/no.yml can't be read: No such file or directory; "
                                 "expected a lab file")


def test_without_the_library_that_reads_yaml(tmp_path, monkeypatch):
    monkeypatch.setattr(source, "yaml", None)
    with pytest.raises(LabError) as raised:
        read_text(tmp_path, WHOLE)
    assert str(raised.value) == (
        "lab files are read by PyYAML, which is missing; expected Debian's package python3-yaml, or "
        "that of 'pip install pcsim[lab]'")
    assert raised.value.status == 1


def test_a_name_too_long_for_a_socket(tmp_path):
    name = "n" * 110
    said = problem(tmp_path, f"name: l\ntopology:\n  nodes:\n    {name}: {{kind: pcsim}}\n")
    assert said == (f"lab.yml:4: the name of /r/l.{name}.sock is too long for a socket; expected "
                    "shorter names of node and lab, or a shorter PCSIM_RUN_DIR")
