// Genotype and allele frequency files read back as a user's script would: the three forms of one
// run agree, frequencies and QTL variances agree with the genotypes, and the files keep their
// layout over generations and replicates.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <vector>

#include "cli/cli_util.h"

namespace {

const int kMarkers = 40, kQtl = 6;

// One population "a" of ng 2 with the given output statements; `globals` and `genome` add to the
// global and genome statements.
std::string OnePopulation(const std::string& globals, const std::string& popOutput, const std::string& genome = "")
{
    return "nrep = 1;\nh2 = 0.4;\nqtlh2 = 0.2;\nphvar = 1.0;\n" + globals + "begin_hp;\n hg_size = 100 [0] 100 [5];\nend_hp;\n" +
           Population("a", HpFounders(5, 20), " ls = 2;\n ng = 2;\n sr = 0.5;\n dr = 0.5;\n" + PopOutput(popOutput)) +
           Genome(2, 100, 20, 3, genome);
}

// Allele pairs of every row of a text genotype file: row -> {id, p1, m1, p2, m2, ...}.
std::vector<std::vector<int>> TextGenotypes(const std::string& path)
{
    std::vector<std::vector<int>> rows;
    for (const std::vector<std::string>& fields : Rows(ReadFile(path))) {
        rows.emplace_back();
        for (const std::string& f : fields) rows.back().push_back(std::stoi(f));
    }
    return rows;
}

// The "label:value" pairs of a line (a value may have a blank in front of it).
std::map<int, double> LabelValues(const std::string& line)
{
    std::map<int, double> pairs;
    for (size_t colon = line.find(':'); colon != std::string::npos; colon = line.find(':', colon + 1)) {
        const size_t start = line.rfind(' ', colon) + 1;
        pairs[std::stoi(line.substr(start, colon - start))] = std::stod(line.substr(colon + 1));
    }
    return pairs;
}

// The SNP code of an allele pair: 0 and 2 the homozygotes, 3 and 4 the heterozygotes, 5 missing.
int Code(int p, int m) { return p == 0 || m == 0 ? 5 : p == m ? 2 * (p - 1) : p == 1 ? 3 : 4; }

}  // namespace

TEST(GenotypeFiles, TextCodesAndBinaryOfOneSeedHoldTheSameGenotypesWithEitherThreadCount)
{
    const std::string genome = " rmmg = 0.1 /rndg 2;\n rmge = 0.05;\n rmqg = 0.2;\n rqge = 0.1 /rndg 0.5;\n";
    for (int threads : {1, 2}) {
        SCOPED_TRACE(threads);
        TempDir dir;
        const std::string globals = "nthread = " + std::to_string(threads) + ";\n";
        const std::string seeded = globals + "seed = \"r_text/seed\";\n";
        ASSERT_EQ(RunParam(dir, "text", OnePopulation(globals, "genotype;", genome)).exitCode, 0);
        for (const auto& [name, option] : {std::pair<std::string, std::string>{"code", " /snp_code"}, {"bin", " /binary"}})
            ASSERT_EQ(RunParam(dir, name, OnePopulation(seeded, "genotype" + option + ";", genome)).exitCode, 0);

        const auto text = TextGenotypes(dir / "r_text/a_mrk_001.txt");
        const std::vector<std::string> codes = Lines(ReadFile(dir / "r_code/a_mrk_001.txt"));
        const std::string binary = ReadFile(dir / "r_bin/a_mrk_001.txt");
        const size_t record = 4 + 4 * kMarkers;
        ASSERT_EQ(codes.size(), text.size() + 1);
        ASSERT_EQ(binary.size(), text.size() * record);
        int missing = 0;
        for (size_t i = 0; i < text.size(); ++i) {
            ASSERT_EQ(text[i].size(), 1u + 2 * kMarkers);
            EXPECT_EQ(std::stoi(codes[i + 1].substr(0, 7)), text[i][0]);
            int32_t id;
            memcpy(&id, binary.data() + i * record, 4);
            EXPECT_EQ(id, text[i][0]);
            for (int j = 0; j < kMarkers; ++j) {
                const int p = text[i][1 + 2 * j], m = text[i][2 + 2 * j];
                uint16_t pair[2];
                memcpy(pair, binary.data() + i * record + 4 + 4 * j, 4);
                ASSERT_EQ(codes[i + 1][7 + j] - '0', Code(p, m)) << i << " " << j;
                ASSERT_EQ(pair[0], p);
                ASSERT_EQ(pair[1], m);
                missing += p == 0;
            }
        }
        EXPECT_GT(missing, 0) << "missing genotypes are written as 0 0, 5 and two zero values";
    }
}

