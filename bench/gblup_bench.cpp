// Genomic evaluation of davok-gblup: 5,000 animals x 20,000 markers by GBLUP and by SNP-BLUP, and
// 20,000 animals x 50,000 markers by SNP-BLUP, each in a child process so that its peak memory
// is its own. The genotypes come from a small pedigree of random matings (generations of equal
// size, parental haplotypes passed on in segments), so the animals are related as in a breeding
// population; the last generation has no records. Variances are given (h2 = 0.3), as for the
// reference of 4.3 s for the first case.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

#include "model.h"

namespace {

constexpr double kReferenceSeconds = 4.3;
constexpr size_t kSegment = 500;  // markers inherited together from one parental haplotype

// Animals in generations of `perGeneration`, each from two random parents of the one before.
gblup::Model SimulatedPopulation(size_t nAnimal, size_t nMarker, size_t perGeneration, std::mt19937_64& rng)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> freq(nMarker);
    for (double& p : freq) p = 0.05 + 0.45 * unit(rng);
    std::vector<uint8_t> parents(2 * perGeneration * nMarker), children(parents.size());
    for (size_t h = 0; h < 2 * perGeneration; ++h)
        for (size_t j = 0; j < nMarker; ++j) parents[h * nMarker + j] = unit(rng) < freq[j];
    std::vector<uint8_t> codes(nAnimal * nMarker);
    std::uniform_int_distribution<size_t> pick(0, perGeneration - 1);
    for (size_t a = 0; a < nAnimal; ++a) {
        const size_t slot = a % perGeneration;
        for (size_t gamete = 0; gamete < 2; ++gamete) {
            const uint8_t* parent = &parents[2 * pick(rng) * nMarker];
            uint8_t* out = &children[(2 * slot + gamete) * nMarker];
            for (size_t j0 = 0; j0 < nMarker; j0 += kSegment) {
                const uint8_t* strand = parent + (unit(rng) < 0.5 ? 0 : nMarker);
                for (size_t j = j0; j < std::min(nMarker, j0 + kSegment); ++j) out[j] = strand[j];
            }
        }
        for (size_t j = 0; j < nMarker; ++j)
            codes[a * nMarker + j] = children[2 * slot * nMarker + j] + children[(2 * slot + 1) * nMarker + j];
        if (slot + 1 == perGeneration) parents.swap(children);
    }
    // 1% of the markers are QTL; h2 = 0.3; the last generation is unrecorded.
    std::normal_distribution<double> normal;
    std::vector<double> tbv(nAnimal, 0.0);
    for (size_t j = 0; j < nMarker; j += 100) {
        const double effect = normal(rng);
        for (size_t a = 0; a < nAnimal; ++a) tbv[a] += effect * codes[a * nMarker + j];
    }
    double mean = 0, var = 0;
    for (double t : tbv) mean += t / nAnimal;
    for (double t : tbv) var += (t - mean) * (t - mean) / nAnimal;
    const double h2 = 0.3, residualSd = std::sqrt(var * (1 - h2) / h2);
    gblup::Model m;
    m.lambda = (1 - h2) / h2;
    m.ridge = 0.01;
    for (size_t a = 0; a < nAnimal; ++a) {
        m.id.push_back(static_cast<long>(a + 1));
        m.sire.push_back(-1);
        m.dam.push_back(-1);
        m.genoRow.push_back(static_cast<int>(a));
        m.samplingShare.push_back(0);
        m.recorded.push_back(a < nAnimal - perGeneration);
        m.y.push_back(m.recorded.back() ? tbv[a] + residualSd * normal(rng) : 0.0);
    }
    m.markers = gblup::CentreMarkers(std::move(codes), nAnimal, nMarker);
    return m;
}

// Processor time of all threads of this process.
double ProcessorSeconds()
{
    struct rusage u {};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + 1e-6 * (u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

// Runs one evaluation in a child process and prints its time and peak memory; returns the time.
double Case(const char* label, size_t nAnimal, size_t nMarker, size_t perGeneration, bool gblupMethod)
{
    int pipeFd[2];
    if (pipe(pipeFd) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        close(pipeFd[0]);
        std::mt19937_64 rng(20261123);
        const gblup::Model m = SimulatedPopulation(nAnimal, nMarker, perGeneration, rng);
        const auto start = std::chrono::steady_clock::now();
        const double cpuStart = ProcessorSeconds();
        const gblup::Solution s = gblupMethod ? gblup::SolveGblup(m, 2) : gblup::SolveSnpBlup(m, 2);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const double result[3] = {seconds, static_cast<double>(s.iterations), ProcessorSeconds() - cpuStart};
        if (write(pipeFd[1], result, sizeof result) != static_cast<ssize_t>(sizeof result)) _exit(1);
        _exit(0);
    }
    close(pipeFd[1]);
    double result[3] = {-1, 0, 0};
    const bool got = read(pipeFd[0], result, sizeof result) == static_cast<ssize_t>(sizeof result);
    close(pipeFd[0]);
    int status = 0;
    struct rusage usage {};
    wait4(child, &status, 0, &usage);
    if (!got) {
        printf("%-26s failed\n", label);
        return -1;
    }
    const double genotypeMb = static_cast<double>(nAnimal) * nMarker / 1048576.0;
    printf("%-26s %7.2f s (processor %6.2f s)  peak %6.0f MB (genotype bytes %5.0f MB)", label, result[0], result[2],
           usage.ru_maxrss / 1024.0, genotypeMb);
    if (!gblupMethod) printf("  %d iterations", static_cast<int>(result[1]));
    printf("\n");
    return result[0];
}

}  // namespace

int main()
{
    // Other programs on the machine slow the wall-clock figures; the load shows how busy it was.
    double load = 0;
    if (FILE* fp = fopen("/proc/loadavg", "r")) {
        if (fscanf(fp, "%lf", &load) != 1) load = 0;
        fclose(fp);
    }
    printf("Genomic evaluation, 2 threads, h2 = 0.3 given (set-up of the genotypes not timed); load average %.1f\n",
           load);
    const double g = Case("GBLUP    5,000 x 20,000", 5000, 20000, 500, true);
    const double s = Case("SNP-BLUP 5,000 x 20,000", 5000, 20000, 500, false);
    Case("SNP-BLUP 20,000 x 50,000", 20000, 50000, 1000, false);
    printf("Against the reference of %.1f s for 5,000 x 20,000: GBLUP %.2fx, SNP-BLUP %.2fx faster\n",
           kReferenceSeconds, kReferenceSeconds / g, kReferenceSeconds / s);
    return 0;
}
