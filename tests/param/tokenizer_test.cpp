#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "param/param_test_util.h"

namespace {

struct Tok {
    std::string text;
    int line, col, stmtStart;
};

std::vector<Tok> Tokens(const std::string& content)
{
    TokenizedText file(content);
    std::vector<Tok> out;
    for (SCom* t = file.lex.First(); t; t = t->next) out.push_back({t->text, t->line, t->col, t->stmtStart});
    return out;
}

std::vector<std::string> Texts(const std::string& content)
{
    std::vector<std::string> texts;
    for (const Tok& t : Tokens(content)) texts.push_back(t.text);
    return texts;
}

using V = std::vector<std::string>;

}  // namespace

TEST(Tokenizer, CaseAndSpacingDoNotMatterOutsideQuotes)
{
    EXPECT_EQ(Texts("NREP = 10 ;\n"), Texts("nrep=10;\n"));
    EXPECT_EQ(Texts("NREP = 10 ;\n"), (V{"nrep", "=", "10", ";"}));
}

TEST(Tokenizer, QuotedTextKeepsCaseBlanksAndQuotes)
{
    EXPECT_EQ(Texts("title = \"My Run\t1\";\n"), (V{"title", "=", "\"My Run\t1\"", ";"}));
}

TEST(Tokenizer, UnclosedQuoteEndsAtTheLineEndOrBeforeASemicolon)
{
    EXPECT_EQ(Texts("title = \"abc\nnrep = 1;\n"), (V{"title", "=", "\"abc", "nrep", "=", "1", ";"}));
    EXPECT_EQ(Texts("title = \"abc;\n"), (V{"title", "=", "\"abc", ";"}));
}

TEST(Tokenizer, WordsHoldSignsPointsAndUnderscores)
{
    EXPECT_EQ(Texts("x -0.5 1e-5 rnd_ug r1_mpos_g /binary [2],\n"),
              (V{"x", "-0.5", "1e-5", "rnd_ug", "r1_mpos_g", "/", "binary", "[", "2", "]", ","}));
}

TEST(Tokenizer, SemicolonRunsCollapseAndMarkStatementStarts)
{
    std::vector<Tok> t = Tokens("nrep = 10;;\n;h2 = 1;\n");
    ASSERT_EQ(t.size(), 8u);
    EXPECT_EQ(t[3].text, ";");
    EXPECT_EQ(t[4].text, "h2");
    EXPECT_EQ(t[0].stmtStart, 1);
    EXPECT_EQ(t[1].stmtStart, 0);
    EXPECT_EQ(t[4].stmtStart, 1);
    EXPECT_EQ(t[5].stmtStart, 0);
}

TEST(Tokenizer, CommentsAreDroppedAndLinesStayRight)
{
    std::vector<Tok> t = Tokens("nrep = 1; // a comment ; with words\n/* block\ncomment\n*/ h2\t= 0.3;\n");
    ASSERT_EQ(t.size(), 8u);
    EXPECT_EQ(t[4].text, "h2");
    EXPECT_EQ(t[4].line, 4);
    EXPECT_EQ(t[4].col, 4);
    EXPECT_EQ(t[5].col, 7);  // a tab counts as one column
}

TEST(Tokenizer, ABlockCommentCutsAQuotedText)
{
    EXPECT_EQ(Texts("system = \"cat a/*b*/c\";\n"), (V{"system", "=", "\"cat ac\"", ";"}));
    // A comment that never ends takes the rest of the file.
    EXPECT_EQ(Texts("system = \"ls /*.txt\";\nnrep = 1;\n"), (V{"system", "=", "\"ls "}));
}

TEST(Tokenizer, ATokenLongerThanTheBufferIsRefused)
{
    std::string longTitle = "title = \"" + std::string(kMaxTokenLength, 'x') + "\";\n";
    EXPECT_EXIT(Tokens(longTitle), testing::ExitedWithCode(1),
                "Error - Line 1: a word or quoted text is longer than");
}
