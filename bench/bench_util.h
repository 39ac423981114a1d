// Helpers shared by the benchmarks.
#pragma once

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "app/simclass.h"
#include "param/lex.h"

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

// An engine with the parameter file read, seeded for a benchmark run with `threads` workers.
inline std::unique_ptr<SimClass> BenchEngine(const char* path, int threads)
{
    auto sim = std::make_unique<SimClass>();
    ReadParameterFile(*sim, path);
    sim->prm.global.nthread = threads;
    sim->nthread = threads;  // for benchmarks that run single phases without Run
    MyRnd.InitSeed(kBenchSeed);
    return sim;
}

// The first replicate up to the founders of the file's first population, which becomes the
// current one; no result file is opened.
inline void PrepareFirstPopulation(SimClass& sim)
{
    sim.InitializeRun();
    sim.SimLitterSize(1);
    sim.AllocPopMem();
    sim.DetermineActiveGen();
    sim.InitializeRep();
    sim.HPSimulator(1);
    sim.ChooseFromHistPop();
    sim.curPop = &sim.pops[0];
}
