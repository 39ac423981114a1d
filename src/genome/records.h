// Loci, chromosomes and individuals: the records every simulation step works on.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "param/genome_params.h"

// One marker or QTL during a run; it starts from the locus' statements (SLocusParams).
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

// One chromosome during a run: its statements and what the run makes of them (genome-wide
// placement and select_seg_loci change its numbers of loci from replicate to replicate).
struct SChrom {
    explicit SChrom(const SChromParams& statements)
        : prm(statements),
          nMrk(statements.mrk.saved),
          nQTL(statements.qtl.saved),
          nMrkFull(statements.mrk.saved),
          nQTLFull(statements.qtl.saved),
          mrkStart(statements.mrk.start),
          qtlStart(statements.qtl.start)
    {
    }

    const SChromParams& prm;      // the chromosome's statements
    int nMrk = 0;                 // markers now (select_seg_loci may lower it for a replicate)
    int nQTL = 0;                 // QTL now
    int nMrkFull = 0, nQTLFull = 0;    // loci of the full locus list (genome-wide placement moves them)
    int nMrkFixed = 0, nQTLFixed = 0;  // loci with a single allele in the last historical generation
    double mrkStart = 0, qtlStart = 0; // first possible positions (genome-wide placement resets them)
    SLocus** loci = nullptr;      // nMrk + nQTL loci in map order; slice of a genome-wide array
    SLocus** fullLoci = nullptr;  // the slice as built at set-up
    int* mrkIdx = nullptr;        // genome-wide indices of the markers; slice of mrkIndex
    int* qtlIdx = nullptr;        // genome-wide indices of the QTL; slice of qtlIndex
    const double* lociPos = nullptr;  // positions of loci, contiguous for fast search; slice of lociPosition

    int NLoci() const { return nMrk + nQTL; }
    int& Fixed(bool qtlClass) { return qtlClass ? nQTLFixed : nMrkFixed; }
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
