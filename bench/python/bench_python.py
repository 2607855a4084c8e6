# SPDX-License-Identifier: MIT
"""The 20-element message of bench_message (bench/proto/typical.proto's
content) decoded to Python values and encoded back, by the korv module and
by Debian's python3-protobuf in the same process.

    PYTHONPATH=build-bench/python:build-bench/bench/python python3 bench_python.py
"""
import datetime
import ipaddress
import os
import statistics
import sys
import time
import timeit

import korv

try:
    import typical_pb2
except ImportError:
    typical_pb2 = None

STAMP = datetime.datetime(2026, 11, 22, 19, 30, 15, 250000)
BITS = set(range(0, 24, 3))

# As bench_message's buildTypical appends them: a Message tag of 20 elements.
ITEMS = [
    (0x1001, 42), (0x1002, 1500), (0x1003, -20), (0x1004, 0x123456),
    (0x3001, "Pump station 4, north basin"), (0x3002, "J. Lindqvist"),
    (0x6001, STAMP), (0x9001, ipaddress.IPv4Address("192.168.1.20")), (0x7001, BITS), (0x2001, True),
    (0xC001, [(0x1010, 1), (0x1011, 2), (0x1012, 3)]),
    (0x1005, 7), (0x1006, 65535), (0x3003, "ok"), (0x1007, 0), (0x1008, 99999), (0x2002, False), (0x1009, 12),
]


def korv_decode(data):
    return korv.Message(data).items()


def korv_encode(items):
    return bytes(korv.Message(0xF001, items))


def proto_message():
    return typical_pb2.Typical(
        count=42, flow=1500, offset=-20, code=0x123456, pump_name="Pump station 4, north basin",
        operator_name="J. Lindqvist", stamp_ms=int(STAMP.replace(tzinfo=datetime.timezone.utc).timestamp() * 1000),
        address=0xC0A80114, status_bits=0x249249, running=True,
        list=typical_pb2.Triple(first=1, second=2, third=3), level=7, limit=65535, state="ok", spare=0,
        total=99999, alarm=False, hours=12)


def proto_decode(data):
    t = typical_pb2.Typical()
    t.ParseFromString(data)
    triple = t.list
    return [t.count, t.flow, t.offset, t.code, t.pump_name, t.operator_name, t.stamp_ms, t.address,
            t.status_bits, t.running, [triple.first, triple.second, triple.third], t.level, t.limit, t.state,
            t.spare, t.total, t.alarm, t.hours]


def proto_encode(v):
    return typical_pb2.Typical(
        count=v[0], flow=v[1], offset=v[2], code=v[3], pump_name=v[4], operator_name=v[5], stamp_ms=v[6],
        address=v[7], status_bits=v[8], running=v[9],
        list=typical_pb2.Triple(first=v[10][0], second=v[10][1], third=v[10][2]), level=v[11], limit=v[12],
        state=v[13], spare=v[14], total=v[15], alarm=v[16], hours=v[17]).SerializeToString()


def per_call(function, argument, number):
    """Median over seven runs of the CPU time of one call, in nanoseconds."""
    timer = timeit.Timer(lambda: function(argument), timer=time.process_time)
    return statistics.median(timer.repeat(repeat=7, number=number)) / number * 1e9


def main():
    data = korv_encode(ITEMS)
    items = korv_decode(data)
    if items != ITEMS or korv_encode(items) != data:
        sys.exit("korv: the values do not read back as written")
    number = int(os.environ.get("KORV_BENCH_CALLS", "20000"))
    rows = [("decode to values", per_call(korv_decode, data, number)),
            ("encode from values", per_call(korv_encode, items, number))]
    print(f"korv {korv.__version__}, {len(data)} bytes; Python {sys.version.split()[0]} ({sys.executable})")
    if typical_pb2 is None:
        for name, ns in rows:
            print(f"  {name:20} korv {ns:8.0f} ns   protobuf baseline missing (typical_pb2 not built)")
        return
    import google.protobuf
    from google.protobuf.internal import api_implementation
    proto = proto_message().SerializeToString()
    values = proto_decode(proto)
    if proto_encode(values) != proto:
        sys.exit("protobuf: the values do not read back as written")
    base = [per_call(proto_decode, proto, number), per_call(proto_encode, values, number)]
    print(f"protobuf {google.protobuf.__version__} ({api_implementation.Type()} implementation), {len(proto)} bytes")
    print(f"  {'CPU per message':20} {'korv':>10} {'protobuf':>10} {'ratio':>7}")
    for (name, ns), theirs in zip(rows, base):
        print(f"  {name:20} {ns:8.0f} ns {theirs:8.0f} ns {ns / theirs:7.2f}")


if __name__ == "__main__":
    main()
