// Reading data.tmp, the parameter file and the genotype files, and the input the model refuses.
#include <gtest/gtest.h>

#include "model.h"
#include "support/test_util.h"

namespace {

const char* const kHeading =
    "Progeny Sire    Dam     Flag Sex  G   NMPrg NFPrg F        Homo     Phen      Res       Polygene  QTL       "
    "Inputed_BV\n";

std::string DataLine(long id, long sire, long dam, char flag, const char* phen)
{
    return std::to_string(id) + " " + std::to_string(sire) + " " + std::to_string(dam) + "  " + flag +
           "  F 1 0 0 0.000000 0.5 " + phen + " +0.1 +0.1 +0.1 +0.000000\n";
}

template <class F>
std::string ErrorOf(F f)
{
    try {
        f();
    } catch (const gblup::InputError& e) {
        return e.what();
    }
    return "";
}

TEST(Inputs, AllelePairsAndCodesGiveTheSameGeneContents)
{
    TempDir dir;
    // A missing allele (0) and code 5 are missing genotypes.
    WriteFile(dir / "pairs.txt", "ID      Genotypes (paternal allele, maternal allele) ...\n"
                                 "7       1 1 1 2 2 1 2 2 0 1\n");
    WriteFile(dir / "codes.txt", "ID      Genotypes (0 = a1,a1; ...\n7       03425\n");
    for (const char* file : {"pairs.txt", "codes.txt"}) {
        SCOPED_TRACE(file);
        const gblup::Genotypes g = gblup::ReadGenotypes(dir / file, {{7, 0}});
        EXPECT_EQ(g.codes, (std::vector<uint8_t>{0, 1, 1, 2, gblup::kMissingGenotype}));
    }
}

TEST(Inputs, AttachedReplicatesKeepOnlyTheLastAndTheNewestReplicateFileIsChosen)
{
    TempDir dir;
    WriteFile(dir / "p_mrk.txt", "~~~ Replicate   1 ~~~\nID Genotypes\n1      0022\n2      2200\n"
                                 "~~~ Replicate   2 ~~~\nID Genotypes\n1      3333\n");
    const gblup::Genotypes g = gblup::ReadGenotypes(dir / "p_mrk.txt", {{1, 0}, {2, 1}});
    EXPECT_EQ(g.rowOfId.size(), 1u);
    EXPECT_EQ(g.codes, (std::vector<uint8_t>{1, 1, 1, 1}));

    WriteFile(dir / "q_mrk_001.txt", "");
    WriteFile(dir / "q_mrk_002.txt", "");
    EXPECT_EQ(gblup::ResolveGenotypePath(dir / "q_mrk"), dir / "q_mrk_002.txt");
    EXPECT_EQ(gblup::ResolveGenotypePath(dir / "p_mrk"), dir / "p_mrk.txt");
    EXPECT_NE(ErrorOf([&] { gblup::ResolveGenotypePath(dir / "r_mrk"); }).find("No genotype file"), std::string::npos);
}

TEST(Inputs, HeritabilityIsTheH2StatementOutsideComments)
{
    TempDir dir;
    WriteFile(dir / "a.prm", "qtlh2 = 0.1;  // h2 = 0.9;\nphvar=1; h2=0.35;\n");
    EXPECT_DOUBLE_EQ(gblup::ReadHeritability(dir / "a.prm"), 0.35);
    WriteFile(dir / "b.prm", "qtlh2 = 0.1;\n");
    EXPECT_NE(ErrorOf([&] { gblup::ReadHeritability(dir / "b.prm"); }).find("no statement \"h2"), std::string::npos);
}

TEST(Inputs, MalformedPopulationFilesAreRefusedWithTheirLine)
{
    struct Case {
        const char* name;
        std::string text;
        const char* message;
    };
    const Case cases[] = {
        {"no heading", DataLine(1, 0, 0, '-', "+1.0"), "does not begin with the heading line"},
        {"too few fields", std::string(kHeading) + "1 0 0 - F 1\n", "Line 2 of"},
        {"unknown flag", std::string(kHeading) + DataLine(1, 0, 0, 'X', "+1.0"), "Line 2 of"},
        {"phenotype not a number", std::string(kHeading) + DataLine(1, 0, 0, '-', "abc"), "Line 2 of"},
        {"animal twice", std::string(kHeading) + DataLine(1, 0, 0, '-', "+1") + DataLine(1, 0, 0, '-', "+1"),
         "appears twice"},
        {"no animal", kHeading, "holds no animals"},
    };
    TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile(dir / "data.tmp", c.text);
        EXPECT_NE(ErrorOf([&] { gblup::ReadDataFile(dir / "data.tmp"); }).find(c.message), std::string::npos);
    }
}

TEST(Inputs, OnlyTheNewestGenerationMayLackGenotypes)
{
    TempDir dir;
    WriteFile(dir / "data.tmp", std::string(kHeading) + DataLine(1, 0, 0, 'S', "+1.0") + DataLine(2, 0, 0, 'D', "+0.5") +
                                    DataLine(3, 1, 2, 'P', "---"));
    const std::vector<gblup::Animal> animals = gblup::ReadDataFile(dir / "data.tmp");
    gblup::Genotypes g;
    g.nMarker = 2;
    g.rowOfId = {{1, 0}, {2, 1}};
    g.codes = {0, 2, 1, 1};
    const gblup::Model m = gblup::BuildModel(animals, g, 0.5, 0.01, "geno");
    EXPECT_EQ(m.genoRow, (std::vector<int>{0, 1, -1}));
    EXPECT_DOUBLE_EQ(m.samplingShare[2], 0.5);  // two non-inbred parents

    g.rowOfId = {{1, 0}, {3, 1}};
    EXPECT_NE(ErrorOf([&] { gblup::BuildModel(animals, g, 0.5, 0.01, "geno"); })
                  .find("Animal 2 (generation 1) has no genotypes in geno"),
              std::string::npos);
    EXPECT_NE(ErrorOf([&] { gblup::BuildModel(animals, g, 1.0, 0.01, "geno"); }).find("heritability"),
              std::string::npos);
}

}  // namespace
