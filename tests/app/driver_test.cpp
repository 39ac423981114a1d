#include <gtest/gtest.h>

#include "param/param_test_util.h"

TEST(ActiveGenerations, AGenerationThatFoundsALaterPopulationIsHeld)
{
    std::string later = "begin_pop = \"p2\";\n begin_founder;\n male [n = 1, pop = \"p1\", gen = 3];\n"
                        " female [n = 2, pop = \"p1\", gen = 3];\n end_founder;\n ls = 2;\n ng = 0;\nend_pop;\n";
    auto sim = EngineOf(MinimalParamWith({{"ng = 1;", "ng = 4;"}, {"begin_genome;", later + "begin_genome;"}}));
    sim->DetermineActiveGen();
    EXPECT_EQ(sim->pops[0].genInfo[3].genomeHold, 2);
    EXPECT_EQ(sim->pops[0].genInfo[2].genomeHold, 0);
    EXPECT_EQ(sim->pops[1].genInfo[0].genomeHold, 0);
}
