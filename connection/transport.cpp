// SPDX-License-Identifier: MIT
#include "connection/transport.h"

Transport::Transport(QObject* parent)
    : QObject(parent)
{
}

bool Transport::admit(qsizetype size, const QString& waiter)
{
    const qsizetype waiting = bytesToWrite();
    if (waiting + size > OutputLimit) {
        if (m_refusedBlocks++ == 0)
            Q_EMIT message(tr("Output buffer full (%1 KiB waiting for %2): %3 bytes not sent")
                               .arg(waiting / 1024)
                               .arg(waiter)
                               .arg(size));
        m_refusedBytes += size;
        return false;
    }
    if (m_refusedBlocks > 0) {
        Q_EMIT message(tr("Output buffer has room again: %1 blocks (%2 bytes) were not sent")
                           .arg(m_refusedBlocks)
                           .arg(m_refusedBytes));
        m_refusedBlocks = 0;
        m_refusedBytes = 0;
    }
    return true;
}
