# SPDX-License-Identifier: MIT
# A BiS link on a serial line: the bench is the master, korv answer the
# slave at address 5, joined by two pseudo-terminals and a relay thread as a
# null-modem cable joins two ports; the bench's end is opened with pyserial.
import os
import re
import select
import subprocess
import threading

import pytest

import korv

serial = pytest.importorskip("serial")

from conftest import EXAMPLES  # noqa: E402


class NullModem:
    """Two pseudo-terminals whose masters a thread joins."""

    def __init__(self):
        self.masters, self.ports = [], []
        for _ in range(2):
            master, slave = os.openpty()
            self.masters.append(master)
            self.ports.append(os.ttyname(slave))
            os.close(slave)
        self.stop_r, self.stop_w = os.pipe()
        self.thread = threading.Thread(target=self.relay, daemon=True)
        self.thread.start()

    def relay(self):
        a, b = self.masters
        while True:
            ready, _, _ = select.select([a, b, self.stop_r], [], [])
            if self.stop_r in ready:
                return
            for source, target in ((a, b), (b, a)):
                if source in ready:
                    try:
                        os.write(target, os.read(source, 4096))
                    except OSError:
                        pass  # the other end is not open yet or closed

    def close(self):
        os.write(self.stop_w, b"x")
        self.thread.join()
        for fd in self.masters + [self.stop_r, self.stop_w]:
            os.close(fd)


@pytest.fixture
def slave():
    cable = NullModem()
    answer = subprocess.Popen(
        ["korv", "answer", "--serial", cable.ports[1], "--bis", "slave", "--src", "5",
         "-d", str(EXAMPLES / "demo.qrvdef"), "--channel", "2", str(EXAMPLES / "pump-station.qrvans")],
        stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    for line in answer.stderr:
        if re.search(r"Connection established|connected|open", line, re.IGNORECASE):
            break
    port = serial.Serial(cable.ports[0], 115200, timeout=30)
    yield port
    port.close()
    answer.terminate()
    assert answer.wait(timeout=30) == 0
    cable.close()


def test_query_and_answer(defs, slave):
    slave.write(bytes(korv.BiSFrame(defs.encode("GetStatus"), dst=5, src=0, seq=1)))
    reader, collector = korv.BiSFrameReader(), korv.Collector(defs)
    replies = []
    while not replies:
        data = slave.read(1)
        assert data, "no answer within the port's timeout"
        reader.feed(data + slave.read(slave.in_waiting))
        for frame in reader:
            # The answer echoes the query's sequence number; the status
            # reports the rules send now and then pass by.
            if frame.seq == 1:
                assert frame.answer and (frame.src, frame.dst, frame.type) == (5, 0, 34)
                collector.feed(frame.payload)
        replies = list(collector)
    assert defs.match("GetStatusReply=(ResultCode=Ok StationName=\"North well\")", replies[0])
    assert reader.errors == []
