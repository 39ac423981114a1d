// The genome of a run: its chromosomes and locus records, and the genome-wide index lists of the
// current replicate.
#pragma once

#include <vector>

#include "genome/records.h"

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
