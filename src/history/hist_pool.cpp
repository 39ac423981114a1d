#include "history/hist_pool.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "support/worker_error.h"

namespace {

constexpr int kMinPerWorker = 20;

}  // namespace

CHistWorkerPool::CHistWorkerPool(int nthread, Job job) : job_(std::move(job))
{
    std::vector<CMyRnd> generators;
    MakeDerivedGenerators(generators, nthread);
    for (int t = 0; t < nthread; ++t) {
        workers_.push_back(std::make_unique<SHistWorker>());
        workers_.back()->rnd = generators[static_cast<size_t>(t)];
    }
    for (int t = 0; t < nthread; ++t) threads_.emplace_back(&CHistWorkerPool::Loop, this, t);
}

void CHistWorkerPool::Stop()
{
    for (auto& w : workers_) w->command.store(SHistWorker::kStop, std::memory_order_release);
    for (auto& th : threads_) th.join();
    threads_.clear();
}

void CHistWorkerPool::RunPass(int command, const SHistPass& pass, int n)
{
    int nParts = static_cast<int>(workers_.size());
    std::vector<SIndex> parts(static_cast<size_t>(nParts));
    Split2Index(parts.data(), 0, n - 1, nParts, kMinPerWorker);
    pass_ = pass;
    for (int t = 0; t < nParts; ++t) {
        workers_[static_cast<size_t>(t)]->share = parts[static_cast<size_t>(t)];
        workers_[static_cast<size_t>(t)]->command.store(command, std::memory_order_release);
    }
    for (int t = 0; t < nParts; ++t)
        while (workers_[static_cast<size_t>(t)]->command.load(std::memory_order_acquire) != SHistWorker::kIdle)
            boost::this_thread::no_interruption_point::sleep(boost::posix_time::microseconds(100));
    if (WorkerFailed()) {
        Stop();
        AbortIfWorkerFailed();
    }
}

void CHistWorkerPool::Loop(int t)
{
    SHistWorker& w = *workers_[static_cast<size_t>(t)];
    for (;;) {
        int command = w.command.load(std::memory_order_acquire);
        if (command == SHistWorker::kStop) return;
        if (command == SHistWorker::kIdle) {
            boost::this_thread::no_interruption_point::sleep(boost::posix_time::microseconds(t + 100));
            continue;
        }
        RunWorkerGuarded([&] { job_(w, command, pass_); });
        // Also after a failure: the main thread waits for idle before it looks for the error.
        w.command.store(SHistWorker::kIdle, std::memory_order_release);
    }
}
