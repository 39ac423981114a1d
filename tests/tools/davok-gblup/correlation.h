// The Pearson correlation the tests of davok-gblup measure accuracies with.
#pragma once

#include <cmath>
#include <vector>

inline double Correlation(const std::vector<double>& a, const std::vector<double>& b)
{
    double ma = 0, mb = 0, sab = 0, saa = 0, sbb = 0;
    for (size_t i = 0; i < a.size(); ++i) ma += a[i] / a.size(), mb += b[i] / b.size();
    for (size_t i = 0; i < a.size(); ++i)
        sab += (a[i] - ma) * (b[i] - mb), saa += (a[i] - ma) * (a[i] - ma), sbb += (b[i] - mb) * (b[i] - mb);
    return sab / std::sqrt(saa * sbb);
}
