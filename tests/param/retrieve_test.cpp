// Values the parameter reader stores for the trickier statement forms.
#include <gtest/gtest.h>

#include "param/param_test_util.h"
#include "param/reader.h"
#include "random/rnd.h"
#include "support/messages.h"
#include "support/test_util.h"

namespace {

const char* kOneHpGeneration = "hg_size = 20 [0];";

std::string WithPopulation(const std::string& statements)
{
    return MinimalParamWith({{"   ls = 2;\n   ng = 1;\n", statements}});
}

}  // namespace

TEST(GlobalStatements, VariancesFollowFromH2QtlH2AndPhvarInAnyOrder)
{
    auto sim = EngineOf(MinimalParamWith({{"h2 = 0.3;\nqtlh2 = 0.1;\nphvar = 1.0;", "phvar = 2;\nqtlh2 = 0.3;\nh2 = 0.3;"}}));
    EXPECT_DOUBLE_EQ(sim->prm.global.varPoly, 0.0);
    EXPECT_DOUBLE_EQ(sim->prm.global.varQTL, 0.6);
    EXPECT_DOUBLE_EQ(sim->prm.global.varRes, 1.4);
}

TEST(Statements, OptionalGlobalGenomeWideAndOutputStatementsAndTheirDefaults)
{
    auto plain = EngineOf(MinimalParam());
    EXPECT_EQ(plain->prm.global.nthread, 0);
    EXPECT_TRUE(plain->prm.global.malesHaveRecords);
    EXPECT_FALSE(plain->prm.global.hasSystem);
    EXPECT_EQ(MyRnd.seed_file_name, "seed.prv");
    EXPECT_DOUBLE_EQ(plain->prm.genome.mean_crossover, 1.0);
    EXPECT_EQ(plain->prm.genome.chrom[0].qaeMethod, EEffectMethod::Rndg);
    EXPECT_DOUBLE_EQ(plain->prm.genome.chrom[0].gammaShape, 0.4);
    EXPECT_EQ(plain->prm.output.outputFolder, "");
    EXPECT_FALSE(plain->prm.output.monitor_hp_homo);

    // The longest title allowed keeps its case (one character more is refused in the corpus).
    const std::string title = "Big Test" + std::string(992, 't');
    auto sim = EngineOf(MinimalParamWith(
        {{"nrep = 1;", "NREP = 3; nthread = 7; no_male_rec; joint_pop; skip_inbreeding;\n"
                       "system = \"Rscript Sum.R\"; title = \"" + title + "\"; seed = \" dir\\My seed \";"},
         {"begin_genome;", "begin_genome; select_seg_loci /nqtl 3 /maft 0.05; rmmg = 0.1 /rndg 2; rqge = 0.01;\n"
                           "mmutr = 0.001 /recurrent; qmutr = 0.0001; r1_mpos_g; r_qpos_g;"},
         {"end_genome;\n", "end_genome;\nbegin_output; output_folder = \"a\\b\"; monitor_hp_homo; hp_stat;"
                           " linkage_map; allele_effect; allele_label; attach_rep; end_output;\n"}}));
    const SGlobalParams& global = sim->prm.global;
    EXPECT_EQ(global.nrep, 3);
    EXPECT_EQ(global.nthread, 7);
    EXPECT_FALSE(global.malesHaveRecords);
    EXPECT_TRUE(global.joint_pop);
    EXPECT_TRUE(global.skip_inbreeding);
    EXPECT_EQ(global.system, "Rscript Sum.R");
    EXPECT_FALSE(global.systemNrep);
    EXPECT_EQ(global.title, title);
    EXPECT_EQ(MyRnd.seed_file_name, "dir/My seed");
    MyRnd.seed_file_name = "seed.prv";

    const SGenomeParams& genome = sim->prm.genome;
    EXPECT_TRUE(genome.select_seg_loci);
    EXPECT_DOUBLE_EQ(genome.segMaft, 0.05);
    EXPECT_EQ(genome.segNMrk, -1);
    EXPECT_EQ(genome.segNQTL, 3);
    EXPECT_DOUBLE_EQ(genome.rmmg.rate, 0.1);
    EXPECT_DOUBLE_EQ(genome.rmmg.shape, 2);
    EXPECT_DOUBLE_EQ(genome.rqge.shape, -1);
    EXPECT_TRUE(genome.mmutrRecurrent);
    EXPECT_FALSE(genome.qmutrRecurrent);
    EXPECT_TRUE(genome.r1_mpos_g);
    EXPECT_FALSE(genome.r_mpos_g);
    EXPECT_TRUE(genome.r_qpos_g);

    const SOutputParams& output = sim->prm.output;
    EXPECT_EQ(output.outputFolder, "a/b");
    EXPECT_TRUE(output.monitor_hp_homo);
    EXPECT_EQ(output.monitorFreq, 50);
    EXPECT_TRUE(output.hp_stat && output.linkage_map && output.allele_effect && output.allele_label && output.attachRep);

    auto other = EngineOf(MinimalParamWith({{"nrep = 1;", "nrep = 1; system = \"cmd\" /nrep;"},
                                            {"end_genome;\n", "end_genome;\nbegin_output; monitor_hp_homo /freq 7; end_output;\n"}}));
    EXPECT_TRUE(other->prm.global.systemNrep);
    EXPECT_EQ(other->prm.output.monitorFreq, 7);
}

