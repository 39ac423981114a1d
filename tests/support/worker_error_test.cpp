// Fatal errors on worker threads reach the main thread, which stops the run once.
#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>
#include <functional>
#include <stdexcept>
#include <vector>

#include "support/worker_error.h"

namespace {

// Starts one guarded worker per body, joins them all, then lets the main thread stop the run.
void RunPool(const std::vector<std::function<void()>>& bodies)
{
    std::vector<boost::thread> threads;
    for (const auto& body : bodies) threads.emplace_back([&body] { RunWorkerGuarded(body); });
    for (auto& th : threads) th.join();
    AbortIfWorkerFailed();
}

// A worker that fails at once; anything after the failure would print a stray line.
std::function<void()> Failing(std::function<void()> fail)
{
    return [fail] {
        fail();
        fputs("the body went on after its error\n", stderr);
    };
}

}  // namespace

TEST(WorkerErrors, APoolWithoutErrorsGoesOn)
{
    int done[3] = {0, 0, 0};
    RunPool({[&] { done[0] = 1; }, [&] { done[1] = 1; }, [&] { done[2] = 1; }});
    EXPECT_EQ(done[0] + done[1] + done[2], 3);
    EXPECT_FALSE(WorkerFailed());
}

TEST(WorkerErrors, EveryKindOfFailureEndsTheRunOnceWithItsMessage)
{
    // Four workers fail in the same way: the message and "Aborted." still appear once.
    auto fourFail = [](std::function<void()> fail) {
        return [fail] { RunPool({Failing(fail), Failing(fail), Failing(fail), Failing(fail)}); };
    };
    struct Case {
        const char* name;
        std::function<void()> run;
        const char* stderrPattern;  // the whole standard error
    };
    const Case cases[] = {
        {"raised", fourFail([] { RaiseFatal("Error - Too many crossovers! %d\n", 301); }),
         "^Error - Too many crossovers! 301\nAborted\\.\n$"},
        {"bad_alloc", fourFail([] { throw std::bad_alloc(); }), "^Error - Out of memory: [^\n]*\nAborted\\.\n$"},
        {"other exception", fourFail([] { throw std::length_error("vector"); }),
         "^Error - Internal error on a worker thread: vector\nPlease report the error to [^\n]*\nAborted\\.\n$"},
        {"two workers: only the first message is kept",
         [] {
             RunWorkerGuarded([] { RaiseFatal("Error - first\n"); });
             RunWorkerGuarded([] { RaiseFatal("Error - second\n"); });
             AbortIfWorkerFailed();
         },
         "^Error - first\nAborted\\.\n$"},
        {"outside a worker raising aborts at once", Failing([] { RaiseFatal("Error - on the main thread\n"); }),
         "^Error - on the main thread\nAborted\\.\n$"},
    };
    for (const Case& c : cases) EXPECT_EXIT(c.run(), testing::ExitedWithCode(1), c.stderrPattern) << c.name;
}
