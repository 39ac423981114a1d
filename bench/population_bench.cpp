// The recent population of bench/pop_10k.prm (10 generations of 10,000 progeny) with 1 and with
// 2 worker threads: time of the generations and of the progeny workers, against a plain memory
// copy of the progeny's allele bytes, and peak memory against the haplotypes alive at once.
//   population_bench [parameter file]
#include <algorithm>
#include <cstring>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "bench_util.h"

namespace {

struct SFigures {
    double generations = 0;     // the population's run, founders to the last generation
    double progeny = 0;         // of which the progeny workers
    long long alleleBytes = 0;  // allele bytes of all progeny
    long long aliveBytes = 0;   // haplotypes of the largest parents plus progeny generation
};

// The replicate's steps up to the founders, then the population's generations, timed; console
// output goes nowhere.
SFigures TimePopulation(const char* path, int threads)
{
    auto sim = BenchEngine(path, threads);
    SFigures f;
    {
        CSilencedStdout quiet;
        PrepareFirstPopulation(*sim);
        auto start = std::chrono::steady_clock::now();
        sim->RunRep(1);
        f.generations = SecondsSince(start);
    }

    const CPopulation& p = sim->pops[0];
    long long perIndividual = 2LL * sim->genome.nLociTot * sizeof(uint16_t);
    int largest = 0;
    for (int g = 1; g <= p.prm.ng; ++g) {
        f.alleleBytes += perIndividual * p.genInfo[g].nPrg;
        largest = std::max(largest, p.genInfo[g].nPrg + p.prm.plan[g].nSires + p.prm.plan[g].nDams);
    }
    f.aliveBytes = perIndividual * largest;
    f.progeny = sim->progenyTiming.seconds;
    sim->FreePopMem();
    return f;
}

// Copies the progeny's allele bytes once, one individual-sized block after another.
double TimeCopy(long long alleleBytes, long long blockBytes)
{
    std::vector<char> a(static_cast<size_t>(blockBytes), 1), b(static_cast<size_t>(blockBytes), 2);
    auto start = std::chrono::steady_clock::now();
    for (long long done = 0; done < alleleBytes; done += blockBytes) {
        memcpy(b.data(), a.data(), static_cast<size_t>(blockBytes));
        std::swap(a, b);
    }
    volatile char sink = a[static_cast<size_t>(blockBytes / 2)];
    (void)sink;
    return SecondsSince(start);
}

}  // namespace

int main(int argc, char** argv)
{
    std::string path = argc > 1 ? argv[1] : std::string(DAVOK_BENCH_DIR) + "/pop_10k.prm";
    SFigures one = TimePopulation(path.c_str(), 1);
    SFigures two = TimePopulation(path.c_str(), 2);
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    double peakMB = usage.ru_maxrss / 1024.0;
    // The same bytes in blocks of one generation's progeny, as the workers write them.
    double copy = TimeCopy(two.alleleBytes, two.alleleBytes / 10);

    double aliveMB = two.aliveBytes / 1048576.0;
    printf("Parameter file                          : %s\n", path.c_str());
    printf("Allele bytes of all progeny             : %.2f GB\n", two.alleleBytes / 1e9);
    printf("Generations, 1 thread                   : %.2f s (progeny workers %.2f s)\n", one.generations,
           one.progeny);
    printf("Generations, 2 threads                  : %.2f s (progeny workers %.2f s)\n", two.generations,
           two.progeny);
    printf("Plain memory copy of the progeny bytes  : %.2f s\n", copy);
    printf("Generations (2 threads) / copy          : %.2f (target at most 3)\n", two.generations / copy);
    printf("Speed-up of 2 threads in progeny making : %.2f (target at least 1.7)\n", one.progeny / two.progeny);
    printf("Peak memory                             : %.1f MB\n", peakMB);
    printf("Haplotypes alive at once                : %.1f MB\n", aliveMB);
    printf("Peak / haplotypes alive at once         : %.2f (target below 2)\n", peakMB / aliveMB);
    return 0;
}
