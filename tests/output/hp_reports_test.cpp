// What the reports on the historical population and its genome say: homozygosity by
// generation, linkage maps, QTL allele effects and the statistics report.
#include <gtest/gtest.h>

#include "output/output_test_util.h"

namespace {

// Puts chromosome c's markers ('M') and QTL ('Q') into the given map order at the given cM.
void PlaceLoci(SimClass& sim, int c, const std::vector<std::pair<char, double>>& order)
{
    SChrom& ch = sim.genome.chrom[c];
    std::vector<SLocus*> byType[2] = {{ch.loci, ch.loci + ch.nMrk}, {ch.loci + ch.nMrk, ch.loci + ch.NLoci()}};
    size_t taken[2] = {0, 0};
    for (size_t i = 0; i < order.size(); ++i) {
        const int qtl = order[i].first == 'Q';
        ch.loci[i] = byType[qtl].at(taken[qtl]++);
        ch.loci[i]->pos = order[i].second;
    }
}

// Opens the historical set of replicate 1, writes what `write` writes and closes it again.
void WriteHistoricalReports(SimClass& sim, void (*write)(SimClass&))
{
    sim.OpenOutputStreams(1, true);
    write(sim);
    sim.CloseOutputStreams(true);
}

void RepResults(SimClass& sim) { SaveRepResults(sim.Output()); }
void HPStat(SimClass& sim) { SaveHPStat(sim.Output(), sim.hp, sim.mutation, 0.1, 0.2, 0.3, 0.4, 1.5); }

// A second chromosome of 10 cM with two markers, no QTL and the given map statement.
std::pair<std::string, std::string> SecondChromosome(const std::string& mapStatement)
{
    return {"   end_chr;\nend_genome;", "   end_chr;\n   begin_chr = 1; chrlen = 10; " + mapStatement +
                                               " nmloci = 2; mpos = even; nma = all 2; maf = eql; nqloci = 0; qpos = rnd;"
                                               " nqa = all 2; qaf = eql; qae = rndg 0.4; end_chr;\nend_genome;"};
}

const std::string kSizeHeader = "Gen.       Size    No. males  No. females\n" + std::string(42, '-') + "\n";

}  // namespace

TEST(HomozygosityReport, OneLinePerMonitoredGenerationUnderAHeader)
{
    TempDir dir;
    auto sim = EngineIn(dir, {OutputBlock("monitor_hp_homo;")});
    WriteHistoricalReports(*sim, [](SimClass& s) {
        s.hp.mrkHomo = 0.5, s.hp.qtlHomo = 0.75;
        SaveHPHomo(s.Output(), s.hp, 0);
        s.hp.mrkHomo = 0.25, s.hp.qtlHomo = 1;
        SaveHPHomo(s.Output(), s.hp, 50);
    });
    EXPECT_EQ(ReadFile(dir / "hp_homo_mrk_001.txt"), "Gen    Mean homozygosity\n0     0.500000\n50    0.250000\n");
    EXPECT_EQ(ReadFile(dir / "hp_homo_qtl_001.txt"), "Gen    Mean homozygosity\n0     0.750000\n50    1.000000\n");
}

TEST(LinkageMap, MarkersAndQtlAreNumberedApartInMapOrder)
{
    TempDir dir;
    auto sim = EngineIn(dir, {{"chrlen = 10;", "chrlen = 30;"}, PopOutput("genotype /seq;"), OutputBlock("linkage_map;")});
    PlaceLoci(*sim, 0, {{'M', 12.5}, {'Q', 13}, {'M', 14}, {'M', 20.125}, {'Q', 21}, {'M', 25}, {'M', 29.99999}});
    WriteHistoricalReports(*sim, RepResults);

    const std::string header = "ID          Chr    Position\n";
    EXPECT_EQ(ReadFile(dir / "lm_qtl_001.txt"), header + "Q1           1    13.00000\nQ2           1    21.00000\n");
    EXPECT_EQ(ReadFile(dir / "lm_mrk_qtl_001.txt"),
              header + "M1           1    12.50000\nQ1           1    13.00000\nM2           1    14.00000\n"
                       "M3           1    20.12500\nQ2           1    21.00000\nM4           1    25.00000\n"
                       "M5           1    29.99999\n");
}

TEST(LinkageMap, OneChromosomeWithItsOwnMaleScaleMakesEveryMapSexSpecific)
{
    TempDir dir;
    auto sim = EngineIn(dir, {SecondChromosome("male_map_scale = 1.2;"), PopOutput("genotype /seq;"),
                              OutputBlock("linkage_map;")});
    PlaceLoci(*sim, 1, {{'M', 2.5}, {'M', 5}});
    WriteHistoricalReports(*sim, RepResults);

    const std::string header = "ID          Chr   Input_Pos    Male_Map  Female_Map\n";
    for (const char* file : {"lm_mrk_001.txt", "lm_qtl_001.txt", "lm_mrk_qtl_001.txt"})
        EXPECT_EQ(ReadFile(dir / file).substr(0, header.size()), header) << file;
    const std::string markers = ReadFile(dir / "lm_mrk_001.txt");
    EXPECT_EQ(markers.substr(markers.size() - 51), "M7           2     5.00000     6.00000     5.00000\n");
}

