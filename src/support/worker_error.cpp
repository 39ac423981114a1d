#include "support/worker_error.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

const char* const kOutOfMemoryMessage =
    "Error - Out of memory: the run needs more memory than the computer can give. Use fewer loci, "
    "smaller populations or fewer threads.\n";

namespace {

thread_local bool guardedWorker = false;  // the calling thread runs inside RunWorkerGuarded

// The first message a worker raised. Written only by the worker that claimed it.
std::atomic<bool> claimed{false};
std::atomic<bool> failed{false};
char kept[4096];

void Keep(const char* fmt, va_list ap)
{
    if (claimed.exchange(true, std::memory_order_acq_rel)) return;  // a message is kept already
    vsnprintf(kept, sizeof kept, fmt, ap);
    failed.store(true, std::memory_order_release);
}

void KeepF(const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    Keep(fmt, ap);
    va_end(ap);
}

}  // namespace

void RaiseFatal(const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    if (!guardedWorker) {
        char message[sizeof kept];
        vsnprintf(message, sizeof message, fmt, ap);
        va_end(ap);
        Abort("%s", message);
    }
    Keep(fmt, ap);
    va_end(ap);
    throw SWorkerStop();
}

bool WorkerFailed()
{
    return failed.load(std::memory_order_acquire);
}

void AbortIfWorkerFailed()
{
    if (WorkerFailed()) Abort("%s", kept);
}

namespace worker_error_detail {

CGuardScope::CGuardScope() : outer(guardedWorker)
{
    guardedWorker = true;
}

CGuardScope::~CGuardScope()
{
    guardedWorker = outer;
}

void KeepOutOfMemory()
{
    KeepF("%s", kOutOfMemoryMessage);
}

void KeepUnexpected(const char* what)
{
    KeepF("Error - Internal error on a worker thread: %s\nPlease report the error to %s\n", what, kContactText);
}

}  // namespace worker_error_detail
