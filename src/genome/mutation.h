// Mutation of the alleles of new historical generations, and re-numbering of the alleles
// present in the last historical generation.
#pragma once

#include <cstdint>
#include <vector>

#include "genome/records.h"

// First and last index (inclusive) of one worker's share of a range.
struct SIndex {
    int first = 0;
    int last = -1;
};

// Splits first..last into at most nParts shares of at least minPerPart indices (one share when
// the range is smaller); the last share takes the remainder. Lowers nParts when needed.
void Split2Index(SIndex* parts, int first, int last, int& nParts, int minPerPart);

// Largest number of alleles of a locus in one generation, and largest allele label in a run.
constexpr int kMaxAllelesPerGeneration = 65535;
constexpr int kMaxAlleleLabel = 65250;

class CMutation {
public:
    CMutation() = default;
    CMutation(const CMutation&) = delete;
    CMutation& operator=(const CMutation&) = delete;

    // Once per run. The arrays are the engine's own; they are refilled in place later.
    void Initialize(SLocus** loci, int* mrkIndex, int* qtlIndex, int nMrk, int nQTL, int nThread,
                    bool keepLabels);
    void SetRates(double markerRate, bool markerRecurrent, double qtlRate, bool qtlRecurrent);
    // Clears the event counters; at the start of every historical run.
    void InitializeRep();
    // Mutates the n individuals of a new historical generation (main generator).
    void Mutate(SRec* recs, int n);
    // Re-numbers the alleles present among the n individuals as 1..c at every locus (all loci
    // when `all`, else only loci with alleles born since the last re-numbering).
    void IndexAlleles(SRec* recs, int n, bool all);
    // Worker body of IndexAlleles for share t.
    void IndexAlleles_MyThread(SRec* recs, int n, bool all, const SIndex* parts, int t);
    void FreeMutMem();

    uint64_t MarkerEvents() const { return mrkEvents; }
    uint64_t IgnoredMarkerEvents() const { return mrkIgnored; }
    uint64_t QTLEvents() const { return qtlEvents; }
    uint64_t IgnoredQTLEvents() const { return qtlIgnored; }

private:
    // Number of mutation events of one class in one individual: Poisson, at most `copies`.
    static int DrawEventCount(double rate, int copies);
    // Applies k events to distinct allele copies of rec in one class of loci.
    void MutateClass(SRec& rec, int k, const int* index, int copies, bool recurrent,
                     std::vector<uint8_t>& flags, uint64_t& events, uint64_t& ignored);
    // Draws an allele copy of the class not yet mutated in this individual, and flags it.
    int DrawFreshCopy(int copies, std::vector<uint8_t>& flags);
    // Re-numbers locus g; newNumber and labels are the worker's tables of 65536 entries.
    void IndexLocus(SRec* recs, int n, int g, bool all, uint16_t* newNumber,
                    uint16_t* labels) const;

    double mrkRate = 0, qtlRate = 0;           // mutation rates per allele copy and generation
    uint8_t mrkRecurrent = 0, qtlRecurrent = 0;  // recurrent model per class
    SLocus** loci = nullptr;                   // genome-wide locus pointer array (not owned)
    int* mrkIndex = nullptr;                   // genome-wide index of every marker (not owned)
    int* qtlIndex = nullptr;                   // genome-wide index of every QTL (not owned)
    int nQTL = 0, nMrk = 0;                    // loci per class at initialisation
    int qtlCopies = 0, mrkCopies = 0;          // allele copies per individual per class
    int nThread = 1;                           // workers of IndexAlleles
    uint8_t keepLabels = 0;                    // allele_label: keep labels across re-numbering
    uint64_t mrkEvents = 0, mrkIgnored = 0, qtlEvents = 0, qtlIgnored = 0;  // per replicate
    std::vector<uint8_t> mrkFlags, qtlFlags;   // allele copies already mutated in this individual
    std::vector<int> flagged;                  // loci flagged in the current individual and class
};
