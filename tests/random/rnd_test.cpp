#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "random/random_test_util.h"
#include "random/rnd.h"
#include "support/messages.h"

TEST(Generator, StreamsMatchTheStandardTwisterOverManyRegenerations)
{
    // Seeds above 32 bits are truncated, as the standard engine does; 5489 is its default seed.
    for (unsigned long seed : {0UL, 1UL, 5489UL, 4294967295UL, 0x100000005UL}) {
        SCOPED_TRACE(seed);
        CMyRnd gen;
        gen.InitSeed(seed);
        std::mt19937 reference(static_cast<uint32_t>(seed));
        int mismatches = 0;
        for (int i = 0; i < 100000; ++i)
            if (gen.genrand_int32() != reference()) ++mismatches;
        EXPECT_EQ(mismatches, 0);
    }
}

TEST(Generator, UniformScalesKeepTheirIntervalsAtTheExtremeOutputs)
{
    // Each line draws from a copy of the arranged generator.
    CMyRnd top, bottom, mixed;
    ArrangeNextOutputs(top, {0xFFFFFFFFU, 0xFFFFFFFFU});
    CMyRnd a = top;
    EXPECT_LT(a.URand(), 1.0);
    EXPECT_EQ(a.URand(), 4294967295.0 / 4294967296.0);
    EXPECT_LT(CMyRnd(top).genrand_real2(), 1.0);
    EXPECT_EQ(CMyRnd(top).genrand_real1(), 1.0);  // the closed interval reaches its upper end
    EXPECT_LT(CMyRnd(top).genrand_real3(), 1.0);
    EXPECT_EQ(CMyRnd(top).genrand_res53(), (9007199254740992.0 - 1.0) / 9007199254740992.0);

    ArrangeNextOutputs(bottom, {0U, 0U});
    EXPECT_EQ(CMyRnd(bottom).URand(), 0.0);
    EXPECT_GT(CMyRnd(bottom).genrand_real3(), 0.0);  // the open interval stays above 0

    ArrangeNextOutputs(mixed, {0xFFFFFFFFU, 0U});  // the first draw gives the 27 high bits
    EXPECT_EQ(mixed.genrand_res53(), 134217727.0 * 67108864.0 / 9007199254740992.0);
}

TEST(Generator, DrawingBeforeSeedingStopsTheRun)
{
    ExpectStops(
        [] {
            CMyRnd gen;
            printf("value %f\n", gen.URand());
        },
        std::string("Error - Uninitialize seed for random number generator!\nPlease report the error to ") +
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

TEST(Generator, LogGammaMatchesKnownValuesAndSignTransferLeavesTheValueAloneForAZeroSign)
{
    CMyRnd gen;
    EXPECT_NEAR(gen.lngamm(1.0), 0.0, 1e-10);
    EXPECT_NEAR(gen.lngamm(2.0), 0.0, 1e-10);
    EXPECT_NEAR(gen.lngamm(0.5), 0.5 * std::log(M_PI), 1e-10);
    EXPECT_NEAR(gen.lngamm(11.0), std::log(3628800.0), 1e-9);
    EXPECT_NEAR(gen.lngamm(101.0), std::lgamma(101.0), 1e-8);
    EXPECT_EQ(CMyRnd::fsign(2.0, -1.0), -2.0);
    EXPECT_EQ(CMyRnd::fsign(-2.0, 3.0), 2.0);
    EXPECT_EQ(CMyRnd::fsign(-2.0, -3.0), -2.0);
    EXPECT_EQ(CMyRnd::fsign(2.0, 0.0), 2.0);
    EXPECT_EQ(CMyRnd::fsign(-2.0, 0.0), -2.0);
}
