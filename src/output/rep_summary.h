// Running sums of a statistic over replicates.
#pragma once

struct SSumSS {
    double sum = 0;    // sum over replicates; the mean after the final computation
    double sumSq = 0;  // sum of squares; the standard error (or variance) after it
};

inline void AddValue(SSumSS& s, double x)
{
    s.sum += x;
    s.sumSq += x * x;
}

// Accumulators of the last historical generation over replicates.
struct SHistRepStat {
    SSumSS segMrk, segQTL;              // segregating markers and QTL
    SSumSS selMrk, selQTL;              // markers and QTL kept by select_seg_loci
    SSumSS mrkAlleleMean, mrkAlleleMax, mrkAlleleMin;
    SSumSS qtlAlleleMean, qtlAlleleMax, qtlAlleleMin;
    SSumSS densityMale[3], densityFemale[3];  // loci, markers, QTL per cM
};
