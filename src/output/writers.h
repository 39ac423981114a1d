// The writers of a run's result files. Each takes what it reads and the files it writes; the
// engine calls them between the phases of a replicate.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "breeding/population.h"
#include "genome/genome.h"
#include "genome/mutation.h"
#include "history/histpop.h"
#include "output/file_set.h"
#include "output/ld.h"
#include "param/params.h"

// What every writer of a replicate reads and writes: the run's parameters and genome, and the
// result files open for the replicate.
struct SRunOutput {
    const SParams& prm;
    const SGenome& genome;
    COutputFiles& files;
};

// ---- The historical population and the genome it leaves (hp_reports.cpp) ----
// The "hp_stat" report of the last historical generation.
void SaveHPStat(const SRunOutput& out, const SHistPop& hp, const CMutation& mutation, double polyMean,
                double polyVar, double qtlMean, double qtlVar, double qtlScale);
// One line of the homozygosity files: the mean of generation gen, measured last.
void SaveHPHomo(const SRunOutput& out, const SHistPop& hp, int gen);
// Linkage maps and QTL allele effects of the replicate.
void SaveRepResults(const SRunOutput& out);

// ---- A population (data_file.cpp, stat_file.cpp, genotype_file.cpp, freq_file.cpp, ld.cpp) ----
void SaveData(const CPopulation& p, FILE* fp);
void SaveStat(const SRunOutput& out, const CPopulation& p);
// Genotype and allele-frequency files of individuals first..last of generation gen.
void SaveGenResults(const SRunOutput& out, CPopulation& p, int gen, int first, int last);
void SaveGenotype(const SRunOutput& out, CPopulation& p, int first, int last, int gen, bool qtl);
// A genotyping error at locus g of an individual with alleles pat and mat: the wrong pair, written
// as labels when labels is set; adds 1 to counter.
void InduceGenErr(const SLocus& locus, bool labels, int g, const uint16_t* pat, const uint16_t* mat,
                  uint16_t& outPat, uint16_t& outMat, unsigned long long& counter);
void SaveAlleleFreq(const SRunOutput& out, CPopulation& p, int first, int last, int gen);
// LD by distance class of generation gen (individuals first..last), computed by nthread workers
// in w, into the generation's statistics.
void ComputeLDStat(const SGenome& genome, SLDWork& w, CPopulation& p, int nthread, int gen, int first, int last);
void SaveLD(const CPopulation& p, FILE* fp);

// ---- Over replicates (stat_rep.cpp) ----
// Adds the statistics of p's replicate to its accumulators.
void GetStatRep(CPopulation& p);
// "stat_rep.txt", after the last of nrep replicates; the accumulators are reduced in place.
void SaveStatRep(const SParams& prm, std::vector<CPopulation>& pops, SHistRepStat& histRep, int nrep);
