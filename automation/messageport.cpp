// SPDX-License-Identifier: MIT
#include "automation/messageport.h"

MessagePort::MessagePort(int number, QObject* parent) : QObject(parent), m_number(number) {}

MessagePort::~MessagePort() = default;
