// Loci, chromosomes and individuals: the records every simulation step works on.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

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

// One marker or QTL.
struct SLocus {
    uint8_t isQTL = 0;                  // 1 = QTL, 0 = marker
    uint16_t nAllele0 = 0;              // alleles fixed at set-up; length of freq
    uint16_t nAllele = 0;               // alleles in use now, numbered 1..nAllele
    std::vector<uint16_t> alleleLabel;  // [0] = count, [a] = label of allele a
    uint16_t maxLabel = 0;              // largest label used so far
    double pos = 0;                     // cM from the start of the chromosome
    std::vector<double> freq;           // initial frequencies, nAllele0 entries
    std::vector<double> effect;         // QTL only: effect of allele a at a-1
    double targetVar = 0;               // QTL with `qae pd`: variance it must explain
};

// Settings of one class of loci (markers or QTL) of a chromosome.
struct SLocusClassSettings {
    int saved = 0;                       // number of loci as read (nmloci / nqloci)
    int full = 0;                        // loci of the full locus list (genome-wide placement moves them)
    int fixed = 0;                       // loci with a single allele in the last historical generation
    EPosMethod posMethod = EPosMethod::Even;
    double start = 0.00001;              // cM, first possible position
    double end = 0;                      // cM, last possible position; defaults to len
    ENumAlleleMethod nAlleleMethod = ENumAlleleMethod::All;
    int nAlleleList[kMaxAlleleNumberList] = {};  // numbers given after the method
    int nAlleleCount = 0;                // how many numbers were given
    EFreqMethod freqMethod = EFreqMethod::Eql;
};

// One chromosome.
struct SChrom {
    uint16_t number = 0;          // 1-based
    double len = 0;               // cM, rounded to 5 decimals
    double maleScale = 1.0;       // male map length / len
    double femaleScale = 1.0;     // female map length / len
    uint8_t isX = 0;              // 1 for an X chromosome
    int nMrk = 0;                 // markers now (select_seg_loci may lower it for a replicate)
    int nQTL = 0;                 // QTL now
    SLocusClassSettings mrk;      // marker settings (nmloci, mpos, nma, maf)
    SLocusClassSettings qtl;      // QTL settings (nqloci, qpos, nqa, qaf)
    EEffectMethod qaeMethod = EEffectMethod::Rnd;  // qae
    double gammaShape = 0;        // shape given with qae rndg
    uint8_t cld = 0;              // complete-LD bits
    SLocus** loci = nullptr;      // nMrk + nQTL loci in map order; slice of a genome-wide array
    SLocus** fullLoci = nullptr;  // the slice as built at set-up
    int* mrkIdx = nullptr;        // genome-wide indices of the markers; slice of mrkIndex
    int* qtlIdx = nullptr;        // genome-wide indices of the QTL; slice of qtlIndex
    const double* lociPos = nullptr;  // positions of loci, contiguous for fast search; slice of lociPosition

    int NLoci() const { return nMrk + nQTL; }
    SLocusClassSettings& Settings(bool qtlClass) { return qtlClass ? qtl : mrk; }
    const SLocusClassSettings& Settings(bool qtlClass) const { return qtlClass ? qtl : mrk; }
};

// A genome use counter of this value marks a released genome.
constexpr uint16_t kGenomeReleased = 30000;

// One individual. Its genome (patChr, matChr) may be shared with founder copies of it; the use
// counter genomeUse says how many holders still need it.
struct SRec {
    int id = 0;                     // identifier; 0 in the historical population
    SRec* sire = nullptr;           // the unknown-parent record when not known
    SRec* dam = nullptr;
    uint8_t sex = 0;                // 1 male, 0 female
    int16_t gen = 0;                // generation within its population
    double qtlVal = 0;              // sum of the effects of its QTL alleles
    double polyVal = 0;             // polygenic effect
    double res = 0;                 // residual
    double phen = 0;                // phenotype
    uint8_t hasPhen = 0;            // 1 when it has a phenotype record
    uint16_t** patChr = nullptr;    // nChr pointers into the paternal allele block
    uint16_t** matChr = nullptr;    // nChr pointers into the maternal allele block
    uint16_t* genomeUse = nullptr;  // its slot of genomeUseCount
    double inbF = 0;                // inbreeding coefficient
    double homo = 0;                // proportion of homozygous markers
    double ebv = 0;                 // estimated breeding value
    double ebvAcc = 0;              // accumulator of the approximate evaluation
    int32_t nMPrg = 0;              // male progeny (a sire of a large population has many)
    int32_t nFPrg = 0;              // female progeny

    // Alleles by genome-wide locus index.
    uint16_t* Pat() const { return patChr[0]; }
    uint16_t* Mat() const { return matChr[0]; }
    double Tbv() const { return qtlVal + polyVal; }
};

// Most crossovers one gamete may carry on one chromosome.
constexpr int kMaxCrossovers = 300;

// Crossover positions of the two gametes of one chromosome, per worker.
struct SCrossoP {
    std::array<double, kMaxCrossovers> sPos;  // sire's crossovers, cM, ascending
    std::array<double, kMaxCrossovers> dPos;  // dam's crossovers
    int16_t nS = 0, nD = 0;
};

// Numbers of alleles over the loci of a class: filled by SimClass::GetLociInfo.
struct SAlleleSummary {
    double mean = 0;
    int max = 0, min = 0;
};
