// BLUP of a 200,000-animal pedigree through the program's own solver: 10 generations of 20,000,
// each from 200 sires and 2,000 dams drawn at random among the previous generation, with
// inbreeding from the pedigree. True breeding values follow the pedigree (Mendelian sampling
// reduced by the parents' inbreeding), phenotypes add a residual for h2 = 0.3. Evaluated once
// with every animal recorded and once with the males unrecorded (no_male_rec); prints the best
// time per evaluation of three, the iterations, the solver's memory and the accuracy reached.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "bench_pedigree.h"
#include "evaluation/blup.h"
#include "support/numbers.h"

namespace {

constexpr int kGenerations = 10;
constexpr int kRounds = 3;
constexpr double kVarA = 0.3, kVarRes = 0.7;
constexpr double kTargetSeconds = 0.25;

using Clock = std::chrono::steady_clock;

// The pedigree with its values; males at even positions of each generation.
struct SBenchPedigree : SBenchPopulation {
    CInbred inbred;

    SBenchPedigree() : SBenchPopulation(kGenerations)
    {
        CMyRnd rnd;
        rnd.InitSeed(20261123UL);
        for (int i = 0; i < kPerGeneration; ++i) pop.indiv[i].polyVal = std::sqrt(kVarA) * rnd.NRand();
        inbred.AllocMem(&pop, &pop, 1, false);
        inbred.AddFounderToPed(&pop, false);
        std::vector<int> pool;
        int nextId = kPerGeneration;
        for (int g = 1; g < kGenerations; ++g) {
            DrawParents(g, rnd, pool);
            int firstId = EnterGeneration(g, inbred, nextId);
            inbred.ComputeF(firstId, false);
            SRec* begin = pop.indiv.data() + static_cast<size_t>(g) * kPerGeneration;
            for (SRec* r = begin; r != begin + kPerGeneration; ++r) {
                const double mendelian = std::sqrt(0.5 - 0.25 * (r->sire->inbF + r->dam->inbF));
                r->polyVal = (r->sire->polyVal + r->dam->polyVal) / 2 + std::sqrt(kVarA) * mendelian * rnd.NRand();
            }
        }
        for (SRec& r : pop.indiv) r.phen = r.polyVal + std::sqrt(kVarRes) * rnd.NRand();
    }

    void SetRecords(bool malesRecorded)
    {
        for (SRec& r : pop.indiv) r.hasPhen = malesRecorded || r.sex == 0;
    }

    // Correlation of EBV and TBV over the last generation.
    double LastGenerationAccuracy() const
    {
        double se = 0, st = 0, see = 0, stt = 0, set = 0;
        const int n = kPerGeneration;
        for (int i = pop.nIndiv - n; i < pop.nIndiv; ++i) {
            const SRec& r = pop.indiv[i];
            se += r.ebv;
            st += r.polyVal;
            see += r.ebv * r.ebv;
            stt += r.polyVal * r.polyVal;
            set += r.ebv * r.polyVal;
        }
        return (set - se * st / n) / std::sqrt((see - se * se / n) * (stt - st * st / n));
    }
};

size_t Evaluate(SBenchPedigree& ped, bool malesRecorded, const char* label)
{
    ped.SetRecords(malesRecorded);
    CMME mme;
    double best = 1e30;
    for (int round = 0; round < kRounds; ++round) {
        Clock::time_point start = Clock::now();
        mme.SolveMME(&ped.inbred, kVarRes, kVarA);
        best = std::fmin(best, std::chrono::duration<double>(Clock::now() - start).count());
        printf("\n");
    }
    printf("%s: %.3f s per evaluation (best of %d), %d iterations, %s, accuracy of the last generation %.3f\n",
           label, best, kRounds, mme.Iterations(), mme.Converged() ? "converged" : "NOT converged",
           ped.LastGenerationAccuracy());
    printf("  target %.2f s: %s\n", kTargetSeconds, best < kTargetSeconds ? "met" : "MISSED");
    return mme.MemoryBytes();
}

}  // namespace

int main()
{
    printf("BLUP, %s animals: %d generations of %s from %d sires x %d dams\n",
           FormatNum(kGenerations * kPerGeneration), kGenerations, FormatNum(kPerGeneration), kSires, kDams);
    SBenchPedigree ped;
    Evaluate(ped, true, "every animal recorded ");
    const size_t bytes = Evaluate(ped, false, "males without records");
    printf("Solver memory: %.1f MB (%.0f bytes per animal)\n", bytes / 1e6,
           static_cast<double>(bytes) / (kGenerations * kPerGeneration));
    return 0;
}
