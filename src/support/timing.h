// Date lines, the lap timer and the busy wait.
#pragma once

#include <cstdio>
#include <ctime>
#include <string>
#include <sys/times.h>

#include "support/messages.h"

// "19:46:33  Monday, November 16, 2026" for time t in local time.
void PrintDateTime(FILE* fp, time_t t);
void PrintCurrDateTime(FILE* fp);

// Elapsed seconds as "hh:mm:ss", hours not limited to two digits.
std::string FormatLapSeconds(long seconds);

// Lap timer on wall-clock time in clock ticks. Every measurement restarts the lap.
class CMyTime {
public:
    CMyTime();
    void StartTime();
    // Measures the lap into lapText and restarts the lap; returns lapText.
    const char* PrintTime_Str();
    // The formatted label on stdout (and report when not null), then the lap and a line feed
    // on console (and report).
    void PrintTime(FILE* report, FILE* console, const char* fmt, ...) DAVOK_PRINTF(4, 5);
    clock_t LapTicks() const { return lapTicks; }

private:
    struct tms timesScratch;  // filled by times(); its contents are not used
    clock_t startTicks;       // tick count at the start of the current lap
    clock_t lapTicks = 0;     // ticks of the last measured lap
    char lapText[32] = "00:00:00";
};

// Busy wait until the processor clock has advanced by more than `ticks`.
void MySleep(unsigned ticks);
