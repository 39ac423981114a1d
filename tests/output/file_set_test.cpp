// Which result files a replicate opens, under which names, and how attach_rep merges the
// replicates of a run into one file per kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "output/output_test_util.h"

namespace {

std::vector<std::string> FilesIn(const TempDir& dir)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Opens and closes the historical set and the population set of replicate 1.
std::vector<std::string> FilesOfReplicate1(const TempDir& dir, SimClass& sim)
{
    for (bool hp : {true, false}) {
        sim.OpenOutputStreams(1, hp);
        sim.CloseOutputStreams(hp);
    }
    return FilesIn(dir);
}

std::string ReplicateHeading(int rep)
{
    return std::string(32, '~') + " Replicate   " + std::to_string(rep) + " " + std::string(33, '~') + "\n";
}

const auto kEveryHistoricalReport = OutputBlock("hp_stat; monitor_hp_homo; linkage_map; allele_effect;");
const auto kEveryPopulationFile = PopOutput("genotype; allele_freq; ld; crossover; data; stat;");

}  // namespace

TEST(ResultFiles, EachReplicateWritesItsOwnNumberedFileWithoutHeading)
{
    TempDir dir;
    auto sim = EngineIn(dir, {PopOutput("data;")});
    for (int rep : {3, 1234}) {
        sim->OpenOutputStreams(rep, false);
        sim->CloseOutputStreams(false);
        EXPECT_EQ(sim->files.dataFp, nullptr);
    }
    EXPECT_EQ(FilesIn(dir), (std::vector<std::string>{"p1_data_003.txt", "p1_data_1234.txt"}));
    EXPECT_EQ(ReadFile(dir / "p1_data_003.txt"), "");
}

TEST(ResultFiles, AttachRepPutsEveryReplicateBehindItsHeadingInOneFile)
{
    TempDir dir;
    auto sim = EngineIn(dir, {PopOutput("data;"), OutputBlock("attach_rep;")});
    WriteFile(dir / "p1_data.txt", "left over from an earlier run\n");
    for (int rep = 1; rep <= 2; ++rep) {
        sim->OpenOutputStreams(rep, false);
        fprintf(sim->files.dataFp, "data of replicate %d\n", rep);
        sim->CloseOutputStreams(false);
    }
    EXPECT_EQ(FilesIn(dir), std::vector<std::string>{"p1_data.txt"});
    EXPECT_EQ(ReadFile(dir / "p1_data.txt"),
              ReplicateHeading(1) + "data of replicate 1\n" + ReplicateHeading(2) + "data of replicate 2\n");

    // Binary genotypes never get a heading (the statements refuse them with attach_rep).
    auto binary = EngineIn(dir, {PopOutput("genotype /binary;")}, [](SParams& prm) { prm.output.attachRep = true; });
    binary->OpenOutputStreams(2, false);
    binary->CloseOutputStreams(false);
    EXPECT_EQ(ReadFile(dir / "p1_mrk.txt"), "");
}

TEST(ResultFiles, AGenomeOpensOnlyTheFilesOfTheLociItHas)
{
    TempDir noQtl;
    auto markersOnly = EngineIn(noQtl, {{"nqloci = 2;", "nqloci = 0;"}, kEveryPopulationFile, kEveryHistoricalReport});
    EXPECT_EQ(FilesOfReplicate1(noQtl, *markersOnly),
              (std::vector<std::string>{"hp_homo_mrk_001.txt", "hp_stat_001.txt", "lm_mrk_001.txt", "p1_crosso_001.txt",
                                        "p1_data_001.txt", "p1_freq_mrk_001.txt", "p1_ld_decay_001.txt",
                                        "p1_mrk_001.txt", "p1_stat_001.txt"}));

    TempDir noMarkers;
    auto qtlOnly = EngineIn(noMarkers, {{"nmloci = 5;", "nmloci = 0;"}, kEveryPopulationFile, kEveryHistoricalReport});
    EXPECT_EQ(FilesOfReplicate1(noMarkers, *qtlOnly),
              (std::vector<std::string>{"effect_qtl_001.txt", "hp_homo_qtl_001.txt", "hp_stat_001.txt",
                                        "lm_qtl_001.txt", "p1_crosso_001.txt", "p1_data_001.txt",
                                        "p1_freq_qtl_001.txt", "p1_qtl_001.txt", "p1_stat_001.txt"}));
}

TEST(ResultFiles, SeqGenotypesGoToOneCombinedFileAndAddTheCombinedMap)
{
    TempDir dir;
    auto sim = EngineIn(dir, {PopOutput("genotype /seq;"), OutputBlock("linkage_map;")});
    EXPECT_EQ(FilesOfReplicate1(dir, *sim), (std::vector<std::string>{"lm_mrk_001.txt", "lm_mrk_qtl_001.txt",
                                                                       "lm_qtl_001.txt", "p1_mrk_qtl_001.txt"}));
}

TEST(ResultFiles, ThePedigreeFileStaysOpenWhenTheHistoricalSetCloses)
{
    TempDir dir;
    auto sim = EngineIn(dir, {{"nrep = 1;", "nrep = 1; joint_pop;"}, OutputBlock("linkage_map;")});
    sim->OpenOutputStreams(1, true);
    sim->CloseOutputStreams(true);
    EXPECT_EQ(sim->files.lmMrkFp, nullptr);
    ASSERT_NE(sim->files.pedigreeFp, nullptr);
    fprintf(sim->files.pedigreeFp, "still writable\n");
    fclose(sim->files.pedigreeFp);
    EXPECT_EQ(ReadFile(dir / "pedigree_001.txt"), "still writable\n");
}
