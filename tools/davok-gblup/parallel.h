// Splitting a range of work over a few threads.
#pragma once

#include <algorithm>
#include <cstddef>
#include <thread>
#include <vector>

namespace gblup {

// Calls work(begin, end) on `threads` disjoint, contiguous shares of [0, n), the last share on
// the calling thread; returns when all are done.
template <class Work>
void ParallelFor(int threads, size_t n, Work work)
{
    const size_t shares = std::max<size_t>(1, std::min<size_t>(static_cast<size_t>(std::max(threads, 1)), n));
    std::vector<std::thread> workers;
    for (size_t t = 0; t + 1 < shares; ++t)
        workers.emplace_back(work, n * t / shares, n * (t + 1) / shares);
    work(n * (shares - 1) / shares, n);
    for (auto& w : workers) w.join();
}

}  // namespace gblup
