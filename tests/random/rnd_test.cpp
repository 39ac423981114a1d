#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "random/random_test_util.h"
#include "random/rnd.h"
#include "support/messages.h"

TEST(Generator, SeededWith5489ItGivesTheReferenceOutputs)
{
    CMyRnd gen;
    gen.InitSeed(5489UL);
    EXPECT_EQ(gen.genrand_int32(), 3499211612U);
    for (int i = 2; i < 10000; ++i) gen.genrand_int32();
    EXPECT_EQ(gen.genrand_int32(), 4123659995U);
}

TEST(Generator, StreamsMatchTheStandardTwisterOverManyRegenerations)
{
    // Seeds above 32 bits are truncated, as the standard engine does.
    for (unsigned long seed : {0UL, 1UL, 4294967295UL, 0x100000005UL}) {
        SCOPED_TRACE(seed);
        CMyRnd gen;
        gen.init_genrand(seed);
        std::mt19937 reference(static_cast<uint32_t>(seed));
        int mismatches = 0;
        for (int i = 0; i < 100000; ++i)
            if (gen.genrand_int32() != reference()) ++mismatches;
        EXPECT_EQ(mismatches, 0);
    }
}

TEST(Generator, UniformScalesKeepTheirIntervalsAtTheExtremeOutputs)
{
    CMyRnd top;
    ArrangeNextOutputs(top, {0xFFFFFFFFU, 0xFFFFFFFFU});
    CMyRnd a = top, b = top, c = top, d = top;
    EXPECT_LT(a.URand(), 1.0);
    EXPECT_EQ(a.URand(), 4294967295.0 / 4294967296.0);
    EXPECT_LT(b.genrand_real2(), 1.0);
    EXPECT_EQ(c.genrand_real1(), 1.0);  // the closed interval reaches its upper end
    EXPECT_LT(d.genrand_real3(), 1.0);
    CMyRnd e = top;
    EXPECT_EQ(e.genrand_res53(), (9007199254740992.0 - 1.0) / 9007199254740992.0);

    CMyRnd bottom;
    ArrangeNextOutputs(bottom, {0U, 0U});
    CMyRnd f = bottom, g = bottom;
    EXPECT_EQ(f.URand(), 0.0);
    EXPECT_GT(g.genrand_real3(), 0.0);  // the open interval stays above 0

    CMyRnd mixed;
    ArrangeNextOutputs(mixed, {0xFFFFFFFFU, 0U});  // the first draw gives the 27 high bits
    EXPECT_EQ(mixed.genrand_res53(), 134217727.0 * 67108864.0 / 9007199254740992.0);
}

TEST(Generator, DrawingBeforeSeedingStopsTheRun)
{
    ChildResult r = RunInChild([] {
        CMyRnd gen;
        printf("value %f\n", gen.URand());
    });
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, std::string("Error - Uninitialize seed for random number generator!\n"
                                 "Please report the error to ") +
                         kContactText + "\nAborted.\n");
}

TEST(DerivedGenerators, EachTakesTheNextOutputOfTheMainGeneratorWhichThenSkipsAhead)
{
    MyRnd.InitSeed(2024UL);
    CMyRnd expected = MyRnd;
    uint32_t seed0 = expected.genrand_int32();
    uint32_t seed1 = expected.genrand_int32();
    for (int i = 0; i < 100000; ++i) expected.URand();

    std::vector<CMyRnd> gens;
    MakeDerivedGenerators(gens, 2);

    ASSERT_EQ(gens.size(), 2u);
    CMyRnd worker0, worker1;
    worker0.InitSeed(seed0);
    worker1.InitSeed(seed1);
    EXPECT_TRUE(SamePosition(gens[0], worker0));
    EXPECT_TRUE(SamePosition(gens[1], worker1));
    EXPECT_TRUE(SamePosition(MyRnd, expected));
}

TEST(Generator, LogGammaMatchesKnownValues)
{
    CMyRnd gen;
    EXPECT_NEAR(gen.lngamm(1.0), 0.0, 1e-10);
    EXPECT_NEAR(gen.lngamm(2.0), 0.0, 1e-10);
    EXPECT_NEAR(gen.lngamm(0.5), 0.5 * std::log(M_PI), 1e-10);
    EXPECT_NEAR(gen.lngamm(11.0), std::log(3628800.0), 1e-9);
    EXPECT_NEAR(gen.lngamm(101.0), std::lgamma(101.0), 1e-8);
}

TEST(Generator, SignTransferLeavesTheValueAloneForAZeroSign)
{
    EXPECT_EQ(CMyRnd::fsign(2.0, -1.0), -2.0);
    EXPECT_EQ(CMyRnd::fsign(-2.0, 3.0), 2.0);
    EXPECT_EQ(CMyRnd::fsign(-2.0, -3.0), -2.0);
    EXPECT_EQ(CMyRnd::fsign(2.0, 0.0), 2.0);
    EXPECT_EQ(CMyRnd::fsign(-2.0, 0.0), -2.0);
}
