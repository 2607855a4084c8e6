// SPDX-License-Identifier: MIT
#include "libserial/pserbps.h"

#include <termios.h>

namespace {

struct Rate
{
    int speed;
    speed_t code;
};

constexpr Rate rates[pSerBPS::count] = {
    {50, B50},         {75, B75},       {110, B110},       {134, B134},     {150, B150},
    {200, B200},       {300, B300},     {600, B600},       {1200, B1200},   {1800, B1800},
    {2400, B2400},     {4800, B4800},   {9600, B9600},     {19200, B19200}, {38400, B38400},
    {57600, B57600},   {115200, B115200}, {230400, B230400}, {460800, B460800},
};

} // namespace

int pSerBPS::index2speed(int index)
{
    return unsigned(index) < unsigned(count) ? rates[index].speed : 0;
}

int pSerBPS::int2bps(int speed)
{
    for (const Rate& rate : rates) {
        if (rate.speed == speed)
            return int(rate.code);
    }
    return -1;
}
