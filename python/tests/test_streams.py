# SPDX-License-Identifier: MIT
# Streams: the collector that cuts messages, and BiS frames.
import pytest

import korv


def test_collector_takes_pieces_of_any_size(defs):
    stream = defs.encode("GetStatus SetPumpMode=(PumpId=2 PumpMode=Auto) PumpId=7")
    collector = korv.Collector(defs)
    seen = []
    for byte in stream:
        collector.feed(bytes([byte]))
        seen += [str(m) for m in collector]
    assert seen == ["GetStatus=()", "SetPumpMode=(PumpId=2 PumpMode=Auto)", "PumpId=7"]
    assert collector.pending == 0


def test_collector_keeps_half_a_message(defs):
    collector = korv.Collector(defs)
    collector.feed(defs.encode("GetStatus PumpId=7")[:7])
    assert [m.name for m in collector] == ["GetStatus"]
    assert collector.pending == 3
    collector.reset()
    assert collector.pending == 0


def test_collector_counts_garbage(defs):
    collector = korv.Collector()
    collector.feed(b"\x00\x00\x01\x00\x05" + defs.encode("PumpId=7"))
    assert [bytes(m) for m in collector] == [defs.encode("PumpId=7")]
    assert collector.garbage == 5
    with pytest.raises(TypeError):
        collector.feed("text")


def test_frame_as_the_bus_sends_it():
    frame = korv.BiSFrame(b"\x01\x02", dst=5, src=0, seq=1)
    data = bytes(frame)
    assert data[:7] == bytes.fromhex("91 89 01 05 00 01 02") and data[-1] == 0x93
    assert data[7:9] == frame.crc.to_bytes(2, "big")
    assert korv.BiSFrame.decode(data) == frame


def test_frame_fields_round_trip():
    frame = korv.BiSFrame(b"\x91\x93\x94", answer=True, type=5, seq=200, dst=70000, src=3)
    again = korv.BiSFrame.decode(frame.encode())
    assert (again.answer, again.type, again.seq, again.dst, again.src, again.payload) == (
        True, 5, 200, 70000, 3, b"\x91\x93\x94")
    assert again.address_mode == 3 and frame.address_mode is None
    assert bytes(frame)[0] == 0x92


@pytest.mark.parametrize(
    "kwargs, error, text",
    [
        ({"seq": 256}, ValueError, "seq is 0 to 255, not 256"),
        ({"type": 64}, ValueError, "type is 0 to 63, not 64"),
        ({"dst": -1}, ValueError, "dst is 0 to 4294967295, not -1"),
        ({"src": "5"}, TypeError, "src is an int, not str"),
        ({"address_mode": 4}, ValueError, "address_mode is 0 to 3, not 4"),
    ],
)
def test_frame_fields_out_of_range(kwargs, error, text):
    with pytest.raises(error, match=text):
        korv.BiSFrame(b"", **kwargs)


def test_frames_that_cannot_be_sent():
    with pytest.raises(korv.FrameError, match="addresses 300 and 0 do not fit in 1 byte"):
        korv.BiSFrame(b"", dst=300, address_mode=1).encode()
    with pytest.raises(korv.FrameError, match="a payload of 1311 bytes is longer than the 1310"):
        bytes(korv.BiSFrame(bytes(1311)))


@pytest.mark.parametrize(
    "data, text",
    [
        (b"", "no bytes"),
        (bytes.fromhex("91 88 01 aa"), "the frame has no end marker"),
        (bytes.fromhex("91 88 01 00 00 93"), "byte 0: bad CRC 0000, expected"),
        (bytes.fromhex("91 88 93"), "byte 0: frame too short for its header and CRC"),
        (b"xx" + bytes(korv.BiSFrame(b"")), "byte 0: 2 bytes outside a frame"),
        (bytes(korv.BiSFrame(b"")) + b"x", "1 bytes after the frame"),
    ],
)
def test_decode_says_what_is_wrong(data, text):
    with pytest.raises(korv.FrameError, match=text):
        korv.BiSFrame.decode(data)


def test_reader_resynchronises_on_a_stream():
    good = [korv.BiSFrame(bytes([i]) * 3, dst=5, seq=i) for i in range(3)]
    bad = bytearray(bytes(good[0]))
    bad[5] ^= 0xFF
    stream = b"noise" + bytes(good[0]) + bytes(bad) + bytes(good[1])[:4] + bytes(good[2])
    reader = korv.BiSFrameReader()
    frames = []
    for i in range(0, len(stream), 3):
        reader.feed(stream[i:i + 3])
        frames += list(reader)
    assert frames == [good[0], good[2]]
    assert reader.position == len(stream)
    # Noise is reported as it comes, feed by feed.
    assert reader.errors[:2] == ["byte 0: 3 bytes outside a frame", "byte 3: 2 bytes outside a frame"]
    assert reader.errors[2].startswith(f"byte {5 + len(bytes(good[0]))}: bad CRC")
    assert reader.errors[3] == f"byte {5 + 2 * len(bytes(good[0]))}: frame cut short by the next start marker"
    assert reader.error_count == 4


def test_reader_keeps_the_last_hundred_errors():
    reader = korv.BiSFrameReader()
    for _ in range(150):
        reader.feed(bytes.fromhex("91 88 93"))
    assert reader.error_count == 150 and len(reader.errors) == 100
    reader.reset()
    assert reader.errors == []
