// Annealing of matings for minimum inbreeding (minf) with 200 sires and 2,000 dams over a
// synthetic coancestry table: time of one generation's annealing and moves tried per second.
// The table is filled here, as the pedigree would fill it, so the figures are those of the
// mating search alone.
#include <chrono>
#include <cstdio>

#include "app/simclass.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

constexpr int kSires = 200;
constexpr int kDams = 2000;
constexpr int kGenerations = 3;  // annealing runs timed, each from a new random mating list

// Coancestries of a small closed breeding population: a background of distant relationship,
// some half-sib pairs (+1/8) and a few full-sib pairs (+1/4).
void FillCoancestry(SMatingPlan& plan)
{
    CMyRnd rnd;
    rnd.InitSeed(2024);
    for (int s = 0; s < kSires; ++s)
        for (int d = 0; d < kDams; ++d) {
            double u = rnd.URand();
            double c = 0.05 * rnd.URand();
            if (u < 0.01)
                c += 0.25;
            else if (u < 0.06)
                c += 0.125;
            plan.C(s, d) = c;
        }
}

// One population "bench" of kSires sires and kDams dams, mated by minimum coancestry.
SParams BenchStatements()
{
    SParams prm;
    SPopParams& st = prm.pops.emplace_back();
    st.name = "bench";
    st.md = kMdMinf;
    st.ng = 1;
    st.maxSires = kSires;
    st.maxDams = kDams;
    st.plan.assign(2, SGenPlan());
    st.plan[1].nSires = kSires;
    st.plan[1].nDams = kDams;
    return prm;
}

void SetUpPopulation(SimClass& sim)
{
    CPopulation& p = sim.pops[0];
    p.indiv.assign(kSires + kDams, SRec());
    p.sires.assign(kSires, nullptr);
    p.dams.assign(kDams, nullptr);
    SGenInfo& g = p.genInfo[1];
    CMyRnd litters;
    litters.InitSeed(7);
    for (int d = 0; d < kDams; ++d) g.litterSize.push_back(static_cast<int16_t>(1 + 3 * litters.URand()));
    for (int i = 0; i < kSires; ++i) p.sires[i] = &p.indiv[i];
    for (int i = 0; i < kDams; ++i) p.dams[i] = &p.indiv[kSires + i];
    sim.curPop = &p;
}

}  // namespace

int main()
{
    SimClass sim(BenchStatements());
    SetUpPopulation(sim);
    AllocSAMem(sim.mating, *sim.curPop);
    FillCoancestry(sim.mating);
    MyRnd.InitSeed(5489UL);

    printf("minf annealing, %d sires x %s dams, synthetic coancestry table\n", kSires, FormatNum(kDams));
    double seconds = 0;
    long long moves = 0;
    for (int gen = 1; gen <= kGenerations; ++gen) {
        printf("Generation %d:", gen);
        fflush(stdout);
        auto start = std::chrono::steady_clock::now();
        RandomMatingDesign(sim.mating, *sim.curPop, 1);
        SAnnealOutcome out = AnnealMatingList(sim.mating, *sim.curPop, 1, false);
        std::chrono::duration<double> lap = std::chrono::steady_clock::now() - start;
        printf("  %.3f s, %d temperature steps, %s moves\n", lap.count(), out.steps,
               FormatNum(static_cast<unsigned long long>(out.moves)));
        seconds += lap.count();
        moves += out.moves;
    }
    PW.DumpWarn(nullptr);
    printf("Time per generation : %.3f s\n", seconds / kGenerations);
    printf("Moves per second    : %s\n", FormatNum(static_cast<unsigned long long>(moves / seconds)));
    FreeSAMem(sim.mating);
    return 0;
}
