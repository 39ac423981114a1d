// Console and report messages: the three channels (standard output, standard error and the
// run report "report.txt"), the warning counter and the collector of warnings that arise
// during a generation of a recent population.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <vector>

#define DAVOK_PRINTF(fmtIndex, argIndex) __attribute__((format(printf, fmtIndex, argIndex)))

// Comparison tolerance used across the system (ten times the double machine epsilon).
extern double Epsilon;
// The run report; null until the entry opens it. Every report write is skipped while null.
extern FILE* rptfp;
// Number of warnings issued in the run. Raised by the caller of a warning, never by the
// printing functions themselves.
extern unsigned int NoWarn;
// Base name of the running executable; prefix of collected warnings.
extern char progname[501];

// Who to tell when something that should never happen happens; fills the "%s" of the
// internal-error messages.
extern const char* const kContactText;

// Collected warnings: kept in memory during a generation and printed after it.
class CPrintWarn {
public:
    CPrintWarn();
    CPrintWarn(const CPrintWarn&) = delete;
    CPrintWarn& operator=(const CPrintWarn&) = delete;

    // Appends "progname: " and the message. Aborts once 102,401 characters are held.
    void Warn(const char* fmt, ...) DAVOK_PRINTF(2, 3);
    // Writes the collected text to standard error and to report (when not null), then empties.
    void DumpWarn(FILE* report);
    int Length() const { return length; }

    static constexpr int kLimit = 102401;             // characters that end the run
    static constexpr int kCapacity = 112640;          // kLimit plus room for one more message

private:
    void Append(const char* fmt, va_list ap);
    void AppendF(const char* fmt, ...) DAVOK_PRINTF(2, 3);
    std::vector<char> buffer;  // kCapacity bytes, always zero-terminated at length
    int length = 0;            // characters held
};

extern CPrintWarn PW;

void Info(const char* fmt, ...) DAVOK_PRINTF(1, 2);       // stdout, then the report
void InfoRpt(const char* fmt, ...) DAVOK_PRINTF(1, 2);    // the report only
void Warn(const char* fmt, ...) DAVOK_PRINTF(1, 2);       // stderr, then the report
void Warn_Plain(const char* fmt, ...) DAVOK_PRINTF(1, 2); // as Warn; pieces of one error display
// Prints collected warnings, the message and "Aborted." on stderr and the report; exits 1.
[[noreturn]] void Abort(const char* fmt, ...) DAVOK_PRINTF(1, 2);
// How Abort ends the process: exit. The fuzzing harness puts a function here that throws, so
// that the reader's objects are released and the next input is read in the same process.
extern void (*AbortExit)(int status);
// Flushes standard output and, when open, the report.
void MyFlush();
