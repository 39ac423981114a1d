// The historical population of bench/hp_1000x1000.prm with 1 and with 2 worker threads,
// against a plain memory copy of the allele bytes its generations write, and its peak memory
// against the haplotype storage of two generations.
//   hp_bench [parameter file]
#include <algorithm>
#include <cstring>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "bench_util.h"

namespace {

// Runs the historical population once with `threads` workers; its console output goes nowhere.
double TimeHistory(const char* path, int threads, long long& alleleBytes, long long& twoGenerations)
{
    auto sim = BenchEngine(path, threads);
    double seconds;
    {
        CSilencedStdout quiet;
        sim->InitializeRun();
        sim->AllocPopMem();
        sim->InitializeRep();
        auto start = std::chrono::steady_clock::now();
        HPSimulator(sim->HistoricalRun(), 1);
        seconds = SecondsSince(start);
    }

    long long perIndividual = 2LL * sim->genome.nLociTot * sizeof(uint16_t);
    alleleBytes = 0;
    for (int g = 1; g <= sim->prm.hist.nGen; ++g) alleleBytes += perIndividual * sim->prm.hist.Size(g);
    twoGenerations = 2LL * perIndividual * sim->prm.hist.LargestSize();
    sim->FreePopMem();
    return seconds;
}

// Copies one generation's worth of bytes into the other buffer, as often as the run writes it.
double TimeCopy(long long alleleBytes, long long twoGenerations)
{
    size_t half = static_cast<size_t>(twoGenerations / 2);
    std::vector<char> a(half, 1), b(half, 2);
    auto start = std::chrono::steady_clock::now();
    for (long long done = 0; done < alleleBytes; done += static_cast<long long>(half)) {
        size_t n = static_cast<size_t>(std::min<long long>(static_cast<long long>(half), alleleBytes - done));
        memcpy(b.data(), a.data(), n);
        std::swap(a, b);
    }
    volatile char sink = a[half / 2];
    (void)sink;
    return SecondsSince(start);
}

}  // namespace

int main(int argc, char** argv)
{
    std::string path = argc > 1 ? argv[1] : std::string(DAVOK_BENCH_DIR) + "/hp_1000x1000.prm";
    long long alleleBytes = 0, twoGenerations = 0;
    double one = TimeHistory(path.c_str(), 1, alleleBytes, twoGenerations);
    double two = TimeHistory(path.c_str(), 2, alleleBytes, twoGenerations);
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    double peakMB = usage.ru_maxrss / 1024.0;
    double copy = TimeCopy(alleleBytes, twoGenerations);

    double storageMB = twoGenerations / 1048576.0;
    printf("Parameter file                       : %s\n", path.c_str());
    printf("Allele bytes written by generations  : %.1f GB\n", alleleBytes / 1e9);
    printf("Historical run, 1 thread             : %.2f s\n", one);
    printf("Historical run, 2 threads            : %.2f s\n", two);
    printf("Plain memory copy of the same bytes  : %.2f s\n", copy);
    printf("Run (2 threads) / copy               : %.2f (target at most 2)\n", two / copy);
    printf("Speed-up of 2 threads over 1         : %.2f (target at least 1.6)\n", one / two);
    printf("Peak memory                          : %.1f MB\n", peakMB);
    printf("Two generations' haplotypes          : %.1f MB\n", storageMB);
    printf("Peak / two generations               : %.2f (target below 2.5)\n", peakMB / storageMB);
    return 0;
}
