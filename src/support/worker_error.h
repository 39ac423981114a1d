// Fatal errors raised on worker threads.
//
// Only the main thread may end the run: Abort prints the collected warnings, the message and
// "Aborted." once, and exits with the report closed. Code that can run on a worker thread
// therefore raises its fatal errors with RaiseFatal instead of Abort:
//
//   - On a thread that is inside RunWorkerGuarded, RaiseFatal keeps the message and throws
//     SWorkerStop, which unwinds the body back to RunWorkerGuarded: the rest of that worker's
//     share is skipped and the worker returns normally. Only the first message of the run is
//     kept; later ones (usually the same error met by another worker) are dropped. A
//     std::bad_alloc that leaves the body is kept as kOutOfMemoryMessage, any other
//     std::exception as an internal error.
//   - Anywhere else (the main thread, or a test calling the code directly), RaiseFatal is Abort.
//
// The main thread, once every worker of the pass is done (joined, or back to idle in a polled
// pool), calls AbortIfWorkerFailed(), which ends the run through Abort with the kept message.
// WorkerFailed() lets a polled pool stop and join its workers before that.
//
// A pool of workers started and joined per pass:
//     for (int t = 0; t < n; ++t)
//         threads.emplace_back([&, t] { RunWorkerGuarded([&] { Body(t); }); });
//     for (auto& th : threads) th.join();
//     AbortIfWorkerFailed();
//
// No lock is taken: the first failing worker claims the message slot with an atomic exchange,
// and the join (or the release store of a polled command word) makes the message visible to the
// main thread. Raising needs no memory, so an allocation failure can be handed over as well.
#pragma once

#include <exception>
#include <new>

#include "support/messages.h"

// The program's message for an allocation that failed.
extern const char* const kOutOfMemoryMessage;

// Thrown by RaiseFatal on a guarded worker once its message is kept; RunWorkerGuarded catches it.
struct SWorkerStop {};

// Abort on the main thread; on a guarded worker, keeps the message and ends the worker's body.
[[noreturn]] void RaiseFatal(const char* fmt, ...) DAVOK_PRINTF(1, 2);

// True once a worker has kept a message.
bool WorkerFailed();

// On the main thread after the workers are done: Abort with the kept message, if there is one.
void AbortIfWorkerFailed();

namespace worker_error_detail {

// Marks the calling thread as a guarded worker for its lifetime (restores the mark it found).
class CGuardScope {
public:
    CGuardScope();
    ~CGuardScope();
    CGuardScope(const CGuardScope&) = delete;
    CGuardScope& operator=(const CGuardScope&) = delete;

private:
    bool outer;  // the mark before this scope
};

void KeepOutOfMemory();
void KeepUnexpected(const char* what);

}  // namespace worker_error_detail

// Runs one worker body so that no fatal error can leave it: errors are kept for the main thread.
template <class F>
void RunWorkerGuarded(F&& body)
{
    worker_error_detail::CGuardScope guarded;
    try {
        body();
    } catch (const SWorkerStop&) {
        // The message was kept by RaiseFatal.
    } catch (const std::bad_alloc&) {
        worker_error_detail::KeepOutOfMemory();
    } catch (const std::exception& e) {
        worker_error_detail::KeepUnexpected(e.what());
    }
}
