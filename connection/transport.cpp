// SPDX-License-Identifier: MIT
#include "connection/transport.h"

Transport::Transport(QObject* parent)
    : QObject(parent)
{
}
