# SPDX-License-Identifier: MIT
# Messages: reading received bytes by name, and building them.
import ipaddress

import pytest

import korv

STATUS = ('GetStatusReply=(ResultCode=Ok StationName="North well" IpAddress=192.168.1.20 '
          'Pumps=(PumpId=1 PumpMode=Auto Running=true FlowRate=420) Pumps=(PumpId=2 PumpMode=Manual))')


@pytest.fixture
def status(defs):
    return korv.Message(defs.encode(STATUS), defs=defs)


def test_reads_by_name(status):
    assert (status.name, status.tag, status.type) == ("GetStatusReply", 0xE001, "Answer")
    assert len(status) == 5
    assert [e.name for e in status] == ["ResultCode", "StationName", "IpAddress", "Pumps", "Pumps"]
    assert status["StationName"] == "North well"
    assert status["IpAddress"] == ipaddress.IPv4Address("192.168.1.20")
    assert status.element("ResultCode").enum == "Ok"
    assert "Pumps" in status and "Password" not in status
    assert status.get("Password") is None and status.get("Password", 5) == 5
    with pytest.raises(KeyError, match="GetStatusReply \\(0xE001\\) holds no Password \\(0x3003\\)"):
        status["Password"]


def test_nested_elements(status):
    first, second = [e for e in status if e.name == "Pumps"]
    assert first["PumpId"] == 1 and second["PumpId"] == 2
    assert first.items() == [("PumpId", 1), ("PumpMode", 2), ("Running", True), ("FlowRate", 420)]
    assert [e.text for e in second] == ["2", "Manual"]
    assert status.find("FlowRate").value == 420
    assert status.find("Temperature") is None
    assert str(second) == "Pumps=(PumpId=2 PumpMode=Manual)"


def test_elements_know_their_bytes(defs, status):
    element = status.element("StationName")
    assert element.offset == 9
    assert element.raw == b"North well"
    assert bytes(element) == defs.encode('StationName="North well"')
    assert repr(element) == '<korv.Element StationName="North well">'


def test_items_build_the_same_message(defs, status):
    again = korv.Message("GetStatusReply", status.items(), defs=defs)
    assert again == status
    assert bytes(again) == bytes(status)
    assert status.values()[3] == [1, 2, True, 420]


def test_text_and_bytes(defs, status):
    assert str(status).startswith('GetStatusReply=(ResultCode=Ok StationName="North well"')
    assert status == defs.encode(STATUS)
    assert defs.message(str(status)) == status


def test_one_element_without_a_tag(defs):
    message = korv.Message(defs=defs).append("PumpId", 7)
    assert bytes(message) == bytes.fromhex("03 00 01 10 07")
    assert (message.name, message.value, len(message)) == ("PumpId", 7, 0)
    with pytest.raises(ValueError, match="a message is one element, here PumpId"):
        message.append("PumpMode", 1)


def test_appends_chain_and_take_messages(defs):
    pump = korv.Message("Pumps", defs=defs).append("PumpId", 3)
    message = korv.Message("StatusReport", defs=defs).append("WellLevel", 85).append(pump).append(
        pump.element("PumpId"))
    assert bytes(message) == defs.encode("StatusReport=(WellLevel=85 Pumps=(PumpId=3) PumpId=3)")
    nested = korv.Message("StatusReport", defs=defs).append("Pumps", [pump.element("PumpId"), ("Running", False)])
    assert str(nested) == "StatusReport=(Pumps=(PumpId=3 Running=false))"


def test_building_only_nested_tags(defs):
    with pytest.raises(ValueError, match="PumpId \\(0x1001\\) is a Integer: only List, Request"):
        korv.Message("PumpId", defs=defs)
    with pytest.raises(korv.MessageError, match="no element yet"):
        korv.Message(defs=defs).value


def test_received_messages_are_read_only(defs, status):
    with pytest.raises(TypeError, match="read only"):
        status.append("PumpId", 1)
    with pytest.raises(TypeError, match="items go with a tag"):
        korv.Message(bytes(status), [("PumpId", 1)])


def test_a_message_holds_at_most_64_kib(defs):
    message = korv.Message("StatusReport", defs=defs)
    message.append("Text", "x" * 30000).append("Text", "y" * 30000)
    before = bytes(message)
    with pytest.raises(korv.MessageError, match="a message holds at most 65537 bytes"):
        message.append("Text", "z" * 30000)
    assert bytes(message) == before
    assert len(korv.Message(bytes(message), defs=defs)) == 2


@pytest.mark.parametrize(
    "data, text",
    [
        (b"", "0 bytes are no message: a message has at least 4"),
        (b"\x05\x00\x01", "3 bytes are no message"),
        (b"\x01\x00\x01\x10", "length field 1 is too short for a tag"),
        (b"\xff\xff\x01\x10", "the length field says 65537 bytes, 4 given"),
        (b"\x02\x00\x01\xd0\x00", "the length field says 4 bytes, 5 given"),
    ],
    ids=["empty", "short", "length too small", "hostile length", "bytes after it"],
)
def test_bytes_that_are_no_message(defs, data, text):
    with pytest.raises(korv.MessageError, match=text):
        korv.Message(data, defs=defs)
    with pytest.raises(korv.MessageError):
        defs.message(data)


def test_children_that_overrun_their_parent(defs):
    # Pumps holds a PumpId whose length runs past Pumps into the element after it.
    data = bytes.fromhex("13 00 01 f0" "06 00 01 c0 09 00 01 10" "07 00 01 00 aa bb cc dd ee")
    message = defs.message(data)
    with pytest.raises(korv.MessageError, match="runs past"):
        list(message.element("Pumps"))
    assert "@" in str(message)


def test_wrong_types_for_message(defs):
    with pytest.raises(TypeError, match="Message takes bytes, a tag"):
        korv.Message(1.5)
    with pytest.raises(TypeError, match="defs is a korv.Definitions or None, not str"):
        korv.Message(b"\x02\x00\x01\xd0", defs="demo.qrvdef")
    with pytest.raises(TypeError, match="defs is a korv.Definitions or None, not str"):
        korv.Collector("demo.qrvdef")
    with pytest.raises(TypeError, match="extend\\(\\) takes \\(tag, value\\) pairs"):
        korv.Message("StatusReport", defs=defs).extend([1])


def test_hostile_nesting_is_refused_not_walked(defs):
    # 16,000 List elements inside each other fill a whole message.
    depth = 16000
    data = b"".join(((4 * (depth - i) - 2).to_bytes(2, "little") + b"\x01\xc0") for i in range(depth))
    message = korv.Message(data, defs=defs)
    with pytest.raises(korv.MessageError, match="nested deeper than 99 levels"):
        message.values()
    with pytest.raises(korv.MessageError, match="nested deeper than 99 levels"):
        message.items()
    assert message.find("PumpId") is None
    assert str(message).startswith("Pumps=(Pumps=(")
