// The worker pool of the historical generations: threads that live from the founders to the last
// generation and take one pass at a time over the individuals of a generation.
#pragma once

#include <atomic>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "genome/mutation.h"
#include "genome/records.h"
#include "random/rnd.h"

// One worker. The command word is the only value the main thread and the worker both write: the
// main thread sets a command while the worker is idle (0), the worker sets 0 when it is done;
// release/acquire order makes each side's data visible to the other.
struct SHistWorker {
    enum Command : int { kIdle = 0, kMeiosis = 1, kHomozygosity = 2, kFounders = 3, kStop = 99 };
    std::atomic<int> command{kIdle};
    SIndex share;                // individuals of the current pass
    CMyRnd rnd;                  // the worker's own generator
    SCrossoP cross;              // crossover scratch of one chromosome
    uint64_t patCross = 0;       // crossovers in paternal gametes
    uint64_t matCross = 0;       // crossovers in maternal gametes
    double mrkHomoSum = 0;       // sums of the homozygosity pass
    double qtlHomoSum = 0;
};

// What a pass works on: the generation it fills or measures (males first) and, for meiosis, the
// generation of the parents (males first).
struct SHistPass {
    SRec* target = nullptr;
    int targetMales = 0;
    const SRec* parents = nullptr;
    int nMaleParents = 0, nFemaleParents = 0;
};

class CHistWorkerPool {
public:
    // The work of one worker for one command over its share of the pass.
    using Job = std::function<void(SHistWorker& worker, int command, const SHistPass& pass)>;

    // Starts nthread workers, each with a generator derived from the main one (in worker order).
    CHistWorkerPool(int nthread, Job job);
    ~CHistWorkerPool() { Stop(); }
    CHistWorkerPool(const CHistWorkerPool&) = delete;
    CHistWorkerPool& operator=(const CHistWorkerPool&) = delete;

    // Runs command over the n individuals of pass.target, split among the workers, and waits for
    // all of them. A worker's error stops the pool and ends the run with its message.
    void RunPass(int command, const SHistPass& pass, int n);
    // Stops and joins the workers; does nothing when they are stopped already.
    void Stop();
    const std::vector<std::unique_ptr<SHistWorker>>& Workers() const { return workers_; }

private:
    void Loop(int t);

    Job job_;
    SHistPass pass_;  // published to the workers by the release store of each command word
    std::vector<std::unique_ptr<SHistWorker>> workers_;
    std::vector<boost::thread> threads_;
};
