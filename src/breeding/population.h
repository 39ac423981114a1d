// One recent (breeding) population: its statements, per-generation bookkeeping and founders.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "genome/records.h"
#include "output/pop_output.h"
#include "output/rep_summary.h"

// Selection and culling criteria.
enum ESCDesign : int { kRnd = 0, kPhen = 1, kTbv = 2, kEbv = 3, kAge = 4 };

// Mating designs of `md`.
enum EMatingDesign : int { kMdRnd = 0, kMdRndUg = 1, kMdMinf = 2, kMdMaxf = 3, kMdPAssort = 4, kMdNAssort = 5 };

// Breeding value estimation methods of `ebv_est`.
enum EEbvMethod : int { kEbvApprox = 0, kEbvBlup = 1, kEbvAccur = 2, kEbvExternal = 3, kEbvNone = 4 };

// Sex ratio modes of `pmp`.
enum EPmpMode : int { kPmpFix = 0, kPmpFixLitter = 1, kPmpRandom = 2 };

class CPopulation;

// One line of a `begin_founder` block.
struct SFounderLine {
    CPopulation* srcPop = nullptr;  // source population; null = the historical population
    int gen = 0;                    // source generation
    int n = 0;                      // individuals to take
    ESCDesign select = kRnd;        // how they are chosen
    uint8_t male = 0;               // 1 for a male line
    uint8_t high = 1;               // 1 takes the highest values, 0 the lowest
    uint8_t notFounderYet = 0;      // only individuals never taken as founders in this replicate
};

// Bookkeeping of one generation.
struct SGenInfo {
    std::vector<int16_t> litterSize;  // one per dam (mating)
    int nPrg = 0;                     // individuals in the generation
    int first = 0, last = 0;          // index range in indiv
    double sr = 0;                    // sire replacement rate for the next parents
    double sireGrowth = 0;            // growth of the number of sires
    int sireRefGen = 0;               // generation whose sire count sireGrowth multiplies
    double dr = 0;                    // dam replacement rate
    double damGrowth = 0;             // growth of the number of dams
    int damRefGen = 0;                // generation whose dam count damGrowth multiplies
    int nSires = 0, nDams = 0;        // parents that produce this generation
    uint16_t genomeHold = 0;          // founder lines of any population that read this generation
};

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

// Wall-clock time spent making progeny genomes (meiosis by the workers), over a run.
struct SProgenyTiming {
    double seconds = 0;
    long long individuals = 0;
};

constexpr int kMaxFounderLines = 40;
constexpr int kMaxPopulations = 1000;

class CPopulation {
public:
    std::string name;                 // begin_pop name, without quotes
    int nMaleFounder = 0, nFemaleFounder = 0;
    int nLs = 0;                      // litter-size classes
    std::vector<int> ls;              // litter sizes
    std::vector<double> lsProb;       // probability of each class
    double pmp = 0.5;                 // proportion of male progeny
    int pmpMode = kPmpRandom;
    int maxSires = 0, maxDams = 0;    // largest numbers of parents over the generations
    int ng = 0;                       // generations after the founders
    std::vector<SGenInfo> genInfo;    // generations 0..ng
    uint8_t srExp = 0, drExp = 0;     // option /e of sr and dr
    int md = kMdRnd;
    ESCDesign assortBy = kPhen;
    ESCDesign sd = kRnd;
    uint8_t sdHigh = 1;
    ESCDesign cd = kAge;
    uint8_t cdHigh = 0;
    SFounderLine founderLine[kMaxFounderLines];
    int16_t nFounderLine = 0;
    int nFounderPlaced = 0;
    int ebvMethod = kEbvNone;
    std::string externalCmd;          // command of external_bv
    double accur = -1, accur_male = -1, accur_female = -1;
    int mnp_male = 0, mnp_female = 0;
    uint8_t true_av = 0;
    double varA = 0;                  // additive variance used by the evaluation
    SPopOutput out;                   // begin_popoutput settings

    // Per replicate.
    int nIndiv = 0;                   // individuals over all generations
    std::vector<SRec> indiv;          // founders, then every generation's progeny
    std::vector<SRec*> cand;          // candidates sorted for selection
    std::vector<SRec*> sires, dams;   // current parents
    std::vector<SGenStat> genStat;    // generations 0..ng, and ng + 1 for all of them

    // Per run.
    std::vector<SGenRepStat> repStat;  // generations 0..ng summed over the replicates
};
