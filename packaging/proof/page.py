#!/usr/bin/python3
"""Waits until a page of pcsim-web answers, and its WebSocket tells of a switch.

usage: page.py ADDRESS SWITCH
"""
import asyncio
import sys

import aiohttp

LIMIT_S = 20


async def look(address: str, switch: str) -> None:
    """Returns when the page has told of the switch."""
    async with aiohttp.ClientSession() as session:
        while True:
            try:
                async with session.get(address) as answer:
                    if answer.status == 200 and "<html" in await answer.text():
                        break
            except aiohttp.ClientConnectionError:
                pass
            await asyncio.sleep(0.1)
        async with session.ws_connect(f"{address}live") as socket:
            async for message in socket:
                if f'"{switch}"' in str(message.data):
                    return


asyncio.run(asyncio.wait_for(look(*sys.argv[1:]), LIMIT_S))
