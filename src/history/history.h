// The historical population of a replicate: founders, generations of random mating made by a
// worker pool, mutation, homozygosity monitoring, and the last generation the recent
// populations take their founders from.
#pragma once

#include <functional>

#include "genome/genome.h"
#include "genome/mutation.h"
#include "genome/replicate.h"
#include "history/hist_pool.h"
#include "history/histpop.h"
#include "param/params.h"

// Where the historical run reports; the run itself writes no file.
struct SHistReports {
    // After the homozygosity of a monitored generation gen is measured (hp.mrkHomo, hp.qtlHomo).
    std::function<void(int gen)> homozygosity;
    // Once the last generation is complete: the means and variances of its polygenic and QTL
    // values, and the last scale factor of the QTL effects.
    std::function<void(double polyMean, double polyVar, double qtlMean, double qtlVar, double qtlScale)> lastGeneration;
};

// What the historical run works on.
struct SHistRun {
    const SParams& prm;
    SGenome& genome;
    CGenomePool& genomePool;
    CMutation& mutation;
    SHistPop& hp;
    SReplicate& replicate;
    SHistRepStat& histRep;  // the last generation over replicates
    int nthread;
    SHistReports reports;
};

// The historical generations of replicate rep; the last one stays in hp.recs (males first) and
// hp.lastGen, with records ready to be taken as founders.
void HPSimulator(const SHistRun& h, int rep);
