#include "support/timing.h"

#include <cctype>
#include <cstdarg>
#include <cstring>
#include <unistd.h>

#include "support/files.h"

namespace {

const char* FullName(const char* abbrev, const char* const* abbrevs, const char* const* names, int n)
{
    for (int i = 0; i < n; ++i)
        if (strcmp(abbrev, abbrevs[i]) == 0) return names[i];
    return abbrev;
}

}  // namespace

void PrintDateTime(FILE* fp, time_t t)
{
    static const char* const days[] = {"sun", "mon", "tue", "wed", "thu", "fri", "sat"};
    static const char* const dayNames[] = {"Sunday", "Monday", "Tuesday", "Wednesday",
                                           "Thursday", "Friday", "Saturday"};
    static const char* const months[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                         "jul", "aug", "sep", "oct", "nov", "dec"};
    static const char* const monthNames[] = {"January", "February", "March", "April",
                                             "May", "June", "July", "August",
                                             "September", "October", "November", "December"};
    struct tm local;
    localtime_r(&t, &local);
    char text[64];
    asctime_r(&local, text);
    char wday[16] = "", mon[16] = "", day[16] = "", clock[16] = "", year[16] = "";
    sscanf(text, "%15s %15s %15s %15s %15s", wday, mon, day, clock, year);
    for (char* p = wday; *p; ++p) *p = static_cast<char>(tolower(*p));
    for (char* p = mon; *p; ++p) *p = static_cast<char>(tolower(*p));
    fprintf(fp, "%s  %s, %s %s, %s\n", clock, FullName(wday, days, dayNames, 7),
            FullName(mon, months, monthNames, 12), day, year);
}

void PrintCurrDateTime(FILE* fp)
{
    PrintDateTime(fp, time(nullptr));
}

std::string FormatLapSeconds(long s)
{
    long h = 0, m = 0;
    if (s > 59) {
        m = s / 60;
        s %= 60;
        if (m > 59) {
            h = m / 60;
            m %= 60;
        }
    }
    char text[64];
    snprintf(text, sizeof text, "%02ld:%02ld:%02ld", h, m, s);
    return text;
}

CMyTime::CMyTime() : startTicks(times(&timesScratch)) {}

void CMyTime::StartTime()
{
    startTicks = times(&timesScratch);
}

const char* CMyTime::PrintTime_Str()
{
    lapTicks = times(&timesScratch) - startTicks;
    long seconds = static_cast<long>(lapTicks / sysconf(_SC_CLK_TCK));
    snprintf(lapText, sizeof lapText, "%s", FormatLapSeconds(seconds).c_str());
    startTicks = times(&timesScratch);
    return lapText;
}

void CMyTime::PrintTime(FILE* report, FILE* console, const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    va_list copy;
    va_copy(copy, ap);
    vfprintf(stdout, fmt, ap);
    if (report) vfprintf(report, fmt, copy);
    va_end(copy);
    va_end(ap);
    PrintTime_Str();
    fprintf(console, "%s\n", lapText);
    if (report) fprintf(report, "%s\n", lapText);
    fflush(console);
    MyFflush(report);
}

void MySleep(unsigned ticks)
{
    clock_t first = clock();
    while (static_cast<unsigned long>(clock() - first) <= ticks) {
    }
}
