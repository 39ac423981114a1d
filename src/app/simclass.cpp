#include "app/simclass.h"

SimClass::SimClass(const SParams& params) : prm(params)
{
    BuildGenome();
    // Each population refers to its statements in prm; the vector is never resized again.
    pops.reserve(prm.pops.size());
    for (const SPopParams& p : prm.pops) pops.emplace_back(p, prm.global.varPoly + prm.global.varQTL);
}
