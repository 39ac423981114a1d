// The simulation engine: one instance per run, built from the parameter value it keeps
// unchanged, owns the run state and runs the replicates. The operations of each layer are
// functions of the state they take; the engine hands each layer its view of that state
// (docs/architecture.md).
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "breeding/breeding.h"
#include "breeding/inbred.h"
#include "breeding/mating.h"
#include "breeding/population.h"
#include "evaluation/blup.h"
#include "evaluation/ebv.h"
#include "evaluation/values.h"
#include "genome/genome.h"
#include "genome/genome_pool.h"
#include "genome/meiosis.h"
#include "genome/mutation.h"
#include "genome/records.h"
#include "genome/replicate.h"
#include "history/history.h"
#include "output/writers.h"
#include "param/params.h"
#include "random/rnd.h"

class SimClass {
public:
    // The engine of a run of the parameters prm (read and cross-checked): its chromosomes, locus
    // records and populations are built from them.
    explicit SimClass(const SParams& params);
    // Releases the genomes of a replicate that did not reach its end (a run stopped by an
    // exception, a test).
    ~SimClass() { FreePopMem(); }
    SimClass(const SimClass&) = delete;
    SimClass& operator=(const SimClass&) = delete;

    // ---- Run (app/) ----
    void Run();
    void RunRep(int rep);
    void DetermineActiveGen();
    void PrintRunSummary();
    // Run-level memory and the mutation set-up, before the first replicate.
    void InitializeRun();
    // The `system` command after a replicate, with the replicate number under /nrep.
    void RunSystemCommand(int rep);
    void ReadReplicateControlFile();

    // ---- Memory phases of the run, a replicate and a population (app/run_memory.cpp) ----
    void AllocGlobalMem();
    void AllocPopMem();
    void InitializeRep();
    void FreePopMem();
    void FreeParamMem();
    void FreeGlobalMem();
    void FreeChrLastSireDamMem();

    // ---- The file set of a replicate (app/simclass.cpp) ----
    void OpenOutputStreams(int rep, bool hp);
    void CloseOutputStreams(bool hp);

    // ---- Each layer's view of the run (app/simclass.cpp and here) ----
    // The historical run, its reports going to the replicate's files.
    SHistRun HistoricalRun();
    // Parameters, genome and its pool, replicate state, pedigree, mating plan, workers and the
    // crossover file of the current population.
    SBreeding Breeding()
    {
        return {prm, genome, genomePool, replicate, inbred, mating, nthread, files.crossoFp, progenyTiming};
    }
    // The trait's variances, pedigree, BLUP equations and the last identifier given.
    SEvaluation Evaluation() { return {prm.global, inbred, mme, replicate.nextId}; }
    // The parameters, genome and open files the result writers work on.
    SRunOutput Output() { return {prm, genome, files}; }

    // ---- Inspection ----
    // Called after each population of each replicate, while its records still hold their values
    // and its statistics are complete. Tests and benchmarks look at the run here; a run from the
    // command line leaves it empty.
    std::function<void(const CPopulation& pop, int rep)> onPopulationDone;

    // ---- Parameters, as read and cross-checked; never changed by the run ----
    const SParams prm;
    // Run state the parameters start: the replicates of this run (the file's nrep, changed by
    // nrep.txt during the run) and its worker threads (the file's nthread, or chosen at run start).
    int runNrep = 0;
    int nthread = 0;

    // ---- Historical population ----
    SHistPop hp;

    // ---- Recent populations ----
    std::vector<CPopulation> pops;  // in the order of their blocks; built once, never moved

    // ---- Genome and the run state that outlives a replicate ----
    SGenome genome;
    CMutation mutation;
    CGenomePool genomePool;          // storage of released genomes, reused by new individuals
    CInbred inbred;                  // pedigree and inbreeding
    CMME mme;                        // BLUP equations of the pedigree
    SMatingPlan mating;              // matings of the generation being produced
    SProgenyTiming progenyTiming;    // time of the progeny workers, for the benchmarks
    SLDWork ldWork;                  // LD statistics of the generation being measured

    // ---- Replicate state ----
    SReplicate replicate;
    CPopulation* curPop = nullptr;   // population being simulated
    SHistRepStat histRep;            // the last historical generation over replicates

    // ---- Output streams ----
    COutputFiles files;              // the result files of the replicate that stay open across calls
};
