// Invariants of a run, checked between its phases: the pedigree, the genome use counters, the
// alleles of the genomes and the progeny counts. The checks only read the state: they draw no
// random number and write nothing, so a run gives the same results with or without them. Each
// returns its first violation as a message, empty when everything holds.
//
// Cost of one checkpoint: one pass over the records of the replicate (pedigree links, counters,
// progeny counts) plus, for the genomes made or placed since the previous checkpoint, one pass
// over their alleles. Over a run: individuals x (generations + loci).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/simclass.h"

// Where a run stands when it is checked.
struct SRunPoint {
    int rep = 0;
    int pop = -1;          // index of the population the point belongs to; -1: founders from the historical population
    int gen = 0;           // generations of that population made so far (0: its founders are placed)
    bool popDone = false;  // the population has ended: its last parents have let go of their genomes
};

// On in builds without NDEBUG, and in any build when DAVOK_CHECK_INVARIANTS=1.
bool InvariantChecksOn();

// The records of the last historical generation have unknown parents.
std::string CheckHistoricalPedigree(const SHistPop& hp, const SRec& unknownParent);

// Founders of p and the progeny of its generations 1..made: identifiers, generations, parents that
// are earlier individuals of the right sex. With `joint` a founder taken from another population
// keeps the parents of its source.
std::string CheckPedigree(const CPopulation& p, int made, const SRec& unknownParent, bool joint);

// Sizes, index ranges, sex counts and litters of generations 0..made of a population that has
// started, against its records.
std::string CheckGenerationCounts(const CPopulation& p, int made);

// Male and female progeny counts of the individuals of p (one of pops) against the pedigree of its
// generations 1..made. A founder starts from zero, or with `joint` from the counts of the record
// it copies.
std::string CheckProgenyCounts(const std::vector<CPopulation>& pops, const CPopulation& p, int made, bool joint);

// Every used genome use counter (the first usedSlots of counters) against the holders of its
// genome at point `at`: the current parents of each population, the founders waiting in
// populations that have not started, and one unit per founder line still to read a generation.
// A genome without holders must be released, except those of the generation just made.
std::string CheckGenomeUse(const std::vector<CPopulation>& pops, const SHistPop& hp,
                           const std::vector<uint16_t>& counters, int usedSlots, const SRunPoint& at);

// Number of alleles of every locus, by genome-wide index.
std::vector<uint16_t> AlleleCounts(const std::vector<SChrom>& chrom);

// Every allele of r's two genomes lies within 1..nAllele of its locus.
std::string CheckAlleles(const SRec& r, const std::vector<uint16_t>& nAllele);

// Everything that must hold at `at`.
std::string CheckRun(const SimClass& sim, const SRunPoint& at);

// When the checks are on, stops the run with an internal error naming the first violation at `at`.
void CheckInvariants(const SimClass& sim, const SRunPoint& at);
