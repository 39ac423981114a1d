#include "breeding/population.h"

CPopulation::CPopulation(const SPopParams& statements, double additiveVariance)
    : prm(statements),
      varA(additiveVariance),
      genInfo(static_cast<size_t>(statements.ng) + 1),
      ldGen(statements.out.ldGen),
      ldSkipped(static_cast<size_t>(statements.ng) + 1, 0)
{
}
