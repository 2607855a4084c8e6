// SPDX-License-Identifier: MIT
#include "writers/writerwireshark.h"

#include "qrv16/pcapngwriter.h"
#include "writers/codemodel.h"

#include <QRegularExpression>
#include <QSet>

namespace QRV16 {

namespace {

QString luaString(const QString& text)
{
    QString out = text;
    out.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    out.replace(QLatin1Char('"'), QLatin1String("\\\""));
    out.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    return QLatin1Char('"') + out + QLatin1Char('"');
}

// The decoding part does not depend on the definitions. Wireshark 4.0
// embeds Lua 5.2, so bit operations are written as arithmetic.
const char* const decoder = R"LUA(
local function data_type(tag)
  local high = math.floor(tag / 4096)
  if high == 8 then return math.floor(tag / 256) end
  return high
end

local function malformed(item, text)
  item:add_proto_expert_info(e_malformed, text)
  item:append_text(" [malformed: " .. text .. "]")
end

local function le_unsigned(range)
  if range:len() <= 4 then return range:le_uint() end
  return range:le_uint64()
end

local function pair_text(range, count)
  local width = range:len() / count
  local values = {}
  for i = 0, count - 1 do values[#values + 1] = tostring(range(i * width, width):le_int()) end
  return "(" .. table.concat(values, ", ") .. ")"
end

local function bit_text(tag, range, value)
  local names = bits[tag] or {}
  local set = {}
  local count = range and range:len() * 8 or 32
  for i = 0, count - 1 do
    local on
    if range then
      on = math.floor(range(math.floor(i / 8), 1):uint() / 2 ^ (i % 8)) % 2 == 1
    else
      on = math.floor(value / 2 ^ i) % 2 == 1
    end
    if on then set[#set + 1] = names[i] or ("bit " .. i) end
  end
  return "{" .. table.concat(set, ", ") .. "}"
end

local epoch_1990 = 631152000

-- The value of a leaf element as text, or nil and the reason it cannot be read.
local function value_text(tag, dt, range, size, item)
  if secure[tag] then return "<hidden>" end
  if dt == 0 then
    return size == 0 and "(empty)" or tostring(range:bytes())
  elseif dt == 1 then
    if size < 1 then return nil, "an integer needs 1 to 8 bytes" end
    local value = le_unsigned(range(0, math.min(size, 8)))
    local name = enums[tag] and enums[tag][tonumber(tostring(value))]
    if name then
      item:add(f_enum, range, name)
      return name .. " (" .. tostring(value) .. ")"
    end
    if bits[tag] and size <= 4 then return bit_text(tag, nil, value) .. " (" .. tostring(value) .. ")" end
    return tostring(value)
  elseif dt == 2 then
    if size ~= 1 then return nil, "a bool is one byte" end
    return range:uint() ~= 0 and "true" or "false"
  elseif dt == 3 then
    return size == 0 and "\"\"" or "\"" .. range:string(ENC_UTF_8) .. "\""
  elseif dt == 4 or dt == 5 then
    if size < 1 or size > 4 then return nil, "expected 1 to 4 bytes" end
    local n = range:le_uint()
    if dt == 4 then return os.date("!%Y-%m-%d", epoch_1990 + n * 86400) end
    return os.date("!%H:%M:%S", n % 86400)
  elseif dt == 6 then
    if size < 8 then return nil, "a date and time needs 8 or 10 bytes" end
    local text = os.date("!%Y-%m-%d %H:%M:%S", epoch_1990 + range(0, 4):le_uint() * 86400
                                                 + range(4, 4):le_uint() % 86400)
    if size >= 10 then text = text .. string.format(".%03d", range(8, 2):le_uint()) end
    return text
  elseif dt == 7 then
    return size == 0 and "{}" or bit_text(tag, range)
  elseif dt == 9 then
    if size == 0 then return "0.0.0.0" end
    if size ~= 4 then return nil, "an address is four bytes" end
    return tostring(range:ipv4())
  elseif dt == 0x80 or dt == 0x82 then
    if size == 0 then return "(0, 0)" end
    if size ~= 4 and size ~= 8 then return nil, "a pair is 4 or 8 bytes" end
    return pair_text(range, 2)
  elseif dt == 0x81 then
    if size == 0 then return "(0, 0, 0, 0)" end
    if size ~= 8 and size ~= 16 then return nil, "a rectangle is 8 or 16 bytes" end
    return pair_text(range, 4)
  end
  return nil, "unknown data type " .. dt
end

local max_depth = 100

-- Dissects the element at offset inside [offset, limit); returns the offset
-- behind it, or nil when it is malformed and its container cannot go on.
local function element(tvb, tree, offset, limit, depth)
  if limit - offset < 4 then
    local item = tree:add(f_element, tvb(offset, limit - offset))
    item:set_text("Element header cut short")
    malformed(item, (limit - offset) .. " bytes left, an element header is 4")
    return nil
  end
  local length = tvb(offset, 2):le_uint()
  local tag = tvb(offset + 2, 2):le_uint()
  local name = names[tag] or string.format("0x%04X", tag)
  if length < 2 or offset + 2 + length > limit then
    local item = tree:add(f_element, tvb(offset, limit - offset))
    item:set_text(name)
    item:add_le(f_length, tvb(offset, 2))
    item:add_le(f_tag, tvb(offset + 2, 2))
    malformed(item, "length " .. length .. " does not fit its container")
    return nil
  end
  local dt = data_type(tag)
  local size = length - 2
  local range = size > 0 and tvb(offset + 4, size) or nil
  local item = tree:add(f_element, tvb(offset, length + 2))
  item:add_le(f_length, tvb(offset, 2))
  item:add_le(f_tag, tvb(offset + 2, 2))
  item:add(f_type, tvb(offset + 2, 2), type_names[dt] or "unknown")
  if dt >= 12 and dt <= 15 then
    item:set_text(name)
    if depth >= max_depth then
      malformed(item, "nested deeper than " .. max_depth)
      return offset + length + 2
    end
    local pos, stop = offset + 4, offset + 2 + length
    while pos and pos < stop do pos = element(tvb, item, pos, stop, depth + 1) end
    return offset + length + 2
  end
  local text, problem = value_text(tag, dt, range, size, item)
  if text then
    item:set_text(name .. " = " .. text)
    if range then item:add(f_value, range, text) end
  else
    item:set_text(name)
    malformed(item, problem)
  end
  return offset + length + 2
end

local function messages(tvb, tree, offset)
  local limit = tvb:len()
  while offset and offset < limit do offset = element(tvb, tree, offset, limit, 0) end
end

local kinds = { [0] = "message", [1] = "raw bytes" }
local directions = { [0] = "received", [1] = "sent" }

-- An exported trace: the capture header, then a message or raw bytes.
local function dissect_trace(tvb, pinfo, tree)
  pinfo.cols.protocol = proto.name
  local root = tree:add(proto, tvb())
  if tvb:len() < header_size then
    malformed(root, "shorter than the " .. header_size .. "-byte capture header")
    return tvb:len()
  end
  local kind = tvb(1, 1):uint()
  local direction = tvb(2, 1):uint()
  local channel = tvb(3, 1):uint()
  local header = root:add(proto, tvb(0, header_size), "Capture header")
  header:add(f_kind, tvb(1, 1))
  header:add(f_direction, tvb(2, 1))
  header:add(f_channel, tvb(3, 1))
  local src, dst = tvb(4, 4):uint(), tvb(8, 4):uint()
  if src ~= no_address then header:add(f_src, tvb(4, 4)) end
  if dst ~= no_address then header:add(f_dst, tvb(8, 4)) end
  local info = "ch" .. channel .. " " .. (directions[direction] or "?")
  if tvb:len() == header_size then
    pinfo.cols.info = info .. " (empty)"
    return tvb:len()
  end
  local body = tvb(header_size)
  if kind == 1 then
    root:add(f_raw, body)
    pinfo.cols.info = info .. " raw " .. body:len() .. " bytes"
    return tvb:len()
  end
  local tag = body:len() >= 4 and body(2, 2):le_uint() or nil
  pinfo.cols.info = info .. " " .. (tag and (names[tag] or string.format("0x%04X", tag)) or "?")
  messages(tvb, root, header_size)
  return tvb:len()
end

-- A TCP stream of messages, each as long as its length field says.
local function dissect_stream(tvb, pinfo, tree)
  pinfo.cols.protocol = proto.name
  local offset, limit = 0, tvb:len()
  local root = nil
  while offset < limit do
    if limit - offset < 2 then
      pinfo.desegment_offset = offset
      pinfo.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
      return limit
    end
    local total = tvb(offset, 2):le_uint() + 2
    if limit - offset < total then
      pinfo.desegment_offset = offset
      pinfo.desegment_len = total - (limit - offset)
      return limit
    end
    root = root or tree:add(proto, tvb())
    element(tvb, root, offset, offset + total, 0)
    offset = offset + total
  end
  return limit
end

function proto.dissector(tvb, pinfo, tree)
  if pinfo.match_uint == proto.prefs.tcp_port and pinfo.port_type == 2 then
    return dissect_stream(tvb, pinfo, tree)
  end
  return dissect_trace(tvb, pinfo, tree)
end

local user0 = (wtap_encaps or wtap).USER0
DissectorTable.get("wtap_encap"):add(user0, proto)

local tcp_port = 0
function proto.prefs_changed()
  local tcp = DissectorTable.get("tcp.port")
  if tcp_port ~= 0 then tcp:remove(tcp_port, proto) end
  tcp_port = proto.prefs.tcp_port
  if tcp_port ~= 0 then tcp:add(tcp_port, proto) end
end
)LUA";

} // namespace

WriterWireshark::WriterWireshark()
{
    setIndent(0, 2);
}

bool WriterWireshark::writeDefinitions(const Item* root)
{
    CodeModel model;
    if (!model.read(root) || !device()) {
        setErrorString(model.error());
        return false;
    }
    QString filter = text(PrefixText).toLower();
    if (!QRegularExpression(QStringLiteral("^[a-z][a-z0-9_]*$")).match(filter).hasMatch())
        filter = QStringLiteral("qrv16");

    const QString i1 = indent2();
    const QString i2 = i1 + indent2();
    QString out;
    for (const QString& line : CodeModel::headerLines(text(HeaderText)))
        out += QStringLiteral("-- ") + line + QLatin1Char('\n');
    out += QStringLiteral("-- Load with: tshark -X lua_script:THIS_FILE, or copy it into\n"
                          "-- ~/.local/lib/wireshark/plugins/.\n\n");

    // A code defined twice names the first tag, as it does everywhere else.
    QSet<quint16> seen;
    QString names, enums, bits, secure;
    for (const CodeModel::Tag& tag : model.tags()) {
        if (tag.kind != CodeModel::Kind::Definition || seen.contains(tag.code))
            continue;
        seen.insert(tag.code);
        const QString code = tag2hex(tag.code);
        names += i1 + QStringLiteral("[%1] = %2,\n").arg(code, luaString(tag.name));
        if (tag.secure)
            secure += i1 + QStringLiteral("[%1] = true,\n").arg(code);
        for (bool bitPart : {false, true}) {
            const QList<CodeModel::Value>& values = bitPart ? tag.bits : tag.enums;
            QString entries;
            QSet<qint64> numbers;
            for (const CodeModel::Value& v : values) {
                if (v.kind != CodeModel::Kind::Definition || v.name.isEmpty() ||
                    numbers.contains(v.value))
                    continue;
                numbers.insert(v.value);
                // Values are read unsigned, so a negative enum is its 32-bit pattern.
                const qint64 number = v.value < 0 ? qint64(quint32(v.value)) : v.value;
                entries += i2 + QStringLiteral("[%1] = %2,\n").arg(number).arg(luaString(v.name));
            }
            if (!entries.isEmpty())
                (bitPart ? bits : enums) +=
                    i1 + QStringLiteral("[%1] = {\n").arg(code) + entries + i1 + QStringLiteral("},\n");
        }
    }
    out += QStringLiteral("local names = {\n") + names + QStringLiteral("}\n");
    out += QStringLiteral("local enums = {\n") + enums + QStringLiteral("}\n");
    out += QStringLiteral("local bits = {\n") + bits + QStringLiteral("}\n");
    out += QStringLiteral("local secure = {\n") + secure + QStringLiteral("}\n\n");

    QString types;
    for (const CodeModel::TypeName& t : CodeModel::dataTypeNames())
        types += QStringLiteral("[%1] = %2, ").arg(t.value).arg(luaString(QLatin1String(t.name)));
    out += QStringLiteral("local type_names = { ") + types + QStringLiteral("}\n\n");

    out += QStringLiteral(
               "local proto = Proto(\"%1\", \"QRV16\")\n"
               "local header_size = %2\n"
               "local no_address = %3\n"
               "local f_element = ProtoField.none(\"%1.element\", \"Element\")\n"
               "local f_length = ProtoField.uint16(\"%1.length\", \"Length\")\n"
               "local f_tag = ProtoField.uint16(\"%1.tag\", \"Tag\", base.HEX, names)\n"
               "local f_type = ProtoField.string(\"%1.type\", \"Type\")\n"
               "local f_value = ProtoField.string(\"%1.value\", \"Value\")\n"
               "local f_enum = ProtoField.string(\"%1.enum\", \"Enum\")\n"
               "local f_raw = ProtoField.bytes(\"%1.raw\", \"Raw bytes\")\n"
               "local f_kind = ProtoField.uint8(\"%1.kind\", \"Kind\", base.DEC, "
               "{ [0] = \"message\", [1] = \"raw bytes\" })\n"
               "local f_direction = ProtoField.uint8(\"%1.direction\", \"Direction\", base.DEC, "
               "{ [0] = \"received\", [1] = \"sent\" })\n"
               "local f_channel = ProtoField.uint8(\"%1.channel\", \"Channel\")\n"
               "local f_src = ProtoField.uint32(\"%1.src\", \"Source address\")\n"
               "local f_dst = ProtoField.uint32(\"%1.dst\", \"Destination address\")\n"
               "local e_malformed = ProtoExpert.new(\"%1.malformed\", \"Malformed element\",\n"
               "%4expert.group.MALFORMED, expert.severity.ERROR)\n"
               "proto.fields = { f_element, f_length, f_tag, f_type, f_value, f_enum, f_raw,\n"
               "%4f_kind, f_direction, f_channel, f_src, f_dst }\n"
               "proto.experts = { e_malformed }\n"
               "proto.prefs.tcp_port = Pref.uint(\"TCP port\", 0, \"Port of a QRV16 stream, 0 for none\")\n")
               .arg(filter)
               .arg(PcapngWriter::HeaderSize)
               .arg(PcapngWriter::NoAddress)
               .arg(i2);
    write(out);
    write(QString::fromLatin1(decoder));
    return true;
}

} // namespace QRV16