// (Different numbers of males for a single generation are refused in the corpus.)
TEST(HistoricalStatements, MalesDefaultToHalfTheFirstSizeAndTheSameShareAtTheEndOrTheOneNumberGiven)
{
    auto sim = EngineOf(MinimalParamWith({{kOneHpGeneration, "hg_size = 1001 [0] 101 [10];"}}));
    EXPECT_EQ(sim->prm.hist.nmfhg, 500);
    EXPECT_EQ(sim->prm.hist.nmlhg, 50);
    EXPECT_EQ(sim->prm.hist.nSizeEntries, 2);
    EXPECT_EQ(sim->prm.hist.nGen, 10);
    EXPECT_EQ(sim->prm.hist.LastSize(), 101);
    EXPECT_EQ(EngineOf(MinimalParamWith({{kOneHpGeneration, "hg_size = 100 [0]; nmfhg = 30;"}}))->prm.hist.nmlhg, 30);
    EXPECT_EQ(EngineOf(MinimalParamWith({{kOneHpGeneration, "nmlhg = 12; hg_size = 100 [0];"}}))->prm.hist.nmfhg, 12);
}

TEST(PopulationStatements, FounderLinesAndTheirOptions)
{
    auto sim = EngineOf(MinimalParamWith(
        {{"male   [n = 2, pop = \"hp\"];",
          "male   [n = 2, pop = \"hp\", select = phen /l];\n male [n = 3, pop = \"hp\"] /not_founder_yet;"}}));
    const CPopulation& p = sim->pops[0];
    ASSERT_EQ(p.prm.nFounderLine, 3);
    EXPECT_EQ(p.prm.founderLine[0].select, kPhen);
    EXPECT_EQ(p.prm.founderLine[0].high, 0);
    EXPECT_EQ(p.prm.founderLine[1].n, 3);
    EXPECT_EQ(p.prm.founderLine[1].notFounderYet, 1);
    EXPECT_EQ(p.prm.founderLine[1].high, 1);
    EXPECT_EQ(p.prm.founderLine[2].male, 0);
    EXPECT_TRUE(p.prm.founderLine[2].FromHistorical());
    EXPECT_EQ(p.prm.nMaleFounder, 5);
    EXPECT_EQ(p.prm.nFemaleFounder, 4);
}

TEST(PopulationStatements, FounderLinesFromAnEarlierPopulation)
{
    std::string second =
        "begin_pop = \"p2\";\n begin_founder;\n male [n = 1, pop = \"p1\", gen = 1, select = tbv /h];\n"
        " female [n = 2, pop = \"p1\", gen = 0];\n end_founder;\n ls = 3;\n ng = 0;\n end_pop;\n";
    auto sim = EngineOf(MinimalParamWith({{"begin_genome;", second + "begin_genome;"}}));
    ASSERT_EQ(sim->pops.size(), 2u);
    const CPopulation& p = sim->pops[1];
    EXPECT_EQ(p.prm.founderLine[0].srcPop, 0);
    EXPECT_EQ(p.prm.founderLine[0].gen, 1);
    EXPECT_EQ(p.prm.founderLine[0].select, kTbv);
    EXPECT_EQ(p.prm.maxSires, 1);
    EXPECT_EQ(p.prm.nLs, 1);
    EXPECT_EQ(p.prm.ls[0], 3);
}

