#!/usr/bin/env python3
"""The socket of an instance, as nobody should use it: abuse_test.py PCSIM [CASE...]"""
import json
import os
import socket
import subprocess
import sys
import time

from client import PATIENCE, Instance, Place, equal, run_cases, until

LONGEST = 16 * 1024 * 1024


def test_protocol_errors(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        for sent, code, number in [
                (b"show ports", -32700, None), (b"\xff\xfe\x00\x01", -32700, None),
                (b"[]", -32600, None), (b'{"id":5}', -32600, 5), (b'{"id":"x"}', -32600, "x"),
                (b'{"id":1,"method":"frob"}', -32601, 1),
                (b'{"id":1,"method":"run"}', -32602, 1),
                (b'{"id":1,"method":"run","params":{"line":5}}', -32602, 1),
                (b'{"id":1,"method":"run","params":{"lin":"x"}}', -32602, 1),
                (b'{"id":1,"method":"cancel","params":{"stream":9}}', -32602, 1),
                (b'{"id":1,"method":"events","params":{"since":99999}}', -32602, 1)]:
            client.send_bytes(sent + b"\n")
            answer = client.read()
            equal((answer["error"]["code"], answer["id"]), (code, number))
            assert "; expected " in answer["error"]["message"], answer
        # Nothing is lost: the connection goes on, also behind empty lines and without an id.
        client.send_bytes(b'\n\r\n{"method":"run","params":{"line":"echo unheard"}}\n')
        equal(client.run("echo still here")["text"], "still here\n")
        equal(client.notes, [])


def test_binary(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        noise = bytes(range(256)).replace(b"\n", b"") * 1000
        client.send_bytes(noise + b"\n")
        equal(client.read()["error"]["code"], -32700)
        equal(client.run("echo a\x00b")["text"], "a?b\n")


def test_half_lines(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        for byte in b'{"id":1,"method":"run","params":{"line":"echo slow"}}':
            client.send_bytes(bytes([byte]))
        other = instance.client()
        equal(other.run("echo meanwhile")["text"], "meanwhile\n")
        client.send_bytes(b'\n{"id":2,"meth')
        equal(client.read()["result"]["text"], "slow\n")
        client.socket.shutdown(socket.SHUT_WR)
        answer = client.read()
        equal(answer["error"], {"code": -32000, "message":
                                "the request has no end; expected a line feed behind it"})
        equal(client.read(), {})
        # Who sends all and ends its side gets all answers.
        client = instance.client()
        numbers = [client.send("run", line=f"echo {n}") for n in range(500)]
        client.socket.shutdown(socket.SHUT_WR)
        for n, number in enumerate(numbers):
            equal(client.answer(number)["result"]["text"], f"{n}\n")
        equal(client.read(), {})


def test_largest(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        head = b'{"id":1,"method":"run","params":{"line":"echo '
        tail = b'"}}'
        largest = head + b"x" * (LONGEST - len(head) - len(tail)) + tail
        client.send_bytes(largest + b"\n")
        answer = client.read()
        equal(len(answer["result"]["text"]), LONGEST - len(head) - len(tail) + 1)
        other = instance.client()
        client.send_bytes(largest[:-3] + b'xx"}}\n')
        equal(other.run("echo meanwhile")["text"], "meanwhile\n")
        error = client.read()["error"]
        equal(error["code"], -32000)
        assert "; expected a line of at most 16777216 bytes" in error["message"], error
        equal(client.run("echo next")["text"], "next\n")
        # A line without an end at all.
        for _ in range(3):
            client.send_bytes(b"x" * LONGEST)
        equal(client.read()["error"]["code"], -32000)
        client.send_bytes(b"\n")
        equal(client.run("echo next")["text"], "next\n")


def open_sockets(instance: Instance) -> int:
    folder = f"/proc/{instance.process.pid}/fd"
    count = 0
    for descriptor in os.listdir(folder):
        try:
            count += os.readlink(f"{folder}/{descriptor}").startswith("socket:")
        except FileNotFoundError:  # closed meanwhile
            pass
    return count


def test_many(place: Place) -> None:
    many = 2500
    with place.one() as instance:
        none = open_sockets(instance)
        clients = [instance.client() for _ in range(many)]
        for client in clients:
            client.send("run", line="echo x")
        for client in clients:
            equal(client.read()["result"]["text"], "x\n")
        # Half of them vanish, some in the middle of something.
        for n, client in enumerate(clients[::2]):
            if n % 2:
                client.send("run", line="wait event never within 1000000")
            if n % 3 == 0:
                client.send_bytes(b'{"id":1,"met')
            client.close()
        for client in clients[1::2]:
            equal(client.run("echo y")["text"], "y\n")
        for client in clients[1::2]:
            client.close()
        until(lambda: open_sockets(instance) <= none)
        equal(instance.client().run("echo z")["text"], "z\n")


def test_too_many(place: Place) -> None:
    with Instance("prlimit", place.folder, "one",
                  before=["--nofile=200:200", place.pcsim]) as instance:
        none = open_sockets(instance)
        clients = [instance.client() for _ in range(300)]
        refused = 0
        for client in clients:
            client.socket.settimeout(PATIENCE)
            try:
                client.send("status")
            except BrokenPipeError:
                pass
            answer = client.read()
            if "error" in answer:
                refused += 1
                equal(answer["error"]["code"], -32000)
                assert "; expected one of " in answer["error"]["message"], answer
                equal(client.read(), {})
        assert 100 <= refused <= 200, refused
        for client in clients:
            client.close()
        until(lambda: open_sockets(instance) <= none)
        equal(instance.client().run("echo again")["text"], "again\n")


def test_vanishing_waiter(place: Place) -> None:
    with place.one() as instance:
        other = instance.client()
        other.run("time run")
        before = open_sockets(instance)
        client = instance.client()
        client.send("run", line="wait event never within 1000000")
        until(lambda: open_sockets(instance) == before + 1)
        time.sleep(0.1)
        client.close()
        until(lambda: open_sockets(instance) == before)
        equal(other.run("echo still here")["text"], "still here\n")


def test_slow_subscriber(place: Place) -> None:
    events, kept = 30000, 20000
    with place.one() as instance:
        slow, busy = instance.client(), instance.client()
        stream = slow.result("events", sources=["lab"])
        # Nobody reads meanwhile: the socket fills, the log goes on.
        for _ in range(events // 1000):
            result = busy.result("batch", lines=["cable 1 send 1"] * 1000)
            equal(result["failed"], 0)
        last = busy.result("events")["next"]
        got = lost = sequence = 0
        while got + lost < last - stream["next"]:
            note = slow.read()
            equal(note["params"]["sequence"], sequence)
            sequence += 1
            if note["method"] == "lost":
                lost += note["params"]["count"]
            else:
                got += 1
        assert got >= kept and lost > 0, (got, lost)


def test_pipelining_and_backpressure(place: Place) -> None:
    with place.one() as instance:
        client, other = instance.client(), instance.client()
        many = 20000
        data = b"".join(json.dumps({"id": n, "method": "run", "params": {"line": "show ports"}})
                        .encode() + b"\n" for n in range(many))
        client.socket.setblocking(False)
        sent = 0
        end = time.monotonic() + 2  # it doesn't read: pcsim stops reading, too
        while time.monotonic() < end and sent < len(data):
            try:
                sent += client.socket.send(data[sent:])
            except BlockingIOError:
                time.sleep(0.01)
        assert sent < len(data)
        equal(other.run("echo meanwhile")["text"], "meanwhile\n")
        memory = int(next(line for line in open(f"/proc/{instance.process.pid}/status")
                          if line.startswith("VmRSS")).split()[1])
        assert memory < 300000, memory
        client.socket.settimeout(PATIENCE)
        complete = data[:sent].count(b"\n")
        for n in range(complete):
            equal(client.read()["id"], n)
        client.send_bytes(data[sent:].split(b"\n", 1)[0] + b"\n")
        equal(client.read()["id"], complete)


def test_two_instances(place: Place) -> None:
    with place.one() as first, Instance(place.pcsim, place.folder, "two") as second:
        equal(first.client().result("status")["name"], "one")
        equal(second.client().result("status")["name"], "two")
        refused = subprocess.run([place.pcsim, "--lab", "1", "--name", "one", "-x", "echo x"],
                                 capture_output=True, text=True, timeout=PATIENCE, check=False)
        equal((refused.returncode, refused.stdout, refused.stderr),
              (1, "", "pcsim: an instance named 'one' runs already; expected another --name\n"))


def test_stale_socket(place: Place) -> None:
    with place.one() as instance:
        instance.process.kill()
        instance.process.wait()
        instance.process.returncode = 0
        assert os.path.exists(instance.path)
    with place.one() as instance:
        equal(instance.client().run("echo x")["text"], "x\n")
    equal(os.listdir(place.folder), [])


def test_another_user(place: Place) -> None:
    if os.geteuid() != 0:
        return
    with place.one() as instance:
        equal(os.stat(instance.path).st_mode & 0o777, 0o600)
        equal(os.stat(place.folder).st_mode & 0o777, 0o700)
        script = ("import os,socket,sys; os.setgid(65534); os.setuid(65534); "
                  "s=socket.socket(socket.AF_UNIX); s.connect(sys.argv[1]); "
                  "print(s.makefile().readline(), end='')")
        command = [sys.executable, "-c", script, instance.path]
        refused = subprocess.run(command, capture_output=True, text=True, check=False)
        assert "Permission denied" in refused.stderr, refused
        # Where the file system lets it through, the peer is looked at.
        os.chmod(place.folder, 0o711)
        os.chmod(instance.path, 0o666)
        refused = subprocess.run(command, capture_output=True, text=True, check=False)
        os.chmod(place.folder, 0o700)
        equal(json.loads(refused.stdout)["error"]["message"],
              "this instance is another user's; expected its own user")
        equal(instance.client().run("echo mine")["text"], "mine\n")


if __name__ == "__main__":
    run_cases(globals())
