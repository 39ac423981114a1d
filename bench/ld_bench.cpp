// LD by distance class on the 2,000 founders of a population:
//   - bench/ld_20k.prm: 20,000 markers, pairs up to 5 cM, with 1 and with 2 worker threads;
//   - bench/ld_50k.prm: every pair within 1 cM of 50,000 bi-allelic markers, against 2.05 s, the
//     time of a bit-packed, vectorised popcount reference in numpy on this machine.
//   ld_bench [20k parameter file] [50k parameter file]
#include <string>

#include "bench_util.h"

namespace {

constexpr double kReferenceSeconds = 2.05;

struct SLDFigures {
    double seconds = 0;   // one ComputeLDStat call
    int markers = 0;      // accepted markers
    long long pairs = 0;  // marker pairs counted
};

// Founders of the file's population, made once; then ComputeLDStat of generation 0 timed for
// each thread count.
std::vector<SLDFigures> TimeLD(const char* path, const std::vector<int>& threads)
{
    auto sim = BenchEngine(path, threads.front());
    std::vector<SLDFigures> figures;
    CSilencedStdout quiet;
    PrepareFirstPopulation(*sim);
    const int last = sim->pops[0].genInfo[0].last;
    for (int t : threads) {
        sim->nthread = t;
        auto start = std::chrono::steady_clock::now();
        ComputeLDStat(sim->genome, sim->ldWork, *sim->curPop, sim->nthread, 0, 0, last);
        SLDFigures f;
        f.seconds = SecondsSince(start);
        f.markers = static_cast<int>(sim->ldWork.markers.size());
        for (const SLDBin& b : sim->pops[0].genStat[0].ldBin) f.pairs += b.nPair;
        figures.push_back(f);
    }
    sim->FreePopMem();
    return figures;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string dir = DAVOK_BENCH_DIR;
    const std::string path20k = argc > 1 ? argv[1] : dir + "/ld_20k.prm";
    const std::string path50k = argc > 2 ? argv[2] : dir + "/ld_50k.prm";

    std::vector<SLDFigures> scaling = TimeLD(path20k.c_str(), {1, 2});
    printf("Parameter file                         : %s\n", path20k.c_str());
    printf("Accepted markers, pairs up to 5 cM     : %d, %lld\n", scaling[0].markers, scaling[0].pairs);
    printf("LD of 2,000 animals, 1 thread          : %.3f s\n", scaling[0].seconds);
    printf("LD of 2,000 animals, 2 threads         : %.3f s\n", scaling[1].seconds);
    printf("Speed-up of 2 threads                  : %.2f (target at least 1.7)\n",
           scaling[0].seconds / scaling[1].seconds);

    std::vector<SLDFigures> dense = TimeLD(path50k.c_str(), {1, 2});
    printf("Parameter file                         : %s\n", path50k.c_str());
    printf("Accepted markers, pairs within 1 cM    : %d, %lld\n", dense[0].markers, dense[0].pairs);
    for (int t = 0; t < 2; ++t)
        printf("LD of 2,000 animals, %d thread%s         : %.3f s; reference %.2f s / this = %.2f\n", t + 1,
               t ? "s" : " ", dense[t].seconds, kReferenceSeconds, kReferenceSeconds / dense[t].seconds);
    return 0;
}
