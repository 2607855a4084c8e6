# SPDX-License-Identifier: MIT
# Every entry point given what it does not take: a TypeError or korv's
# own error, with a message, never a crash or a silent default.
import pytest

import korv


def calls(defs):
    message = defs.message("GetStatus")
    frame = korv.BiSFrame(b"x")
    return [
        ("Definitions(int)", lambda: korv.Definitions(5), TypeError),
        ("Definitions.from_bytes(str)", lambda: korv.Definitions.from_bytes("<qrv16/>"), TypeError),
        ("Definitions.from_bytes(not XML)", lambda: korv.Definitions.from_bytes(b"\x00\xff"), korv.DefinitionsError),
        ("tag(float)", lambda: defs.tag(1.5), TypeError),
        ("encode(bytes of a message)", lambda: defs.encode(5), TypeError),
        ("decode(str)", lambda: defs.decode("02 00 01 d0"), TypeError),
        ("decode(list)", lambda: defs.decode([2, 0, 1, 0xD0]), TypeError),
        ("message(int)", lambda: defs.message(5), TypeError),
        ("match(pattern not a str)", lambda: defs.match(5, message), TypeError),
        ("match(message not a message)", lambda: defs.match("*", 5), TypeError),
        ("match(message as text)", lambda: defs.match("*", "GetStatus"), TypeError),
        ("pattern(None)", lambda: defs.pattern(None), TypeError),
        ("Pattern.matches(truncated bytes)", lambda: defs.pattern("*").matches(b"\x05\x00\x01"), korv.MessageError),
        ("Message(float)", lambda: korv.Message(1.5), TypeError),
        ("Message(defs=str)", lambda: korv.Message("GetStatus", defs="demo"), TypeError),
        ("Message(truncated bytes)", lambda: korv.Message(b"\x09\x00\x01\xd0"), korv.MessageError),
        ("append(tag of wrong type)", lambda: korv.Message("GetStatus", defs=defs).append(b"x", 1), TypeError),
        ("extend(not iterable)", lambda: korv.Message("GetStatus", defs=defs).extend(5), TypeError),
        ("message[float]", lambda: message[1.5], TypeError),
        ("message.get(unknown name)", lambda: message.get("Nope"), KeyError),
        ("message.find(None)", lambda: message.find(None), TypeError),
        ("Collector(defs=int)", lambda: korv.Collector(5), TypeError),
        ("Collector.feed(str)", lambda: korv.Collector().feed("abc"), TypeError),
        ("BiSFrame(payload=str)", lambda: korv.BiSFrame("abc"), TypeError),
        ("BiSFrame.seq = str", lambda: setattr(frame, "seq", "1"), TypeError),
        ("BiSFrame.dst = 2**32", lambda: setattr(frame, "dst", 2**32), ValueError),
        ("BiSFrame.payload = int", lambda: setattr(frame, "payload", 5), TypeError),
        ("BiSFrame.decode(str)", lambda: korv.BiSFrame.decode("91"), TypeError),
        ("BiSFrame.decode(truncated)", lambda: korv.BiSFrame.decode(bytes(frame)[:-1]), korv.FrameError),
        ("BiSFrameReader.feed(None)", lambda: korv.BiSFrameReader().feed(None), TypeError),
    ]


def test_every_entry_point_refuses_what_it_does_not_take(defs):
    for name, call, error in calls(defs):
        with pytest.raises(error) as caught:
            call()
        assert str(caught.value), name
