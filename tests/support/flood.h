// SPDX-License-Identifier: MIT
#pragma once

// A hostile peer for the loopback tests and benchmarks: writes
// pseudo-random bytes to a blocking socket as fast as the system takes
// them, from a thread of its own so that it never waits for the event loop
// it floods. Also the raw loopback sockets it needs.

#include <QByteArray>
#include <QtGlobal>

#include <arpa/inet.h>
#include <atomic>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace korvtest {

class Flood
{
public:
    Flood() = default;
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;
    ~Flood() { stop(); }

    // Takes the socket; closes its sending side after `volume` bytes.
    void start(int fd, qint64 volume)
    {
        m_fd = fd;
        m_thread = std::thread([this, volume] {
            quint64 state = 0x9E3779B97F4A7C15ull;
            QByteArray chunk(64 * 1024, Qt::Uninitialized);
            qint64 left = volume;
            while (left > 0) {
                auto* words = reinterpret_cast<quint64*>(chunk.data());
                for (qsizetype i = 0; i < chunk.size() / 8; ++i) {
                    state ^= state << 13;
                    state ^= state >> 7;
                    state ^= state << 17;
                    words[i] = state;
                }
                const qint64 n = qMin<qint64>(left, chunk.size());
                for (qint64 at = 0; at < n;) {
                    const ssize_t w = ::send(m_fd, chunk.constData() + at, size_t(n - at), MSG_NOSIGNAL);
                    if (w <= 0)
                        return;
                    at += w;
                    sent += w;
                }
                left -= n;
            }
            ::shutdown(m_fd, SHUT_WR);
            done = true;
        });
    }

    // Cuts the socket, so that a flood nobody reads ends too.
    void stop()
    {
        if (m_fd >= 0)
            ::shutdown(m_fd, SHUT_RDWR);
        if (m_thread.joinable())
            m_thread.join();
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }

    std::atomic<qint64> sent{0};
    std::atomic<bool> done{false};

    static sockaddr_in loopback(quint16 port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }

    // A socket connected to the loopback port, or -1.
    static int connectTo(quint16 port)
    {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = loopback(port);
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            ::close(fd);
            return -1;
        }
        return fd;
    }

    // A socket listening on a free loopback port, or -1.
    static int listenOnLoopback(quint16* port)
    {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        if (::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(fd, 1) != 0
            || ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            ::close(fd);
            return -1;
        }
        *port = ntohs(address.sin_port);
        return fd;
    }

private:
    int m_fd = -1;
    std::thread m_thread;
};

} // namespace korvtest
