// Running sums of statistics over replicates and their reduction to means and standard errors.
#pragma once

#include <cstdio>

// Distance classes of the LD tables (marker pairs by map distance).
constexpr int kLDClasses = 27;

struct SSumSS {
    double sum = 0;    // sum over replicates; the mean after the final computation
    double sumSq = 0;  // sum of squares; the standard error (or variance) after it
};

inline void AddValue(SSumSS& s, double x)
{
    s.sum += x;
    s.sumSq += x * x;
}

// Turns s, summed over n replicates, into (mean, variance); a mean below 1e-12 in absolute value
// becomes 0. Fewer than two replicates, or no spread, give variance 0.
void GetMeanVar(SSumSS& s, int n);
// Turns s, summed over n replicates, into (mean, standard error of the mean).
void GetMeanSE(SSumSS& s, int n);
// One row of the summary over replicates: the generation, mean and SE of a and of b; a and b
// are reduced in place.
void PrintMeanStdErr(int gen, SSumSS& a, SSumSS& b, int n, FILE* fp);
// The same with one accumulator; the columns of the second are "----".
void PrintMeanStdErr(int gen, SSumSS& a, int n, FILE* fp);

// Standard deviation of n values from their sum and sum of squares: 0 for fewer than two values,
// and never the root of a negative rounding residue.
double SdFromSums(double sum, double sumSq, double n);

// Accumulators of the last historical generation over replicates.
struct SHistRepStat {
    SSumSS segMrk, segQTL;              // segregating markers and QTL
    SSumSS selMrk, selQTL;              // markers and QTL kept by select_seg_loci
    SSumSS mrkAlleleMean, mrkAlleleMax, mrkAlleleMin;
    SSumSS qtlAlleleMean, qtlAlleleMax, qtlAlleleMin;
    SSumSS densityMale[3], densityFemale[3];  // loci, markers, QTL per cM
};

// One LD distance class over replicates: marker pairs, then the class means and SDs of D', r2
// and X2'.
struct SLDRepStat {
    SSumSS nPair;
    SSumSS mean[3];
    SSumSS ldSd[3];
};

// One generation of a population over replicates.
struct SGenRepStat {
    SSumSS nInbred;
    SSumSS meanF, sdF;  // inbreeding over all individuals of the generation
    SSumSS meanHomo, sdHomo;
    SSumSS meanPhen, sdPhen;
    SSumSS meanPoly, sdPoly;
    SSumSS meanQTL, sdQTL;
    SSumSS meanRes, sdRes;
    SSumSS meanEBV, sdEBV;
    SSumSS corrEBV, corrEBVMale, corrEBVFemale, corrEBVSire, corrEBVDam;
    SLDRepStat ld[kLDClasses];
};
