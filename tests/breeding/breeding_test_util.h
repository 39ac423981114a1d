// A hand-filled population for the tests of selection, culling and mating designs.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "app/simclass.h"
#include "random/rnd.h"
#include "support/hand_population.h"
#include "support/messages.h"

// An engine with one population "p": nIndiv individuals with identifiers 1..nIndiv, each holding
// its own genome use counter at 1, and room for maxSires sires and maxDams dams. A test sets the
// population's statements through `prm` (the engine sees them through pop->prm). The engine's
// own parameters are the defaults.
struct TestPopulation {
    SPopParams statements;  // the population's statements, owned here so that a test may change them
    std::unique_ptr<SimClass> sim = std::make_unique<SimClass>(SParams());
    SPopParams* prm = &statements;
    CPopulation* pop = nullptr;

    TestPopulation(int nIndiv, int maxSires, int maxDams, int ng = 2) : statements(HandStatements(ng))
    {
        prm->maxSires = maxSires;
        prm->maxDams = maxDams;
        sim->pops.emplace_back(statements, 0.0);
        pop = &sim->pops[0];
        pop->nIndiv = nIndiv;
        pop->indiv.assign(nIndiv, SRec());
        pop->cand.assign(nIndiv, nullptr);
        pop->sires.assign(maxSires, nullptr);
        pop->dams.assign(maxDams, nullptr);
        pop->genStat.assign(ng + 2, SGenStat());
        sim->replicate.genomeUseCount.assign(nIndiv, 1);
        for (int i = 0; i < nIndiv; ++i) {
            pop->indiv[i].id = i + 1;
            pop->indiv[i].genomeUse = &sim->replicate.genomeUseCount[i];
        }
        sim->curPop = pop;
    }

    SRec& operator[](int i) { return pop->indiv[i]; }
};

// Uniforms drawn from MyRnd since it was seeded with seed (MyRnd moves on by one more).
inline int DrawsSince(unsigned long seed)
{
    double next = MyRnd.URand();
    CMyRnd ref;
    ref.InitSeed(seed);
    int k = 0;
    while (ref.URand() != next && k < 1000000) ++k;
    return k;
}

// The collected warnings, dumped (the collection is emptied).
inline std::string CollectedWarnings()
{
    testing::internal::CaptureStderr();
    PW.DumpWarn(nullptr);
    return testing::internal::GetCapturedStderr();
}
