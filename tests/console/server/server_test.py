#!/usr/bin/env python3
"""The socket of an instance, as clients use it: server_test.py PCSIM [CASE...]"""
import json
import os
import re
import signal
import subprocess
import time

from client import PATIENCE, Client, Place, equal, run_cases, scratch, until

DAY = 86400000


def test_lines(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        equal(client.run("echo a"), {"text": "a\n", "data": None})
        ports = client.run("show ports")
        assert ports["text"].startswith("Front panel\n"), ports
        equal([port["port"] for port in ports["data"]["ports"]], ["1:1", "1:2"])
        equal(json.loads(client.run("show ports --json")["text"]), ports["data"])
        equal(client.error("run", line="show port 1:9"), {
            "code": 1, "message": "port 1:9 does not exist; ports are 1:1 to 1:2",
            "data": {"right": "ports are 1:1 to 1:2", "text": ""}})
        equal(client.error("run", line="frob")["code"], 2)
        equal(client.error("run", line="expect show port 1:1 -- link is down")["code"], 3)
        equal(client.error("run", line="wait event never within 10")["code"], 3)
        # Two connections have sessions of their own.
        other = instance.client()
        other.run("events on")
        client.run("port 1:1 disable")
        client.run("time warp 2000")
        note = other.note("output")
        assert note["text"].endswith(" Port 1:1 link down (disabled)\n"), note
        equal(note["event"]["text"], "Port 1:1 link down (disabled)")
        equal(client.notes, [])


def test_batch(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        lines = ["echo a", "show port 1:9", "echo b"]
        error = {"code": 1, "message": "port 1:9 does not exist; ports are 1:1 to 1:2",
                 "data": {"right": "ports are 1:1 to 1:2", "text": ""}}
        done = [{"line": "echo a", "text": "a\n", "data": None},
                {"line": "show port 1:9", "error": error},
                {"line": "echo b", "text": "b\n", "data": None}]
        equal(client.result("batch", lines=lines), {"results": done[:2], "failed": 1})
        equal(client.result("batch", lines=lines, keepGoing=True), {"results": done, "failed": 1})
        equal(client.result("batch", lines=[]), {"results": [], "failed": 0})
        equal(client.error("batch"), {
            "code": -32602, "message": "'lines' is missing; expected a list of texts"})
        # A long one lets others in between.
        other = instance.client()
        number = client.send("batch", lines=["show ports"] * 3000)
        for _ in range(5):
            other.run("echo x")
        assert client.answer(number)["result"]["failed"] == 0


def test_describe(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        all_of_it = client.result("describe")
        listed = client.run("help")["text"]
        usages = {verb["usage"] for verb in all_of_it["verbs"]}
        assert len(usages) == len(all_of_it["verbs"]) > 100
        for usage in usages:
            assert usage.split(" <")[0].split(" [")[0] in listed, usage
        equal({"name": "one", "pid": instance.process.pid, "protocol": 1},
              {"name": all_of_it["name"], "pid": all_of_it["pid"],
               "protocol": all_of_it["versions"]["protocol"]})
        equal({method["name"] for method in all_of_it["methods"]},
              {"run", "batch", "events", "cancel", "interrupt", "complete", "question", "prompt",
               "drop", "status", "describe"})
        for method in all_of_it["methods"]:  # each is there, and takes what it says
            given = {p["name"]: 5 for p in method["params"]} | {"none such": 1}
            if method["name"] != "interrupt":
                equal(client.error(method["name"], **given)["code"], -32602)
        assert "port" in all_of_it["events"]["sources"]
        sources = {note["source"] for note in client.run("show events limit 1000")["data"]["events"]}
        assert sources <= set(all_of_it["events"]["sources"]), sources
        equal([error["code"] for error in all_of_it["errors"]],
              [1, 2, 3, 4, -32700, -32600, -32601, -32602, -32603, -32000, -32001])
        form = next(v["form"] for v in all_of_it["verbs"] if v["usage"].startswith("show port <"))
        equal(form, [{"word": "show"}, {"word": "port"}, {"name": "port", "type": "port"}])


def test_status(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        client.run("time warp 5000")
        status = client.result("status")
        assert 0 < status.pop("upMs") < 1000 * PATIENCE
        equal(status, {"name": "one", "pid": instance.process.pid, "shape": "stack",
                       "timeMs": 5000, "stopped": True, "ports": 2, "portsUp": 2})


def test_interrupt(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        client.run("time run")
        number = client.send("run", line="sleep 1000000")
        later = client.send("run", line="echo later")
        time.sleep(0.1)
        interrupt = client.send("interrupt")
        equal(client.read(), {"jsonrpc": "2.0", "id": interrupt, "result": {"interrupted": True}})
        equal(client.read(), {"jsonrpc": "2.0", "id": number, "error": {
            "code": 4, "message": "interrupted", "data": {"right": "", "text": ""}}})
        equal(client.answer(later)["result"]["text"], "later\n")
        equal(client.result("interrupt"), {"interrupted": False})
        # In one go: it holds for the first that waits.
        requests = [{"id": 1, "method": "run", "params": {"line": "sleep 1000000"}},
                    {"id": 2, "method": "interrupt"}]
        client.send_bytes(b"".join(json.dumps(request).encode() + b"\n" for request in requests))
        equal([client.read()["id"] for _ in requests], [2, 1])


def test_events(place: Place) -> None:
    with place.one() as instance:
        client, other = instance.client(), instance.client()
        begun = client.result("events", sources=["port"], snapshot=True)
        snapshot = client.note("snapshot")
        equal((snapshot["stream"], snapshot["sequence"], snapshot["timeMs"]), (begun["stream"], 0, 0))
        equal([port["link"] for port in snapshot["shows"]["show ports"]["ports"]], ["up", "up"])
        other.run("port 1:2 disable")
        other.run("time warp 2000")
        event = client.note("event")
        assert event.pop("number") >= begun["next"]
        equal(event, {"stream": begun["stream"], "sequence": 1, "timeMs": 0, "source": "port",
                      "text": "Port 1:2 link down (disabled)"})
        equal(client.note("event")["text"],
              "Management port of slot 1 link up, 100 Mbps full, pause")
        # From the past on, and about something.
        past = client.result("events", since=0, about="1:2", snapshot=["show port 1:2"])
        equal(list(client.note("snapshot")["shows"]), ["show port 1:2"])
        texts = [client.note("event")["text"] for _ in range(2)]
        equal(texts, ["Port 1:2 link up, 100 Mbps full, pause", "Port 1:2 link down (disabled)"])
        equal(client.error("events", snapshot=["echo x", "frob"])["code"], 2)
        for stream in (begun, past):
            equal(client.result("cancel", stream=stream["stream"]), {})
        other.run("port 1:2 enable")
        other.run("time warp 2000")
        equal(client.run("echo none")["text"], "none\n")
        equal(client.notes, [])


def test_stream(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        number = client.send("run", line="show ports", stream=True)
        answer = client.answer(number)["result"]
        equal((answer["text"], list(answer["data"])), ("", ["ports", "management"]))
        assert client.note("output")["text"].startswith("Front panel\n")


def test_warp(place: Place) -> None:
    with place.one() as instance:
        client, other, third = instance.client(), instance.client(), instance.client()
        number = client.send("run", line=f"time warp {DAY}")
        times = [other.result("status")["timeMs"] for _ in range(20)]
        assert times[0] < times[-1] < DAY and times == sorted(times), times
        # Another that waits in the same stopped time, to the millisecond.
        third.run("sleep 1000")
        equal(other.result("status")["stopped"], True)
        client.send("interrupt")
        equal(client.answer(number)["error"]["code"], 4)
        at = other.result("status")["timeMs"]
        other.run("time warp 1234")
        equal(other.result("status")["timeMs"], at + 1234)


def test_folder(place: Place) -> None:
    with place.one() as instance, scratch() as folder:
        with open(f"{folder}/script", "w", encoding="utf-8") as script:
            script.write("echo from the script\nshow clock-less\n")
        client = instance.client()
        error = client.error("run", line="include script", folder=folder)
        equal(error["data"]["text"], "from the script\n")
        assert error["message"].startswith("script:2: "), error
        assert client.error("run", line="include script")["message"].startswith(
            "file script can't be read")
        equal(client.error("run", line="echo x", folder="/none")["message"],
              "the folder /none can't be entered: No such file or directory")


def test_offers_of_demands(place: Place) -> None:
    """What may stand in 'expect', 'wait' and 'help', and behind a '|' or a '>'."""
    with place.one() as instance:
        client = instance.client()

        def offered(line: str) -> list[str]:
            return sorted(client.result("complete", line=line)["candidates"])

        def asked(line: str) -> str:
            return str(client.result("question", line=line)["text"])

        equal(offered("wait "), ["event", "no", "show"])
        equal(offered("wait no "), ["event"])
        assert "<text>" in asked("wait event ")
        assert "--" in asked("expect show ports ")
        paths = offered("expect show ports -- ")
        assert {"1:1.link", "1:2.admin", "ports.count"} <= set(paths), paths
        assert {"is", "matches", "at-least"} <= set(offered("expect show ports -- 1:1.link "))
        assert "where" in asked("expect show vlans -- vlans.count ")
        assert "what it is held against" in asked("expect show ports -- 1:1.link is ")
        assert {"and", "or", "within"} <= set(offered("wait show ports -- 1:1.link is up "))
        assert "1:2.link" in offered("wait show ports -- 1:1.link is up and 1:2.")
        assert "a value of the report" in asked("expect port 1:1 disable -- ")
        assert "a value of the report" in asked("expect frobnicate -- ")
        equal(offered("help show por"), ["port", "ports"])
        assert {"include", "count", "json"} <= set(offered("show ports | "))
        assert "filter what is printed" in asked("show ports | include up ")
        assert "<file>" in asked("show ports > ")


def test_completion(place: Place) -> None:
    with place.one() as instance:
        client = instance.client()
        found = client.result("complete", line="show por")
        equal(sorted(found["candidates"]), ["port", "ports"])
        equal(found["from"], 5)
        equal(client.result("complete", line="show port ")["candidates"], ["1:1", "1:2"])
        assert "ports" in client.result("question", line="show ", width=40)["text"]
        narrow = client.result("run", line="show ports", width=40, coloured=True)["text"]
        assert "  Port       1:1\n" in narrow and "\x1b[32mup\x1b[0m" in narrow, narrow
        assert max(map(len, re.sub("\x1b[^m]*m", "", narrow).split("\n"))) <= 40, narrow
        equal(client.result("question", line="echo why")["text"], None)
        equal(client.result("prompt"), {"text": "one (stopped 0.000)> "})
        client.run("repeat 2")
        equal(client.result("prompt"), {"text": "...> "})
        equal(client.result("drop"), {})
        equal(client.result("prompt"), {"text": "one (stopped 0.000)> "})


def test_quit_and_shutdown(place: Place) -> None:
    with place.one() as instance:
        client, other = instance.client(), instance.client()
        equal(client.run("quit"), {"text": "", "data": None, "ended": True})
        equal(client.read(), {})
        other.run("time run")
        waiting = instance.client()
        sleeping = waiting.send("run", line="sleep 1000000")
        never = waiting.send("run", line="echo never")
        time.sleep(0.2)
        equal(other.run("shutdown 7"), {"text": "", "data": None, "ended": True})
        equal(waiting.answer(sleeping)["error"]["code"], 4)
        equal(waiting.answer(never)["error"], {
            "code": -32001, "message": "this instance is ending; expected a living one"})
        equal(instance.process.wait(PATIENCE), 7)
        assert not os.path.exists(instance.path)


def test_terminated(place: Place) -> None:
    for number in (signal.SIGTERM, signal.SIGINT):
        with place.one() as instance:
            client = instance.client()
            client.run("time run")
            waiting = client.send("run", line="sleep 1000000")
            time.sleep(0.1)
            instance.process.send_signal(number)
            equal(client.answer(waiting)["error"]["code"], 4)
            equal(instance.process.wait(PATIENCE), 0)


def test_boot_is_waited_for(place: Place) -> None:
    # The socket is there before the boot; who comes early is answered behind it.
    process = subprocess.Popen([place.pcsim, "--lab", "2", "--name", "one", "--quiet", "--serve"],
                               env=os.environ | {"PCSIM_RUN_DIR": place.folder})
    path = f"{place.folder}/one.sock"
    until(lambda: os.path.exists(path), 10)
    client = Client(path)
    equal(client.result("status")["ports"], 2)
    process.terminate()
    equal(process.wait(PATIENCE), 0)


if __name__ == "__main__":
    run_cases(globals())
