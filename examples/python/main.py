#!/usr/bin/env python3
"""A command-line application in Python with an asyncio loop. Every line on standard input plays a
consent tool: it is a new TCF v2 string.

    export PYTHONPATH=../../bindings/python # unless python3-velmorakit is installed
    VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./main.py
"""
import asyncio
import os
import sys

import velmorakit
from velmorakit.aio import attached


def start() -> velmorakit.Velmora:
    velmorakit.configure(
        velmorakit.Options(
            bundle_identifier="com.example.python",
            app_version="1.0",
            ingest_base_address=os.environ.get("VELMORA_INGEST"),
            store_path=os.environ.get("VELMORA_STORE"),
            keep_unsent=True,  # a string may be set at any time, also while a post is under way
        )
    )
    return velmorakit.start(os.environ.get("VELMORA_API_KEY"), os.environ.get("VELMORA_SECRET"))


async def main() -> None:
    lines = asyncio.StreamReader()
    await asyncio.get_running_loop().connect_read_pipe(
        lambda: asyncio.StreamReaderProtocol(lines), sys.stdin
    )
    with attached(start()) as sdk:
        # An application without windows comes to the foreground when it starts. This posts what an
        # earlier run could not.
        sdk.will_enter_foreground()
        async for line in lines:
            sdk.preferences[velmorakit.TCF_V2] = line.decode().strip()
    sdk.run_until_idle(5)  # what is under way; whatever cannot be posted now is stored


asyncio.run(main())
