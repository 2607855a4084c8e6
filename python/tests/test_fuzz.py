# SPDX-License-Identifier: MIT
# Random and mangled bytes into every reader for a few seconds: they may
# raise korv's own errors, never anything else, and never crash. In the
# sanitizer build (make test) the extension runs under AddressSanitizer.
import os
import random
import time

import pytest

import korv

SECONDS = float(os.environ.get("KORV_FUZZ_SECONDS", "1.5"))
SAMPLES = [
    'GetStatusReply=(ResultCode=Ok StationName="North well" IpAddress=192.168.1.20 InstallDate=2019-05-14 '
    'Pumps=(PumpId=1 PumpMode=Auto Running=true FlowRate=420) Pumps=(PumpId=2 PumpMode=Manual))',
    "StatusReport=(Timestamp=2026-11-22T19:32:00.250 Alarms=HighLevel|DoorOpen MapPosition=[3, -4] "
    "DisplayArea=[10, 20, 100, 50] ScreenSize=[640, 480] StartTime=06:30:00 FirmwareBlock=00FF)",
]


def inputs(seed, defs):
    """Random bytes, and samples with a few bytes changed, cut or repeated."""
    rng = random.Random(seed)
    samples = [defs.encode(text) for text in SAMPLES]
    deadline = time.monotonic() + SECONDS
    while time.monotonic() < deadline:
        if rng.random() < 0.3:
            yield rng.randbytes(rng.randrange(0, 300))
            continue
        data = bytearray(rng.choice(samples))
        for _ in range(rng.randrange(1, 4)):
            at = rng.randrange(len(data))
            what = rng.random()
            if what < 0.6:
                data[at] = rng.randrange(256)
            elif what < 0.8:
                del data[at:]
            else:
                data[at:at] = data[: rng.randrange(8)]
            if not data:
                break
        yield bytes(data)


def walk(node, depth=0):
    """Reads everything a bench could read of a message."""
    str(node)
    bytes(node)
    node.raw
    node.enum
    node.text
    try:
        node.value
        node.values()
        node.items()
        for element in node:
            walk(element, depth + 1)
    except korv.MessageError:
        pass


def test_messages(defs):
    n = 0
    for data in inputs(1, defs):
        n += 1
        try:
            message = korv.Message(data, defs=defs)
        except korv.MessageError:
            continue
        walk(message)
        defs.match("GetStatusReply=(Pumps=(PumpId=2))", message)
        message.find("FlowRate")
    assert n > 100


def test_decode(defs):
    for data in inputs(2, defs):
        try:
            defs.decode(data)
        except korv.MessageError:
            pass


def test_collector(defs):
    collector = korv.Collector(defs)
    got = 0
    for data in inputs(3, defs):
        collector.feed(data)
        for message in collector:
            got += 1
            walk(message)
        if collector.pending > 70000:
            pytest.fail("the collector holds more than a message's worth of bytes")
    assert got > 0


def test_frames():
    rng = random.Random(4)
    reader = korv.BiSFrameReader()
    frames = 0
    deadline = time.monotonic() + SECONDS
    while time.monotonic() < deadline:
        data = bytearray(rng.randbytes(rng.randrange(0, 200)))
        # Markers made likely, and now and then a good frame among them.
        for i in range(0, len(data), 7):
            data[i] = 0x91 + rng.randrange(4)
        if rng.random() < 0.2:
            data += bytes(korv.BiSFrame(rng.randbytes(rng.randrange(20)), dst=rng.randrange(300)))
        reader.feed(data)
        frames += len(list(reader))
        try:
            korv.BiSFrame.decode(data)
        except korv.FrameError:
            pass
    assert frames > 0
    assert len(reader.errors) <= 100


def test_definition_files():
    rng = random.Random(5)
    good = (b'<qrv16>\n  <tag name="A" id="0x1002" display="x">\n    <enums><enum name="B" id="-2"/></enums>\n'
            b'    <bits><bit name="C" id="3"/></bits>\n  </tag>\n</qrv16>\n')
    deadline = time.monotonic() + SECONDS
    while time.monotonic() < deadline:
        data = bytearray(good)
        for _ in range(rng.randrange(1, 4)):
            data[rng.randrange(len(data))] = rng.randrange(256)
        try:
            defs = korv.Definitions.from_bytes(bytes(data))
        except korv.DefinitionsError as error:
            assert error.line >= 0 and error.message
            continue
        for tag in defs.tags:
            defs.tag(tag.code)
