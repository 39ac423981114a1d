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

#include "breeding/population.h"
#include "evaluation/blup.h"
#include "evaluation/inbred.h"
#include "random/rnd.h"
#include "support/numbers.h"

namespace {

constexpr int kGenerations = 10;
constexpr int kPerGeneration = 20000;
constexpr int kSires = 200;
constexpr int kDams = 2000;
constexpr int kLitter = kPerGeneration / kDams;
constexpr int kRounds = 3;
constexpr double kVarA = 0.3, kVarRes = 0.7;
constexpr double kTargetSeconds = 0.25;

using Clock = std::chrono::steady_clock;

// The pedigree with its values; males at even positions of each generation.
struct SBenchPedigree {
    CPopulation pop;
    SRec unknown;
    CInbred inbred;

    SBenchPedigree()
    {
        unknown.inbF = -1.0;
        pop.ng = kGenerations - 1;
        pop.genInfo.assign(kGenerations, SGenInfo());
        for (int g = 1; g < kGenerations; ++g) {
            pop.genInfo[g].nSires = kSires;
            pop.genInfo[g].nDams = kDams;
        }
        pop.nIndiv = kGenerations * kPerGeneration;
        pop.indiv.assign(static_cast<size_t>(pop.nIndiv), SRec());
        pop.sires.assign(kSires, nullptr);
        pop.dams.assign(kDams, nullptr);
        pop.nFounderPlaced = kPerGeneration;
        CMyRnd rnd;
        rnd.InitSeed(20261123UL);
        for (int i = 0; i < kPerGeneration; ++i) {
            SRec& r = pop.indiv[i];
            r.id = i + 1;
            r.sire = r.dam = &unknown;
            r.sex = i % 2 == 0;
            r.polyVal = std::sqrt(kVarA) * rnd.NRand();
        }
        inbred.AllocMem(&pop, &pop, 1, false);
        inbred.AddFounderToPed(&pop, false);
        std::vector<int> pool;
        int nextId = kPerGeneration;
        for (int g = 1; g < kGenerations; ++g) {
            DrawParents(g, true, kSires, pop.sires.data(), rnd, pool);
            DrawParents(g, false, kDams, pop.dams.data(), rnd, pool);
            inbred.AddParentTorPed(pop.sires.data(), kSires, pop.dams.data(), kDams);
            int firstId = nextId + 1;
            SRec* rec = &pop.indiv[static_cast<size_t>(g) * kPerGeneration];
            for (int d = 0; d < kDams; ++d)
                for (int k = 0; k < kLitter; ++k, ++rec) {
                    rec->id = ++nextId;
                    rec->sex = k % 2 == 0;
                    rec->sire = pop.sires[d % kSires];
                    rec->dam = pop.dams[d];
                    inbred.AddToPed(rec);
                }
            inbred.ComputeF(firstId, false);
            for (SRec* r = rec - kPerGeneration; r != rec; ++r) {
                const double mendelian = std::sqrt(0.5 - 0.25 * (r->sire->inbF + r->dam->inbF));
                r->polyVal = (r->sire->polyVal + r->dam->polyVal) / 2 + std::sqrt(kVarA) * mendelian * rnd.NRand();
            }
        }
        for (SRec& r : pop.indiv) r.phen = r.polyVal + std::sqrt(kVarRes) * rnd.NRand();
    }

    void DrawParents(int gen, bool male, int n, SRec** out, CMyRnd& rnd, std::vector<int>& pool)
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
