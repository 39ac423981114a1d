// The genome of a run: its chromosomes and locus records, and the genome-wide index lists of the
// current replicate.
#pragma once

#include <vector>

#include "genome/genome_pool.h"
#include "genome/records.h"
#include "param/genome_params.h"
#include "param/run_params.h"

// Built once from the genome statements (its chromosomes and locus records never move); each
// replicate draws positions, alleles and effects into the records, and select_seg_loci may keep
// only part of the loci, which lowers the totals and the chromosomes' numbers of loci.
struct SGenome {
    std::vector<SChrom> chrom;        // one per chromosome statement block
    std::vector<SLocus> locusStore;   // every locus record, chromosome by chromosome
    std::vector<SLocus*> locusPtr;    // genome-wide pointer array; its slices are the full locus lists
    int nMrkTot = 0, nQTLTot = 0, nLociTot = 0;  // loci of the replicate
    std::vector<int> mrkIndex;        // genome-wide index of every marker, in genome order
    std::vector<int> qtlIndex;        // genome-wide index of every QTL
    std::vector<double> lociPosition; // position of every locus, genome order (rebuilt with the index lists)
    std::vector<SLocus*> selectedLoci;  // loci kept by select_seg_loci for this replicate
    SAlleleSummary qtlAlleles, mrkAlleles, allAlleles;  // numbers of alleles per class

    // The locus at genome-wide index g: the chromosomes' locus lists are consecutive slices of
    // one array (the full genome, or the loci kept by select_seg_loci).
    SLocus* LocusAt(int g) const { return chrom.front().loci[g]; }
};

// ---- Set-up and per-replicate sampling (genome_memory.cpp, positions.cpp, alleles.cpp) ----
// The chromosomes and locus records of the genome statements g; the loci whose positions the
// statements fix are put into map order (the others are placed per replicate).
void BuildGenome(const SGenomeParams& g, SGenome& genome);
// Sorts the loci of ch whose positions the statements fix into map order (the reader has
// checked them); loci of random classes are placed per replicate.
void SortFixedPositions(SChrom& ch);
void LPosQSort(int first, int last, SLocus** loci);
// Draws distinct positions for the loci of the selected classes: which = 0 QTL, 1 markers,
// 2 both. A draw above `limit` (the end of the chromosome or genome) is set to it.
void GenerateUniqueURandPos(SLocus** loci, int n, double mRange, double mStart, double qRange, double qStart,
                            short which, double limit);
void RandomizePosAcrossGenome(const SGenomeParams& g, SGenome& genome, int rep);
// Per-replicate positions, numbers of alleles and frequencies.
void SampleParam(const SGenomeParams& g, SGenome& genome, int rep);
// Numbers of alleles and frequencies of one chromosome drawn for replicate rep.
void SampleAlleles(SChrom& ch, int rep);

// ---- Index lists, summaries and haplotype storage (genome_memory.cpp) ----
// The genome-wide marker and QTL index lists and locus positions of the current locus lists.
void GetMrkQTLIdx(SGenome& genome);
// Numbers of alleles per locus class (qtlAlleles, mrkAlleles, allAlleles).
void GetLociInfo(SGenome& genome);
// Homozygous markers of rec (also kept as its proportion in rec->homo).
int MrkHomozy(const SGenome& genome, SRec* rec);
// The haplotype block of rec, laid out for the genome's current chromosomes, from the pool.
void AllocRecChr(CGenomePool& pool, const SGenome& genome, SRec* rec);
// Gives the block AllocRecChr made, given by its paternal pointer array, back to the pool.
void FreeRecChr(CGenomePool& pool, uint16_t** patChr);
// Frees the haplotypes of rec and marks its genome released.
void ReleaseGenome(CGenomePool& pool, SRec* rec);
// One holder of rec's genome lets go of it; the last one releases it.
void DropGenomeUse(CGenomePool& pool, SRec* rec);

// ---- QTL effects (effects.cpp) ----
// Effect vectors of the QTL and the counts of loci fixed in the last historical generation;
// reports and returns the segregating markers and QTL.
void AllocQAEffectMem(SGenome& genome, int& segMarkers, int& segQTL);
void SampleQAEffect(const SGlobalParams& global, SGenome& genome);
// Scales the effects so that the n individuals of lhg show the QTL variance asked for (or each
// QTL its target variance), and their polygenic values the polygenic variance; the last factor
// goes to scale.
void ScaleQAEffect(const SGlobalParams& global, SGenome& genome, SRec* lhg, int n, double& scale);
// The QTL value of rec from the current effects (a male's X-linked QTL count once).
double QTLValue(const SGenome& genome, const SRec* rec);
