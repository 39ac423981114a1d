// Runs with the statements that change how individuals are made: X chromosomes and skipped
// inbreeding (a pedigree across populations is checked by the BLUP of a joint pedigree in
// evaluation/ebv_test and by the joint inbreeding of breeding/inbred_test).
#include <gtest/gtest.h>

#include "breeding/population_test_util.h"

TEST(PopulationForms, AMalesXChromosomeHoldsTwoCopiesOfHisDamsX)
{
    // Population "q" reads generation 2 of "p", which keeps that generation's genomes alive.
    std::string q = "begin_pop = \"q\";\n begin_founder;\n  male [n = 1, pop = \"p\", gen = 2];\n"
                    "  female [n = 1, pop = \"p\", gen = 2];\n end_founder;\n ls = 1;\n ng = 0;\nend_pop;\n";
    std::string text = PopulationParam(PopBlock("p", 4, 12, "ls = 3; ng = 2; sr = 0.5;") + q, 1);
    text.replace(text.find("qae = rndg 0.4; end_chr;"), 24,
                 "qae = rndg 0.4; end_chr;\n begin_chr = 1; chrlen = 80; nmloci = 50; mpos = rnd; nma = all 3;"
                 " maf = eql; nqloci = 4; qpos = rnd; nqa = all 2; qaf = eql; qae = rndg 0.4; xchr; end_chr;");
    int males = 0;
    RunPopulations(text, 8, 2, [&](const CPopulation& p, int) {
        if (p.prm.name != "p") return;
        for (int i = p.genInfo[2].first; i <= p.genInfo[2].last; ++i) {
            const SRec& r = p.indiv[i];
            if (r.sex != 1) continue;
            ++males;
            ASSERT_NE(r.patChr, nullptr);
            for (int k = 0; k < 54; ++k) EXPECT_EQ(r.patChr[1][k], r.matChr[1][k]);
        }
    });
    EXPECT_GT(males, 0);
}

TEST(PopulationForms, SkippedInbreedingLeavesEveryCoefficientZero)
{
    std::string text = PopulationParam(PopBlock("p", 2, 6, "ls = 4; ng = 4; sr = 1; dr = 1;"), 1,
                                       "h2 = 0.4; qtlh2 = 0.2; phvar = 2; skip_inbreeding;");
    RunPopulations(text, 6, 1, [&](const CPopulation& p, int) {
        for (const SRec& r : p.indiv) EXPECT_EQ(r.inbF, 0);
        EXPECT_EQ(p.genStat[p.prm.ng + 1].nInbred, 0u);
    });
}
