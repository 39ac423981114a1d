#include "support/messages.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "support/files.h"

double Epsilon = 2.220446049250313e-15;
FILE* rptfp = nullptr;
unsigned int NoWarn = 0;
char progname[501] = "Davok";
const char* const kContactText = "the Davok developers (include the parameter file and the seed file of the run)";

CPrintWarn PW;
void (*AbortExit)(int status) = exit;

namespace {

// Prints the formatted text into the report, when it is open, and then to a console stream.
// The report comes first and is checked, so the console never shows a line the report lost.
void PrintTwice(FILE* console, const char* fmt, va_list ap)
{
    if (console == stderr) fflush(stdout);  // keep the order of both channels in a shared log
    va_list copy;
    va_copy(copy, ap);
    if (rptfp) {
        vfprintf(rptfp, fmt, ap);
        MyFflush(rptfp);
    }
    vfprintf(console, fmt, copy);
    va_end(copy);
}

}  // namespace

CPrintWarn::CPrintWarn() : buffer(kCapacity, '\0') {}

void CPrintWarn::Append(const char* fmt, va_list ap)
{
    int room = kCapacity - length;
    int n = vsnprintf(buffer.data() + length, room, fmt, ap);
    if (n > 0) length += (n < room) ? n : room - 1;
}

void CPrintWarn::AppendF(const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    Append(fmt, ap);
    va_end(ap);
}

void CPrintWarn::Warn(const char* fmt, ...)
{
    AppendF("%s: ", progname);
    va_list ap;
    va_start(ap, fmt);
    Append(fmt, ap);
    va_end(ap);
    if (length >= kLimit) Abort("Error - Too many warning messages!");
}

// Abort calls this too, so a failing report is only noted here: it stops the run at the
// report's next checked flush.
void CPrintWarn::DumpWarn(FILE* report)
{
    if (length == 0) return;
    fwrite(buffer.data(), 1, length, stderr);
    fflush(stderr);
    if (report) {
        fwrite(buffer.data(), 1, length, report);
        if (fflush(report) != 0) NoteWriteFailure(report, errno);
    }
    length = 0;
    buffer[0] = '\0';
}

void Info(const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    PrintTwice(stdout, fmt, ap);
    va_end(ap);
}

void InfoRpt(const char* fmt, ...)
{
    if (!rptfp) return;
    va_list ap;
    va_start(ap, fmt);
    vfprintf(rptfp, fmt, ap);
    va_end(ap);
    MyFflush(rptfp);
}

void Warn(const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    PrintTwice(stderr, fmt, ap);
    va_end(ap);
}

void Warn_Plain(const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    PrintTwice(stderr, fmt, ap);
    va_end(ap);
}

// The report is written without checks here: the run ends anyway, and a failing report must
// not start a second Abort that would hide this message.
void Abort(const char* fmt, ...)
{
    fflush(stdout);
    FILE* report = rptfp;
    rptfp = nullptr;
    PW.DumpWarn(report);
    va_list ap;
    va_start(ap, fmt);
    va_list copy;
    va_copy(copy, ap);
    vfprintf(stderr, fmt, ap);
    fputs("Aborted.\n", stderr);
    if (report) {
        vfprintf(report, fmt, copy);
        fputs("Aborted.\n", report);
    }
    va_end(copy);
    va_end(ap);
    AbortExit(1);
    exit(1);  // a replacement that returns still ends the run
}

void MyFlush()
{
    fflush(stdout);
    MyFflush(rptfp);
}
