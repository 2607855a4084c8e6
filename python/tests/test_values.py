# SPDX-License-Identifier: MIT
# Values of every data type: what Python gives is what the notation writes,
# and it reads back as the same Python value.
import datetime
import ipaddress

import pytest

import korv

D = datetime.date
T = datetime.time
DT = datetime.datetime
IP = ipaddress.IPv4Address


@pytest.mark.parametrize(
    "tag, value, notation",
    [
        ("PumpId", 1500, "PumpId=1500"),
        ("Running", True, "Running=true"),
        ("Running", False, "Running=false"),
        ("StationName", 'north "basin" ü', 'StationName="north \\"basin\\" ü"'),
        ("StationName", "", 'StationName=""'),
        ("FirmwareBlock", b"\x00\xff\x7f", "FirmwareBlock=00FF7F"),
        ("FirmwareBlock", b"", "FirmwareBlock=[]"),
        ("InstallDate", D(2019, 5, 14), "InstallDate=2019-05-14"),
        ("StartTime", T(6, 30), "StartTime=06:30:00"),
        ("Timestamp", DT(2026, 11, 22, 19, 30, 15), "Timestamp=2026-11-22T19:30:15"),
        ("Timestamp", DT(2026, 11, 22, 19, 30, 15, 250000), "Timestamp=2026-11-22T19:30:15.250"),
        ("Timestamp", None, "Timestamp=0"),
        ("Alarms", {"HighLevel", "DoorOpen"}, "Alarms=HighLevel|DoorOpen"),
        ("Alarms", {"LowLevel", 5}, 'Alarms="LowLevel | 0x20"'),
        ("IpAddress", IP("192.168.1.20"), "IpAddress=192.168.1.20"),
        ("MapPosition", (3, -4), "MapPosition=[3, -4]"),
        ("MapPosition", (40000, 1), "MapPosition=[40000, 1]"),
        ("ScreenSize", (640, 480), "ScreenSize=[640, 480]"),
        ("DisplayArea", (10, 20, 100, 50), "DisplayArea=[10, 20, 100, 50]"),
        ("DisplayArea", (-70000, 20, 100, 50), "DisplayArea=[-70000, 20, 100, 50]"),
    ],
)
def test_values_as_the_notation_writes_them(defs, tag, value, notation):
    message = korv.Message(defs=defs).append(tag, value)
    assert bytes(message) == defs.encode(notation)
    assert defs.message(bytes(message)).value == value


@pytest.mark.parametrize(
    "value, payload",
    [
        (0, "00"),
        (255, "ff"),
        (256, "0001"),
        (-1, "ffffffff"),
        (2**31 - 1, "ffffff7f"),
        (2**31, "0000008000"),
        (2**40, "000000000001"),
        (-(2**31) - 1, "ffffff7fffffffff"),
        (2**63 - 1, "ffffffffffffff7f"),
    ],
    ids=["zero", "one byte", "two bytes", "negatives take four", "largest int", "bit 31 takes five",
         "forty bits", "below int takes eight", "largest"],
)
def test_integers_read_back_as_written(defs, value, payload):
    message = korv.Message(defs=defs).append("PumpId", value)
    assert message.raw.hex() == payload
    assert defs.message(bytes(message)).value == value


def test_enum_names_and_numbers(defs):
    message = korv.Message("SetPumpMode", defs=defs).append("PumpMode", "Auto").append("PumpId", 2)
    assert message["PumpMode"] == 2
    assert message.element("PumpMode").enum == "Auto"
    assert message.element("PumpMode").text == "Auto"
    assert message.element("PumpId").enum is None
    assert bytes(message) == defs.encode("SetPumpMode=(PumpMode=Auto PumpId=2)")


def test_binary_takes_any_buffer(defs):
    for data in (bytearray(b"\x01\x02"), memoryview(b"\x01\x02")):
        assert korv.Message(defs=defs).append("FirmwareBlock", data).value == b"\x01\x02"


def test_address_from_text_and_null(defs):
    assert korv.Message(defs=defs).append("IpAddress", "10.0.0.1").value == IP("10.0.0.1")
    empty = korv.Message(defs=defs).append("IpAddress", None)
    assert empty.raw == b"" and empty.value == IP("0.0.0.0")


def test_bit_mask_as_int(defs):
    message = korv.Message(defs=defs).append("Alarms", 0x181)
    assert message.value == {"HighLevel", "DoorOpen", "MainsFailure"}
    assert message.raw == bytes.fromhex("8101")


def test_null_date_reads_as_none(defs):
    assert defs.message("InstallDate=0").value is None
    assert korv.Message(defs=defs).append("InstallDate", None).raw == b"\x00"


def test_nested_values(defs):
    pumps = korv.Message(defs=defs).append("Pumps", [("PumpId", 1), ("PumpMode", "Auto"), ("Running", True)])
    assert bytes(pumps) == defs.encode("Pumps=(PumpId=1 PumpMode=Auto Running=true)")
    elements = pumps.value
    assert [e.name for e in elements] == ["PumpId", "PumpMode", "Running"]
    assert pumps.items() == [("PumpId", 1), ("PumpMode", 2), ("Running", True)]
    assert pumps.values() == [1, 2, True]


