#include "support/replicate_sums.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Variance of n values from their sum and sum of squares: 0 for fewer than two or no spread.
// A residue within the rounding error of the two sums counts as no spread, so that a value
// that is the same in every replicate has variance 0 whatever its binary representation.
double VarianceOfSums(const SSumSS& s, int n)
{
    if (n < 2) return 0;
    const double squares = s.sumSq - s.sum * s.sum / n;
    const double roundingError = 4.0 * n * std::numeric_limits<double>::epsilon() * s.sumSq;
    return squares > roundingError ? squares / (n - 1) : 0;
}

double MeanOfSums(const SSumSS& s, int n) { return n > 0 ? s.sum / n : 0; }

}  // namespace

void GetMeanVar(SSumSS& s, int n)
{
    double mean = MeanOfSums(s, n);
    const double variance = VarianceOfSums(s, n);
    if (std::fabs(mean) < 1e-12) mean = 0;
    s.sum = mean;
    s.sumSq = variance;
}

void GetMeanSE(SSumSS& s, int n)
{
    const double mean = MeanOfSums(s, n);
    const double se = n > 1 ? std::sqrt(VarianceOfSums(s, n)) / std::sqrt(n) : 0;
    s.sum = mean;
    s.sumSq = se;
}

void PrintMeanStdErr(int gen, SSumSS& a, SSumSS& b, int n, FILE* fp)
{
    GetMeanSE(a, n);
    GetMeanSE(b, n);
    fprintf(fp, "%-5d  %17.8f %14.8f    %17.8f %14.8f\n", gen, a.sum, a.sumSq, b.sum, b.sumSq);
}

void PrintMeanStdErr(int gen, SSumSS& a, int n, FILE* fp)
{
    GetMeanSE(a, n);
    fprintf(fp, "%-5d  %17.8f %14.8f    %17s %14s\n", gen, a.sum, a.sumSq, "----", "----");
}

double SdFromSums(double sum, double sumSq, double n)
{
    if (n < 2) return 0;
    return std::sqrt(std::max(0.0, (sumSq - sum * sum / n) / (n - 1)));
}
