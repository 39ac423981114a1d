#include <gtest/gtest.h>

#include <cmath>
#include <string>

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

TEST(Poisson, MeansBelowTwelveMultiplyUniformsAndFromTwelveOnReject)
{
    CMyRnd gen;
    gen.InitSeed(12UL);
    long multiplied = 0, rejected = 0, countsOfTwelve = 0;
    for (int i = 0; i < 1000; ++i) {
        CMyRnd before = gen;
        int k = gen.PoissRnd(11.999);
        ASSERT_EQ(OutputsBetween(before, gen), k + 1);  // one uniform per event, one to stop
        multiplied += k + 1;
    }
    for (int i = 0; i < 1000; ++i) {
        CMyRnd before = gen;
        countsOfTwelve += gen.PoissRnd(12.0);
        rejected += OutputsBetween(before, gen);
    }
    // Rejection needs about two uniforms per trial and rarely more than two trials.
    EXPECT_LT(rejected, multiplied / 3);
    EXPECT_NEAR(countsOfTwelve / 1000.0, 12.0, 4.0 * std::sqrt(12.0 / 1000));
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

TEST(Binomial, ProbabilityAboveOneHalfCountsTheFailuresOfTheMirroredDraw)
{
    CMyRnd gen;
    gen.InitSeed(15UL);
    for (int i = 0; i < 200; ++i) {
        CMyRnd mirror = gen;
        ASSERT_EQ(gen.BinomialRnd(0.7, 100), 100 - mirror.BinomialRnd(0.3, 100));
        ASSERT_TRUE(SamePosition(gen, mirror));
    }
}

TEST(Binomial, CertainAndImpossibleTrialsAndNoTrials)
{
    CMyRnd gen;
    gen.InitSeed(16UL);
    for (int n : {10, 100}) {
        SCOPED_TRACE(n);
        EXPECT_EQ(gen.BinomialRnd(0.0, n), 0);
        EXPECT_EQ(gen.BinomialRnd(1.0, n), n);
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
    gen.GRand(2.0);
    EXPECT_EQ(gen.GammaShapeMemo(), 2.0);
    for (int i = 0; i < 50; ++i) gen.GRand(0.5);
    EXPECT_EQ(gen.GammaShapeMemo(), 2.0);
    gen.GRand(3.0);
    EXPECT_EQ(gen.GammaShapeMemo(), 3.0);
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

// --- Moments over one million draws, within four standard errors ---

TEST(Normal, HasMeanZeroAndVarianceOne)
{
    CMyRnd gen;
    gen.InitSeed(21UL);
    ExpectMoments(SampleMoments(kDraws, [&] { return gen.NRand(); }), kDraws, 0.0, 1.0, 3.0);
}

TEST(Gamma, EveryShapeRangeHasMeanAndVarianceEqualToTheShape)
{
    CMyRnd gen;
    gen.InitSeed(22UL);
    // 0.4 and 0.9: method GS; 1 to 3.686, 3.7 to 13.022 and 13.5 up: the three constant sets.
    for (double a : {0.4, 0.9, 1.0, 3.686, 3.7, 5.0, 13.5, 20.0}) {
        SCOPED_TRACE("shape " + std::to_string(a));
        Moments m = SampleMoments(kDraws, [&] { return gen.GRand(a); });
        ExpectMoments(m, kDraws, a, a, 3.0 * a * a + 6.0 * a);
    }
}

TEST(Poisson, MeanAndVarianceEqualTheMeanOnBothSidesOfTwelve)
{
    CMyRnd gen;
    gen.InitSeed(23UL);
    for (double mean : {0.5, 5.0, 11.999, 12.0, 100.0}) {
        SCOPED_TRACE("mean " + std::to_string(mean));
        Moments m = SampleMoments(kDraws, [&] { return double(gen.PoissRnd(mean)); });
        ExpectMoments(m, kDraws, mean, mean, mean + 3.0 * mean * mean);
    }
}

TEST(Binomial, MeanAndVarianceMatchForEveryMethod)
{
    CMyRnd gen;
    gen.InitSeed(24UL);
    struct Case {
        double p;
        int n;
    };
    // Direct (n <= 24), rejection (n p >= 1), mirrored (p > 0.5), and with n p < 1 multiplication,
    // which draws a Poisson count of mean n p (capped at n): its variance is n p, not n p (1 - p).
    for (Case c : {Case{0.3, 20}, Case{0.2, 100}, Case{0.7, 100}, Case{0.95, 500}, Case{0.01, 50}}) {
        SCOPED_TRACE("p " + std::to_string(c.p) + " n " + std::to_string(c.n));
        const double mean = c.n * c.p, pq = c.p * (c.n * c.p < 1 ? 1.0 : 1.0 - c.p), var = c.n * pq;
        const double mu4 = c.n * c.p < 1 ? mean + 3.0 * mean * mean : var * (1.0 + 3.0 * (c.n - 2) * pq);
        Moments m = SampleMoments(kDraws, [&] { return double(gen.BinomialRnd(c.p, c.n)); });
        ExpectMoments(m, kDraws, mean, var, mu4);
    }
}
