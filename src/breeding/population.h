// One recent (breeding) population: its statements, per-generation bookkeeping and founders.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "genome/records.h"
#include "param/pop_params.h"
#include "support/replicate_sums.h"

// Bookkeeping of one generation during a replicate (its parents are planned in SGenPlan).
struct SGenInfo {
    std::vector<int16_t> litterSize;  // one per dam (mating)
    int nPrg = 0;                     // individuals in the generation
    int first = 0, last = 0;          // index range in indiv
    uint16_t genomeHold = 0;          // founder lines of any population that read this generation
};

// Distance classes of the LD tables (marker pairs by map distance).
constexpr int kLDClasses = 27;

// Marker pairs of one distance class of the LD table, for D', r2 and X2' in this order. While
// pairs are added, mean holds the sums and ldSd the sums of squares.
struct SLDBin {
    int32_t nPair = 0;
    double mean[3] = {0, 0, 0};
    double ldSd[3] = {0, 0, 0};
};

// Statistics of one generation (generation ng + 1 stands for the whole population).
struct SGenStat {
    uint32_t nInbred = 0;           // individuals with inbF > 0
    double sumF = 0, sumF2 = 0;     // sum and sum of squares of inbF over them
    uint32_t nMale = 0, nFemale = 0;
    double meanHomo = 0, sdHomo = 0;
    double meanPhen = 0, sdPhen = 0;
    double meanPoly = 0, sdPoly = 0;
    double meanQTL = 0, sdQTL = 0;
    double meanRes = 0, sdRes = 0;
    double meanTBV = 0, sdTBV = 0;
    double meanEBV = 0, sdEBV = 0;
    double corrEBV = 0, corrEBVMale = 0, corrEBVFemale = 0;  // EBV with TBV: all, males, females
    double corrEBVSire = 0, corrEBVDam = 0;                  // EBV with TBV over the parents of the generation
    uint32_t nCulledSires = 0, nCulledDams = 0;  // parents culled after this generation
    uint32_t nNewSires = 0, nNewDams = 0;        // progeny of this generation selected as parents
    std::vector<uint32_t> lsCount;               // litters of each `ls` class in this generation
    uint64_t nMissMrk = 0, nMissQTL = 0;         // genotypes written as missing
    uint64_t nErrMrk = 0, nErrQTL = 0;           // genotypes written with an error
    std::vector<uint32_t> mafHistMrk, mafHistQTL;  // loci per minor-allele-frequency class (mafbin)
    SLDBin ldBin[kLDClasses];                    // LD by distance class
};

// One LD distance class over replicates: marker pairs, then the class means and SDs of D', r2
// and X2'.
struct SLDRepStat {
    SSumSS nPair;
    SSumSS mean[3];
    SSumSS ldSd[3];
};

// One generation of a population over replicates.
struct SGenRepStat {
    SSumSS nInbred;
    SSumSS meanF, sdF;  // inbreeding over all individuals of the generation
    SSumSS meanHomo, sdHomo;
    SSumSS meanPhen, sdPhen;
    SSumSS meanPoly, sdPoly;
    SSumSS meanQTL, sdQTL;
    SSumSS meanRes, sdRes;
    SSumSS meanEBV, sdEBV;
    SSumSS corrEBV, corrEBVMale, corrEBVFemale, corrEBVSire, corrEBVDam;
    SLDRepStat ld[kLDClasses];
};

// Wall-clock time spent making progeny genomes (meiosis by the workers), over a run.
struct SProgenyTiming {
    double seconds = 0;
    long long individuals = 0;
};

// A recent population during a run: its statements and what the run makes of them.
class CPopulation {
public:
    CPopulation(const SPopParams& statements, double additiveVariance);

    const SPopParams& prm;            // the population's statements
    double varA;                      // additive variance used by the evaluation (true_av replaces it)
    std::vector<SGenInfo> genInfo;    // generations 0..ng
    std::vector<uint8_t> ldGen;       // generations whose LD is computed: the ld list less those skipped
    std::vector<uint8_t> ldSkipped;   // per generation, set when LD was skipped (too many alleles)
    int nFounderPlaced = 0;           // founders placed in this replicate

    // Per replicate.
    int nIndiv = 0;                   // individuals over all generations
    std::vector<SRec> indiv;          // founders, then every generation's progeny
    std::vector<SRec*> cand;          // candidates sorted for selection
    std::vector<SRec*> sires, dams;   // current parents
    std::vector<SGenStat> genStat;    // generations 0..ng, and ng + 1 for all of them

    // Per run.
    std::vector<SGenRepStat> repStat;  // generations 0..ng summed over the replicates
};
