// The random generator: the 32-bit Mersenne Twister MT19937 with its reference seeding, the
// uniform, normal, gamma, Poisson and binomial deviates built on it, the derived generators of
// worker tasks, and the seed files that make a run repeatable.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// One random stream. Not safe for concurrent use: one instance per thread.
// Copyable: a copy continues the same stream on its own (derived generators live in a
// std::vector). Only the global generator ever holds the seed lock, and only while it seeds
// from the clock, so a copy never shares an open lock stream.
class CMyRnd {
public:
    static constexpr int kN = 624;            // state words
    static constexpr int kM = 397;            // offset of the partner word in the regeneration
    static constexpr int kNeverSeeded = 625;  // value of mti before any seeding

    CMyRnd();

    // --- MT19937 core ---
    void init_genrand(unsigned long s);
    // The same as init_genrand; the entry used to seed derived generators.
    void InitSeed(unsigned long s) { init_genrand(s); }
    // The 624 state words, for the seed-file code to read and overwrite.
    unsigned long* Get_mt() { return mt; }
    // Next raw 32-bit output. Stops the run when the generator was never seeded.
    inline uint32_t genrand_int32();
    long genrand_int31() { return static_cast<long>(genrand_int32() >> 1); }

    // --- Uniform deviates ---
    double URand() { return genrand_int32() * kTwoPowMinus32; }  // [0,1), the one used everywhere
    double genrand_real1() { return genrand_int32() * kOneOverMaxWord; }  // [0,1]
    double genrand_real2() { return URand(); }                            // [0,1)
    double genrand_real3() { return (genrand_int32() + 0.5) * kTwoPowMinus32; }  // (0,1)
    double genrand_res53();                                              // [0,1), 53 bits

    // --- Other deviates ---
    double NRand();                       // standard normal
    double GRand(double a);               // gamma with shape a > 0 and scale 1
    int PoissRnd(double mean);            // Poisson with mean >= 0
    int BinomialRnd(double prob, int n);  // successes in n trials of probability prob
    double lngamm(double arg) const;      // ln(Gamma(arg)) for arg > 0
    // n distinct crossover positions in (0, len), ascending, 6 decimals (genome/meiosis.cpp).
    void GenerateCrossoverPos(double* xpos, int n, double len);
    static double fsign(double a, double sign);  // a with the sign of sign (0 leaves a)

    // Last shape that set up the constants of the shape >= 1 method (0 before any).
    double GammaShapeMemo() const { return aa; }

    // --- Seed files and the seed lock (seed.cpp) ---
    // Seeds from seed_file_name, or from the clock when it is the previous-run file.
    void InitSeed();
    void ReadSeedAndInit(const char* path);
    void InitSeed_CondPrevRun();
    void LockSeed();
    void UnlockSeed();
    // Writes the state as seeded (initial) or the current state; false after a counted warning.
    bool SaveSeed(const char* path, bool initial);

private:
    static constexpr unsigned long kUpperMask = 0x80000000UL;  // most significant bit of a word
    static constexpr unsigned long kLowerMask = 0x7fffffffUL;  // the other 31 bits
    static constexpr double kTwoPowMinus32 = 2.3283064365386963e-10;   // 2^-32
    static constexpr double kOneOverMaxWord = 2.3283064370807974e-10;  // 1 / 4294967295

    // Regenerates all 624 words; before that, stops the run if the generator was never seeded.
    void NextState();
    [[noreturn]] void StopUnseeded();
    double GammaSmallShape(double a);  // method GS, shape below 1
    void GammaConstants(double a);     // q0, b, si, c of method GD for shape a
    double GammaQ();                   // q of method GD from t (sets v)
    int PoissonByMultiplication(double mean);
    int PoissonByRejection(double mean);
    int BinomialDirect(double pp, int n);
    int BinomialByMultiplication(double am, int n);
    int BinomialByRejection(double pp, double am, int n);
    void SeedInitialFromClock();  // mt_initial (and mt) from the calendar time in seconds
    void AvoidPreviousRunSeed();  // reseeds while mt_initial equals the state in "seed.prv"

    unsigned long mt_initial[kN];  // state as seeded at start-up, for the seed files
    unsigned long mt[kN];   // current MT19937 state; each word holds 32 bits
    unsigned long mag01[2];  // {0, matrix 0x9908b0df}: what the low bit of y adds
    int mti;                 // next word of mt to temper; 624: regenerate first; 625: never seeded

    // Gamma memo and working values (names of the Ahrens-Dieter papers).
    double aa;      // shape for which s2, s, d hold (shape >= 1 only); 0 at start
    double aaa;     // shape for which q0, b, si, c hold; 0 at start
    double sgamma;  // deviate of the quick acceptance steps
    double s2;      // shape - 0.5
    double s;       // sqrt(s2)
    double d;       // sqrt(32) - 12 s, bound of the quick acceptance
    double t;       // normal deviate, later the candidate of the double exponential
    double x;       // s + t/2, square root of the candidate deviate
    double u;       // uniform of the squeeze, later 2U - 1
    double r;       // 1 / shape
    double q0;      // series term of the log density ratio
    double b;       // centre of the double exponential comparison function
    double b0;      // 1 + shape/e, bound of method GS
    double si;      // scale of the double exponential comparison function
    double c;       // constant of the acceptance test of the comparison function
    double v;       // t / (2 s)
    double q;       // log density ratio at t
    double e;       // standard exponential deviate
    double w;       // exp(q) - 1
    double p;       // b0 times a uniform (method GS)

    double cof[7];  // coefficients c0..c6 of the lngamm series

    double poissonCap;  // largest Poisson deviate returned: 2147483647

    // Poisson memo.
    double oldm;  // mean for which g or sq, alxm, g2 hold; -1 at start
    double g;     // exp(-mean), threshold of the multiplication method
    double sq;    // sqrt(2 mean), scale of the Lorentzian
    double alxm;  // ln(mean)
    double g2;    // mean ln(mean) - lngamm(mean + 1)

    // Binomial memo.
    int nold;      // n for which en, oldg hold; -1 at start
    double pold;   // probability (<= 0.5) for which pc, plog, pclog hold; -1 at start
    double pc;     // 1 - probability
    double plog;   // ln(probability)
    double pclog;  // ln(1 - probability)
    double en;     // n as a double
    double oldg;   // lngamm(n + 1)

    FILE* seed_lock_stream;  // open "seed.lck" while seeding from the clock; null otherwise
public:
    std::string seed_file_name;  // seed file to read; "seed.prv" means seeding from the clock
};

// The generator of the main thread.
extern CMyRnd MyRnd;

// Resizes gens to n fresh generators and seeds generator k (k = 0, 1, ...) with the k-th next
// output of MyRnd; then MyRnd discards 100,000 uniforms. Main thread only, before any worker runs.
void MakeDerivedGenerators(std::vector<CMyRnd>& gens, int n);

inline uint32_t CMyRnd::genrand_int32()
{
    if (__builtin_expect(mti >= kN, 0)) NextState();
    unsigned long y = mt[mti++];
    // Tempering. Every mask fits in 32 bits, so y stays a 32-bit value.
    y ^= y >> 11;
    y ^= (y << 7) & 0x9d2c5680UL;
    y ^= (y << 15) & 0xefc60000UL;
    y ^= y >> 18;
    return static_cast<uint32_t>(y);
}
