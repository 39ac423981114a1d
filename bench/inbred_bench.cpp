// Inbreeding of a large pedigree through the pedigree's own calls: each generation of 20,000
// comes from 200 sires and 2,000 dams drawn at random among the previous generation's progeny.
// Prints the time for 100,000 and for 200,000 animals and their ratio. Each sire's relationship
// column spans every parent row entered so far, so the work grows with the sire columns times
// the parent rows of each generation; that figure and the ComputeF time per unit of it are
// printed too.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "breeding/population.h"
#include "evaluation/inbred.h"
#include "random/rnd.h"
#include "support/numbers.h"

namespace {

constexpr int kPerGeneration = 20000;
constexpr int kSires = 200;
constexpr int kDams = 2000;
constexpr int kLitter = kPerGeneration / kDams;
constexpr int kRounds = 3;  // each figure is the best of this many runs

// What one pedigree run measured.
struct SResult {
    double seconds = 0;      // time in the pedigree calls
    double entering = 0;     // of which AllocMem, AddFounderToPed, AddParentTorPed and AddToPed
    double columnRows = 0;   // sum over generations of sire columns x parent rows in the table
    double meanF = 0;        // mean F of the last generation
};

// A population of nGen generations of kPerGeneration (founders included), males at even indices.
struct BigPopulation {
    CPopulation pop;
    SRec unknown;

    explicit BigPopulation(int nGen)
    {
        unknown.inbF = -1.0;
        pop.ng = nGen - 1;
        pop.genInfo.assign(static_cast<size_t>(nGen), SGenInfo());
        for (int g = 1; g < nGen; ++g) {
            pop.genInfo[g].nSires = kSires;
            pop.genInfo[g].nDams = kDams;
        }
        pop.nIndiv = nGen * kPerGeneration;
        pop.indiv.assign(static_cast<size_t>(pop.nIndiv), SRec());
        pop.sires.assign(kSires, nullptr);
        pop.dams.assign(kDams, nullptr);
        pop.nFounderPlaced = kPerGeneration;
        for (int i = 0; i < kPerGeneration; ++i) {
            pop.indiv[i].id = i + 1;
            pop.indiv[i].sire = pop.indiv[i].dam = &unknown;
        }
    }

    // n distinct individuals of generation gen - 1 of one sex, at random; a dam's position is her mating.
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
};

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

SResult InbreedingRun(int nGen)
{
    SResult result;
    BigPopulation big(nGen);
    CPopulation& pop = big.pop;
    CMyRnd rnd;
    rnd.InitSeed(20240611UL);
    std::vector<int> pool;
    CInbred inbred;

    Clock::time_point start = Clock::now();
    inbred.AllocMem(&pop, &pop, 1, false);
    inbred.AddFounderToPed(&pop, false);
    result.entering = Since(start);
    int nextId = kPerGeneration;
    for (int g = 1; g < nGen; ++g) {
        big.DrawParents(g, true, kSires, pop.sires.data(), rnd, pool);
        big.DrawParents(g, false, kDams, pop.dams.data(), rnd, pool);
        start = Clock::now();
        inbred.AddParentTorPed(pop.sires.data(), kSires, pop.dams.data(), kDams);
        int firstId = nextId + 1;
        SRec* rec = &pop.indiv[static_cast<size_t>(g) * kPerGeneration];
        for (int d = 0; d < kDams; ++d)
            for (int k = 0; k < kLitter; ++k, ++rec) {
                rec->id = ++nextId;
                rec->sire = pop.sires[d % kSires];
                rec->dam = pop.dams[d];
                inbred.AddToPed(rec);
            }
        result.entering += Since(start);
        start = Clock::now();
        inbred.ComputeF(firstId, false);
        result.seconds += Since(start);
        result.columnRows += static_cast<double>(kSires) * g * (kSires + kDams);
    }
    inbred.FreeMem();
    inbred.FreeMemRecLink();
    result.seconds += result.entering;

    double sum = 0;
    for (int i = (nGen - 1) * kPerGeneration; i < nGen * kPerGeneration; ++i) sum += pop.indiv[i].inbF;
    result.meanF = sum / kPerGeneration;
    return result;
}

SResult BestRun(int nGen)
{
    SResult best = InbreedingRun(nGen);
    for (int round = 1; round < kRounds; ++round) {
        SResult r = InbreedingRun(nGen);
        if (r.seconds < best.seconds) best = r;
    }
    return best;
}


void PrintRun(const char* label, const SResult& r)
{
    printf("%s: %.1f ms (entering %.2f ms, ComputeF %.1f ms), mean F of the last generation %.4f\n", label,
           r.seconds * 1e3, r.entering * 1e3, (r.seconds - r.entering) * 1e3, r.meanF);
}

}  // namespace

int main()
{
    printf("Inbreeding, %s sires x %s dams x litters of %d per generation\n", FormatNum(kSires),
           FormatNum(kDams), kLitter);
    SResult half = BestRun(5), full = BestRun(10);
    PrintRun("100,000 animals (5 generations) ", half);
    PrintRun("200,000 animals (10 generations)", full);
    printf("ratio 200k/100k: %.2f (linear = 2)\n", full.seconds / half.seconds);
    printf("Entering ratio                  : %.2f (linear = 2)\n", full.entering / half.entering);
    printf("Sire columns x parent rows      : %.1f M and %.1f M, ratio %.2f\n", half.columnRows / 1e6,
           full.columnRows / 1e6, full.columnRows / half.columnRows);
    printf("ComputeF per column row         : %.2f ns and %.2f ns (equal = linear in the rows of a column)\n",
           (half.seconds - half.entering) / half.columnRows * 1e9,
           (full.seconds - full.entering) / full.columnRows * 1e9);
    return 0;
}
