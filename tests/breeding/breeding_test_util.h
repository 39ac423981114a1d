// A hand-filled population for the tests of selection, culling and mating designs.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "breeding/breeding.h"
#include "random/rnd.h"
#include "support/hand_population.h"
#include "support/messages.h"

// One hand-made population "p" and the state the breeding operations change: nIndiv individuals
// with identifiers 1..nIndiv, each holding its own genome use counter at 1, and room for maxSires
// sires and maxDams dams. A test sets the population's statements through `prm`.
struct TestPopulation {
    SPopParams statements;  // the population's statements, owned here so that a test may change them
    SPopParams* prm = &statements;
    CPopulation population{statements, 0.0};
    CPopulation* pop = &population;
    SReplicate replicate;
    CGenomePool pool;
    SMatingPlan mating;
    CInbred inbred;

    TestPopulation(int nIndiv, int maxSires, int maxDams, int ng = 2) : statements(HandStatements(ng))
    {
        prm->maxSires = maxSires;
        prm->maxDams = maxDams;
        pop->nIndiv = nIndiv;
        pop->indiv.assign(nIndiv, SRec());
        pop->cand.assign(nIndiv, nullptr);
        pop->sires.assign(maxSires, nullptr);
        pop->dams.assign(maxDams, nullptr);
        pop->genStat.assign(ng + 2, SGenStat());
        replicate.genomeUseCount.assign(nIndiv, 1);
        for (int i = 0; i < nIndiv; ++i) {
            pop->indiv[i].id = i + 1;
            pop->indiv[i].genomeUse = &replicate.genomeUseCount[i];
        }
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
