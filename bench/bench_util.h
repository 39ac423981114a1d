// Helpers shared by the benchmarks.
#pragma once

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <unistd.h>

#include "app/simclass.h"
#include "param/reader.h"

constexpr unsigned long kBenchSeed = 20261123;

inline double SecondsSince(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Sends standard output to /dev/null while it lives: the engine's console text is not timed.
class CSilencedStdout {
public:
    CSilencedStdout()
    {
        fflush(stdout);
        saved = dup(1);
        int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 1);
        close(devnull);
    }
    ~CSilencedStdout()
    {
        fflush(stdout);
        dup2(saved, 1);
        close(saved);
    }
    CSilencedStdout(const CSilencedStdout&) = delete;
    CSilencedStdout& operator=(const CSilencedStdout&) = delete;

private:
    int saved;  // the real standard output
};

// An engine of the parameter file (changed by adjust, if given), seeded for a benchmark run with
// `threads` workers.
inline std::unique_ptr<SimClass> BenchEngine(const char* path, int threads,
                                             const std::function<void(SParams&)>& adjust = nullptr)
{
    SParams prm = ReadParams(path);
    prm.global.nthread = threads;
    if (adjust) adjust(prm);
    auto sim = std::make_unique<SimClass>(prm);
    sim->nthread = threads;  // for benchmarks that run single phases without Run
    MyRnd.InitSeed(kBenchSeed);
    return sim;
}

// The first replicate up to the founders of the file's first population, which becomes the
// current one; no result file is opened.
inline void PrepareFirstPopulation(SimClass& sim)
{
    sim.InitializeRun();
    SimLitterSize(sim.pops, 1);
    sim.AllocPopMem();
    sim.DetermineActiveGen();
    sim.InitializeRep();
    HPSimulator(sim.HistoricalRun(), 1);
    ChooseFromHistPop(sim.replicate, sim.genomePool, sim.hp, sim.pops);
    sim.curPop = &sim.pops[0];
}
