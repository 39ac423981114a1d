// The data file and the joint pedigree file read back as a user's script would.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <vector>

#include "cli/cli_util.h"

namespace {

// Populations a of four generations and b, each writing what `a` and `b` say.
std::string TwoPopulations(const std::string& globals, const std::string& a, const std::string& b)
{
    return ::TwoPopulations("nrep = 1;\nh2 = 0.4;\nqtlh2 = 0.2;\n" + globals, 4, PopOutput(a), PopOutput(b));
}

using Row = std::vector<std::string>;

std::string Header(const std::string& path) { return Lines(ReadFile(path)).at(0); }

}  // namespace

TEST(DataFile, HoldsEveryIndividualWithAConsistentPedigreeAndRecords)
{
    TempDir dir;
    RunResult r = RunParam(dir, "run", TwoPopulations("no_male_rec;\n", "data;", "data /gen 0 2;"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::vector<Row> rows = Rows(ReadFile(dir / "r_run/a_data_001.txt"));
    EXPECT_EQ(Header(dir / "r_run/a_data_001.txt"), "Progeny Sire    Dam     Sex  G   NMPrg NFPrg F        Homo     Phen      Res       "
                      "Polygene  QTL      ");

    std::vector<int> sizes = ConsoleSizes(r.out, "a");
    ASSERT_EQ(sizes.size(), 5u);
    std::vector<int> perGen(sizes.size(), 0);
    std::map<std::string, int> maleProgeny, femaleProgeny;
    std::map<std::string, const Row*> seen;
    for (const Row& row : rows) {
        ASSERT_EQ(row.size(), 13u);
        const int g = std::stoi(row[4]);
        perGen.at(static_cast<size_t>(g))++;
        const bool male = row[3] == "M";
        ASSERT_TRUE(male || row[3] == "F");
        EXPECT_EQ(row[9] == "---", male) << "only males lack a phenotype with no_male_rec";
        if (g == 0) {
            EXPECT_EQ(row[1], "0");
            EXPECT_EQ(row[2], "0");
            EXPECT_EQ(std::stod(row[7]), 0.0) << "founders are not inbred";
        } else {
            ASSERT_TRUE(seen.count(row[1]) && seen.count(row[2])) << "parents come before their progeny";
            EXPECT_EQ((*seen[row[1]])[3], "M");
            EXPECT_EQ((*seen[row[2]])[3], "F");
            (male ? maleProgeny : femaleProgeny)[row[1]]++;
            (male ? maleProgeny : femaleProgeny)[row[2]]++;
        }
        seen[row[0]] = &row;
    }
    EXPECT_EQ(perGen, sizes);
    for (const Row& row : rows) {
        EXPECT_EQ(std::stoi(row[5]), maleProgeny[row[0]]) << row[0];
        EXPECT_EQ(std::stoi(row[6]), femaleProgeny[row[0]]) << row[0];
    }
    // A missing record fills the phenotype's field exactly, so the values after it stay in their
    // columns: the residual starts where it starts on a row with a one-digit phenotype.
    std::set<size_t> residualColumns;
    const std::vector<std::string> lines = Lines(ReadFile(dir / "r_run/a_data_001.txt"));
    for (size_t i = 0; i < rows.size(); ++i)
        if (rows[i][9] == "---" || std::fabs(std::stod(rows[i][9])) < 10) {
            const size_t phenEnd = lines[i + 1].find(rows[i][9], 60) + rows[i][9].size();
            residualColumns.insert(lines[i + 1].find(rows[i][10], phenEnd));
        }
    EXPECT_EQ(residualColumns.size(), 1u) << "the residual column moves between rows with and without a record";

    // `gen 0 2` keeps the founders and generation 2 only.
    std::vector<int> sizesB = ConsoleSizes(r.out, "b");
    std::vector<Row> rowsB = Rows(ReadFile(dir / "r_run/b_data_001.txt"));
    ASSERT_EQ(sizesB.size(), 3u);
    EXPECT_EQ(static_cast<int>(rowsB.size()), sizesB[0] + sizesB[2]);
    for (const Row& row : rowsB) EXPECT_TRUE(row[4] == "0" || row[4] == "2") << row[4];
}

// Population a is evaluated with an accuracy of one: its breeding values are the true ones.
TEST(DataFile, HidesExactlyTheRoundedShareOfParentsInEveryGenerationAndKeepsTheBreedingValues)
{
    TempDir dir;
    const std::string text = TwoPopulations("", "data /sire_miss_rate 0.1 /dam_miss_rate 0.3;", "stat;");
    RunResult r = RunParam(dir, "run", Edited(text, " sr = 0.5;", " sr = 0.5;\n ebv_est = accur 1;"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::vector<Row> rows = Rows(ReadFile(dir / "r_run/a_data_001.txt"));
    const std::string header = Header(dir / "r_run/a_data_001.txt");
    EXPECT_EQ(header.substr(0, 48), "Progeny Sire    Dam     Sire*   Dam*    Sex  G  ");
    EXPECT_EQ(header.substr(header.size() - 9), "Final_EBV");

    std::vector<int> sizes = ConsoleSizes(r.out, "a"), hiddenSires(sizes.size(), 0), hiddenDams(sizes.size(), 0);
    int hiddenAtGenerationStart = 0;
    int previousGen = -1, position = 0;
    for (const Row& row : rows) {
        ASSERT_EQ(row.size(), 16u);
        EXPECT_NEAR(std::stod(row[15]), std::stod(row[13]) + std::stod(row[14]), 2e-6) << row[0];  // Polygene + QTL
        const size_t g = static_cast<size_t>(std::stoi(row[6]));
        position = static_cast<int>(g) == previousGen ? position + 1 : 0;
        previousGen = static_cast<int>(g);
        EXPECT_TRUE(row[3] == row[1] || row[3] == "0");
        EXPECT_TRUE(row[4] == row[2] || row[4] == "0");
        const bool sireHidden = row[3] == "0" && row[1] != "0";
        hiddenSires[g] += sireHidden;
        hiddenDams[g] += row[4] == "0" && row[2] != "0";
        if (sireHidden && position < std::lround(0.1 * sizes[g])) hiddenAtGenerationStart++;
    }
    for (size_t g = 0; g < sizes.size(); ++g) {
        const int n = g == 0 ? 0 : sizes[g];
        EXPECT_EQ(hiddenSires[g], static_cast<int>(std::floor(0.1 * n + 0.5))) << g;
        EXPECT_EQ(hiddenDams[g], static_cast<int>(std::floor(0.3 * n + 0.5))) << g;
    }
    // The hidden sires are spread over each generation, not left at its first positions.
    EXPECT_LT(hiddenAtGenerationStart, hiddenSires[1] + hiddenSires[2] + hiddenSires[3] + hiddenSires[4]);
}

TEST(JointPedigree, ListsEveryIndividualOfAllPopulationsOnceWithParentsFirst)
{
    TempDir dir;
    RunResult r = RunParam(dir, "run", TwoPopulations("joint_pop;\n", "data;", "data;"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::vector<Row> ped = Rows(ReadFile(dir / "r_run/pedigree_001.txt"));
    EXPECT_EQ(Header(dir / "r_run/pedigree_001.txt"), "Progeny Sire    Dam     Sex");

    // b's founders are a's individuals: they appear in the pedigree once, as a's.
    int males = 0, individuals = 0;
    for (const char* pop : {"a", "b"})
        for (const Row& row : Rows(ReadFile(dir / (std::string("r_run/") + pop + "_data_001.txt")))) {
            if (pop[0] == 'b' && row[4] == "0") continue;
            individuals++;
            males += row[3] == "M";
        }
    ASSERT_EQ(static_cast<int>(ped.size()), individuals);

    std::vector<char> sexOf(ped.size() + 1, '?');
    int pedMales = 0;
    for (size_t i = 0; i < ped.size(); ++i) {
        const Row& row = ped[i];
        ASSERT_EQ(row.size(), 4u);
        const int self = std::stoi(row[0]), sire = std::stoi(row[1]), dam = std::stoi(row[2]);
        EXPECT_EQ(self, static_cast<int>(i) + 1);
        EXPECT_EQ(sire == 0, dam == 0) << self;
        if (sire != 0) {
            ASSERT_LT(sire, self);
            ASSERT_LT(dam, self);
            EXPECT_EQ(sexOf[static_cast<size_t>(sire)], 'M');
            EXPECT_EQ(sexOf[static_cast<size_t>(dam)], 'F');
        }
        sexOf[static_cast<size_t>(self)] = row[3][0];
        pedMales += row[3] == "M";
    }
    EXPECT_EQ(pedMales, males);
}
