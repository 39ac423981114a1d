// The large pedigree of the inbreeding and BLUP benchmarks: generations of 20,000, each from 200
// sires and 2,000 dams drawn at random among the previous generation; males at even positions.
#pragma once

#include <utility>
#include <vector>

#include "breeding/population.h"
#include "breeding/inbred.h"
#include "random/rnd.h"

constexpr int kPerGeneration = 20000;
constexpr int kSires = 200;
constexpr int kDams = 2000;
constexpr int kLitter = kPerGeneration / kDams;

// Statements of nGen generations, founders (generation 0) included, each bred by kSires and kDams.
inline SPopParams BenchStatements(int nGen)
{
    SPopParams s;
    s.ng = nGen - 1;
    s.plan.assign(static_cast<size_t>(nGen), SGenPlan());
    for (int g = 1; g < nGen; ++g) {
        s.plan[g].nSires = kSires;
        s.plan[g].nDams = kDams;
    }
    return s;
}

struct SBenchPopulation {
    SPopParams statements;
    CPopulation pop;
    SRec unknown;  // the unknown parent of the founders

    // nGen generations, founders (generation 0) included; only the founders are filled in.
    explicit SBenchPopulation(int nGen) : statements(BenchStatements(nGen)), pop(statements, 0.0)
    {
        unknown.inbF = -1.0;
        pop.nIndiv = nGen * kPerGeneration;
        pop.indiv.assign(static_cast<size_t>(pop.nIndiv), SRec());
        pop.sires.assign(kSires, nullptr);
        pop.dams.assign(kDams, nullptr);
        pop.nFounderPlaced = kPerGeneration;
        for (int i = 0; i < kPerGeneration; ++i) {
            SRec& r = pop.indiv[i];
            r.id = i + 1;
            r.sire = r.dam = &unknown;
            r.sex = i % 2 == 0;
        }
    }

    // The sires and dams of generation gen: distinct individuals of generation gen - 1 at random.
    void DrawParents(int gen, CMyRnd& rnd, std::vector<int>& pool)
    {
        DrawSex(gen, true, kSires, pop.sires.data(), rnd, pool);
        DrawSex(gen, false, kDams, pop.dams.data(), rnd, pool);
    }

    // Enters the parents of generation gen and its progeny (litters of kLitter per dam, sires in
    // turn) into the pedigree; returns the identifier of the generation's first individual.
    int EnterGeneration(int gen, CInbred& inbred, int& nextId)
    {
        inbred.AddParentTorPed(pop.sires.data(), kSires, pop.dams.data(), kDams);
        int firstId = nextId + 1;
        SRec* rec = &pop.indiv[static_cast<size_t>(gen) * kPerGeneration];
        for (int d = 0; d < kDams; ++d)
            for (int k = 0; k < kLitter; ++k, ++rec) {
                rec->id = ++nextId;
                rec->sex = k % 2 == 0;
                rec->sire = pop.sires[d % kSires];
                rec->dam = pop.dams[d];
                inbred.AddToPed(rec);
            }
        return firstId;
    }

private:
    // n distinct individuals of one sex of generation gen - 1; a dam's position is her mating.
    void DrawSex(int gen, bool male, int n, SRec** out, CMyRnd& rnd, std::vector<int>& pool)
    {
        int first = (gen - 1) * kPerGeneration + (male ? 0 : 1);
        pool.clear();
        for (int i = first; i < gen * kPerGeneration; i += 2) pool.push_back(i);
        for (int k = 0; k < n; ++k) {
            int pick = k + static_cast<int>(rnd.URand() * (pool.size() - k));
            std::swap(pool[k], pool[pick]);
            out[k] = &pop.indiv[pool[k]];
        }
    }
};
