#include "progress.h"

#include <cstdio>
#include <cstdlib>

CProgress::CProgress()
{
    if (const char* text = getenv("DAVOK_EXPORT_PROGRESS")) delay = atof(text);
}

void CProgress::Show(double done, const char* what)
{
    const Clock::time_point now = Clock::now();
    const double elapsed = std::chrono::duration<double>(now - start).count();
    if (elapsed < delay || (shown && now - last < std::chrono::seconds(10))) return;
    last = now;
    shown = true;
    const double left = done > 0 ? elapsed * (1 - done) / done : 0;
    fprintf(stderr, "%s: %3.0f%% done, %.0f s spent, about %.0f s to go\n", what, 100 * done, elapsed, left);
    fflush(stderr);
}
