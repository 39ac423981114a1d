#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "random/random_test_util.h"
#include "random/rnd.h"

namespace {

constexpr long kDraws = 1000000;

}  // namespace

// --- Which method draws the deviate ---

TEST(Normal, TheFirstUniformGivesTheRadiusAndTheSecondTheAngle)
{
    CMyRnd zero, half;
    ArrangeNextOutputs(zero, {0U, 0x40000000U});  // radius 0, angle a quarter turn
    EXPECT_EQ(zero.NRand(), 0.0);
    ArrangeNextOutputs(half, {0x80000000U, 0x40000000U});  // 0.5, then 0.25
    // The angle factor is 6.283184, so a quarter of it falls just short of pi/2.
    EXPECT_DOUBLE_EQ(half.NRand(), std::sqrt(2.0 * std::log(2.0)) * std::sin(1.570796));
}

// The 32-bit outputs one deviate takes, as a function of the value drawn.
TEST(Methods, EachDrawsItsNumberOfUniforms)
{
    struct Case {
        const char* method;
        int (*draw)(CMyRnd&);
        int (*outputs)(int value);
        int most;  // the largest value allowed
        int repeats;
    } cases[] = {
        {"Poisson mean 0: one uniform", [](CMyRnd& g) { return g.PoissRnd(0.0); }, [](int) { return 1; }, 0, 100},
        {"binomial of 24 trials: one uniform per trial, p 0.3", [](CMyRnd& g) { return g.BinomialRnd(0.3, 24); },
         [](int) { return 24; }, 24, 1},
        {"binomial of 24 trials, p 0.9", [](CMyRnd& g) { return g.BinomialRnd(0.9, 24); }, [](int) { return 24; }, 24, 1},
        {"Poisson below twelve: multiplication, one uniform per event and one to stop",
         [](CMyRnd& g) { return g.PoissRnd(11.999); }, [](int k) { return k + 1; }, 1000, 1000},
        {"binomial with n p = 0.5: multiplication, one uniform per success and one to stop",
         [](CMyRnd& g) { return g.BinomialRnd(0.01, 50); }, [](int k) { return k + 1; }, 50, 1000},
    };
    CMyRnd gen;
    gen.InitSeed(11UL);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.method);
        for (int i = 0; i < c.repeats; ++i) {
            CMyRnd before = gen;
            int k = c.draw(gen);
            ASSERT_GE(k, 0);
            ASSERT_LE(k, c.most);
            ASSERT_EQ(OutputsBetween(before, gen), c.outputs(k));
        }
    }
}

TEST(Poisson, FromAMeanOfTwelveOnRejectionTakesFarFewerUniformsThanMultiplying)
{
    CMyRnd gen;
    gen.InitSeed(12UL);
    int rejected = 0;
    for (int i = 0; i < 1000; ++i) {
        CMyRnd before = gen;
        gen.PoissRnd(12.0);
        rejected += OutputsBetween(before, gen);
    }
    // Multiplying would take 13 uniforms a draw; rejection about two a trial, rarely two trials.
    EXPECT_LT(rejected, 13000 / 3);
}

TEST(Poisson, ANegativeMeanStopsTheRun)
{
    ExpectStops(
        [] {
            CMyRnd gen;
            gen.InitSeed(1UL);
            gen.PoissRnd(-0.5);
        },
        "Error - in PoissRnd - The mean of Poisson should be equal to or larger than zero.\nAborted.\n");
}

TEST(Binomial, AboveOneHalfMirrorsTheDrawAndCertainImpossibleOrNoTrialsNeedNoChance)
{
    CMyRnd gen;
    gen.InitSeed(15UL);
    for (int i = 0; i < 200; ++i) {
        CMyRnd mirror = gen;
        ASSERT_EQ(gen.BinomialRnd(0.7, 100), 100 - mirror.BinomialRnd(0.3, 100));
        ASSERT_TRUE(SamePosition(gen, mirror));
    }
    for (int n : {10, 100}) {
        EXPECT_EQ(gen.BinomialRnd(0.0, n), 0) << n;
        EXPECT_EQ(gen.BinomialRnd(1.0, n), n) << n;
    }
    CMyRnd before = gen;
    EXPECT_EQ(gen.BinomialRnd(0.4, 0), 0);
    EXPECT_EQ(OutputsBetween(before, gen), 0);
}

