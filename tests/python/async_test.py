"""The asyncio client: the same verbs, awaited; cancelling interrupts."""
import asyncio
import os
import signal

import pcsim
import pytest

pytestmark = pytest.mark.usefixtures("lab")


def awaited(test):
    """A test that is a coroutine."""
    def run():
        asyncio.run(asyncio.wait_for(test(), 60))
    run.__doc__ = test.__doc__
    return run


def test_verbs_are_the_same():
    names = {name for name in dir(pcsim.Switch) if not name.startswith("_")}
    assert names == {name for name in dir(pcsim.AsyncSwitch) if not name.startswith("_")}


@awaited
async def test_values_are_awaited():
    async with pcsim.AsyncSwitch(ports=2, stopped=True) as switch:
        port = switch.port("1:1")
        assert await port.link == "up"
        await port.disable()
        await switch.wait_event("Port 1:1 link down", within=3)
        assert [each.link for each in await switch.ports()] == ["down", "up"]
        assert (await port.show()).admin == "disabled"
        await switch.time.warp(1000)
        assert await switch.time.now == 1000
        with pytest.raises(pcsim.CommandFailed, match="port 1:9 does not exist"):
            await switch.port("1:9").enable()
        async with await switch.fault("pcSimFanReadTemp", where={"slot": 2}) as fault:
            assert (await fault.show()).hits == 0
        assert await switch.faults() == []


@awaited
async def test_several_at_a_time():
    async with pcsim.AsyncSwitch(stopped=True) as switch:
        answers = await asyncio.gather(*(switch.run(f"echo {number}") for number in range(200)))
        assert [answer.text for answer in answers] == [f"{number}\n" for number in range(200)]


@awaited
async def test_who_cancels_interrupts_the_line():
    async with pcsim.AsyncSwitch() as switch:
        with pytest.raises(TimeoutError):
            await asyncio.wait_for(switch.time.sleep(60_000), 0.2)
        assert (await switch.run("echo on")).text == "on\n"
        sleeping = asyncio.create_task(switch.time.sleep(60_000))
        await asyncio.sleep(0.2)
        assert await switch.interrupt()
        with pytest.raises(pcsim.Interrupted):
            await sleeping


@awaited
async def test_events_are_iterated():
    async with pcsim.AsyncSwitch(stopped=True) as switch:
        async with switch.events(sources=["port"]) as events:
            await switch.port("1:2").disable()
            async for event in events:
                assert (event.source, event.text) == ("port", "Port 1:2 link down (disabled)")
                break
        past = [event.number async for event in switch.events(since=5, follow=False)]
        assert past == list(range(5, past[-1] + 1))
        assert past[-1] == (await switch.log())[-1].number


@awaited
async def test_a_crash_is_told():
    switch = pcsim.AsyncSwitch()
    await switch.start()
    pid = (await switch.status()).pid
    waiting = asyncio.create_task(switch.time.sleep(60_000))
    stream = switch.events()
    await stream.begin()
    os.kill(pid, signal.SIGKILL)
    with pytest.raises(pcsim.ConnectionLost, match="pcsim ended with signal 9; it said nothing"):
        await waiting
    for _ in range(2):
        with pytest.raises(pcsim.ConnectionLost, match="the instance has ended the connection"):
            await anext(stream)
        with pytest.raises(pcsim.ConnectionLost):
            await switch.ports()
    await stream.close()
    with pytest.raises(pcsim.ConnectionLost, match="signal 9; it said nothing; expected status 0"):
        await switch.close()


@awaited
async def test_it_connects_and_shuts_down():
    async with pcsim.AsyncSwitch(name="to-find") as switch:
        async with await pcsim.AsyncSwitch.connect("to-find") as other:
            assert (await other.status()).name == other.name == switch.name
        await switch.shutdown(0)
    with pytest.raises(pcsim.ConnectionLost, match="nobody answers at"):
        await pcsim.AsyncSwitch.connect("to-find")


@awaited
async def test_what_can_not_start_says_why():
    with pytest.raises(pcsim.StartFailed, match="--lab needs a number"):
        await pcsim.AsyncSwitch(ports=1000).start()
    with pytest.raises(pcsim.ConnectionLost, match="there is no connection"):
        await pcsim.AsyncSwitch().ports()
