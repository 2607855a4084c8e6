// SPDX-License-Identifier: MIT
#pragma once

// A main window for a test, both channels on open links to pseudo-terminals
// that nobody reads: a channel that is not connected sends nothing. The
// links are set on the connections, so the settings store stays as it was
// and the deferred start-up has nothing to connect behind the test's back.
// The far ends go into `lines` and must outlive the window.

#include "app/mainwindow.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "tests/support/pty.h"

#include <memory>
#include <vector>

inline std::unique_ptr<MainWindow> windowWithLinks(std::vector<std::unique_ptr<korvtest::Pty>>* lines)
{
    auto window = std::make_unique<MainWindow>();
    for (int number : {1, 2}) {
        lines->push_back(std::make_unique<korvtest::Pty>());
        ConnectionSettings settings;
        settings.setMode(ConnectionSettings::SerialMode);
        settings.setSerialPort(lines->back()->name());
        Connection* link = window->channel(number)->connection();
        link->setSettings(settings);
        link->connect();
    }
    window->traceModel()->clear();
    return window;
}
