// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Preloaded into a program, lets the wall clock jump a day forth or back at each look at it.

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>

namespace {

time_t jump()
{
    constexpr time_t day = 86'400;
    static bool isForth = false;
    isForth = !isForth;
    return isForth ? day : -day;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *now)
{
    const long result = ::syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        now->tv_sec += jump();
    return int(result);
}

extern "C" int gettimeofday(timeval *now, void *)
{
    timespec time;
    const int result = clock_gettime(CLOCK_REALTIME, &time);
    now->tv_sec = time.tv_sec;
    now->tv_usec = time.tv_nsec / 1000;
    return result;
}

extern "C" time_t time(time_t *result)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (result)
        *result = now.tv_sec;
    return now.tv_sec;
}
