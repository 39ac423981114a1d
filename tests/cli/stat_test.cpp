// The statistics files and the summary over replicates, read back as a user's script would and
// checked against each other and against the data files of the same run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "cli/cli_util.h"

namespace {

const char* const kGenome =
    "begin_genome;\n begin_chr = 2;\n  chrlen = 100;\n  nmloci = 60;\n  mpos = rnd;\n  nma = all 2;\n"
    "  maf = eql;\n  nqloci = 6;\n  qpos = rnd;\n  nqa = all 2;\n  qaf = eql;\n  qae = rndg 0.4;\n end_chr;\n"
    "end_genome;\n";

// Population "a" (BLUP, two litter-size classes, 3 generations) from the historical population;
// "b" (no evaluation, one litter size, 2 generations) founded from a.
std::string TwoPopulations(int nrep, const std::string& globals)
{
    return "nrep = " + std::to_string(nrep) + ";\n" + globals +
           "begin_hp;\n hg_size = 200 [0] 200 [5];\nend_hp;\n"
           "begin_pop = \"a\";\n begin_founder;\n  male [n = 6, pop = \"hp\"];\n  female [n = 30, pop = \"hp\"];\n"
           " end_founder;\n ls = 2 3 [0.5];\n ng = 3;\n sr = 0.5;\n dr = 0.5;\n ebv_est = blup;\n"
           " begin_popoutput;\n  stat;\n  data;\n end_popoutput;\nend_pop;\n"
           "begin_pop = \"b\";\n begin_founder;\n  male [n = 3, pop = \"a\", gen = 3];\n"
           "  female [n = 10, pop = \"a\", gen = 2];\n end_founder;\n ls = 2;\n ng = 2;\n"
           " begin_popoutput;\n  stat;\n  data;\n end_popoutput;\nend_pop;\n" +
           kGenome;
}

const int kGenerations[] = {3, 2};  // ng of a and b

using Row = std::vector<std::string>;
using Lines = std::vector<std::string>;

Lines SplitLines(const std::string& text)
{
    std::istringstream in(text);
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

Row Fields(const std::string& line)
{
    std::istringstream in(line);
    Row r;
    for (std::string f; in >> f;) r.push_back(f);
    return r;
}

// "width fill title" of a centred heading line, or "" for any other line.
std::string Heading(const std::string& line)
{
    if (line.empty() || (line[0] != '-' && line[0] != '~')) return "";
    const size_t b = line.find_first_not_of(line[0]), e = line.find_last_not_of(line[0]);
    if (b == std::string::npos || line[b] != ' ' || line[e] != ' ') return "";
    return std::to_string(line.size()) + line[0] + line.substr(b + 1, e - b - 1);
}

std::vector<std::string> Headings(const Lines& lines)
{
    std::vector<std::string> found;
    for (const std::string& l : lines)
        if (!Heading(l).empty()) found.push_back(Heading(l));
    return found;
}

// Index of the first heading titled `title` at or after `from`; lines.size() when there is none.
size_t FindHeading(const Lines& lines, const std::string& title, size_t from = 0)
{
    for (size_t i = from; i < lines.size(); ++i) {
        const std::string h = Heading(lines[i]);
        if (!h.empty() && h.substr(h.find_first_of("-~") + 1) == title) return i;
    }
    return lines.size();
}

bool IsRow(const Row& r)
{
    return !r.empty() && (r[0] == "Overall" || r[0].find_first_not_of("0123456789") == std::string::npos);
}

// The rows (a generation or "Overall" first) of the table under the heading at `at`.
std::vector<Row> TableAt(const Lines& lines, size_t at)
{
    std::vector<Row> rows;
    size_t i = at + 1;
    while (i < lines.size() && !IsRow(Fields(lines[i])) && Heading(lines[i]).empty()) ++i;
    for (; i < lines.size() && IsRow(Fields(lines[i])); ++i) rows.push_back(Fields(lines[i]));
    return rows;
}

std::vector<Row> Table(const Lines& lines, const std::string& title, size_t from = 0)
{
    const size_t at = FindHeading(lines, title, from);
    return at < lines.size() ? TableAt(lines, at) : std::vector<Row>();
}

std::string Folder(const TempDir& dir) { return dir / "r_run/"; }

std::string StatFile(const TempDir& dir, const std::string& pop, int rep)
{
    return Folder(dir) + pop + "_stat_00" + std::to_string(rep) + ".txt";
}

RunResult RunText(const TempDir& dir, const std::string& text)
{
    WriteFile(dir / "run.prm", text);
    return RunDavok(dir, "run.prm");
}

// One section of the summary and where its values come from in the statistics files: the
// table and the columns of the two accumulators (-1: the section has one).
struct SCompared {
    const char* statTable;
    int first, second;
    const char* repSection;
    double tolerance;  // the printed precision of the inputs
};

}  // namespace

TEST(StatRep, MeansAndStandardErrorsAreThoseOfTheReplicateStatisticsFiles)
{
    TempDir dir;
    RunResult r = RunText(dir, TwoPopulations(3, "title = \"Stat test\";\nh2 = 0.4;\nqtlh2 = 0.2;\nphvar = 1.0;\n"
                                                 "no_male_rec;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const Lines rep = SplitLines(ReadFile(Folder(dir) + "stat_rep.txt"));
    ASSERT_GE(rep.size(), 4u);
    EXPECT_EQ(rep[1], "|  Stat test  |");
    EXPECT_EQ(rep[3], "No. replicates: 3");

    const SCompared common[] = {
        {"Inbreeding", 4, 5, "Inbreeding", 1e-4},
        {"Inbreeding", 1, -1, "Number of inbreds", 1e-8},
        {"Homozygosity", 1, 2, "Homozygosity", 2e-8},
        {"Phenotype (females)", 1, 2, "Phenotype (females)", 2e-8},
        {"Polygenes", 1, 2, "Polygenes", 2e-8},
        {"QTL", 1, 2, "QTL", 2e-8},
        {"Residual (females)", 1, 2, "Residual (females)", 2e-8},
    };
    const SCompared evaluation[] = {
        {"EBV", 1, 2, "EBV", 2e-8},
        {"accuracy of EBV", 1, -1, "r(EBV,TBV)", 1e-4},
        {"accuracy of EBV", 2, -1, "r(EBV,TBV)_Male", 1e-4},
        {"accuracy of EBV", 3, -1, "r(EBV,TBV)_Female", 1e-4},
        {"accuracy of EBV", 4, -1, "r(EBV,TBV)_Sire", 1e-4},
        {"accuracy of EBV", 5, -1, "r(EBV,TBV)_Dam", 1e-4},
    };
    const char* const pops[] = {"a", "b"};
    for (int pi = 0; pi < 2; ++pi) {
        const std::string pop = pops[pi];
        const int ng = kGenerations[pi];
        std::vector<Lines> stat;
        for (int k = 1; k <= 3; ++k) stat.push_back(SplitLines(ReadFile(StatFile(dir, pop, k))));
        const size_t block = FindHeading(rep, "Population \"" + pop + "\"");
        ASSERT_LT(block, rep.size()) << pop;

        std::vector<SCompared> compared(std::begin(common), std::end(common));
        if (pop == "a") compared.insert(compared.end(), std::begin(evaluation), std::end(evaluation));
        for (const SCompared& c : compared) {
            const std::vector<Row> summary = Table(rep, c.repSection, block);
            ASSERT_EQ(static_cast<int>(summary.size()), ng + 1) << pop << " " << c.repSection;
            for (int g = 0; g <= ng; ++g) {
                const Row& row = summary[static_cast<size_t>(g)];
                ASSERT_EQ(row.size(), 5u);
                EXPECT_EQ(row[0], std::to_string(g));
                for (int column : {c.first, c.second}) {
                    if (column < 0) {
                        EXPECT_EQ(row[3], "----");
                        continue;
                    }
                    double sum = 0, squares = 0;
                    std::vector<double> values;
                    for (const Lines& s : stat) values.push_back(std::stod(Table(s, c.statTable).at(g).at(column)));
                    for (double v : values) sum += v;
                    const double mean = sum / 3;
                    for (double v : values) squares += (v - mean) * (v - mean);
                    const double se = std::sqrt(squares / 2 / 3);
                    const size_t at = column == c.first ? 1 : 3;
                    EXPECT_NEAR(std::stod(row[at]), mean, c.tolerance) << pop << " " << c.repSection << " G" << g;
                    EXPECT_NEAR(std::stod(row[at + 1]), se, c.tolerance) << pop << " " << c.repSection << " G" << g;
                }
            }
        }
    }

    // Only a has an evaluation: b has no EBV or accuracy sections in either file.
    const size_t blockB = FindHeading(rep, "Population \"b\"");
    EXPECT_LT(FindHeading(rep, "EBV"), blockB);
    EXPECT_EQ(FindHeading(rep, "EBV", blockB), rep.size());
    EXPECT_EQ(FindHeading(rep, "r(EBV,TBV)", blockB), rep.size());
    for (int k = 1; k <= 3; ++k) {
        EXPECT_FALSE(Table(SplitLines(ReadFile(StatFile(dir, "a", k))), "accuracy of EBV").empty());
        const Lines b = SplitLines(ReadFile(StatFile(dir, "b", k)));
        EXPECT_EQ(FindHeading(b, "EBV"), b.size());
        EXPECT_EQ(FindHeading(b, "accuracy of EBV"), b.size());
    }
}

TEST(StatRep, LayoutOfTheSummary)
{
    TempDir dir;
    RunResult r = RunText(dir, TwoPopulations(2, "h2 = 0.4;\nqtlh2 = 0.2;\nphvar = 1.0;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const Lines rep = SplitLines(ReadFile(Folder(dir) + "stat_rep.txt"));
    ASSERT_GE(rep.size(), 2u);
    EXPECT_EQ(rep[0], "No. replicates: 2") << "no title box without a title";

    std::vector<std::string> expected = {"80-Statistics over replicates", "80~Last historical generation"};
    const std::vector<std::string> sections = {"Inbreeding", "Number of inbreds", "Homozygosity", "Phenotype",
                                               "Polygenes",  "QTL",               "Residual"};
    for (const char* pop : {"a", "b"}) {
        expected.push_back(std::string("80~Population \"") + pop + "\"");
        for (const std::string& s : sections) expected.push_back("80-" + s);
        if (pop[0] == 'a')
            for (const char* s : {"EBV", "r(EBV,TBV)", "r(EBV,TBV)_Male", "r(EBV,TBV)_Female", "r(EBV,TBV)_Sire",
                                  "r(EBV,TBV)_Dam"})
                expected.push_back(std::string("80-") + s);
    }
    EXPECT_EQ(Headings(rep), expected);

    const size_t hist = FindHeading(rep, "Last historical generation");
    ASSERT_LT(hist + 15, rep.size());
    EXPECT_EQ(rep[hist + 1], std::string(33 + 13, ' ') + "Mean" + std::string(13, ' ') + "SE");
    const char* const labels[] = {"No. segregating markers",      "No. segregating QTL",
                                  "Average no. marker alleles",   "Maximum no. marker alleles",
                                  "Minimum no. marker alleles",   "Average no. QTL alleles",
                                  "Maximum no. QTL alleles",      "Minimum no. QTL alleles",
                                  "Density in total      (male)", "Density for markers   (male)",
                                  "Density for QTL       (male)", "Density in total    (female)",
                                  "Density for markers (female)", "Density for QTL     (female)"};
    for (size_t i = 0; i < 14; ++i) {
        EXPECT_EQ(rep[hist + 2 + i].substr(0, 33), std::string(labels[i]) + std::string(33 - strlen(labels[i]), ' '));
        EXPECT_EQ(rep[hist + 2 + i].size(), 33u + 17 + 1 + 14);
    }

    const size_t popA = FindHeading(rep, "Population \"a\"");
    EXPECT_EQ(rep.at(popA + 1), "Gen.                Mean             SE                   SD             SE");
    EXPECT_EQ(rep.at(popA + 3).size(), 5u + 2 + 17 + 1 + 14 + 4 + 17 + 1 + 14);
}

TEST(StatisticsFile, SectionsFollowThePopulationAndTheModel)
{
    TempDir dir;
    // One replicate, no polygenic variance: QTL explain the whole heritability.
    RunResult r = RunText(dir, TwoPopulations(1, "h2 = 0.3;\nqtlh2 = 0.3;\nphvar = 1.0;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(FileExists(Folder(dir) + "stat_rep.txt")) << "one replicate has no summary";

    const Lines a = SplitLines(ReadFile(StatFile(dir, "a", 1)));
    const Lines b = SplitLines(ReadFile(StatFile(dir, "b", 1)));
    const std::vector<std::string> model = {"50-Inbreeding", "50-Homozygosity", "50-Phenotype", "50-QTL",
                                            "50-Residual"};
    std::vector<std::string> expectedA = model, expectedB = model;
    for (const char* h : {"60-EBV", "100-accuracy of EBV", "100-Structure", "100-Litter size distribution"})
        expectedA.push_back(h);
    expectedB.push_back("100-Structure");
    EXPECT_EQ(Headings(a), expectedA);
    EXPECT_EQ(Headings(b), expectedB) << "one litter size class, no evaluation";
    EXPECT_NE(std::find(a.begin(), a.end(), "Polygenic variance is zero."), a.end());
    EXPECT_EQ(a.at(FindHeading(a, "Inbreeding") + 2), "Gen.        No.     Mean     SD     Mean     SD");
    EXPECT_EQ(a.at(FindHeading(a, "Homozygosity") + 1), "Gen.                  Mean                SD");
    EXPECT_EQ(a.at(FindHeading(a, "Structure") + 1),
              "Gen.     Progeny    Male%     Male Selected   Female Selected     Sire   Culled      Dam   Culled");
    EXPECT_EQ(a.at(FindHeading(a, "Litter size distribution") + 1), "Gen.\\LS        2        3");
    EXPECT_EQ(Table(a, "Homozygosity").back()[0], "Overall");
    EXPECT_EQ(Table(a, "EBV").size(), 4u) << "generations only";

    // Structure and litter sizes against the individuals of the data file.
    const std::pair<const char*, const Lines*> pops[] = {{"a", &a}, {"b", &b}};
    for (int pi = 0; pi < 2; ++pi) {
        const std::string pop = pops[pi].first;
        const Lines& stat = *pops[pi].second;
        const int ng = kGenerations[pi];
        std::vector<int> males(static_cast<size_t>(ng) + 1), females(males);
        std::vector<std::set<std::string>> dams(males.size());
        const Lines data = SplitLines(ReadFile(Folder(dir) + pop + "_data_001.txt"));
        for (size_t i = 1; i < data.size(); ++i) {
            const Row f = Fields(data[i]);
            const size_t g = static_cast<size_t>(std::stoi(f.at(4)));
            (f.at(3) == "M" ? males : females).at(g)++;
            if (g > 0) dams[g].insert(f.at(2));
        }
        const std::vector<Row> structure = Table(stat, "Structure");
        ASSERT_EQ(static_cast<int>(structure.size()), ng + 2) << pop;
        int totalMales = 0, totalFemales = 0;
        for (int g = 0; g <= ng; ++g) {
            const Row& row = structure[static_cast<size_t>(g)];
            const int m = males[static_cast<size_t>(g)], f = females[static_cast<size_t>(g)];
            totalMales += m, totalFemales += f;
            ASSERT_EQ(row.size(), 11u);
            EXPECT_EQ(std::stoi(row[1]), m + f) << pop << " G" << g;
            EXPECT_NEAR(std::stod(row[2]), static_cast<double>(m) / (m + f), 1e-6) << pop << " G" << g;
            EXPECT_EQ(std::stoi(row[3]), m) << pop << " G" << g;
            EXPECT_EQ(std::stoi(row[5]), f) << pop << " G" << g;
            if (g > 0) {
                EXPECT_EQ(std::stoi(row[9]), static_cast<int>(dams[static_cast<size_t>(g)].size())) << pop << " G" << g;
            }
        }
        const Row& overall = structure.back();
        EXPECT_EQ(overall[0], "Overall");
        EXPECT_EQ(std::stoi(overall[1]), totalMales + totalFemales) << pop;
        EXPECT_EQ(std::stoi(overall[3]), totalMales) << pop;
        EXPECT_EQ(std::stoi(overall[5]), totalFemales) << pop;
        if (pop != "a") continue;

        // Every dam of a generation has one litter of 2 or 3.
        const std::vector<Row> litters = Table(stat, "Litter size distribution");
        ASSERT_EQ(static_cast<int>(litters.size()), ng + 2);
        EXPECT_EQ(litters[0], (Row{"0", "0", "0"}));
        for (int g = 1; g <= ng; ++g) {
            const Row& row = litters[static_cast<size_t>(g)];
            const int two = std::stoi(row.at(1)), three = std::stoi(row.at(2));
            EXPECT_EQ(two + three, static_cast<int>(dams[static_cast<size_t>(g)].size())) << "G" << g;
            EXPECT_EQ(2 * two + 3 * three, males[static_cast<size_t>(g)] + females[static_cast<size_t>(g)]);
        }
    }
}
