// The statistics files and the summary over replicates, read back as a user's script would and
// checked against each other and against the data files of the same run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <vector>

#include "cli/cli_util.h"

namespace {

// Population "a" (BLUP, 3 generations) and "b" (no evaluation), both writing stat and data.
std::string TwoPopulations(const std::string& globals)
{
    const std::string out = PopOutput("stat;\n  data;");
    return ::TwoPopulations(globals, 3, " ebv_est = blup;\n" + out, out);
}

using Row = std::vector<std::string>;
using TextLines = std::vector<std::string>;

TextLines ReadLines(const std::string& path) { return Lines(ReadFile(path)); }

// "<width><fill><title>" of a centred heading line, or "" for any other line.
std::string Heading(const std::string& line)
{
    if (line.empty() || (line[0] != '-' && line[0] != '~')) return "";
    const size_t b = line.find_first_not_of(line[0]), e = line.find_last_not_of(line[0]);
    if (b == std::string::npos || line[b] != ' ' || line[e] != ' ') return "";
    return std::to_string(line.size()) + line[0] + line.substr(b + 1, e - b - 1);
}

std::vector<std::string> Headings(const TextLines& lines)
{
    std::vector<std::string> found;
    for (const std::string& l : lines)
        if (!Heading(l).empty()) found.push_back(Heading(l));
    return found;
}

size_t FindHeading(const TextLines& lines, const std::string& title, size_t from = 0)
{
    for (size_t i = from; i < lines.size(); ++i) {
        const std::string h = Heading(lines[i]);
        if (!h.empty() && h.substr(h.find_first_of("-~") + 1) == title) return i;
    }
    return lines.size();
}

// The rows (a generation or "Overall" first) of the first table titled `title` after `from`.
std::vector<Row> Table(const TextLines& lines, const std::string& title, size_t from = 0)
{
    auto isRow = [](const Row& r) {
        return !r.empty() && (r[0] == "Overall" || r[0].find_first_not_of("0123456789") == std::string::npos);
    };
    std::vector<Row> rows;
    size_t i = FindHeading(lines, title, from) + 1;
    while (i < lines.size() && !isRow(Fields(lines[i])) && Heading(lines[i]).empty()) ++i;
    for (; i < lines.size() && isRow(Fields(lines[i])); ++i) rows.push_back(Fields(lines[i]));
    return rows;
}

}  // namespace

