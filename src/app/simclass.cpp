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

SHistRun SimClass::HistoricalRun()
{
    SHistReports reports{[this](int gen) { SaveHPHomo(Output(), hp, gen); },
                         [this](double polyMean, double polyVar, double qtlMean, double qtlVar, double qtlScale) {
                             SaveHPStat(Output(), hp, mutation, polyMean, polyVar, qtlMean, qtlVar, qtlScale);
                         }};
    return {prm, genome, genomePool, mutation, hp, replicate, histRep, nthread, reports};
}
