// The matcher on small grammars: which tokens it stamps with which action, and what it reports.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "param/param_test_util.h"

namespace {

// Matches `content` against the grammar made of `pieces` and returns the action of every token.
template <typename... Pieces>
std::vector<int> Actions(const std::string& content, Pieces... pieces)
{
    TokenizedText file(content);
    file.lex.AddToGram(pieces..., "");
    file.lex.CheckError();
    std::vector<int> actions;
    for (SCom* t = file.lex.First(); t; t = t->next) actions.push_back(t->action);
    return actions;
}

const int N = kNoAction;

}  // namespace

TEST(Matcher, UnorderedStatementsMatchInAnyOrder)
{
    auto a = Actions("b = 2; a = 1;\n",
                     "<3{", "<2{", "%3E24{a}", "<3E5{=}", "<3A1E4{inte_0_9}", "<3E7{;}", "}",
                     "<2{", "%3E24{b}", "<3E5{=}", "<3A2E4{inte_0_9}", "<3E7{;}", "}", "}");
    EXPECT_EQ(a, (std::vector<int>{N, N, 2, N, N, N, 1, N}));
}

TEST(Matcher, AlternativesAndRepetitions)
{
    // k, one of x or y, then one or more digits
    auto a = Actions("k y 1 2 3 ;\n", "<3{", "<3A1{k}", "<3{", "<4A5{x}", "<4A6{y}", "}", "<9A7{inte_0_9}", "<3{;}",
                     "}");
    EXPECT_EQ(a, (std::vector<int>{1, 6, 7, 7, 7, N}));
}

TEST(Matcher, OrderedAlternativeMarksTheLaterOnesMatched)
{
    // kind 5: once the first matches, the second counts as matched and need not appear
    auto a = Actions("k p ;\n", "<3{", "<3A1{k}", "<3{", "<5A3{p}", "<5A4{q}", "}", "<3{;}", "}");
    EXPECT_EQ(a, (std::vector<int>{1, 3, N}));
}

TEST(Matcher, ZeroOrMoreRepetitionMayBeAbsent)
{
    auto a = Actions("k ;\n", "<3{", "<3A1{k}", "<7A2{inte_0_9}", "<3{;}", "}");
    EXPECT_EQ(a, (std::vector<int>{1, N}));
}

TEST(Matcher, TheLastTerminalThatMatchesGivesTheAction)
{
    // the first alternative takes "1" and fails on "2"; the second takes both
    auto a = Actions("1 2 ;\n", "<3{", "<3{", "<4{", "<3A1{inte_0_9}", "<3{;}", "}", "<4{", "<3A2{inte_0_9}",
                     "<3A3{inte_0_9}", "<3{;}", "}", "}", "}");
    EXPECT_EQ(a, (std::vector<int>{2, 3, N}));
}

TEST(Matcher, AMissingRequiredStatementIsReportedAtTheFirstFailingToken)
{
    EXPECT_EXIT(Actions("a = 1;\nc = 3;\n", "<3{", "<2{", "%3E24{a}", "<3E5{=}", "<3A1E4{inte_0_9}", "<3E7{;}", "}",
                        "<2{", "%3E24{b}", "<3E5{=}", "<3A2E4{inte_0_9}", "<3E7{;}", "}", "}"),
                testing::ExitedWithCode(1),
                "^Line 2 : Error - Statement is not valid or it is used out of proper order\nc = 3;\n\\^\n"
                "Error\\(s\\) detected in the control file!\nThere may be more errors.\nAborted.\n$");
}

TEST(Matcher, TokensEndingInsideAStatementStopTheRun)
{
    EXPECT_EXIT(Actions("k 1\n", "<3{", "<3A1{k}", "<9{", "<3A2{inte_0_9}", "}", "<3{;}", "}"),
                testing::ExitedWithCode(1), "Error - ; cannot be found in parameter file!");
}

TEST(Matcher, TheWholeGrammarIsBalanced)
{
    CErrMsg messages;
    CLex lex(&messages);
    lex.MakeUpGramBuf();
    const std::string& g = lex.Grammar();
    int depth = 0, lowest = 0;
    for (char c : g) {
        depth += (c == '{') - (c == '}');
        lowest = std::min(lowest, depth);
    }
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(lowest, 0);
    EXPECT_EQ(g.find(' '), std::string::npos);
    EXPECT_EQ(g.substr(0, 21), "<3{<0{%3E24{title}<3E");
}