TEST(Gamma, ShapeBelowOneLeavesTheMemoOfTheLargeShapeMethod)
{
    CMyRnd gen;
    gen.InitSeed(17UL);
    EXPECT_EQ(gen.GammaShapeMemo(), 0.0);
    for (double shape : {2.0, 0.5, 3.0}) {
        for (int i = 0; i < 50; ++i) gen.GRand(shape);
        EXPECT_EQ(gen.GammaShapeMemo(), shape < 1 ? 2.0 : shape) << shape;
    }
}

// The memo fields only save work: after other arguments were used in between, a deviate equals
// the one a fresh generator draws at the same position of the stream.
TEST(Memo, RememberedConstantsGiveTheSameDeviatesAsAFreshGenerator)
{
    struct Call {
        const char* name;
        double (*draw)(CMyRnd&);
    };
    const Call calls[] = {
        {"Poisson 20", [](CMyRnd& g) { return double(g.PoissRnd(20.0)); }},
        {"binomial 0.3 100", [](CMyRnd& g) { return double(g.BinomialRnd(0.3, 100)); }},
        {"gamma 5", [](CMyRnd& g) { return g.GRand(5.0); }},
        {"Poisson 3", [](CMyRnd& g) { return double(g.PoissRnd(3.0)); }},
        {"binomial 0.2 60", [](CMyRnd& g) { return double(g.BinomialRnd(0.2, 60)); }},
        {"gamma 0.5", [](CMyRnd& g) { return g.GRand(0.5); }},
        {"gamma 20", [](CMyRnd& g) { return g.GRand(20.0); }},
    };
    CMyRnd warm;
    warm.InitSeed(18UL);
    int position = 0;
    for (int round = 0; round < 30; ++round) {
        for (const Call& call : calls) {
            SCOPED_TRACE(call.name);
            CMyRnd fresh;
            fresh.InitSeed(18UL);
            for (int i = 0; i < position; ++i) fresh.genrand_int32();
            CMyRnd before = warm;
            ASSERT_EQ(call.draw(warm), call.draw(fresh));
            position += OutputsBetween(before, warm);
        }
    }
}

// --- Moments over one million draws ---

// Mean and variance within four standard errors of the theory; mu4 is the distribution's fourth
// central moment, which sets the standard error of the sample variance.
TEST(Moments, EveryDistributionAndMethodHasItsMeanAndVariance)
{
    struct Case {
        std::string name;
        std::function<double(CMyRnd&)> draw;
        double mean, var, mu4;
    };
    std::vector<Case> cases = {{"normal", [](CMyRnd& g) { return g.NRand(); }, 0.0, 1.0, 3.0}};
    // Gamma 0.4 and 0.9: method GS; 1 to 3.686, 3.7 to 13.022 and 13.5 up: the three constant sets.
    for (double a : {0.4, 0.9, 1.0, 3.686, 3.7, 5.0, 13.5, 20.0})
        cases.push_back({"gamma " + std::to_string(a), [a](CMyRnd& g) { return g.GRand(a); }, a, a, 3.0 * a * a + 6.0 * a});
    for (double m : {0.5, 5.0, 11.999, 12.0, 100.0})
        cases.push_back({"Poisson " + std::to_string(m), [m](CMyRnd& g) { return double(g.PoissRnd(m)); }, m, m, m + 3.0 * m * m});
    // Binomial: direct (n <= 24), rejection (n p >= 1), mirrored (p > 0.5), and with n p < 1
    // multiplication, which draws a Poisson count of mean n p (capped at n): its variance is n p.
    for (auto [p, n] : {std::pair<double, int>{0.3, 20}, {0.2, 100}, {0.7, 100}, {0.95, 500}, {0.01, 50}}) {
        const double mean = n * p, pq = p * (mean < 1 ? 1.0 : 1.0 - p), var = n * pq;
        const double mu4 = mean < 1 ? mean + 3.0 * mean * mean : var * (1.0 + 3.0 * (n - 2) * pq);
        cases.push_back({"binomial " + std::to_string(p) + " " + std::to_string(n),
                         [p = p, n = n](CMyRnd& g) { return double(g.BinomialRnd(p, n)); }, mean, var, mu4});
    }
    CMyRnd gen;
    gen.InitSeed(21UL);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double mean = 0.0, m2 = 0.0;  // Welford
        for (long i = 1; i <= kDraws; ++i) {
            const double value = c.draw(gen), delta = value - mean;
            mean += delta / i;
            m2 += delta * (value - mean);
        }
        EXPECT_NEAR(mean, c.mean, 4.0 * std::sqrt(c.var / kDraws)) << "mean";
        EXPECT_NEAR(m2 / (kDraws - 1), c.var, 4.0 * std::sqrt((c.mu4 - c.var * c.var) / kDraws)) << "variance";
    }
}
