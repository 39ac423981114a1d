#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "support/numbers.h"

TEST(FormatNum, GroupsDigitsByThousandsInOneOfFifteenBuffers)
{
    EXPECT_STREQ(FormatNum(0), "0");
    EXPECT_STREQ(FormatNum(999), "999");
    EXPECT_STREQ(FormatNum(1000), "1,000");
    EXPECT_STREQ(FormatNum(123456), "123,456");
    EXPECT_STREQ(FormatNum(1234567), "1,234,567");
    EXPECT_STREQ(FormatNum(ULLONG_MAX), "18,446,744,073,709,551,615");

    // Fifteen results stay valid and the sixteenth reuses the first buffer.
    const char* results[16];
    for (int i = 0; i < 16; ++i) results[i] = FormatNum(1000 + i);
    for (int i = 1; i < 15; ++i) EXPECT_EQ(std::string(results[i]), "1," + std::to_string(1000 + i).substr(1)) << i;
    EXPECT_EQ(results[15], results[0]);
    EXPECT_STREQ(results[0], "1,015");
}

TEST(Rounding, MyRoundHalfUpOrTruncatingRoundDoubleHalvesAwayFromZeroAndMyDVDAvoidsZero)
{
    EXPECT_EQ(MyRound(2.5), 3);
    EXPECT_EQ(MyRound(2.49), 2);
    EXPECT_EQ(MyRound(1.5), 2);
    EXPECT_EQ(MyRound(-2.7), -2);
    EXPECT_EQ(MyRound(-2.5), -2);
    EXPECT_EQ(MyRound(0.0), 0);
    EXPECT_DOUBLE_EQ(RoundDouble(1.2345, 2), 1.23);
    EXPECT_DOUBLE_EQ(RoundDouble(-1.235, 2), -1.24);
    EXPECT_DOUBLE_EQ(RoundDouble(12.345678, 5), 12.34568);
    EXPECT_DOUBLE_EQ(RoundDouble(0.0, 5), 0.0);
    // MyDVD divides except by almost zero.
    EXPECT_EQ(MyDVD(1, 1e-13), 0);
    EXPECT_EQ(MyDVD(1, -1e-13), 0);
    EXPECT_DOUBLE_EQ(MyDVD(1, 4), 0.25);
    EXPECT_DOUBLE_EQ(MyDVD(3, 1e-12), 3e12);
}

TEST(SetNoThread, LeavesAFifthOfTheCoresFreeUpToTheMaximumAndKeepsAValueAlreadySet)
{
    const int cores[] = {0, 1, 2, 4, 8, 10, 16, 1000}, threads[] = {1, 1, 1, 3, 7, 8, 13, 100};
    for (int k = 0; k < 8; ++k) EXPECT_EQ(ThreadsForConcurrency(cores[k], 100), threads[k]) << cores[k];
    int n = 200, unset = 0;
    SetNoThread(n, 100);  // even above the maximum
    EXPECT_EQ(n, 200);
    SetNoThread(unset, 100);
    EXPECT_GE(unset, 1);
    EXPECT_LE(unset, 100);
}

TEST(Mystrdup, CopiesIntoANewArray)
{
    const char* text = "Version 1.10";
    char* copy = Mystrdup(text);
    EXPECT_STREQ(copy, text);
    EXPECT_NE(copy, text);
    delete[] copy;
}
