// Running sums of statistics over replicates and their reduction to means and standard errors.
#pragma once

#include <cstdio>

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