TEST(AlleleEffects, EachQtlListsItsAllelesInOrderWithLabelAndEffect)
{
    TempDir dir;
    auto sim = EngineIn(dir, {OutputBlock("allele_effect;")});
    SLocus& q1 = *sim->genome.chrom[0].loci[5];
    q1.nAllele = 3;
    q1.alleleLabel = {3, 4, 7, 12};
    q1.effect = {0.5, -0.25, 1.125};
    SLocus& q2 = *sim->genome.chrom[0].loci[6];
    q2.nAllele = 1;
    q2.alleleLabel = {1, 2};
    q2.effect = {-10.0};
    WriteHistoricalReports(*sim, RepResults);

    EXPECT_EQ(ReadFile(dir / "effect_qtl_001.txt"), "ID      Chr   Allele:Effect ...\n"
                                                     "Q1        1     4: 0.500000   7:-0.250000  12: 1.125000\n"
                                                     "Q2        1     2:-10.000000\n");
}

TEST(HPStat, GenomeTableGivesOverallAndPerChromosomeValues)
{
    TempDir dir;
    auto sim = EngineIn(dir, {{"chrlen = 10;", "chrlen = 20;"}, SecondChromosome("female_map_scale = 1.5;"),
                              OutputBlock("hp_stat;")});
    sim->genome.chrom[0].nMrkFixed = 2;
    sim->genome.chrom[1].nMrkFixed = 1;
    sim->hp.patCross = 1234;
    WriteHistoricalReports(*sim, HPStat);
    const std::string text = ReadFile(dir / "hp_stat_001.txt");

    EXPECT_NE(text.find("Scaled QTL mean (var)       :     0.30000 (0.4)\n"
                        "QTL scale factor            :     1.50000\n"
                        "Polygenic mean (var)        :     0.10000 (0.2)\n\n"
                        "                                  Overall      Chr1      Chr2\n"
                        "Chromosome length (male)    :      30.000    20.000    10.000\n"
                        "Chromosome length (female)  :      35.000    20.000    15.000\n\n"
                        "No. loci                    :           9         7         2\n"),
              std::string::npos);
    EXPECT_NE(text.find("No. non-seg. loci           :           3         2         1\n"), std::string::npos);
    EXPECT_NE(text.find("Density in total            :     0.30000     0.25714 per 1 cM\n"), std::string::npos);
    EXPECT_NE(text.find("No. paternal crossovers     :       1,234\n"), std::string::npos);
    EXPECT_EQ(text.find("selected-seg."), std::string::npos);
    EXPECT_EQ(text.find("Selected-segregating:"), std::string::npos);
}

TEST(HPStat, SelectedSegregatingRowsAppearWithSelectSegLoci)
{
    TempDir dir;
    auto sim = EngineIn(dir, {OutputBlock("hp_stat;")}, [](SParams& prm) { prm.genome.select_seg_loci = true; });
    sim->genome.chrom[0].nMrk = sim->genome.nMrkTot = 3;
    WriteHistoricalReports(*sim, HPStat);
    EXPECT_NE(ReadFile(dir / "hp_stat_001.txt")
                  .find("No. selected-seg. loci      :           5         5\n"
                        "No. selected-seg. markers   :           3         3\n"
                        "No. selected-seg. QTL       :           2         2\n\nSelected-segregating:\n\n"),
              std::string::npos);
}

TEST(HPStat, SizeTableInterpolatesBetweenBreakpointsAndStarsThem)
{
    TempDir dir;
    auto sim = EngineIn(dir, {{"hg_size = 20 [0];", "hg_size = 100 [0] 200 [10];"}, OutputBlock("hp_stat;")});
    WriteHistoricalReports(*sim, HPStat);
    std::string table = kSizeHeader + "*0          100           50           50\n";
    char row[64];
    for (int g = 1; g < 10; ++g) {
        snprintf(row, sizeof row, " %d          %d           %d           %d\n", g, 100 + 10 * g, 50 + 5 * g, 50 + 5 * g);
        table += row;
    }
    table += "*10         200          100          100\n";
    const std::string text = ReadFile(dir / "hp_stat_001.txt");
    EXPECT_EQ(text.substr(text.size() - table.size()), table);
}

TEST(HPStat, SizesOfOneBreakpointAndOfLargeSteps)
{
    TempDir single;
    auto one = EngineIn(single, {{"hg_size = 20 [0];", "hg_size = 20 [0]; nmfhg = 8;"}, OutputBlock("hp_stat;")});
    WriteHistoricalReports(*one, HPStat);
    const std::string text = ReadFile(single / "hp_stat_001.txt");
    EXPECT_EQ(text.substr(text.find("Gen.")), kSizeHeader + "*0           20            8           12\n");

    // 149999 * (2 - 100000) does not fit 32 bits; divided by 150000 it is -99997.3, truncated
    // toward zero. Generation 1 loses 0.67 of an individual: truncated to no change.
    TempDir steep;
    auto large = EngineIn(steep, {{"hg_size = 20 [0];", "hg_size = 100000 [0] 2 [150000];"}, OutputBlock("hp_stat;")});
    WriteHistoricalReports(*large, HPStat);
    const std::string rows = ReadFile(steep / "hp_stat_001.txt");
    EXPECT_NE(rows.find("\n 1      100,000       50,000       50,000\n"), std::string::npos);
    EXPECT_NE(rows.find("\n 149999        3            1            2\n*150000        2            1            1\n"),
              std::string::npos);
}
