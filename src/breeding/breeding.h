// The operations of the recent populations: founders, the generation cycle, selection and
// culling, and the mating designs. Each takes the state it reads and changes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "breeding/inbred.h"
#include "breeding/mating.h"
#include "breeding/population.h"
#include "genome/genome.h"
#include "genome/replicate.h"
#include "history/histpop.h"
#include "param/params.h"

// What producing a generation of a population works with besides the population itself.
struct SBreeding {
    const SParams& prm;
    const SGenome& genome;
    CGenomePool& genomePool;
    SReplicate& replicate;
    CInbred& inbred;
    SMatingPlan& mating;
    int nthread;             // workers that make the progeny genomes
    FILE* crossoFp;          // the population's crossover file, or null
    SProgenyTiming& timing;  // time of the progeny workers, for the benchmarks
};

// ---- Founders (founders.cpp) ----
// Founders of every population from the last historical generation, line by line; the genomes
// no population took are released.
void ChooseFromHistPop(SReplicate& replicate, CGenomePool& pool, SHistPop& hp, std::vector<CPopulation>& pops);
// Founders of p from generations of earlier populations, then p's first sires and dams.
void ChooseFromRecentPop(const SGlobalParams& global, SReplicate& replicate, CGenomePool& pool,
                         std::vector<CPopulation>& pops, CPopulation& p);

// ---- The generation cycle (generation.cpp) ----
// Litter sizes of every generation of every population, for the whole replicate.
void SimLitterSize(std::vector<CPopulation>& pops, int rep);
// Generation gen of p (individuals first..last): matings, sexes, records, genomes, inbreeding.
void ProgenySimulator(const SBreeding& b, CPopulation& p, int gen, int first, int last);
void AssignSex(const SGlobalParams& global, CPopulation& p, int gen, bool rndUg);
// Releases the genomes of individuals first..last of p that no holder needs any more.
void FreeChrProgMem(CGenomePool& pool, CPopulation& p, int first, int last);

// ---- Selection and culling (selection.cpp) ----
// Culls the tails of the sorted parents and puts the head of the sorted candidates first..last
// in their places.
void CullAndSelect(CGenomePool& pool, CPopulation& p, int gen, int first, int last);

// ---- Mating designs (mating.cpp, anneal.cpp) ----
void RandomMatingDesign(SMatingPlan& mating, CPopulation& p, int gen);
void AssortMatingDesign(SMatingPlan& mating, CPopulation& p, int gen);
// The coancestry table of minf/maxf, sized for p's largest numbers of parents.
void AllocSAMem(SMatingPlan& mating, const CPopulation& p);
void FreeSAMem(SMatingPlan& mating);
// minf/maxf: a random mating list, then simulated annealing of the sires over it.
void Anneal(SMatingPlan& mating, CInbred& inbred, CPopulation& p, int gen, bool maximise);
// The temperature steps of Anneal over the current mating list and coancestry table.
SAnnealOutcome AnnealMatingList(SMatingPlan& mating, const CPopulation& p, int gen, bool maximise);
// One annealing move: exchanges the sires of two matings when it improves the objective (or by
// the Metropolis rule); adds 1 to accepted when it does.
void ChooseCheckAccept(SMatingPlan& mating, int nDams, const int16_t* litterSize, int& accepted, double temperature,
                       bool maximise);
