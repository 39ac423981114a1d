// The historical population during a replicate: its records.
#pragma once

#include <cstdint>
#include <vector>

#include "genome/records.h"
#include "support/replicate_sums.h"

// The records of the historical population during a replicate (its size plan is SHistPlan).
struct SHistPop {
    std::vector<SRec> recs;         // current generation; after the run, the last one (males first)
    std::vector<SRec*> lastGen;     // the individuals of the last generation, males first
    uint64_t patCross = 0, matCross = 0;  // crossovers of the historical run
    double mrkHomo = 0, qtlHomo = 0;      // mean homozygosity of the last measured generation
};

// Accumulators of the last historical generation over replicates.
struct SHistRepStat {
    SSumSS segMrk, segQTL;              // segregating markers and QTL
    SSumSS selMrk, selQTL;              // markers and QTL kept by select_seg_loci
    SSumSS mrkAlleleMean, mrkAlleleMax, mrkAlleleMin;
    SSumSS qtlAlleleMean, qtlAlleleMax, qtlAlleleMin;
    SSumSS densityMale[3], densityFemale[3];  // loci, markers, QTL per cM
};
