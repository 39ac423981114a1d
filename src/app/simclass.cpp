#include "app/simclass.h"

SimClass::SimClass(const SParams& params) : prm(params)
{
    BuildGenome(prm.genome, genome);
    // Each population refers to its statements in prm; the vector is never resized again.
    pops.reserve(prm.pops.size());
    for (const SPopParams& p : prm.pops) pops.emplace_back(p, prm.global.varPoly + prm.global.varQTL);
}

void SimClass::OpenOutputStreams(int rep, bool hp)
{
    const SLociCounts n{genome.nMrkTot, genome.nQTLTot};
    if (hp)
        files.OpenHistorical(prm, n, rep);
    else
        files.OpenPopulation(prm, curPop->prm, n, rep);
}

void SimClass::CloseOutputStreams(bool hp)
{
    if (hp)
        files.CloseHistorical();
    else
        files.ClosePopulation();
}
