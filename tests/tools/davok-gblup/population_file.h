// Lines of "data.tmp" as the simulator writes them, for the tests of davok-gblup.
#pragma once

#include <string>

inline const char* const kDataHeading =
    "Progeny Sire    Dam     Flag Sex  G   NMPrg NFPrg F        Homo     Phen      Res       Polygene  QTL       "
    "Inputed_BV\n";

inline std::string DataLine(long id, long sire, long dam, char flag, const char* phen, int generation = 1)
{
    return std::to_string(id) + " " + std::to_string(sire) + " " + std::to_string(dam) + "  " + flag + "  F " +
           std::to_string(generation) + " 0 0 0.000000 0.5 " + phen + " +0.1 +0.1 +0.1 +0.000000\n";
}
