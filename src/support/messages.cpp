#include "support/messages.h"

#include <cstdlib>
#include <cstring>

double Epsilon = 2.220446049250313e-15;
FILE* rptfp = nullptr;
unsigned int NoWarn = 0;
char progname[501] = "Davok";
const char* const kContactText = "the Davok developers (include the parameter file and the seed file of the run)";

CPrintWarn PW;

namespace {

// Prints the formatted text to a console stream and, when the report is open, into it.
void PrintTwice(FILE* console, const char* fmt, va_list ap)
{
    if (console == stderr) fflush(stdout);  // keep the order of both channels in a shared log
    va_list copy;
    va_copy(copy, ap);
    vfprintf(console, fmt, ap);
    if (rptfp) {
        vfprintf(rptfp, fmt, copy);
        fflush(rptfp);
    }
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

void CPrintWarn::DumpWarn(FILE* report)
{
    if (length == 0) return;
    fwrite(buffer.data(), 1, length, stderr);
    fflush(stderr);
    if (report) {
        fwrite(buffer.data(), 1, length, report);
        fflush(report);
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
    fflush(rptfp);
    va_end(ap);
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

void Abort(const char* fmt, ...)
{
    fflush(stdout);
    PW.DumpWarn(rptfp);
    va_list ap;
    va_start(ap, fmt);
    PrintTwice(stderr, fmt, ap);
    va_end(ap);
    fputs("Aborted.\n", stderr);
    if (rptfp) fputs("Aborted.\n", rptfp);
    exit(1);
}

void MyFlush()
{
    fflush(stdout);
    if (rptfp) fflush(rptfp);
}
