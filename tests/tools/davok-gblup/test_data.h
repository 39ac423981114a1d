// What the tests of davok-gblup share: lines of "data.tmp" as the simulator writes them, and the
// Pearson correlation they measure accuracies with.
#pragma once

#include <cmath>
#include <string>
#include <vector>

inline const char* const kDataHeading =
    "Progeny Sire    Dam     Flag Sex  G   NMPrg NFPrg F        Homo     Phen      Res       Polygene  QTL       "
    "Inputed_BV\n";

inline std::string DataLine(long id, long sire, long dam, char flag, const char* phen, int generation = 1)
{
    return std::to_string(id) + " " + std::to_string(sire) + " " + std::to_string(dam) + "  " + flag + "  F " +
           std::to_string(generation) + " 0 0 0.000000 0.5 " + phen + " +0.1 +0.1 +0.1 +0.000000\n";
}

inline double Correlation(const std::vector<double>& a, const std::vector<double>& b)
{
    double ma = 0, mb = 0, sab = 0, saa = 0, sbb = 0;
    for (size_t i = 0; i < a.size(); ++i) ma += a[i] / a.size(), mb += b[i] / b.size();
    for (size_t i = 0; i < a.size(); ++i)
        sab += (a[i] - ma) * (b[i] - mb), saa += (a[i] - ma) * (a[i] - ma), sbb += (b[i] - mb) * (b[i] - mb);
    return sab / std::sqrt(saa * sbb);
}
