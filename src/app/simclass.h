// The simulation engine: one instance per run, built from the parameter value it keeps
// unchanged, owns the run state. Its operations are spread over the subsystem folders that own
// them (docs/architecture.md says where the engine is headed).
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "breeding/mating.h"
#include "breeding/population.h"
#include "evaluation/blup.h"
#include "evaluation/ebv.h"
#include "evaluation/inbred.h"
#include "evaluation/values.h"
#include "genome/genome.h"
#include "genome/genome_pool.h"
#include "genome/meiosis.h"
#include "genome/mutation.h"
#include "genome/records.h"
#include "genome/replicate.h"
#include "history/histpop.h"
#include "output/writers.h"
#include "param/params.h"
#include "random/rnd.h"


class CHistWorkerPool;
struct SHistPass;
struct SHistWorker;

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
    void FreeChrProgMem(CPopulation* pop, int first, int last);

    // ---- Historical population (history/) ----
    void HPSimulator(int rep);
    // The work of a historical worker for one command of a pass, and its three kinds.
    void HistWork(SHistWorker& w, int command, const SHistPass& pass);
    void MeiosisBase(SHistWorker& w, const SHistPass& pass, int idx);
    void GetHPHomo(SHistWorker& w, const SHistPass& pass);
    void FounderGenotypes(SHistWorker& w, const SHistPass& pass);
    void GenerateCompleteLD(SRec* gen0);
    void SelectSegregatingLoci_LHG(SRec* lhg);
    void PurgeIndivGenotype_LHG(SRec* lhg, const int* keep, int n);
    void ResetAlleleNumbers();
    // Mean homozygosity of markers and QTL of a generation (hp.mrkHomo, hp.qtlHomo).
    void MeasureHomozygosity(CHistWorkerPool& pool, SRec* target, int n, int males);
    // Stops the pool once the last generation's loci are chosen.
    void CloseHistoricalRun(CHistWorkerPool& pool, SRec* lhg);

    // ---- The file set of a replicate (app/simclass.cpp) ----
    void OpenOutputStreams(int rep, bool hp);
    void CloseOutputStreams(bool hp);
    // The parameters, genome and open files the result writers work on.
    SRunOutput Output() { return {prm, genome, files}; }

    // ---- Recent populations: founders and the generation cycle (breeding/) ----
    void SimLitterSize(int rep);
    void ChooseFromHistPop();
    void ChooseFromRecentPop();
    void ProgenySimulator(int gen, int first, int last);
    void Mate(int gen, bool rndUg);
    void AssignSex(int gen, bool rndUg);
    void CreateAnim_MyThread(int first, int last, CMyRnd* rnd, SCrossoP* cp, CWriteBuffer* out);
    // Copies source into the next founder slot of p, flags it and takes a hold on its genome.
    void PlaceFounder(CPopulation& p, const SRec& source);
    // Clears the taken-by-this-population flag of p's founders.
    void ClearPopulationFlags(CPopulation& p);
    // Founders of line l of p from a generation of an earlier population.
    void TakeFoundersFrom(CPopulation& p, const SFounderLine& l);
    void StartProgenyRecord(SRec& r, int gen, SRec* sire, SRec* dam);
    void MakeProgenyGenomes(int gen, int first, int last);

    // ---- Selection, culling and mating designs (breeding/) ----
    void CullAndSelect(int gen, int first, int last);
    void RandomMatingDesign(int gen);
    void AssortMatingDesign(int gen);
    void Anneal(int gen, bool maximise);
    // The temperature steps of Anneal over the current mating list and coancestry table.
    SAnnealOutcome AnnealMatingList(int gen, bool maximise);
    // One annealing move: exchanges the sires of two matings when it improves the objective
    // (or by the Metropolis rule); adds 1 to accepted when it does.
    void ChooseCheckAccept(int nSires, int nDams, const int16_t* litterSize, int& accepted, double temperature,
                           bool maximise);
    void AllocSAMem();
    void FreeSAMem();

    // The evaluation's view of the run: the trait's variances, pedigree, BLUP equations and identifiers.
    SEvaluation Evaluation() { return {prm.global, inbred, mme, replicate.nextId}; }

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

    // ---- Genome ----
    SGenome genome;
    // ---- Genome-wide run state ----
    std::vector<SCrossoP> crossScratch;  // one per chromosome, for the main thread
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
