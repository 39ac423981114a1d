// Throughput of the generator's deviates, and of its raw 32-bit output against the standard
// library's Mersenne Twister measured in the same run.
#include <chrono>
#include <cstdio>
#include <random>

#include "random/rnd.h"
#include "support/numbers.h"

namespace {

volatile double sink;  // every measured result flows here, so the work cannot be dropped

constexpr int kRounds = 5;  // each figure is the best of this many timed rounds

// Best draws per second over the rounds; draw(n) makes n draws and returns a checksum.
template <typename Draw>
double BestRate(long n, Draw draw)
{
    double best = 0.0;
    for (int round = 0; round < kRounds; ++round) {
        auto start = std::chrono::steady_clock::now();
        sink = draw(n);
        std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        double rate = n / seconds.count();
        if (rate > best) best = rate;
    }
    return best;
}

template <typename Draw>
void Report(const char* label, long n, Draw draw)
{
    double rate = BestRate(n, draw);
    printf("%-17s: %s draws/s\n", label, FormatNum(static_cast<unsigned long long>(rate)));
}

}  // namespace

int main()
{
    CMyRnd rnd;
    rnd.InitSeed(5489UL);

    Report("URand", 50000000, [&](long n) {
        double sum = 0.0;
        for (long i = 0; i < n; ++i) sum += rnd.URand();
        return sum;
    });
    Report("NRand", 10000000, [&](long n) {
        double sum = 0.0;
        for (long i = 0; i < n; ++i) sum += rnd.NRand();
        return sum;
    });
    Report("PoissRnd(0.5)", 10000000, [&](long n) {
        double sum = 0.0;
        for (long i = 0; i < n; ++i) sum += rnd.PoissRnd(0.5);
        return sum;
    });
    Report("GRand(0.4)", 10000000, [&](long n) {
        double sum = 0.0;
        for (long i = 0; i < n; ++i) sum += rnd.GRand(0.4);
        return sum;
    });

    const long raw = 100000000;
    double ours = BestRate(raw, [&](long n) {
        unsigned long sum = 0;
        for (long i = 0; i < n; ++i) sum += rnd.genrand_int32();
        return static_cast<double>(sum);
    });
    std::mt19937 standard(5489U);
    double theirs = BestRate(raw, [&](long n) {
        unsigned long sum = 0;
        for (long i = 0; i < n; ++i) sum += standard();
        return static_cast<double>(sum);
    });
    printf("%-17s: %s draws/s\n", "genrand_int32", FormatNum(static_cast<unsigned long long>(ours)));
    printf("%-17s: %s draws/s\n", "std::mt19937", FormatNum(static_cast<unsigned long long>(theirs)));
    printf("genrand_int32 / std::mt19937 : %.2f\n", ours / theirs);
    return 0;
}
