#include <gtest/gtest.h>

#include <string>

#include "support/errmsg.h"
#include "param/lex.h"

TEST(TokenClass, TokensMatchTheirClass)
{
    const std::string tooLong(63, '1');  // beyond any integer type
    struct Case {
        const char *token, *tokenClass;
        bool matches;
    };
    const Case cases[] = {
        // Integers are digits within their range: no point, no exponent, not a sign alone.
        {"10", "inte_1_20000", true}, {"20000", "inte_1_20000", true}, {"20001", "inte_1_20000", false},
        {"0", "inte_1_20000", false}, {"2.0", "inte_1_20000", false}, {"1e3", "inte_1_20000", false},
        {tooLong.c_str(), "inte_1_20000", false}, {"-", "inte_-5_5", false}, {"-5", "inte_-5_5", true},
        // Numbers may have one point, one exponent and one sign; equal bounds test no range.
        {"0.5", "nume_0_1", true}, {"1e-5", "nume_0_1", true}, {"-0.5", "nume_-1_5", true},
        {"-1e-5", "nume_-1_5", false}, {"1.2.3", "nume_0_10", false}, {"1.5", "nume_0_1", false},
        {"abc", "nume_0_1", false}, {"0.00001", "nume_0.00001_10", true}, {"12345", "nume_1_1", true},
        // Strings, names and words.
        {"\"run 1\"", "string", true}, {"\"run 1", "string", false}, {"run", "string", false},
        {"\"hp\"", "\"hp\"", true}, {"\"HP\"", "\"hp\"", false}, {"a1.b", "varn", true}, {"1a", "varn", false},
        {"1a.2", "alphnu", true}, {"a-b", "alphnu", false}, {"nrep", "nrep", true}, {"nrep", "nre", false},
    };
    for (const Case& c : cases) EXPECT_EQ(MyTokenCmp(c.token, c.tokenClass), c.matches) << c.token << " " << c.tokenClass;
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
