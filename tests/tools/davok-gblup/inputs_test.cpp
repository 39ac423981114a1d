// Reading data.tmp and the genotype files, and the input the model refuses.
#include <gtest/gtest.h>

#include "model.h"
#include "test_data.h"
#include "support/test_util.h"

namespace {

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

TEST(Inputs, MalformedPopulationFilesAreRefusedWithTheirLine)
{
    struct Case {
        const char* name;
        std::string text;
        std::string message;  // empty: the file is read
    };
    TempDir dir;
    const Case cases[] = {
        {"no heading", DataLine(1, 0, 0, '-', "+1.0"), "does not begin with the heading line"},
        {"too few fields", std::string(kDataHeading) + "1 0 0 - F 1\n", "Line 2 of"},
        {"unknown flag", std::string(kDataHeading) + DataLine(1, 0, 0, 'X', "+1.0"), "Line 2 of"},
        {"phenotype not a number", std::string(kDataHeading) + DataLine(1, 0, 0, '-', "abc"), "Line 2 of"},
        {"animal twice", std::string(kDataHeading) + DataLine(1, 0, 0, '-', "+1") + DataLine(1, 0, 0, '-', "+1"),
         "appears twice"},
        {"no animal", kDataHeading, "holds no animals"},
        {"sire not in the file", std::string(kDataHeading) + DataLine(1, 0, 0, 'S', "+1") + DataLine(2, 1, 0, 'D', "+1") +
             DataLine(3, 9, 2, 'P', "+1"), "Line 4 of " + dir / "data.tmp" + " names sire 9, which is not an animal of the file"},
        {"dam not in the file", std::string(kDataHeading) + DataLine(1, 0, 0, 'S', "+1") + DataLine(2, 1, 7, 'P', "+1"),
         "Line 3 of " + dir / "data.tmp" + " names dam 7, which is not an animal of the file"},
        {"phenotype beyond 1e12", std::string(kDataHeading) + DataLine(1, 0, 0, '-', "+1e308"),
         "Line 2 of " + dir / "data.tmp" + " has the phenotype 1e+308, beyond"},
        {"phenotype below -1e12", std::string(kDataHeading) + DataLine(1, 0, 0, '-', "-2000000000000.000000"),
         "has the phenotype -2e+12, beyond"},
        // Under joint_pop a founder taken from another population keeps its parents' identifiers.
        {"founder with parents outside the file", std::string(kDataHeading) + DataLine(1, 5, 6, 'S', "+1", 0), ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile(dir / "data.tmp", c.text);
        const std::string error = ErrorOf([&] { gblup::ReadDataFile(dir / "data.tmp"); });
        if (c.message.empty())
            EXPECT_EQ(error, "");
        else
            EXPECT_NE(error.find(c.message), std::string::npos) << error;
    }
}

TEST(Inputs, OnlyTheNewestGenerationMayLackGenotypes)
{
    TempDir dir;
    WriteFile(dir / "data.tmp", std::string(kDataHeading) + DataLine(1, 0, 0, 'S', "+1.0") + DataLine(2, 0, 0, 'D', "+0.5") +
                                    DataLine(3, 1, 2, 'P', "---"));
    const std::vector<gblup::Animal> animals = gblup::ReadDataFile(dir / "data.tmp");
    gblup::Genotypes g;
    g.nMarker = 2;
    g.rowOfId = {{1, 0}, {2, 1}};
    g.codes = {0, 2, 1, 1};
    const gblup::Model m = gblup::BuildModel(animals, g, 1.0, 0.01, "geno");
    EXPECT_EQ(m.genoRow, (std::vector<int>{0, 1, -1}));
    EXPECT_DOUBLE_EQ(m.samplingShare[2], 0.5);  // two non-inbred parents

    g.rowOfId = {{1, 0}, {3, 1}};
    EXPECT_NE(ErrorOf([&] { gblup::BuildModel(animals, g, 1.0, 0.01, "geno"); })
                  .find("Animal 2 (generation 1) has no genotypes in geno"),
              std::string::npos);
}

}  // namespace
