#include <gtest/gtest.h>

#include <string>

#include "support/boxes.h"
#include "support/test_util.h"

namespace {
std::string Repeat(char c, size_t n) { return std::string(n, c); }
}  // namespace

TEST(BannerBox, CentresEachLineWithTheOddSurplusOnTheRight)
{
    std::string box = CaptureFile([](FILE* fp) { PrintMultiLineInBox1(0, "abc\nde", fp); });
    EXPECT_EQ(box,
              " .-----. \n"
              "|  abc  |\n"
              "|  de   |\n"
              " `-----' \n");
}

TEST(BannerBox, IndentsEveryLineAndKeepsEmptyLines)
{
    std::string box = CaptureFile([](FILE* fp) { PrintMultiLineInBox1(2, "ab\n\nab\n", fp); });
    EXPECT_EQ(box,
              "   .----. \n"
              "  |  ab  |\n"
              "  |      |\n"
              "  |  ab  |\n"
              "   `----' \n");
}

TEST(BannerBox, EmptyTextGivesOnlyTheBordersAndNullGivesNothing)
{
    EXPECT_EQ(CaptureFile([](FILE* fp) { PrintMultiLineInBox1(0, "", fp); }), " .--. \n `--' \n");
    EXPECT_EQ(CaptureFile([](FILE* fp) { PrintMultiLineInBox1(0, nullptr, fp); }), "");
}

TEST(TitleBox, KeepsFortyThreeCharactersAndCutsFortyFour)
{
    std::string t43 = Repeat('x', 43);
    std::string box43 = CaptureFile([&](FILE* fp) { PrintMax40CharInBox(0, fp, t43.c_str()); });
    EXPECT_EQ(box43, " ." + Repeat('-', 45) + ". \n|  " + t43 + "  |\n `" + Repeat('-', 45) + "' \n");

    std::string t44 = Repeat('y', 44);
    std::string box44 = CaptureFile([&](FILE* fp) { PrintMax40CharInBox(0, fp, t44.c_str()); });
    EXPECT_EQ(box44, " ." + Repeat('-', 45) + ". \n|  " + Repeat('y', 40) + "...  |\n `" +
                         Repeat('-', 45) + "' \n");
}

TEST(TitleBox, CleansBlanksTabsAndLineEnds)
{
    std::string box = CaptureFile([](FILE* fp) { PrintMax40CharInBox(1, fp, "  two\t\twords \n"); });
    EXPECT_EQ(box, "  .-----------. \n |  two words  |\n  `-----------' \n");
}

TEST(TitleBox, RefusesATextOf2001Characters)
{
    std::string text(2001, 'a');
    EXPECT_EXIT(PrintMax40CharInBox(0, stdout, text.c_str()), testing::ExitedWithCode(1),
                "Error - Line is too long.\nAborted.\n");
}

TEST(FixedBox, ShortTextGetsABoxJustWideEnough)
{
    std::string box = CaptureFile([](FILE* fp) { PrintALineInFixedBox(0, 80, fp, "Short title"); });
    EXPECT_EQ(box, " .-------------. \n|  Short title  |\n `-------------' \n");
}

TEST(FixedBox, LongTextIsWrappedAtBlanksIntoLinesOfTheSameWidth)
{
    std::string text = "The quick brown fox jumps over the lazy dog";
    std::string box = CaptureFile([&](FILE* fp) { PrintALineInFixedBox(0, 20, fp, text.c_str()); });
    EXPECT_EQ(box,
              " ." + Repeat('-', 16) + ". \n"
              "|  The quick       |\n"
              "|  brown fox       |\n"
              "|  jumps over the  |\n"
              "|  lazy dog        |\n"
              " `" + Repeat('-', 16) + "' \n");
}

TEST(FixedBox, WrapsAfterHyphensAndCutsWordsWithoutABreak)
{
    // Break after the hyphen, which stays on the first line.
    auto lines = WrapToWidth("well-known words", 8);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "well-   ");
    EXPECT_EQ(lines[1], "known   ");
    EXPECT_EQ(lines[2], "words   ");
    // A word longer than a line is cut where the line is full.
    lines = WrapToWidth("abcdefghij", 4);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "abcd");
    EXPECT_EQ(lines[1], "efgh");
    EXPECT_EQ(lines[2], "ij  ");
}

TEST(FixedBox, RefusesABoxLongerThan100)
{
    EXPECT_EXIT(PrintALineInFixedBox(0, 101, stdout, "x"), testing::ExitedWithCode(1),
                "Error - Box length cannot be longer than 100 characters.\n");
}

TEST(Heading, CentresTheTextInExactlyTheWidth)
{
    std::string line = CaptureFile([](FILE* fp) { PrintALineFormat1(60, '~', fp, "Replicate %3d", 1); });
    EXPECT_EQ(line, Repeat('~', 22) + " Replicate   1 " + Repeat('~', 23) + "\n");
    // An empty format gives a plain rule; an empty text in a format gives a gap of two blanks.
    const char* emptyFormat = "";
    EXPECT_EQ(CaptureFile([&](FILE* fp) { PrintALineFormat1(80, '-', fp, emptyFormat); }),
              Repeat('-', 80) + "\n");
    EXPECT_EQ(CaptureFile([](FILE* fp) { PrintALineFormat1(10, '-', fp, "%s", ""); }), "----  ----\n");
}

TEST(Heading, TextOfWidthMinusTwoFitsAndOneMoreIsSkippedWithAWarning)
{
    std::string fits(8, 'a');
    EXPECT_EQ(CaptureFile([&](FILE* fp) { PrintALineFormat1(10, '-', fp, "%s", fits.c_str()); }),
              " aaaaaaaa \n");
    unsigned before = NoWarn;
    testing::internal::CaptureStderr();
    std::string tooLong(9, 'a');
    std::string printed =
        CaptureFile([&](FILE* fp) { PrintALineFormat1(10, '-', fp, "%s", tooLong.c_str()); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning - Line is too long (skipped).\n");
    EXPECT_EQ(printed, "");
    EXPECT_EQ(NoWarn, before + 1);
}

TEST(Rules, RuleAndTimeLine)
{
    EXPECT_EQ(CaptureFile([](FILE* fp) { PrintALine(5, fp); }), "-----\n");
    EXPECT_EQ(CaptureFile([](FILE* fp) { PrintLineTime(20, '~', fp, "00:01:02"); }),
              Repeat('~', 11) + " 00:01:02\n");
}
