# SPDX-License-Identifier: MIT
# Definitions: reading a file, its tags, and the text notation both ways.
import pytest

import korv


def test_reads_the_demo_file(defs):
    assert defs.name.endswith("demo.qrvdef")
    assert defs.warnings == []
    names = [t.name for t in defs.tags]
    assert names[:3] == ["StatusReport", "Event", "GetStatus"]


def test_tag_by_name_and_code(defs):
    mode = defs.tag("PumpMode")
    assert (mode.code, mode.name, mode.type) == (0x1002, "PumpMode", "Integer")
    assert mode.enums == {"Off": 0, "Manual": 1, "Auto": 2, "Service": 3}
    alarms = defs.tag(0x7001)
    assert alarms.name == "Alarms"
    assert alarms.bits["DoorOpen"] == 7 and alarms.bits["MainsFailure"] == 8
    assert defs.tag("Password").secure
    assert defs.tag(0x1FFF).name is None


def test_unknown_tag_names_raise_key_error(defs):
    with pytest.raises(KeyError, match="no tag named \"Nope\""):
        defs.tag("Nope")
    with pytest.raises(TypeError, match="a tag is a name"):
        defs.tag(1.5)
    with pytest.raises(ValueError, match="0 to 0xFFFF"):
        defs.tag(0x10000)


@pytest.mark.parametrize(
    "data, message, line, column",
    [
        (b"this is not XML", "", 1, 1),
        (b"<qrv16>\n  <tag name=\"A\" id=\"0x1001\">\n</qrv16>", "", 3, 3),
        (b"<qrv16>\n  <tag name=\"A\" id=\"0x1FFFF\"/>\n</qrv16>", "Tag out of range", 2, 28),
        (b"", "", 1, 1),
    ],
    ids=["not XML", "unclosed element", "code out of range", "empty"],
)
def test_bad_files_raise_with_their_position(data, message, line, column):
    with pytest.raises(korv.DefinitionsError) as caught:
        korv.Definitions.from_bytes(data, "bad.qrvdef")
    error = caught.value
    assert error.file == "bad.qrvdef"
    assert error.line >= line
    assert message in error.message and error.message
    assert str(error).startswith(f"bad.qrvdef:{error.line}:{error.column}: ")
    assert isinstance(error, ValueError)


def test_missing_file_raises_os_error(tmp_path):
    with pytest.raises(FileNotFoundError):
        korv.Definitions(tmp_path / "missing.qrvdef")


def test_warnings_name_line_and_column():
    defs = korv.Definitions.from_bytes(
        b'<qrv16>\n<tag name="A" id="0x1001"/>\n<tag name="B" id="0x1001"/>\n</qrv16>', "twice.qrvdef")
    assert len(defs.warnings) == 1
    assert "twice.qrvdef, Line 3" in defs.warnings[0] and "0x1001" in defs.warnings[0]


def test_encode_as_korv_encode(defs):
    assert defs.encode('F001=(1001=1500 3001="north" 9001=192.168.1.20)').hex(" ") == (
        "19 00 01 f0 04 00 01 10 dc 05 07 00 01 30 6e 6f 72 74 68 06 00 01 90 c0 a8 01 14")
    assert defs.encode("GetStatus PumpId=7") == bytes.fromhex("02 00 01 d0 03 00 01 10 07")


def test_parse_errors_carry_line_and_column(defs):
    text = "GetStatus\nSetPumpMode=(PumpId=2 PumpMode=Fast)"
    with pytest.raises(korv.ParseError) as caught:
        defs.encode(text)
    error = caught.value
    assert (error.line, error.column, error.end_line, error.end_column) == (2, 32, 2, 35)
    assert error.message == "Failed to decode value"
    assert str(error) == (
        "2:32: error: Failed to decode value\n"
        "  SetPumpMode=(PumpId=2 PumpMode=Fast)\n"
        "                                 ^~~~")


def test_decode_one_message_per_line(defs):
    data = defs.encode("SetPumpMode=(PumpId=2 PumpMode=Auto) GetStatus")
    assert defs.decode(data) == "SetPumpMode=(PumpId=2 PumpMode=Auto)\nGetStatus=()"
    assert defs.decode(bytearray(data[:14])) == "SetPumpMode=(PumpId=2 PumpMode=Auto)"
    assert defs.decode(data[:14], hungarian=True) == "reqSetPumpMode=(iPumpId=2 iPumpMode=Auto)"
    assert "\n  PumpId = 2\n" in defs.decode(data[:14], multi_line=True)
    assert korv.Definitions().decode(data[:14]) == "D002=(1001=2 1002=2)"


@pytest.mark.parametrize(
    "data, error",
    [
        (b"", "no bytes to decode"),
        (b"\x0c\x00\x02\xd0\x03\x00", "byte 0: the message needs 14 bytes, 6 left"),
        (b"\x02\x00\x01\xd0\x05", "byte 4: 1 byte(s) left, too few for a message"),
        (b"\x00\x00\x01\xd0", "byte 0: length field 0 is too short for a tag"),
        (b"\xff\xff" + b"\x00" * 100, "byte 0: the message needs 65537 bytes, 102 left"),
    ],
    ids=["empty", "truncated", "stub after a message", "zero length", "hostile length"],
)
def test_decode_refuses_what_is_no_message(defs, data, error):
    with pytest.raises(korv.MessageError, match=error.replace("(", r"\(").replace(")", r"\)")):
        defs.decode(data)


def test_decode_refuses_text(defs):
    with pytest.raises(TypeError):
        defs.decode("02 00 01 d0")


@pytest.mark.parametrize(
    "pattern, text, matches",
    [
        ("GetStatusReply=(ResultCode=Ok)", "GetStatusReply=(ResultCode=Ok StationName=x)", True),
        ("GetStatusReply=(ResultCode=Ok)", "GetStatusReply=(ResultCode=Busy)", False),
        ("GetStatusReply=(Pumps=(PumpId=2))", "GetStatusReply=(Pumps=(PumpId=1) Pumps=(PumpId=2))", True),
        ("*", "GetStatus", True),
        ("SetPumpModeReply", "GetStatus", False),
        ("ResultCode!=Ok", "GetStatusReply=(ResultCode=Busy)", True),
    ],
)
def test_match_as_answer_rules_do(defs, pattern, text, matches):
    message = defs.message(text)
    assert defs.match(pattern, message) is matches
    assert defs.match(pattern, bytes(message)) is matches
    assert defs.pattern(pattern).matches(message) is matches


def test_bad_patterns_raise_with_column(defs):
    with pytest.raises(korv.ParseError) as caught:
        defs.match("GetStatusReply=(Nope=1)", defs.message("GetStatus"))
    assert caught.value.line == 1 and caught.value.column > 1
    with pytest.raises(korv.ParseError):
        defs.pattern("GetStatusReply=(")


def test_message_from_text_takes_exactly_one(defs):
    assert defs.message("GetStatus").name == "GetStatus"
    with pytest.raises(ValueError, match="holds 2"):
        defs.message("GetStatus GetStatus")
