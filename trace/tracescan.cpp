// SPDX-License-Identifier: MIT
#include "trace/tracescan.h"

#include <QAbstractItemModel>

TraceScan::TraceScan(QObject* parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(0);
    connect(&m_timer, &QTimer::timeout, this, &TraceScan::slice);
}

void TraceScan::start(const QAbstractItemModel* model, int from, int step, bool wrap, Visitor visit)
{
    cancel();
    if (!model)
        return;
    m_model = model;
    m_visit = std::move(visit);
    m_step = step < 0 ? -1 : 1;
    m_next = from;
    m_wrap = wrap;
    m_wrapped = false;
    m_left = model->rowCount();
    m_done = 0;
    m_connections << connect(model, &QAbstractItemModel::rowsRemoved, this, &TraceScan::onRowsRemoved)
                  << connect(model, &QAbstractItemModel::rowsInserted, this, &TraceScan::onRowsInserted)
                  << connect(model, &QAbstractItemModel::modelReset, this, &TraceScan::onAbort)
                  << connect(model, &QAbstractItemModel::layoutChanged, this, &TraceScan::onAbort)
                  << connect(model, &QObject::destroyed, this, &TraceScan::onAbort);
    slice();
}

void TraceScan::cancel()
{
    for (const QMetaObject::Connection& connection : std::as_const(m_connections))
        disconnect(connection);
    m_connections.clear();
    m_timer.stop();
    m_model = nullptr;
    m_visit = nullptr;
}

int TraceScan::percent() const
{
    if (!m_model)
        return 100;
    const int rows = m_model->rowCount();
    const int left = m_wrap ? m_left : (m_step > 0 ? rows - m_next : m_next + 1);
    const int total = m_done + qMax(0, left);
    return total > 0 ? int(qint64(m_done) * 100 / total) : 100;
}

void TraceScan::slice()
{
    QElapsedTimer clock;
    clock.start();
    // A visitor may cancel the scan or start another.
    const QPointer<const QAbstractItemModel> model = m_model;
    for (int n = 0;; ++n) {
        if (!m_model || m_model != model)
            return;
        const int rows = m_model->rowCount();
        if (m_wrap) {
            m_left = qMin(m_left, rows);
            if (m_left <= 0)
                return finish(-1);
            if (m_next >= rows || m_next < 0) {
                m_next = m_step > 0 ? 0 : rows - 1;
                m_wrapped = true;
            }
            --m_left;
        } else if (m_next >= rows || m_next < 0) {
            return finish(-1);
        }
        const int row = m_next;
        m_next += m_step;
        ++m_done;
        if (m_visit(row))
            return finish(row);
        if ((n & 31) == 31 && clock.elapsed() >= SliceMilliseconds)
            break;
    }
    Q_EMIT progress(percent());
    m_timer.start();
}

void TraceScan::finish(int row)
{
    const bool wrapped = m_wrapped;
    cancel();
    Q_EMIT finished(row, wrapped);
}

void TraceScan::onRowsRemoved(const QModelIndex& parent, int first, int last)
{
    if (parent.isValid())
        return;
    const int count = last - first + 1;
    if (m_next > last)
        m_next -= count;
    else if (m_next >= first)
        m_next = m_step > 0 ? first : first - 1;
}

void TraceScan::onRowsInserted(const QModelIndex& parent, int first, int last)
{
    if (parent.isValid())
        return;
    // Rows added where the scan goes next are still ahead of it.
    if (m_step > 0 ? first < m_next : first <= m_next)
        m_next += last - first + 1;
}

void TraceScan::onAbort()
{
    cancel();
    Q_EMIT aborted();
}