TEST(StatRep, MeansAndStandardErrorsAreThoseOfTheReplicateStatisticsFiles)
{
    TempDir dir;
    RunResult r = RunParam(dir, "run", TwoPopulations("title = \"Stat test\";\nnrep = 3;\nh2 = 0.4;\nqtlh2 = 0.2;\nno_male_rec;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const TextLines rep = ReadLines(dir / "r_run/stat_rep.txt");
    ASSERT_GE(rep.size(), 4u);
    EXPECT_EQ(rep[1], "|  Stat test  |");
    EXPECT_EQ(rep[3], "No. replicates: 3");
    EXPECT_EQ(FindHeading(rep, "Population \"a\"") - FindHeading(rep, "Last historical generation"), 16u)
        << "a header and 14 rows without select_seg_loci";
    EXPECT_EQ(rep.at(FindHeading(rep, "Population \"a\"") + 1),
              "Gen.                Mean             SE                   SD             SE");

    // Each section of the summary: the table of the statistics files and the columns that give
    // its one or two accumulators, and the printed precision of those columns.
    struct Section {
        const char *summary, *statTable;
        int first, second;
        double tolerance;
    };
    const std::vector<Section> modelSections = {
        {"Inbreeding", "Inbreeding", 4, 5, 1e-4},
        {"Number of inbreds", "Inbreeding", 1, -1, 1e-8},
        {"Homozygosity", "Homozygosity", 1, 2, 2e-8},
        {"Phenotype (females)", "Phenotype (females)", 1, 2, 2e-8},
        {"Polygenes", "Polygenes", 1, 2, 2e-8},
        {"QTL", "QTL", 1, 2, 2e-8},
        {"Residual (females)", "Residual (females)", 1, 2, 2e-8}};
    std::vector<Section> evaluated = modelSections;
    evaluated.insert(evaluated.end(), {{"EBV", "EBV", 1, 2, 2e-8},
                                       {"r(EBV,TBV)", "accuracy of EBV", 1, -1, 1e-4},
                                       {"r(EBV,TBV)_Male", "accuracy of EBV", 2, -1, 1e-4},
                                       {"r(EBV,TBV)_Female", "accuracy of EBV", 3, -1, 1e-4},
                                       {"r(EBV,TBV)_Sire", "accuracy of EBV", 4, -1, 1e-4},
                                       {"r(EBV,TBV)_Dam", "accuracy of EBV", 5, -1, 1e-4}});
    std::vector<std::string> headings = {"80-Statistics over replicates", "80~Last historical generation"};
    for (const std::string pop : {"a", "b"}) {
        const std::vector<Section>& sections = pop == "a" ? evaluated : modelSections;
        const size_t block = FindHeading(rep, "Population \"" + pop + "\"");
        headings.push_back("80~Population \"" + pop + "\"");
        std::vector<TextLines> stat;
        for (int k = 1; k <= 3; ++k)
            stat.push_back(ReadLines(dir / ("r_run/" + pop + "_stat_00" + std::to_string(k) + ".txt")));
        EXPECT_EQ(FindHeading(stat[0], "EBV") < stat[0].size(), pop == "a") << "EBV only where evaluated";
        for (const Section& s : sections) {
            headings.push_back(std::string("80-") + s.summary);
            const std::vector<Row> summary = Table(rep, s.summary, block);
            ASSERT_EQ(summary.size(), pop == "a" ? 4u : 3u) << pop << " " << s.summary;
            for (size_t g = 0; g < summary.size(); ++g) {
                ASSERT_EQ(summary[g].size(), 5u);
                for (int column : {s.first, s.second}) {
                    const size_t at = column == s.first ? 1 : 3;
                    if (column < 0) {
                        EXPECT_EQ(summary[g][at], "----");
                        continue;
                    }
                    std::vector<double> v;
                    for (const TextLines& f : stat) v.push_back(std::stod(Table(f, s.statTable).at(g).at(column)));
                    const double mean = (v[0] + v[1] + v[2]) / 3;
                    double squares = 0;
                    for (double x : v) squares += (x - mean) * (x - mean);
                    EXPECT_NEAR(std::stod(summary[g][at]), mean, s.tolerance) << pop << " " << s.summary << g;
                    EXPECT_NEAR(std::stod(summary[g][at + 1]), std::sqrt(squares / 2 / 3), s.tolerance)
                        << pop << " " << s.summary << g;
                }
            }
        }
    }
    EXPECT_EQ(Headings(rep), headings);
}

TEST(StatisticsFile, SectionsFollowThePopulationAndTheModelAndCountTheDataFile)
{
    TempDir dir;
    // One replicate, and QTL explain the whole heritability: no polygenic variance.
    RunResult r = RunParam(dir, "run", TwoPopulations("nrep = 1;\nh2 = 0.3;\nqtlh2 = 0.3;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(FileExists(dir / "r_run/stat_rep.txt")) << "one replicate has no summary";

    const std::vector<std::string> model = {"50-Inbreeding", "50-Homozygosity", "50-Phenotype", "50-QTL",
                                            "50-Residual"};
    std::vector<std::string> withEvaluation = model, plain = model;
    withEvaluation.insert(withEvaluation.end(),
                          {"60-EBV", "100-accuracy of EBV", "100-Structure", "100-Litter size distribution"});
    plain.push_back("100-Structure");
    for (const std::string pop : {"a", "b"}) {
        const TextLines stat = ReadLines(dir / ("r_run/" + pop + "_stat_001.txt"));
        EXPECT_EQ(Headings(stat), pop == "a" ? withEvaluation : plain) << pop;
        EXPECT_NE(std::find(stat.begin(), stat.end(), "Polygenic variance is zero."), stat.end());

        // Males, females and dams (one litter each) of every generation in the data file.
        const size_t generations = pop == "a" ? 4 : 3;
        std::vector<int> males(generations), females(generations);
        std::vector<std::set<std::string>> dams(generations);
        const TextLines data = ReadLines(dir / ("r_run/" + pop + "_data_001.txt"));
        for (size_t i = 1; i < data.size(); ++i) {
            const Row f = Fields(data[i]);
            const size_t g = std::stoul(f.at(4));
            (f.at(3) == "M" ? males : females).at(g)++;
            if (g > 0) dams[g].insert(f.at(2));
        }
        const std::vector<Row> structure = Table(stat, "Structure");
        ASSERT_EQ(structure.size(), generations + 1) << pop;
        for (size_t g = 0; g < generations; ++g) {
            const Row& row = structure[g];
            EXPECT_EQ(row.at(1), std::to_string(males[g] + females[g])) << pop << g;
            EXPECT_NEAR(std::stod(row.at(2)), static_cast<double>(males[g]) / (males[g] + females[g]), 1e-6);
            EXPECT_EQ(row.at(3), std::to_string(males[g])) << pop << g;
            EXPECT_EQ(row.at(5), std::to_string(females[g])) << pop << g;
            if (g > 0) {
                EXPECT_EQ(row.at(9), std::to_string(dams[g].size())) << pop << g;
            }
        }
        const int allMales = std::accumulate(males.begin(), males.end(), 0);
        EXPECT_EQ(structure.back().at(3), std::to_string(allMales)) << pop;
        if (pop != "a") continue;

        const std::vector<Row> litters = Table(stat, "Litter size distribution");
        ASSERT_EQ(litters.size(), generations + 1);
        EXPECT_EQ(litters[0], (Row{"0", "0", "0"}));
        for (size_t g = 1; g < generations; ++g) {
            const int two = std::stoi(litters[g].at(1)), three = std::stoi(litters[g].at(2));
            EXPECT_EQ(two + three, static_cast<int>(dams[g].size())) << g;
            EXPECT_EQ(2 * two + 3 * three, males[g] + females[g]) << g;
        }
    }
}
