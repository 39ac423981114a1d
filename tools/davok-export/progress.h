// The progress of a long export on standard error: a whole line with percent done, time spent
// and time to go, at most every ten seconds and only once the export has run a few seconds, so
// that short exports print nothing and an error that follows starts a line of its own (logs of
// batch jobs keep every line).
#pragma once

#include <chrono>

class CProgress {
public:
    // The delay before the first line: $DAVOK_EXPORT_PROGRESS seconds when set, else 3.
    CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    // done: share of the whole export finished, 0..1; what: the step under way.
    void Show(double done, const char* what);

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
    Clock::time_point last;
    double delay = 3;
    bool shown = false;
};
