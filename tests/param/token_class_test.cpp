#include <gtest/gtest.h>

#include <string>

#include "support/errmsg.h"
#include "param/lex.h"

TEST(TokenClass, IntegersAreDigitsWithinTheirRange)
{
    EXPECT_TRUE(MyTokenCmp("10", "inte_1_20000"));
    EXPECT_TRUE(MyTokenCmp("20000", "inte_1_20000"));
    EXPECT_FALSE(MyTokenCmp("20001", "inte_1_20000"));
    EXPECT_FALSE(MyTokenCmp("0", "inte_1_20000"));
    EXPECT_FALSE(MyTokenCmp("2.0", "inte_1_20000"));  // a point is not allowed
    EXPECT_FALSE(MyTokenCmp("1e3", "inte_1_20000"));
    EXPECT_FALSE(MyTokenCmp(std::string(63, '1').c_str(), "inte_1_20000"));  // beyond any integer type
    EXPECT_FALSE(MyTokenCmp("-", "inte_-5_5"));       // a sign alone is no number
    EXPECT_TRUE(MyTokenCmp("-5", "inte_-5_5"));
}

TEST(TokenClass, NumbersMayHaveOnePointOneExponentAndOneSign)
{
    EXPECT_TRUE(MyTokenCmp("0.5", "nume_0_1"));
    EXPECT_TRUE(MyTokenCmp("1e-5", "nume_0_1"));
    EXPECT_TRUE(MyTokenCmp("-0.5", "nume_-1_5"));
    EXPECT_FALSE(MyTokenCmp("-1e-5", "nume_-1_5"));  // two signs
    EXPECT_FALSE(MyTokenCmp("1.2.3", "nume_0_10"));
    EXPECT_FALSE(MyTokenCmp("1.5", "nume_0_1"));
    EXPECT_FALSE(MyTokenCmp("abc", "nume_0_1"));
    EXPECT_TRUE(MyTokenCmp("0.00001", "nume_0.00001_10"));
    EXPECT_TRUE(MyTokenCmp("12345", "nume_1_1"));  // equal bounds: no range test
}

TEST(TokenClass, StringsNamesAndWords)
{
    EXPECT_TRUE(MyTokenCmp("\"run 1\"", "string"));
    EXPECT_FALSE(MyTokenCmp("\"run 1", "string"));
    EXPECT_FALSE(MyTokenCmp("run", "string"));
    EXPECT_TRUE(MyTokenCmp("\"hp\"", "\"hp\""));
    EXPECT_FALSE(MyTokenCmp("\"HP\"", "\"hp\""));
    EXPECT_TRUE(MyTokenCmp("a1.b", "varn"));
    EXPECT_FALSE(MyTokenCmp("1a", "varn"));
    EXPECT_TRUE(MyTokenCmp("1a.2", "alphnu"));
    EXPECT_FALSE(MyTokenCmp("a-b", "alphnu"));
    EXPECT_TRUE(MyTokenCmp("nrep", "nrep"));
    EXPECT_FALSE(MyTokenCmp("nrep", "nre"));
}

TEST(TokenClass, BoundsComeFromTheUnderscores)
{
    double min, max;
    GetTokenMinMax("nume_-1_5", min, max);
    EXPECT_EQ(min, -1);
    EXPECT_EQ(max, 5);
    GetTokenMinMax("nume_0.00001_10", min, max);
    EXPECT_EQ(min, 0.00001);
    EXPECT_EQ(max, 10);
    EXPECT_EXIT(GetTokenMinMax("inte_5", min, max), testing::ExitedWithCode(1), "Internal Error in lexer!");
}

TEST(TokenClass, ValueClassesHaveGeneratedMessages)
{
    std::string c = "nume_0_1";
    ASSERT_TRUE(CLex::GetSelfErrMsg(c));
    EXPECT_EQ(c, "The specified value must be a numeric between 0 and 1");
    c = "inte_1_20000";
    ASSERT_TRUE(CLex::GetSelfErrMsg(c));
    EXPECT_EQ(c, "The specified value must be an integer between 1 and 20000");
    c = "string";
    ASSERT_TRUE(CLex::GetSelfErrMsg(c));
    EXPECT_EQ(c, "The variable must be a string");
    c = "nrep";
    EXPECT_FALSE(CLex::GetSelfErrMsg(c));
}

TEST(ErrorMessages, TableHasEveryNumberButFortySix)
{
    CErrMsg m;
    EXPECT_STREQ(m.GetErrMsg(1), "Parse error");
    EXPECT_STREQ(m.GetErrMsg(67),
                 "Error - When same allele frequencies are set for all loci the number of alleles must also be "
                 "the same for all loci.");
    std::string legal = m.GetErrMsg(61);
    EXPECT_NE(legal.find("\nLegal characters: \""), std::string::npos);
    EXPECT_EXIT(m.GetErrMsg(46), testing::ExitedWithCode(1), "Error message is not fonud!");
    EXPECT_EXIT(MyStrCmp(nullptr, "x"), testing::ExitedWithCode(1), "Unexpected Error in MyStrCmp Function!");
}
