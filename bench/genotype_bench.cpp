// The marker genotypes of 10,000 founders x 20,000 markers (bench/genotype_10k.prm) written
// through SaveGenotype as text, with /snp_code and with /binary, each against a plain fwrite of
// the same number of bytes into the same folder.
//   genotype_bench [parameter file]
#include <algorithm>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

#include "bench_util.h"
#include "support/files.h"

namespace {

struct SForm {
    const char* name;
    int genoOpt;
};

// Processor seconds (user and system) of this process so far: on a shared machine the wall
// time of a step also holds the time other processes had the core.
double ProcessorSeconds()
{
    struct rusage u;
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

struct STiming {
    double wall = 0, processor = 0;
};

// Writes generation 0 into path in one form, file closed included.
STiming TimeGenotypeFile(SimClass& sim, const std::string& path)
{
    CPopulation& p = *sim.curPop;
    sim.files.genoMrkFp = Myfopen(path.c_str(), "w");
    const double processor = ProcessorSeconds();
    auto start = std::chrono::steady_clock::now();
    SaveGenotype(sim.Output(), p, 0, p.genInfo[0].last, 0, false);
    MyFclose(sim.files.genoMrkFp);
    STiming t{SecondsSince(start), ProcessorSeconds() - processor};
    sim.files.genoMrkFp = nullptr;
    return t;
}

// Writes `bytes` bytes into path in blocks of 3 MiB with plain fwrite.
STiming TimeFwrite(const std::string& path, long long bytes)
{
    std::vector<char> block(3145728, '1');
    FILE* fp = fopen(path.c_str(), "w");
    const double processor = ProcessorSeconds();
    auto start = std::chrono::steady_clock::now();
    for (long long done = 0; done < bytes; done += static_cast<long long>(block.size())) {
        const long long n = std::min(bytes - done, static_cast<long long>(block.size()));
        fwrite(block.data(), 1, static_cast<size_t>(n), fp);
    }
    fclose(fp);
    return {SecondsSince(start), ProcessorSeconds() - processor};
}

long long FileSize(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    std::string path = argc > 1 ? argv[1] : std::string(DAVOK_BENCH_DIR) + "/genotype_10k.prm";
    char folderTemplate[] = "/tmp/davok_genotype_bench_XXXXXX";
    const std::string folder = mkdtemp(folderTemplate);

    printf("Parameter file : %s\n", path.c_str());
    const SForm forms[] = {{"text", 0}, {"/snp_code", kGenoSnpCode}, {"/binary", kGenoBinary}};
    for (const SForm& f : forms) {
        // The same founders in every form: the same file and seed, only the genotype form differs.
        auto sim = BenchEngine(path.c_str(), 2, [&](SParams& prm) { prm.pops[0].out.genoOpt = f.genoOpt; });
        {
            CSilencedStdout quiet;
            PrepareFirstPopulation(*sim);
            ChooseFromRecentPop(sim->prm.global, sim->replicate, sim->genomePool, sim->pops, *sim->curPop);
        }
        if (&f == forms)
            printf("Genotypes      : %d individuals x %d markers\n", sim->pops[0].genInfo[0].last + 1, sim->genome.nMrkTot);
        const std::string genoPath = folder + "/genotypes.txt", plainPath = folder + "/plain.txt";
        // Each write twice, alternating, every file removed once written, and the faster of
        // each pair counts: both then meet the page cache in the same state.
        STiming geno, plain;
        long long bytes = 0;
        for (int round = 0; round < 2; ++round) {
            const STiming g = TimeGenotypeFile(*sim, genoPath);
            bytes = FileSize(genoPath);
            remove(genoPath.c_str());
            const STiming w = TimeFwrite(plainPath, bytes);
            remove(plainPath.c_str());
            if (round == 0 || g.wall < geno.wall) geno = g;
            if (round == 0 || w.wall < plain.wall) plain = w;
        }
        const double mb = bytes / 1048576.0;
        printf("%-10s: %6.1f MB in %5.2f s = %6.1f MB/s; fwrite %6.1f MB/s; ratio %.2f (target >= 0.5)\n", f.name, mb,
               geno.wall, mb / geno.wall, mb / plain.wall, plain.wall / geno.wall);
        printf("%-10s  processor time: %5.2f s = %6.1f MB/s; fwrite %6.1f MB/s; ratio %.2f\n", "", geno.processor,
               mb / geno.processor, mb / plain.processor, plain.processor / geno.processor);
    }
    rmdir(folder.c_str());
    return 0;
}
