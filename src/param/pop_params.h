// The statements of the recent populations of a parameter file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Selection and culling criteria.
enum ESCDesign : int { kRnd = 0, kPhen = 1, kTbv = 2, kEbv = 3, kAge = 4 };

// Mating designs of `md`.
enum EMatingDesign : int { kMdRnd = 0, kMdRndUg = 1, kMdMinf = 2, kMdMaxf = 3, kMdPAssort = 4, kMdNAssort = 5 };

// Breeding value estimation methods of `ebv_est`.
enum EEbvMethod : int { kEbvApprox = 0, kEbvBlup = 1, kEbvAccur = 2, kEbvExternal = 3, kEbvNone = 4 };

// Sex ratio modes of `pmp`.
enum EPmpMode : int { kPmpFix = 0, kPmpFixLitter = 1, kPmpRandom = 2 };

// Genotype formats of `genotype`.
enum : int { kGenoSnpCode = 1, kGenoBinary = 2, kGenoSeq = 4 };

constexpr int kMaxFounderLines = 40;
constexpr int kMaxPopulations = 1000;

// One line of a `begin_founder` block.
struct SFounderLine {
    int srcPop = -1;                // index of the source population; -1 = the historical population
    int gen = 0;                    // source generation
    int n = 0;                      // individuals to take
    ESCDesign select = kRnd;        // how they are chosen
    uint8_t male = 0;               // 1 for a male line
    uint8_t high = 1;               // 1 takes the highest values, 0 the lowest
    uint8_t notFounderYet = 0;      // only individuals never taken as founders in this replicate

    bool FromHistorical() const { return srcPop < 0; }
};

// Parents and their replacement for one generation, as the sr/dr and growth statements give them.
struct SGenPlan {
    double sr = 0;                    // sire replacement rate for the next parents
    double sireGrowth = 0;            // growth of the number of sires
    int sireRefGen = 0;               // generation whose sire count sireGrowth multiplies
    double dr = 0;                    // dam replacement rate
    double damGrowth = 0;             // growth of the number of dams
    int damRefGen = 0;                // generation whose dam count damGrowth multiplies
    int nSires = 0, nDams = 0;        // parents that produce this generation
};

// Output options of one population (its begin_popoutput block).
struct SPopOutput {
    bool dataOut = false;                // data
    std::vector<uint8_t> dataGen;        // per generation 0..ng
    double sireMissRate = 0, damMissRate = 0;
    std::vector<double> sireMissRateGen; // per generation
    std::vector<double> damMissRateGen;  // per generation
    bool missParents = false;            // any missing-parent rate was given
    bool crossoverOut = false;           // crossover
    std::vector<uint8_t> crossoverGen;
    bool freqOut = false;                // allele_freq
    std::vector<uint8_t> freqGen;
    int mafBin = 0;                      // mafbin, 0 when not given
    bool genoOut = false;                // genotype
    std::vector<uint8_t> genoGen;
    int genoOpt = 0;                     // bits kGenoSnpCode, kGenoBinary, kGenoSeq
    bool ldOut = false;                  // ld
    std::vector<uint8_t> ldGen;
    std::vector<uint8_t> ldChr;          // per chromosome
    int ldNMrk = 0;                      // nmrk
    double ldMaft = 0.05;                // maft
    double ldMaxDist = 5.0;              // max_distance, cM
    bool statOut = false;                // stat
};

// The statements of one recent population (its begin_pop block).
struct SPopParams {
    std::string name;                 // begin_pop name, without quotes
    int nMaleFounder = 0, nFemaleFounder = 0;
    int nLs = 0;                      // litter-size classes
    std::vector<int> ls;              // litter sizes
    std::vector<double> lsProb;       // probability of each class
    double pmp = 0.5;                 // proportion of male progeny
    int pmpMode = kPmpRandom;
    int maxSires = 0, maxDams = 0;    // largest numbers of parents over the generations
    int ng = 0;                       // generations after the founders
    std::vector<SGenPlan> plan;       // generations 0..ng
    uint8_t srExp = 0, drExp = 0;     // option /e of sr and dr
    int md = kMdRnd;
    ESCDesign assortBy = kPhen;
    ESCDesign sd = kRnd;
    uint8_t sdHigh = 1;
    ESCDesign cd = kAge;
    uint8_t cdHigh = 0;
    SFounderLine founderLine[kMaxFounderLines];
    int16_t nFounderLine = 0;
    int ebvMethod = kEbvNone;
    std::string externalCmd;          // command of external_bv
    double accur = -1, accur_male = -1, accur_female = -1;
    int mnp_male = 0, mnp_female = 0;
    uint8_t true_av = 0;
    SPopOutput out;                   // begin_popoutput settings
};
