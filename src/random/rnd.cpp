#include "random/rnd.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/messages.h"
#include "support/worker_error.h"

CMyRnd MyRnd;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kSqrt32 = 5.656854249492381;
constexpr int kDerivedAdvance = 100000;  // uniforms MyRnd skips after seeding derived generators

}  // namespace

CMyRnd::CMyRnd()
    : mag01{0x0UL, 0x9908b0dfUL},
      mti(kNeverSeeded),
      aa(0.0), aaa(0.0), sgamma(0.0), s2(0.0), s(0.0), d(0.0), t(0.0), x(0.0), u(0.0), r(0.0),
      q0(0.0), b(0.0), b0(0.0), si(0.0), c(0.0), v(0.0), q(0.0), e(0.0), w(0.0), p(0.0),
      cof{1.000000000190015, 76.18009172947146, -86.50532032941678, 24.01409824083091,
          -1.231739572450155, 0.001208650973866179, -5.395239384953e-6},
      poissonCap(2147483647.0),
      oldm(-1.0), g(0.0), sq(0.0), alxm(0.0), g2(0.0),
      nold(-1), pold(-1.0), pc(0.0), plog(0.0), pclog(0.0), en(0.0), oldg(0.0),
      seed_lock_stream(nullptr),
      seed_file_name("seed.prv")
{
    std::memset(mt_initial, 0, sizeof mt_initial);
    std::memset(mt, 0, sizeof mt);
}

void CMyRnd::init_genrand(unsigned long seed)
{
    mt[0] = seed & 0xffffffffUL;
    for (int i = 1; i < kN; ++i)
        mt[i] = (1812433253UL * (mt[i - 1] ^ (mt[i - 1] >> 30)) + i) & 0xffffffffUL;
    mti = kN;
}

void CMyRnd::StopUnseeded()
{
    init_genrand(5489UL);
    RaiseFatal("Error - Uninitialize seed for random number generator!\nPlease report the error to %s\n",
               kContactText);
}

void CMyRnd::NextState()
{
    if (mti == kNeverSeeded) StopUnseeded();
    // The low bit of y selects mag01[0] = 0 or mag01[1]; the mask form picks the same word
    // without a table look-up, which lets the compiler vectorise the loops.
    const unsigned long matrix = mag01[1];
    int kk = 0;
    for (; kk < kN - kM; ++kk) {
        unsigned long y = (mt[kk] & kUpperMask) | (mt[kk + 1] & kLowerMask);
        mt[kk] = mt[kk + kM] ^ (y >> 1) ^ ((0UL - (y & 1UL)) & matrix);
    }
    for (; kk < kN - 1; ++kk) {
        unsigned long y = (mt[kk] & kUpperMask) | (mt[kk + 1] & kLowerMask);
        mt[kk] = mt[kk + (kM - kN)] ^ (y >> 1) ^ ((0UL - (y & 1UL)) & matrix);
    }
    unsigned long y = (mt[kN - 1] & kUpperMask) | (mt[0] & kLowerMask);
    mt[kN - 1] = mt[kM - 1] ^ (y >> 1) ^ ((0UL - (y & 1UL)) & matrix);
    mti = 0;
}

double CMyRnd::genrand_res53()
{
    unsigned long high = genrand_int32() >> 5;  // 27 bits
    unsigned long low = genrand_int32() >> 6;   // 26 bits
    return (high * 67108864.0 + low) * 1.1102230246251565e-16;
}

double CMyRnd::NRand()
{
    double u1 = URand();
    double u2 = URand();
    double radius = (u1 == 0.0) ? 0.0 : std::sqrt(-2.0 * std::log(u1));
    return radius * std::sin(6.283184 * u2);
}

// Gamma deviates: Ahrens and Dieter, method GD (1982) for a >= 1 and method GS (1974) for a < 1.
double CMyRnd::GRand(double a)
{
    if (a != aa) {
        if (a < 1.0) return GammaSmallShape(a);
        aa = a;
        s2 = a - 0.5;
        s = std::sqrt(s2);
        d = kSqrt32 - 12.0 * s;
    }
    // Candidate from a normal deviate; accepted at once when t >= 0.
    t = NRand();
    x = s + 0.5 * t;
    sgamma = x * x;
    if (t >= 0.0) return sgamma;
    // Squeeze acceptance.
    u = URand();
    if (t * t * t >= d * u) return sgamma;
    if (a != aaa) GammaConstants(a);
    // Quotient acceptance of the normal candidate.
    if (x > 0.0) {
        q = GammaQ();
        if (std::log(1.0 - u) <= q) return sgamma;
    }
    // Double exponential rejection.
    for (;;) {
        e = -std::log(URand());
        u = URand();
        u = 2.0 * u - 1.0;
        t = b + fsign(si * e, u);
        if (t < -0.7187449) continue;
        q = GammaQ();
        if (q <= 0.0) continue;
        if (q >= 15.0) {
            if (q + e - 0.5 * t * t > 87.49823) break;
            if (c * std::fabs(u) > std::exp(q + e - 0.5 * t * t)) continue;
            break;
        }
        if (q > 0.5)
            w = std::exp(q) - 1.0;
        else
            w = q * (1.0 + q * (0.4999897 + q * (0.166829 + q * (0.0407753 + q * 0.010293))));
        if (c * std::fabs(u) > w * std::exp(e - 0.5 * t * t)) continue;
        break;
    }
    x = s + 0.5 * t;
    return x * x;
}