TEST(AlleleFrequencyFile, AgreesWithTheGenotypeFilesAndTheQtlEffects)
{
    TempDir dir;
    RunResult r = RunParam(dir, "run", OnePopulation("", "genotype;\n  allele_freq /mafbin 5;") + "begin_output;\n allele_effect;\nend_output;\n");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::vector<int> sizes = ConsoleSizes(r.out, "a");
    ASSERT_EQ(sizes.size(), 3u);

    // Effects by QTL number and allele label.
    std::map<int, std::map<int, double>> effect;
    for (const std::string& line : Lines(ReadFile(dir / "r_run/effect_qtl_001.txt")))
        if (line[0] == 'Q') effect[std::stoi(line.substr(1))] = LabelValues(line);

    for (const char* kind : {"mrk", "qtl"}) {
        const bool qtl = kind[0] == 'q';
        const int loci = qtl ? kQtl : kMarkers;
        const auto genotypes = TextGenotypes(dir / ("r_run/a_" + std::string(kind) + "_001.txt"));
        const std::vector<std::string> freq = Lines(ReadFile(dir / ("r_run/a_freq_" + std::string(kind) + "_001.txt")));
        ASSERT_GE(freq.size(), 1u + 3u * loci + 7u);
        size_t row = 0, line = 1;
        std::vector<std::vector<int>> perClass(3, std::vector<int>(5, 0));
        for (int g = 0; g < 3; ++g) {
            for (int j = 0; j < loci; ++j, ++line) {
                const std::vector<std::string> f = Fields(freq[line]);
                ASSERT_EQ(f[0], (qtl ? "Q" : "M") + std::to_string(j + 1));
                ASSERT_EQ(f[1], std::to_string(g));
                double count[3] = {0, 0, 0}, sum = 0, sumSq = 0;
                for (int i = 0; i < sizes[g]; ++i) {
                    const int p = genotypes[row + i][1 + 2 * j], m = genotypes[row + i][2 + 2 * j];
                    count[p]++, count[m]++;
                    const double v = qtl ? effect[j + 1][p] + effect[j + 1][m] : 0;
                    sum += v, sumSq += v * v;
                }
                std::map<int, double> written = LabelValues(freq[line]);
                for (int a = 1; a <= 2; ++a) EXPECT_NEAR(written[a], count[a] / (2.0 * sizes[g]), 1e-6) << kind << j;
                if (qtl) {
                    EXPECT_NEAR(std::stod(f[3]), (sumSq - sum * sum / sizes[g]) / (sizes[g] - 1), 1e-5) << j;
                }
                const double maf = std::min(count[1], count[2]) / (2.0 * sizes[g]);
                perClass[g][std::min(4, static_cast<int>(maf / 0.1 + 2.220446049250313e-15))]++;
            }
            row += static_cast<size_t>(sizes[g]);
        }
        // The distribution table follows the last generation's lines, its last class closed.
        const char* labels[5] = {"0.00<= maf <0.10", "0.10<= maf <0.20", "0.20<= maf <0.30", "0.30<= maf <0.40",
                                 "0.40<= maf<=0.50"};
        EXPECT_NE(freq[line].find(" Distribution of minor allele frequency "), std::string::npos);
        EXPECT_EQ(Fields(freq[line + 1]), (std::vector<std::string>{"Bin\\Gen.", "0", "1", "2"}));
        for (int b = 0; b < 5; ++b) {
            const std::string& l = freq[line + 2 + b];
            EXPECT_EQ(l.substr(0, 16), labels[b]);
            for (int g = 0; g < 3; ++g) EXPECT_EQ(std::stoi(l.substr(18 + 16 * g, 6)), perClass[g][b]) << kind << b << g;
        }
    }
}

TEST(GenotypeFiles, GenerationsLeftOutStillMoveTheGeneratorOn)
{
    TempDir dir;
    ASSERT_EQ(RunParam(dir, "all", OnePopulation("", "genotype;")).exitCode, 0);
    RunResult r = RunParam(dir, "last", OnePopulation("seed = \"r_all/seed\";\n", "genotype /gen 2;"));
    ASSERT_EQ(r.exitCode, 0);
    const std::vector<int> sizes = ConsoleSizes(r.out, "a");
    const std::vector<std::string> all = Lines(ReadFile(dir / "r_all/a_mrk_001.txt"));
    const std::vector<std::string> last = Lines(ReadFile(dir / "r_last/a_mrk_001.txt"));
    ASSERT_EQ(last.size(), 1u + sizes[2]);
    EXPECT_EQ(std::vector<std::string>(all.end() - sizes[2], all.end()), std::vector<std::string>(last.begin() + 1, last.end()));
}

TEST(MergedReplicates, EveryFileOfThePopulationAndTheHistoryHasOneHeadingAndOneHeaderEach)
{
    TempDir dir;
    const std::string text = OnePopulation("", "genotype /snp_code;\n  allele_freq;") +
                             "begin_output;\n attach_rep;\n hp_stat;\n linkage_map;\nend_output;\n";
    ASSERT_EQ(RunParam(dir, "run", Edited(text, "nrep = 1;", "nrep = 2;")).exitCode, 0);
    using Texts = std::vector<std::string>;
    for (const char* file : {"a_mrk.txt", "a_qtl.txt", "a_freq_mrk.txt", "a_freq_qtl.txt", "lm_mrk.txt", "hp_stat.txt"}) {
        const std::string content = ReadFile(dir / ("r_run/" + std::string(file)));
        Texts headings;
        for (const std::string& line : Lines(content)) {
            if (line[0] == '~') headings.push_back(line.substr(line.find("Replicate"), 13));
            if (line.compare(0, 3, "ID ") == 0) headings.push_back("ID");
        }
        EXPECT_EQ(content[0], '~') << file;
        const Texts expected = file[0] == 'h' ? Texts{"Replicate   1", "Replicate   2"}
                                              : Texts{"Replicate   1", "ID", "Replicate   2", "ID"};
        EXPECT_EQ(headings, expected) << file;
    }
    EXPECT_EQ(CountOf(ReadFile(dir / "r_run/hp_stat.txt"), "Statistics for the last historical generation"), 2);
    EXPECT_FALSE(FileExists(dir / "r_run/hp_stat_001.txt"));
}