def test_without_definitions_codes_name_nothing():
    message = korv.Message(0xF001).append(0x1001, 7).append(0xC001, [(0x1002, 1)])
    assert [e.name for e in message] == [None, None]
    assert message.items() == [(0x1001, 7), (0xC001, [(0x1002, 1)])]
    assert str(message) == "F001=(1001=7 C001=(1002=1))"


@pytest.mark.parametrize(
    "tag, value, error, text",
    [
        ("PumpId", 1.5, TypeError, "PumpId (0x1001), a Integer, takes an int or an enum name, not float"),
        ("PumpId", True, TypeError, "not bool"),
        ("PumpId", 2**64, ValueError, "does not fit 64 bits"),
        ("PumpMode", "Fast", ValueError, 'PumpMode (0x1002): no enum value named "Fast"'),
        ("Running", 1, TypeError, "takes a bool, not int"),
        ("StationName", b"x", TypeError, "takes a str, not bytes"),
        ("StationName", "x" * 70000, korv.MessageError, "70000 bytes of text, more than the 65533"),
        ("FirmwareBlock", "text", TypeError, "takes bytes, not str"),
        ("FirmwareBlock", bytes(65534), korv.MessageError, "65534 bytes, more than the 65533"),
        ("InstallDate", DT(2020, 1, 1, 1, 1), TypeError, "takes a datetime.date or None, not datetime.datetime"),
        ("InstallDate", D(1990, 1, 1), ValueError, "dates start at 1990-01-02"),
        ("StartTime", T(1, 2, tzinfo=datetime.timezone.utc), ValueError, "without tzinfo"),
        ("Timestamp", DT(2020, 1, 1, tzinfo=datetime.timezone.utc), ValueError, "without tzinfo"),
        ("Timestamp", "2026-11-22", TypeError, "takes a datetime.datetime or None, not str"),
        ("Alarms", {"Nope"}, ValueError, 'no bit named "Nope"'),
        ("Alarms", {-1}, ValueError, "bit -1 is not within 0..524263"),
        ("Alarms", -1, ValueError, "a bit mask is not negative"),
        ("Alarms", 1.0, TypeError, "a set of bit names or numbers, or an int mask"),
        ("IpAddress", "300.1.1.1", ValueError, '"300.1.1.1" is no IPv4 address'),
        ("IpAddress", 5, TypeError, "an ipaddress.IPv4Address, a str or None"),
        ("MapPosition", (1, 2, 3), ValueError, "2 numbers, not 3"),
        ("MapPosition", (1, "a"), TypeError, "a tuple of ints"),
        ("MapPosition", (2**31, 0), ValueError, "does not fit 32 bits"),
        ("DisplayArea", [1, 2], ValueError, "4 numbers, not 2"),
        ("Pumps", 5, TypeError, "a list of (tag, value) pairs, Elements or Messages"),
        ("Pumps", [5], TypeError, "holds (tag, value) pairs, Elements or Messages, not int"),
        ("Pumps", [("PumpId", 1), ("Nope", 1)], KeyError, 'no tag named "Nope"'),
        (0x10000, 1, ValueError, "a tag code is 0 to 0xFFFF"),
        (None, 1, TypeError, "a tag is a name (str) or a code (int)"),
    ],
)
def test_wrong_values_raise_and_change_nothing(defs, tag, value, error, text):
    message = korv.Message("StatusReport", defs=defs).append("PumpId", 1)
    before = bytes(message)
    with pytest.raises(error) as caught:
        message.append(tag, value)
    assert text in str(caught.value)
    assert bytes(message) == before


def test_nesting_deeper_than_the_notation_reads(defs):
    value = [("PumpId", 1)]
    for _ in range(120):
        value = [("Pumps", value)]
    with pytest.raises(ValueError, match="nested deeper than 99 levels"):
        korv.Message(defs=defs).append("Pumps", value)


@pytest.mark.parametrize(
    "hex_bytes, text",
    [
        ("04 00 01 20 01 01", "Running (0x2001) at byte 0: a Bool holds 1 byte, not 2"),
        ("02 00 01 10", "PumpId (0x1001) at byte 0: an Integer needs at least one byte"),
        ("09 00 01 60 00 00 00 00 00 00 00", "a DateTime holds 8 or 10 bytes, not 7"),
        ("0a 00 01 60 ff ff ff 7f 00 00 00 00", "past the year 9999"),
        ("07 00 01 90 01 02 03 04 05", "an address holds 4 bytes, not 5"),
        ("05 00 01 80 01 02 03", "3 bytes, where 4 or 8 hold its numbers"),
    ],
)
def test_payloads_that_do_not_fit_their_type(defs, hex_bytes, text):
    message = defs.message(bytes.fromhex(hex_bytes))
    with pytest.raises(korv.MessageError) as caught:
        message.value
    assert text in str(caught.value)
    assert message.raw == bytes.fromhex(hex_bytes)[4:]
    # The notation shows what it cannot read as its raw form, and never raises.
    assert "@" in str(message)
