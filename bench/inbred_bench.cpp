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

#include "bench_pedigree.h"
#include "support/numbers.h"

namespace {

constexpr int kRounds = 3;  // each figure is the best of this many runs

// What one pedigree run measured.
struct SResult {
    double seconds = 0;      // time in the pedigree calls
    double entering = 0;     // of which AllocMem, AddFounderToPed, AddParentTorPed and AddToPed
    double columnRows = 0;   // sum over generations of sire columns x parent rows in the table
    double meanF = 0;        // mean F of the last generation
};

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

SResult InbreedingRun(int nGen)
{
    SResult result;
    SBenchPopulation big(nGen);
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
        big.DrawParents(g, rnd, pool);
        start = Clock::now();
        int firstId = big.EnterGeneration(g, inbred, nextId);
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
