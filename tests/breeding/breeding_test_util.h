// A hand-filled population for the tests of selection, culling and mating designs.
#pragma once

#include <memory>

#include "app/simclass.h"
#include "random/rnd.h"

// An engine with one population "p": nIndiv individuals with identifiers 1..nIndiv, each holding
// its own genome use counter at 1, and room for maxSires sires and maxDams dams.
struct TestPopulation {
    std::unique_ptr<SimClass> sim = std::make_unique<SimClass>();
    CPopulation* pop = nullptr;

    TestPopulation(int nIndiv, int maxSires, int maxDams, int ng = 2)
    {
        sim->pops.resize(1);
        sim->npop = 1;
        pop = &sim->pops[0];
        pop->name = "p";
        pop->ng = ng;
        pop->nIndiv = nIndiv;
        pop->maxSires = maxSires;
        pop->maxDams = maxDams;
        pop->indiv.assign(nIndiv, SRec());
        pop->cand.assign(nIndiv, nullptr);
        pop->sires.assign(maxSires, nullptr);
        pop->dams.assign(maxDams, nullptr);
        pop->genInfo.assign(ng + 1, SGenInfo());
        pop->genStat.assign(ng + 2, SGenStat());
        sim->genomeUseCount.assign(nIndiv, 1);
        for (int i = 0; i < nIndiv; ++i) {
            pop->indiv[i].id = i + 1;
            pop->indiv[i].genomeUse = &sim->genomeUseCount[i];
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
