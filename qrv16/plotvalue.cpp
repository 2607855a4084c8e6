// SPDX-License-Identifier: MIT
#include "qrv16/plotvalue.h"

#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"

#include <QDateTime>

namespace QRV16 {

namespace {

// Times of day are drawn on a date axis: on this day, in local time.
const QDate TimeOfDayBase(2000, 1, 1);

bool isSecure(const TagDataLut* tags, int tag)
{
    const TagData* data = tags ? tags->tagData(unsigned(tag)) : nullptr;
    return data && data->secure;
}

} // namespace

bool PlotValue::isPlottable(DataType type)
{
    switch (type) {
    case DataType::Integer:
    case DataType::Bool:
    case DataType::Date:
    case DataType::Time:
    case DataType::DateTime:
    case DataType::BitArray:
    case DataType::ExtPoint: return true;
    default: return false;
    }
}

bool PlotValue::read(const Message::Iterator& it)
{
    bool ok = false;
    switch (dataType(unsigned(it.tag()))) {
    case DataType::Integer: value[0] = double(it.size() > 4 ? it.getInt64(&ok) : qint64(it.getInt(&ok))); break;
    case DataType::Bool: value[0] = it.getBool(&ok) ? 1 : 0; break;
    case DataType::Date: {
        const QDate date = it.getDate(&ok);
        ok = ok && date.isValid();
        if (ok)
            value[0] = double(QDateTime(date, QTime(0, 0)).toMSecsSinceEpoch());
        break;
    }
    case DataType::Time: {
        const QTime time = it.getTime(&ok);
        ok = ok && time.isValid();
        if (ok)
            value[0] = double(QDateTime(TimeOfDayBase, time).toMSecsSinceEpoch());
        break;
    }
    case DataType::DateTime: {
        const QDateTime dateTime = it.getDateTime(&ok);
        ok = ok && dateTime.isValid();
        if (ok)
            value[0] = double(dateTime.toMSecsSinceEpoch());
        break;
    }
    case DataType::BitArray: bits = it.getBits(&ok); break;
    case DataType::ExtPoint: {
        const QPoint p = it.getPoint(&ok);
        value[0] = p.x();
        value[1] = p.y();
        break;
    }
    default: break;
    }
    return ok;
}

bool PlotValue::find(const Message& message, int start, int end, int tag, const TagDataLut* tags)
{
    return find(message, start, end, tag, tags, 0);
}

bool PlotValue::find(const Message& message, int start, int end, int tag, const TagDataLut* tags, int depth)
{
    for (Message::Iterator it(&message, start, end); !it.atEnd(); ++it) {
        const int found = it.tag();
        if (found < 0)
            break;
        if (found == tag)
            return read(it);
        if (isNestedTag(found) && depth + 1 < MessageWriter::MaxDepth && it.size() > 0 && !isSecure(tags, found)) {
            bool ok = false;
            const Message::Iterator inner = it.getIterator(&ok);
            if (ok && find(message, inner.start(), inner.end(), tag, tags, depth + 1))
                return true;
        }
    }
    return false;
}

} // namespace QRV16
