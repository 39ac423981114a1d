// What a parameter file says, as one value: the reader fills it, the cross-checks complete it, and
// the engine receives it and never changes it. Values that change during a run (the number of
// replicates under nrep.txt, the additive variance under true_av) are run state of the engine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Global statements.
struct SGlobalParams {
    std::string title;              // run title, without quotes
    bool hasTitle = false;          // a title was given
    int nthread = 0;                // maximum worker threads; 0 = chosen at run start
    int nrep = 0;                   // replicates as the file gives them
    double h2 = -1;                 // heritability; -1 = not given
    double qtlh2 = -1;              // part of h2 explained by QTL; -1 = not given
    double phvar = -1;              // phenotypic variance; -1 = not given
    double varPoly = 0;             // (h2 - qtlh2) * phvar
    double varQTL = 0;              // qtlh2 * phvar
    double varRes = 0;              // phvar - varPoly - varQTL
    bool malesHaveRecords = true;   // false with no_male_rec
    bool joint_pop = false;         // pedigree and inbreeding across all populations
    bool skip_inbreeding = false;   // no inbreeding computation
    std::string system;             // shell command run after every replicate
    bool hasSystem = false;         // a command was given
    bool systemNrep = false;        // the replicate number is appended to the command
};

constexpr int kMaxHgSize = 100;  // size/generation pairs of hg_size

// The size plan of the historical population (begin_hp block).
struct SHistPlan {
    int nGen = 0;                   // generation number of the last hg_size pair
    int nSizeEntries = 0;           // pairs given to hg_size
    int gens[kMaxHgSize] = {};      // generation of each pair; the first is 0
    int sizes[kMaxHgSize] = {};     // population size of each pair, 2..100000
    int nmfhg = -1;                 // males in the first generation; -1 = not given
    int nmlhg = -1;                 // males in the last generation; -1 = not given

    // Size and number of males of historical generation g: sizes between two breakpoints are
    // interpolated in 64-bit integers; males keep the proportion of the first generation.
    int Size(int g) const;
    int Males(int g) const;
    int FirstSize() const { return sizes[0]; }
    int LastSize() const { return sizes[nSizeEntries - 1]; }
    int LargestSize() const
    {
        int m = 0;
        for (int i = 0; i < nSizeEntries; ++i) m = sizes[i] > m ? sizes[i] : m;
        return m;
    }
};

// Shape of a genotyping rate drawn per individual: -1 when not given.
struct SRate {
    double rate = 0;     // mean rate
    double shape = -1;   // gamma shape of /rndg
};

// How the positions of a class of loci on a chromosome are set.
enum class EPosMethod : uint8_t { Even, Rnd, Rnd1, Pd };
// How the numbers of alleles of a class of loci are set.
enum class ENumAlleleMethod : uint8_t { Unique, All, Rnd, Rnd1, Pd };
// How the initial allele frequencies of a class of loci are set.
enum class EFreqMethod : uint8_t { Eql, Rnd, Rnd1, Pd, All };
// How QTL allele effects are drawn.
enum class EEffectMethod : uint8_t { Pd, Rndg, Rndn, Rnd };

// Complete-LD bits of a chromosome.
enum : uint8_t { kCldMarkers = 1, kCldQTL = 2, kCldQTLFollowMarkers = 4 };

// Largest number of values of an `nma`/`nqa` rnd list.
constexpr int kMaxAlleleNumberList = 30;

// Settings of one class of loci (markers or QTL) of a chromosome.
struct SLocusClassSettings {
    int saved = 0;                       // number of loci as read (nmloci / nqloci)
    EPosMethod posMethod = EPosMethod::Even;
    double start = 0.00001;              // cM, first possible position
    double end = 0;                      // cM, last possible position; defaults to len
    ENumAlleleMethod nAlleleMethod = ENumAlleleMethod::All;
    int nAlleleList[kMaxAlleleNumberList] = {};  // numbers given after the method
    int nAlleleCount = 0;                // how many numbers were given
    EFreqMethod freqMethod = EFreqMethod::Eql;
};

// The statements of one chromosome (a copy of its begin_chr block).
struct SChromParams {
    uint16_t number = 0;          // 1-based
    double len = 0;               // cM, rounded to 5 decimals
    double maleScale = 1.0;       // male map length / len
    double femaleScale = 1.0;     // female map length / len
    uint8_t isX = 0;              // 1 for an X chromosome
    SLocusClassSettings mrk;      // marker settings (nmloci, mpos, nma, maf)
    SLocusClassSettings qtl;      // QTL settings (nqloci, qpos, nqa, qaf)
    EEffectMethod qaeMethod = EEffectMethod::Rnd;  // qae
    double gammaShape = 0;        // shape given with qae rndg
    uint8_t cld = 0;              // complete-LD bits
    int firstLocus = 0;           // index of its first locus in SGenomeParams::loci

    int NLoci() const { return mrk.saved + qtl.saved; }
    const SLocusClassSettings& Settings(bool qtlClass) const { return qtlClass ? qtl : mrk; }
    SLocusClassSettings& Settings(bool qtlClass) { return qtlClass ? qtl : mrk; }
};

// What the statements say of one locus; what they leave open is drawn per replicate.
struct SLocusParams {
    uint8_t isQTL = 0;                  // 1 = QTL, 0 = marker
    uint16_t nAllele0 = 0;              // numbers of alleles given (nma/nqa); length of freq
    double pos = 0;                     // cM, given or evenly spaced
    std::vector<double> freq;           // given frequencies, nAllele0 entries
    double targetVar = 0;               // QTL with `qae pd`: variance it must explain
};

// Positions closer than this are the same position; a position below it is zero.
constexpr double kSamePosition = 1e-10;

// The loci of chromosome ch whose positions the statements fix, as the index range [first, last]
// of its loci in map order before the random classes are placed; false when there are none.
bool FixedPositionRange(const SChromParams& ch, int& first, int& last);

// Genome-wide statements and the chromosomes.
struct SGenomeParams {
    bool select_seg_loci = false;
    double segMaft = -1;             // MAF threshold of select_seg_loci; -1 = not given
    int segNMrk = -1, segNQTL = -1;  // markers and QTL to keep; -1 = not given
    SRate rmmg, rmqg, rmge, rqge;    // missing genotypes and genotyping errors
    double mmutr = 0, qmutr = 0;     // mutation rates per allele copy and generation
    bool mmutrRecurrent = false, qmutrRecurrent = false;
    double mean_crossover = 1.0;     // crossovers per 100 cM
    double interference = 0;         // interference distance, cM
    bool interferenceComplete = false;  // /c: no two crossovers within the distance
    bool r_mpos_g = false, r1_mpos_g = false, r_qpos_g = false, r1_qpos_g = false;
    short nChr = 0;
    std::vector<SChromParams> chrom;
    std::vector<SLocusParams> loci;  // chromosome by chromosome, markers first, then QTL
    int nMrkTot = 0, nQTLTot = 0;    // loci as read
    double genomeLength = 0;         // sum of len, cM
};

// Output statements.
struct SOutputParams {
    std::string outputFolder;        // ends with "/" once created
    bool attachRep = false;
    bool linkage_map = false;
    bool allele_effect = false;
    bool allele_label = false;
    bool hp_stat = false;
    bool monitor_hp_homo = false;
    int monitorFreq = 50;            // every how many historical generations homozygosity is kept
    bool anySeqGenotype = false;     // some population writes genotypes with /seq
};

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

struct SParams {
    SGlobalParams global;
    SHistPlan hist;
    SGenomeParams genome;
    SOutputParams output;
    std::vector<SPopParams> pops;   // in the order of their blocks
};