TEST(PopulationStatements, ReplacementWithGrowthAppliesToEveryGenerationBeforeTheLast)
{
    auto sim = EngineOf(WithPopulation("ls = 2; ng = 4; sr = 0.5 0.1; dr = 0.5 0.1 /e;\n"));
    const CPopulation& p = sim->pops[0];
    for (int g = 1; g <= 3; ++g) {
        EXPECT_DOUBLE_EQ(p.prm.plan[g].sr, 0.5) << g;
        EXPECT_DOUBLE_EQ(p.prm.plan[g].sireGrowth, 0.1) << g;
        EXPECT_EQ(p.prm.plan[g].sireRefGen, 1) << g;
        EXPECT_EQ(p.prm.plan[g].damRefGen, g) << g;
    }
    // sires: 2, then +round(2 * 0.1) = 0 each time; dams grow from their own generation
    EXPECT_EQ(p.prm.plan[4].nSires, 2);
    EXPECT_EQ(p.prm.plan[1].nDams, 4);
    EXPECT_EQ(p.prm.plan[2].nDams, 4);  // 4 + round(0.4)
    EXPECT_TRUE(p.prm.drExp);
}

TEST(PopulationStatements, GrowthBeyondWhatTheRecordsHoldIsRefused)
{
    // 2 sires and 4 dams, multiplied by 6 in every generation with a growth of 5.
    auto sim = EngineOf(WithPopulation("ls = 1; ng = 12; dr = 1 5 /e;\n"));
    long long dams = 4;
    for (int g = 2; g <= 12; ++g) dams *= 6;
    EXPECT_EQ(sim->pops[0].prm.plan[12].nDams, dams);
    EXPECT_EQ(sim->pops[0].prm.maxDams, dams);

    struct Case {
        const char* statements;
        const char* message;
    };
    const Case cases[] = {
        {"ls = 1; ng = 13; dr = 1 5 /e;\n", "Error - Pop \"p1\" G13: The number of dams grows beyond 2,147,483,647"},
        {"ls = 1; ng = 13; sr = 1 5 /e;\n", "Error - Pop \"p1\" G13: The number of sires grows beyond 2,147,483,647"},
        {"ls = 2; ng = 12; dr = 1 5 /e;\n", "Error - Pop \"p1\" G12: The population grows beyond 2,147,483,647 individuals"},
    };
    for (const Case& c : cases)
        EXPECT_EXIT(EngineOf(WithPopulation(c.statements)), testing::ExitedWithCode(1), c.message) << c.statements;
}