double CMyRnd::GammaSmallShape(double a)
{
    b0 = 1.0 + 0.3678794 * a;
    for (;;) {
        p = b0 * URand();
        if (p >= 1.0) {
            x = -std::log((b0 - p) / a);
            e = -std::log(URand());
            if ((1.0 - a) * std::log(x) > e) continue;
            return x;
        }
        x = std::exp(std::log(p) / a);
        e = -std::log(URand());
        if (x > e) continue;
        return x;
    }
}

void CMyRnd::GammaConstants(double a)
{
    aaa = a;
    r = 1.0 / a;
    q0 = r * (0.04166669 +
              r * (0.02083148 +
                   r * (0.00801191 + r * (0.00144121 + r * (-7.388e-5 + r * (0.00024511 + r * 0.0002424))))));
    if (a <= 3.686) {
        b = 0.463 + s + 0.178 * s2;
        si = 1.235;
        c = 0.195 / s - 0.079 + 0.16 * s;
    } else if (a <= 13.022) {
        b = 1.654 + 0.0076 * s2;
        si = 1.68 / s + 0.275;
        c = 0.062 / s + 0.024;
    } else {
        b = 1.77;
        si = 0.75;
        c = 0.1515 / s;
    }
}

double CMyRnd::GammaQ()
{
    v = t / (2.0 * s);
    if (std::fabs(v) <= 0.25)
        return q0 + 0.5 * t * t * v *
                        (0.3333333 +
                         v * (-0.250003 +
                              v * (0.2000062 +
                                   v * (-0.1662921 + v * (0.1423657 + v * (-0.1367177 + v * 0.1233795))))));
    return q0 - s * t + 0.25 * t * t + 2.0 * s2 * std::log(1.0 + v);
}

int CMyRnd::PoissRnd(double mean)
{
    if (mean < 0.0)
        RaiseFatal("Error - in PoissRnd - The mean of Poisson should be equal to or larger than zero.\n");
    return mean < 12.0 ? PoissonByMultiplication(mean) : PoissonByRejection(mean);
}

// Counts the uniforms whose running product stays above exp(-mean).
int CMyRnd::PoissonByMultiplication(double mean)
{
    if (mean != oldm) {
        oldm = mean;
        g = std::exp(-mean);
    }
    int k = 0;
    double product = URand();
    while (product > g) {
        product *= URand();
        ++k;
    }
    return k;
}

// Rejection from a Lorentzian comparison function centred on the mean.
int CMyRnd::PoissonByRejection(double mean)
{
    if (mean != oldm) {
        oldm = mean;
        sq = std::sqrt(2.0 * mean);
        alxm = std::log(mean);
        g2 = mean * alxm - lngamm(mean + 1.0);
    }
    double em, y, ratio;
    do {
        do {
            y = std::tan(kPi * URand());
            em = std::floor(sq * y + mean);
        } while (em < 0.0);
        ratio = 0.9 * (1.0 + y * y) * std::exp(em * alxm - lngamm(em + 1.0) - g2);
    } while (URand() > ratio);
    return static_cast<int>(std::min(em, poissonCap));
}

// Draws with the probability pp <= 0.5 and mirrors the count when p was above one half.
int CMyRnd::BinomialRnd(double prob, int n)
{
    double pp = (prob <= 0.5) ? prob : 1.0 - prob;
    double am = n * pp;
    int k;
    if (n <= 0)
        k = 0;
    else if (n <= 24)
        k = BinomialDirect(pp, n);
    else if (am < 1.0)
        k = BinomialByMultiplication(am, n);
    else
        k = BinomialByRejection(pp, am, n);
    return (pp == prob) ? k : n - k;
}

int CMyRnd::BinomialDirect(double pp, int n)
{
    int k = 0;
    for (int j = 0; j < n; ++j)
        if (URand() < pp) ++k;
    return k;
}

// Poisson approximation by multiplication, capped at n.
int CMyRnd::BinomialByMultiplication(double am, int n)
{
    double limit = std::exp(-am);
    double product = 1.0;
    int j;
    for (j = 0; j <= n; ++j) {
        product *= URand();
        if (product < limit) break;
    }
    return std::min(j, n);
}

// Rejection from a Lorentzian comparison function centred on n pp.
int CMyRnd::BinomialByRejection(double pp, double am, int n)
{
    if (n != nold) {
        en = n;
        oldg = lngamm(en + 1.0);
        nold = n;
    }
    if (pp != pold) {
        pc = 1.0 - pp;
        plog = std::log(pp);
        pclog = std::log(pc);
        pold = pp;
    }
    double scale = std::sqrt(2.0 * am * pc);
    double em, y, ratio;
    do {
        do {
            y = std::tan(kPi * URand());
            em = scale * y + am;
        } while (em < 0.0 || em >= en + 1.0);
        em = std::floor(em);
        ratio = 1.2 * scale * (1.0 + y * y) *
                std::exp(oldg - lngamm(em + 1.0) - lngamm(en - em + 1.0) + em * plog + (en - em) * pclog);
    } while (URand() > ratio);
    return static_cast<int>(em);
}

// Lanczos series.
double CMyRnd::lngamm(double arg) const
{
    double ser = cof[0];
    for (int j = 1; j < 7; ++j) ser += cof[j] / (arg + j);
    return std::log(2.5066282746310007 * ser / arg) + (arg + 0.5) * std::log(arg + 5.5) - (arg + 5.5);
}

double CMyRnd::fsign(double a, double sign)
{
    if ((sign > 0.0 && a < 0.0) || (sign < 0.0 && a > 0.0)) return -a;
    return a;
}

void MakeDerivedGenerators(std::vector<CMyRnd>& gens, int n)
{
    gens.clear();
    gens.resize(n);
    for (CMyRnd& gen : gens) gen.InitSeed(MyRnd.genrand_int32());
    for (int i = 0; i < kDerivedAdvance; ++i) MyRnd.URand();
}
