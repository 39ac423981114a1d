#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/boxes.h"
#include "support/test_util.h"

namespace {
std::string Repeat(char c, size_t n) { return std::string(n, c); }
}  // namespace

TEST(Boxes, EachBoxAndLinePrintsExactlyItsLayout)
{
    const std::string t43 = Repeat('x', 43), t44 = Repeat('y', 44);
    const std::string fox = "The quick brown fox jumps over the lazy dog";
    const char* emptyFormat = "";
    struct Case {
        const char* what;
        std::function<void(FILE*)> print;
        std::string expected;
    };
    const Case cases[] = {
        {"banner: each line centred, the odd surplus on the right",
         [](FILE* fp) { PrintMultiLineInBox1(0, "abc\nde", fp); },
         " .-----. \n|  abc  |\n|  de   |\n `-----' \n"},
        {"banner: indented, empty lines kept", [](FILE* fp) { PrintMultiLineInBox1(2, "ab\n\nab\n", fp); },
         "   .----. \n  |  ab  |\n  |      |\n  |  ab  |\n   `----' \n"},
        {"banner: empty text gives the borders", [](FILE* fp) { PrintMultiLineInBox1(0, "", fp); }, " .--. \n `--' \n"},
        {"banner: null gives nothing", [](FILE* fp) { PrintMultiLineInBox1(0, nullptr, fp); }, ""},
        {"title: 43 characters kept", [&](FILE* fp) { PrintMax40CharInBox(0, fp, t43.c_str()); },
         " ." + Repeat('-', 45) + ". \n|  " + t43 + "  |\n `" + Repeat('-', 45) + "' \n"},
        {"title: 44 characters cut", [&](FILE* fp) { PrintMax40CharInBox(0, fp, t44.c_str()); },
         " ." + Repeat('-', 45) + ". \n|  " + Repeat('y', 40) + "...  |\n `" + Repeat('-', 45) + "' \n"},
        {"title: blanks, tabs and line ends cleaned", [](FILE* fp) { PrintMax40CharInBox(1, fp, "  two\t\twords \n"); },
         "  .-----------. \n |  two words  |\n  `-----------' \n"},
        {"fixed: a short text gets a box just wide enough",
         [](FILE* fp) { PrintALineInFixedBox(0, 80, fp, "Short title"); },
         " .-------------. \n|  Short title  |\n `-------------' \n"},
        {"fixed: a long text wrapped at blanks into lines of one width",
         [&](FILE* fp) { PrintALineInFixedBox(0, 20, fp, fox.c_str()); },
         " ." + Repeat('-', 16) + ". \n|  The quick       |\n|  brown fox       |\n|  jumps over the  |\n"
         "|  lazy dog        |\n `" + Repeat('-', 16) + "' \n"},
        {"heading: the text centred in exactly the width",
         [](FILE* fp) { PrintALineFormat1(60, '~', fp, "Replicate %3d", 1); },
         Repeat('~', 22) + " Replicate   1 " + Repeat('~', 23) + "\n"},
        {"heading: an empty format gives a plain rule", [&](FILE* fp) { PrintALineFormat1(80, '-', fp, emptyFormat); },
         Repeat('-', 80) + "\n"},
        {"heading: an empty text gives a gap of two blanks", [](FILE* fp) { PrintALineFormat1(10, '-', fp, "%s", ""); },
         "----  ----\n"},
        {"heading: a text of the width less two fits",
         [](FILE* fp) { PrintALineFormat1(10, '-', fp, "%s", "aaaaaaaa"); }, " aaaaaaaa \n"},
        {"rule", [](FILE* fp) { PrintALine(5, fp); }, "-----\n"},
        {"time line", [](FILE* fp) { PrintLineTime(20, '~', fp, "00:01:02"); }, Repeat('~', 11) + " 00:01:02\n"},
    };
    for (const Case& c : cases) EXPECT_EQ(CaptureFile(c.print), c.expected) << c.what;
}

TEST(FixedBox, WrapsAfterHyphensAndCutsWordsWithoutABreak)
{
    // Break after the hyphen, which stays on the first line; a word longer than a line is cut
    // where the line is full.
    EXPECT_EQ(WrapToWidth("well-known words", 8), (std::vector<std::string>{"well-   ", "known   ", "words   "}));
    EXPECT_EQ(WrapToWidth("abcdefghij", 4), (std::vector<std::string>{"abcd", "efgh", "ij  "}));
}

TEST(Heading, ATextLongerThanTheWidthLessTwoIsSkippedWithAWarning)
{
    unsigned before = NoWarn;
    testing::internal::CaptureStderr();
    std::string printed = CaptureFile([](FILE* fp) { PrintALineFormat1(10, '-', fp, "%s", "aaaaaaaaa"); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning - Line is too long (skipped).\n");
    EXPECT_EQ(printed, "");
    EXPECT_EQ(NoWarn, before + 1);
}

TEST(Boxes, OversizedTextsOrBoxesStopTheRun)
{
    const std::string text(2001, 'a');
    EXPECT_EXIT(PrintMax40CharInBox(0, stdout, text.c_str()), testing::ExitedWithCode(1),
                "Error - Line is too long.\nAborted.\n");
    EXPECT_EXIT(PrintALineInFixedBox(0, 101, stdout, "x"), testing::ExitedWithCode(1),
                "Error - Box length cannot be longer than 100 characters.\n");
}