TEST(PopulationStatements, ListsHoldTheirValueUntilTheNextGenerationAndOutputOptions)
{
    auto sim = EngineOf(WithPopulation(
        "ls = 1 2 [0.3] 3 [0.1]; ng = 6; sr = 0.4 [2] 0.2 [4]; dr = 1 0.5 [1] 1 0.25 [2];\n"
        " begin_popoutput;\n genotype /binary /gen 0 3;\n ld /maft 0.1 /chr 1 /max_distance 2.5;\n"
        " allele_freq /mafbin 10;\n data /sire_miss_rate_g 0.2 [2] 0.1 [4];\n stat;\n end_popoutput;\n"));
    const SPopParams& p = sim->pops[0].prm;
    // Litter size probabilities leave the rest to the first size.
    ASSERT_EQ(p.nLs, 3);
    EXPECT_EQ(p.ls, (std::vector<int>{1, 2, 3}));
    EXPECT_NEAR(p.lsProb[0], 0.6, 1e-12);
    EXPECT_DOUBLE_EQ(p.lsProb[1], 0.3);
    EXPECT_DOUBLE_EQ(p.lsProb[2], 0.1);
    const double sr[] = {1.0, 1.0, 0.4, 0.4, 0.2, 0.2};
    for (int g = 0; g < 6; ++g) EXPECT_DOUBLE_EQ(p.plan[g].sr, sr[g]) << g;
    EXPECT_EQ(p.plan[1].sireRefGen, 1);
    EXPECT_EQ(p.plan[3].sireRefGen, 2);
    EXPECT_EQ(p.plan[5].sireRefGen, 4);
    // Dams grow from their reference generation: 4, 4 + round(4 * 0.5), then by a quarter from
    // generation 2 on.
    const int dams[] = {4, 6, 8, 10};
    for (int g = 1; g <= 4; ++g) EXPECT_EQ(p.plan[g].nDams, dams[g - 1]) << g;
    int most = 0;
    for (const SGenPlan& plan : p.plan) most = std::max(most, plan.nDams);
    EXPECT_EQ(p.maxDams, most);
    EXPECT_GE(most, 10);

    const SPopOutput& o = p.out;
    EXPECT_EQ(o.genoGen, (std::vector<uint8_t>{1, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(o.genoOpt, kGenoBinary);
    EXPECT_EQ(o.dataGen, (std::vector<uint8_t>{1, 1, 1, 1, 1, 1, 1}));
    EXPECT_TRUE(o.ldOut);
    EXPECT_DOUBLE_EQ(o.ldMaft, 0.1);
    EXPECT_DOUBLE_EQ(o.ldMaxDist, 2.5);
    EXPECT_EQ(o.ldChr, (std::vector<uint8_t>{1}));
    EXPECT_EQ(o.mafBin, 10);
    EXPECT_EQ(o.sireMissRateGen, (std::vector<double>{0, 0, 0.2, 0, 0.1, 0, 0}));
    EXPECT_TRUE(o.missParents);
    EXPECT_TRUE(o.statOut);
    EXPECT_FALSE(o.crossoverOut);
}

TEST(GenomeStatements, ABlockWithACountMakesIdenticalChromosomes)
{
    auto sim = EngineOf(MinimalParamWith({{"begin_chr = 1;", "begin_chr = 3;"}, {"chrlen = 10;", "chrlen = 100;"},
                                            {"nqloci = 10;", "nqloci = 2;"}}));
    ASSERT_EQ(sim->prm.genome.nChr, 3);
    EXPECT_DOUBLE_EQ(sim->prm.genome.genomeLength, 300);
    EXPECT_EQ(sim->genome.nMrkTot, 15);
    EXPECT_EQ(sim->genome.nQTLTot, 6);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(sim->prm.genome.chrom[c].number, c + 1);
        EXPECT_DOUBLE_EQ(sim->genome.chrom[c].loci[4]->pos, 100);
        EXPECT_EQ(sim->genome.chrom[c].loci[6]->isQTL, 1);
    }
}

TEST(GenomeStatements, BlocksFollowEachOtherAndGenomeWideStatementsMayStandBetween)
{
    std::string block = "begin_chr = 1; chrlen = 20; nmloci = 2; mpos = even; nma = all 3; maf = eql;"
                        " nqloci = 0; qpos = rnd; nqa = all 2; qaf = eql; qae = rndg 0.4; end_chr;\n";
    auto sim = EngineOf(MinimalParamWith({{"begin_chr = 1;", "begin_chr = 2;"},
                                            {"end_genome;", "mean_crossover = 2.5; interference = 5 /c;\n" +
                                                                block + "end_genome;"}}));
    ASSERT_EQ(sim->prm.genome.nChr, 3);
    EXPECT_DOUBLE_EQ(sim->prm.genome.chrom[1].len, 10);
    EXPECT_DOUBLE_EQ(sim->prm.genome.chrom[2].len, 20);
    EXPECT_EQ(sim->genome.chrom[2].loci[1]->nAllele0, 3);
    EXPECT_DOUBLE_EQ(sim->prm.genome.mean_crossover, 2.5);
    EXPECT_DOUBLE_EQ(sim->prm.genome.interference, 5);
    EXPECT_TRUE(sim->prm.genome.interferenceComplete);
}

TEST(GenomeStatements, EvenAndPredefinedPositions)
{
    auto sim = EngineOf(MinimalParamWith({{"chrlen = 10;", "chrlen = 40;"},
                                            {"nmloci = 5;", "nmloci = 3;"},
                                            {"mpos = even;", "mpos = even /end 30 /start 10;"},
                                            {"nqloci = 10;", "nqloci = 2;"},
                                            {"qpos = rnd;", "qpos = pd 15.123456 35;"}}));
    const SChrom& ch = sim->genome.chrom[0];
    ASSERT_EQ(ch.NLoci(), 5);
    // sorted by position: 10, 15.12346 (QTL), 20, 30, 35 (QTL)
    const double pos[] = {10, 15.12346, 20, 30, 35};
    for (int i = 0; i < 5; ++i) EXPECT_DOUBLE_EQ(ch.loci[i]->pos, pos[i]) << i;
    EXPECT_EQ(ch.loci[1]->isQTL, 1);
    EXPECT_EQ(ch.loci[4]->isQTL, 1);
}

TEST(GenomeStatements, NumbersOfAllelesInEveryForm)
{
    auto unique = EngineOf(MinimalParamWith({{"nma = all 2;", "nma = unique;"}}));
    EXPECT_EQ(unique->genome.chrom[0].loci[0]->nAllele0, 40);  // two per founder of 20
    auto list = EngineOf(MinimalParamWith({{"nma = all 2;", "nma = rnd 5 2 3;"}, {"maf = eql;", "maf = rnd;"}}));
    const SLocusClassSettings& s = list->prm.genome.chrom[0].mrk;
    EXPECT_EQ(s.nAlleleMethod, ENumAlleleMethod::Rnd);
    ASSERT_EQ(s.nAlleleCount, 3);
    EXPECT_EQ(s.nAlleleList[0], 2);
    EXPECT_EQ(s.nAlleleList[2], 5);
    auto pd = EngineOf(MinimalParamWith({{"nma = all 2;", "nma = pd 2 3 4 5 6;"},
                                           {"maf = eql;", "maf = pd 0.5 0.5 0.2 0.3 0.5 .25 .25 .25 .25 "
                                                          ".2 .2 .2 .2 .2 .1 .1 .1 .1 .1 .5;"}}));
    EXPECT_EQ(pd->genome.chrom[0].loci[4]->nAllele0, 6);
    EXPECT_EQ(pd->genome.chrom[0].loci[1]->freq, (std::vector<double>{0.2, 0.3, 0.5}));
    EXPECT_DOUBLE_EQ(pd->genome.chrom[0].loci[4]->freq[5], 0.5);
}

TEST(GenomeStatements, SharedFrequenciesAndQtlEffects)
{
    auto sim = EngineOf(MinimalParamWith(
        {{"nqloci = 10;", "nqloci = 2;"}, {"qaf = eql;", "qaf = all 0.25 0.75;"}, {"qae = rndg 0.4;", "qae = pd 0.3 0.7;"}}));
    const SChrom& ch = sim->genome.chrom[0];
    SLocus* const* qtl = ch.loci + ch.nMrk;
    EXPECT_EQ(qtl[1]->freq, (std::vector<double>{0.25, 0.75}));
    EXPECT_EQ(ch.prm.qaeMethod, EEffectMethod::Pd);
    EXPECT_NEAR(qtl[0]->targetVar, 0.3 * sim->prm.global.varQTL, 1e-15);
    EXPECT_NEAR(qtl[1]->targetVar, 0.7 * sim->prm.global.varQTL, 1e-15);
}

TEST(GenomeStatements, CompleteLdWordsSetTheSameBitsInEitherForm)
{
    auto a = EngineOf(MinimalParamWith({{"qae = rndg 0.4;", "qae = rndg 0.4; cld = mq;"}}));
    auto b = EngineOf(MinimalParamWith({{"qae = rndg 0.4;", "qae = rndg 0.4; cld = q m;"}}));
    auto c = EngineOf(MinimalParamWith({{"qae = rndg 0.4;", "qae = rndg 0.4; cld = m;"}}));
    EXPECT_EQ(a->prm.genome.chrom[0].cld, kCldMarkers | kCldQTL | kCldQTLFollowMarkers);
    EXPECT_EQ(b->prm.genome.chrom[0].cld, kCldMarkers | kCldQTL);
    EXPECT_EQ(c->prm.genome.chrom[0].cld, kCldMarkers);
}

TEST(ExampleFiles, AreReadAndPassTheCrossChecks)
{
    for (const char* name : {"quickstart", "dairy", "dense_genome"}) {
        std::string text = ReadFile(std::string(DAVOK_EXAMPLES) + "/" + name + ".prm");
        ASSERT_FALSE(text.empty()) << name;
        SParams prm = ParamsOfText(text);
        unsigned warningsBefore = NoWarn;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        CheckParams(prm);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << name;
        EXPECT_EQ(NoWarn, warningsBefore) << name;
        EXPECT_GE(prm.genome.nChr, 1) << name;
    }
}

TEST(GenomeStatements, ListsReachTheirLociAlsoWhenQtlStandBeforeTheMarkers)
{
    // Fixed positions put both QTL in front of the markers once the chromosome is sorted.
    auto sim = EngineOf(MinimalParamWith({{"mpos = even;", "mpos = even /start 5;"},
                                            {"nqloci = 10;", "nqloci = 2;"},
                                            {"qpos = rnd;", "qpos = pd 1 2;"},
                                            {"nqa = all 2;", "nqa = pd 2 3;"},
                                            {"qaf = eql;", "qaf = pd 0.5 0.5 0.2 0.2 0.6;"},
                                            {"qae = rndg 0.4;", "qae = pd 0.25 0.75;"}}));
    const SChrom& ch = sim->genome.chrom[0];
    ASSERT_EQ(ch.loci[0]->isQTL, 1);
    ASSERT_EQ(ch.loci[1]->isQTL, 1);
    EXPECT_EQ(ch.loci[0]->nAllele0, 2);
    EXPECT_EQ(ch.loci[1]->nAllele0, 3);
    EXPECT_EQ(ch.loci[1]->freq, (std::vector<double>{0.2, 0.2, 0.6}));
    EXPECT_NEAR(ch.loci[1]->targetVar, 0.75 * sim->prm.global.varQTL, 1e-15);
    EXPECT_EQ(ch.loci[2]->nAllele0, 2);  // the markers keep nma = all 2
    EXPECT_EQ(ch.loci[2]->freq.size(), 2u);
}
