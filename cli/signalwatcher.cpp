// SPDX-License-Identifier: MIT
#include "cli/signalwatcher.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// One process-wide pair: [0] written by the handler, [1] read by the loop.
int fds[2] = {-1, -1};

extern "C" void onSignal(int number)
{
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(number);
    // Nothing to do if the pipe is full: a signal is waiting already.
    [[maybe_unused]] const ssize_t n = ::write(fds[0], &byte, 1);
    errno = saved;
}

} // namespace

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent)
{
    if (fds[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0)
        return;
    ::fcntl(fds[0], F_SETFL, O_NONBLOCK);
    ::fcntl(fds[1], F_SETFL, O_NONBLOCK);
    m_notifier = new QSocketNotifier(fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::onReadable);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A closed pipe is an error of the write, not the end of the process:
    // the command still closes its link and flushes its files.
    signal(SIGPIPE, SIG_IGN);
}

SignalWatcher::~SignalWatcher()
{
    if (!m_notifier)
        return;
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    signal(SIGPIPE, SIG_DFL);
    delete m_notifier;
    ::close(fds[0]);
    ::close(fds[1]);
    fds[0] = fds[1] = -1;
}

void SignalWatcher::onReadable()
{
    unsigned char byte = 0;
    while (::read(fds[1], &byte, 1) == 1)
        Q_EMIT signalled(byte);
}
