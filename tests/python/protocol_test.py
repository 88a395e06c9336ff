"""What a conversation sends, and what it makes of what comes, in pieces and in a mess."""
import json

import pytest
from pcsim import errors
from pcsim.protocol import Call, Conversation, Notified, nothing


def line(**message):
    return json.dumps({"jsonrpc": "2.0", **message}).encode() + b"\n"


def test_requests_are_numbered_lines():
    talk = Conversation()
    assert talk.ask(Call("run", {"line": "show ports"}, nothing)) == (
        1, b'{"jsonrpc":"2.0","id":1,"method":"run","params":{"line":"show ports"}}\n')
    assert talk.ask(Call("run", {"line": "echo ä"}, nothing)) == (
        2, '{"jsonrpc":"2.0","id":2,"method":"run","params":{"line":"echo ä"}}\n'.encode())


def test_answers_arrive_in_any_pieces():
    answers = b"".join(line(id=number, result={"text": "ä" * number}) for number in (2, 1, 3))
    for size in (1, 2, 7, 50, 1000):
        talk = Conversation()
        for _ in range(3):
            talk.ask(Call("run", {}, nothing))
        pieces = [answers[at:at + size] for at in range(0, len(answers), size)]
        got = [answered for piece in pieces for answered in talk.receive(piece)]
        assert [(one.number, one.result) for one in got] == [
            (number, {"text": "ä" * number}) for number in (2, 1, 3)]


@pytest.mark.parametrize("code, kind", [
    (1, errors.CommandFailed), (2, errors.UsageError), (3, errors.ExpectationFailed),
    (4, errors.Interrupted), (99, errors.CommandFailed)])
def test_errors_of_lines_are_exceptions_with_all_that_is_known(code, kind):
    talk = Conversation()
    call = Call("run", {"line": "port 1:9 disable"}, nothing)
    number, _ = talk.ask(call)
    error = {"code": code, "message": "no port; ports are 1:1 to 1:4",
             "data": {"right": "ports are 1:1 to 1:4", "text": "before\n"}}
    answered, = talk.receive(line(id=number, error=error))
    with pytest.raises(errors.CommandError) as raised:
        answered.value(call)
    problem = raised.value
    assert type(problem) is kind and str(problem) == problem.message == error["message"]
    assert (problem.code, problem.right, problem.text, problem.line) == (
        code, "ports are 1:1 to 1:4", "before\n", "port 1:9 disable")


def test_what_is_expected_is_also_an_assertion():
    assert issubclass(errors.ExpectationFailed, AssertionError)


def test_errors_of_the_protocol_are_not_those_of_lines():
    talk = Conversation()
    call = Call("nope", {}, nothing)
    number, _ = talk.ask(call)
    answered, = talk.receive(line(id=number, error={"code": -32601, "message": "no such method"}))
    with pytest.raises(errors.ProtocolError, match="^no such method$"):
        answered.value(call)


def test_what_comes_too_late_for_an_instance_has_lost_it():
    talk = Conversation()
    call = Call("status", {}, nothing)
    number, _ = talk.ask(call)
    answered, = talk.receive(line(id=number, error={"code": -32001, "message": "it is ending"}))
    with pytest.raises(errors.ConnectionLost, match="^it is ending$"):
        answered.value(call)


@pytest.mark.parametrize("data, text", [
    (b"hello\n", "expected JSON but got b'hello'"),
    (b"\xff\n", "expected JSON but got"),
    (b"\n", "expected JSON but got b''"),
    (b"[1]\n", r"expected an object but got b'\[1\]'"),
    (line(id=7, result=1), r"expected an answer to one of \[1\] but got"),
    (line(id=1), r"expected an answer to one of \[1\] but got"),
    (line(id=None, error={"code": -32700, "message": "no JSON; expected an object"}),
     "the server refuses: no JSON; expected an object"),
])
def test_what_is_no_answer_is_refused(data, text):
    talk = Conversation()
    talk.ask(Call("run", {}, nothing))
    with pytest.raises(errors.ProtocolError, match=text):
        list(talk.receive(data))


def test_an_answer_of_another_form_is_refused():
    talk = Conversation()
    call = Call("run", {}, lambda result: result["text"])
    number, _ = talk.ask(call)
    answered, = talk.receive(line(id=number, result={"data": 1}))
    with pytest.raises(errors.ProtocolError, match="run was answered with something else"):
        answered.value(call)


def test_the_running_call_hears_first():
    heard, own = [], []
    talk = Conversation(heard.append)
    talk.ask(Call("run", {}, nothing, own.append))
    talk.ask(Call("run", {}, nothing))
    output = line(method="output", params={"text": "x"})
    assert [one.number for one in talk.receive(output + line(id=1, result=None) + output)] == [1]
    assert own == heard == [Notified("output", {"text": "x"})]


def test_nobody_gets_an_answer_that_was_forgotten():
    talk = Conversation()
    number, _ = talk.ask(Call("run", {"line": "sleep 60000"}, nothing))
    request = json.loads(talk.forget(number))
    assert request["method"] == "interrupt"
    assert talk.forget(99) == b""
    error = {"code": 4, "message": "interrupted"}
    assert not list(talk.receive(line(id=request["id"], result={"interrupted": True})))
    assert not list(talk.receive(line(id=number, error=error)))
