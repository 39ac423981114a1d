// Working state of the LD statistics of one generation: the accepted markers with their allele
// classes encoded per haplotype, and what each worker thread owns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "breeding/population.h"
#include "genome/mutation.h"

// Markers with more alleles than this skip the LD of the generation.
constexpr int kLDMaxAlleles = 20;

// One marker accepted for the LD statistics. Its classes are the alleles of frequency maft or
// more, in allele order, then the pooled rare alleles when they count as a class; every haplotype
// falls into one of them.
struct SLDMarker {
    int locus = 0;                          // genome-wide index
    int chr = 0;                            // chromosome number, from 1
    double pos = 0;                         // cM
    int nClass = 0;                         // class count (2 or more)
    double classFreq[kLDMaxAlleles] = {};   // frequency of each class
    int32_t classCount[kLDMaxAlleles] = {}; // haplotypes in each class
    uint8_t alleleClass[kLDMaxAlleles + 1] = {};  // class of allele a (1..nAllele)
    size_t bits = 0;                        // first bit set in SLDWork::bits
    size_t codes = 0;                       // first class byte in SLDWork::codes, when kept
    bool keepsCodes = false;                // the marker also has one class byte per haplotype
};

// What one LD worker owns: its share of first markers, its count table and its class sums.
struct SLDWorker {
    SIndex share{0, -1};          // first markers i of the pairs (i, j > i)
    std::vector<int32_t> table;   // haplotype counts of one pair, (largest allele count + 1)^2 cells
    SLDBin acc[kLDClasses];       // nPair, sums in mean and sums of squares in ldSd
};

// The LD step of one generation, rebuilt by every call of ComputeLDStat.
struct SLDWork {
    const SRec* indiv = nullptr;       // the generation's individuals
    int nIndiv = 0;
    int haplotypes = 0;                // 2 * nIndiv; haplotype h is the paternal (h even) or maternal
                                       // one of individual h / 2
    int words = 0;                     // 64-bit words of one bit set over the haplotypes
    double maft = 0;                   // frequency below which alleles are pooled
    double upper = 0;                  // pooled frequencies at this or above reject the marker

    std::vector<int> candidates;       // genome-wide indices, in screening order
    std::vector<int32_t> alleleCounts; // scratch of the screening: counts per allele of a block
    std::vector<int> blockOrder;       // scratch of the screening: a block in genome order

    std::vector<SLDMarker> markers;    // accepted markers in genome order
    // Bit set of class c (< nClass - 1) of marker m at bits[m.bits + c * words]; the last class
    // follows from the class counts.
    std::vector<uint64_t> bits;
    std::vector<uint8_t> codes;        // class per haplotype of markers that keep codes
    std::vector<SLDWorker> workers;
};

// Writes the label of LD distance class k; a class lying wholly at or beyond maxDist (the
// population's max_distance) is not printed (false).
bool PrintLDBin(int k, double maxDist, FILE* fp);
