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

TEST(Tokenizer, SplitsTheTextIntoWordsQuotedTextsAndSigns)
{
    const std::pair<std::string, V> cases[] = {
        // Case and spacing do not matter outside quotes.
        {"NREP = 10 ;\n", {"nrep", "=", "10", ";"}},
        {"nrep=10;\n", {"nrep", "=", "10", ";"}},
        // Quoted text keeps case, blanks and quotes.
        {"title = \"My Run\t1\";\n", {"title", "=", "\"My Run\t1\"", ";"}},
        // An unclosed quote ends at the line end or before a semicolon.
        {"title = \"abc\nnrep = 1;\n", {"title", "=", "\"abc", "nrep", "=", "1", ";"}},
        {"title = \"abc;\n", {"title", "=", "\"abc", ";"}},
        // Words hold signs, points and underscores.
        {"x -0.5 1e-5 rnd_ug r1_mpos_g /binary [2],\n",
         {"x", "-0.5", "1e-5", "rnd_ug", "r1_mpos_g", "/", "binary", "[", "2", "]", ","}},
        // A block comment cuts a quoted text; one that never ends takes the rest of the file.
        {"system = \"cat a/*b*/c\";\n", {"system", "=", "\"cat ac\"", ";"}},
        {"system = \"ls /*.txt\";\nnrep = 1;\n", {"system", "=", "\"ls "}},
    };
    for (const auto& [text, tokens] : cases) EXPECT_EQ(Texts(text), tokens) << text;
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

TEST(Tokenizer, ATokenLongerThanTheBufferIsRefused)
{
    std::string longTitle = "title = \"" + std::string(kMaxTokenLength, 'x') + "\";\n";
    EXPECT_EXIT(Tokens(longTitle), testing::ExitedWithCode(1),
                "Error - Line 1: a word or quoted text is longer than");
}
