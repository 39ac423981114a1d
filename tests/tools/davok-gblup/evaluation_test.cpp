// davok-gblup as the simulator's external evaluation: more accurate than pedigree BLUP for young
// animals without records, and failures that stop the run with the program's own message.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "support/test_util.h"
#include "test_data.h"

namespace {

const int kReplicates = 5;

// A population of four generations selected at random (so that both evaluations see the same
// animals), males without records, genotypes of every generation written as codes.
std::string Param(const std::string& evaluation, const std::string& extra = "",
                  const std::string& heritability = "h2 = 0.4;")
{
    return "nrep = " + std::to_string(kReplicates) + ";\nseed = \"" GBLUP_TEST_DATA "/evaluation.seed\";\n" +
           heritability + "\nqtlh2 = 0.4;\nphvar = 1.0;\nno_male_rec;\nbegin_hp;\n hg_size = 400 [0] 400 [100];\nend_hp;\n"
           "begin_pop = \"p\";\n begin_founder;\n  male [n = 10, pop = \"hp\"];\n  female [n = 100, pop = \"hp\"];\n"
           " end_founder;\n ls = 2;\n ng = 4;\n md = rnd;\n sr = 0.5;\n dr = 0.3;\n sd = rnd;\n cd = age;\n"
           " ebv_est = " + evaluation + ";\n begin_popoutput;\n  data;\n" + extra + " end_popoutput;\nend_pop;\n"
           "begin_genome;\n begin_chr = 2;\n  chrlen = 100;\n  nmloci = 600;\n  mpos = rnd;\n  nma = all 2;\n"
           "  maf = eql;\n  nqloci = 30;\n  qpos = rnd;\n  nqa = all 2;\n  qaf = eql;\n  qae = rndg 0.4;\n"
           " end_chr;\nend_genome;\n";
}

// The plug-in of a run of the parameter file name.prm, whose results go to r_name.
std::string GenomicEvaluation(const std::string& name)
{
    return std::string("external_bv \"") + GBLUP_BIN + " --geno r_" + name + "/p_mrk --prm " + name + ".prm\"";
}

RunResult RunDavok(const TempDir& dir, const std::string& name, const std::string& param)
{
    WriteFile(dir / (name + ".prm"), param);
    return RunIn(dir.path(), std::string(DAVOK_BIN) + " " + name + ".prm -o");
}

struct Row {
    std::string sex;
    int generation, progeny;
    double tbv, ebv;
};

// The data file's rows by identifier.
std::map<long, Row> ReadData(const std::string& path)
{
    std::map<long, Row> rows;
    std::istringstream in(ReadFile(path));
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::istringstream f(line);
        long id, sire, dam;
        int males, females;
        std::string f1, homo, phen, res, poly, qtl, ebv;
        Row r;
        f >> id >> sire >> dam >> r.sex >> r.generation >> males >> females >> f1 >> homo >> phen >> res >> poly >>
            qtl >> ebv;
        r.progeny = males + females;
        r.tbv = std::stod(poly) + std::stod(qtl);
        r.ebv = std::stod(ebv);
        rows[id] = r;
    }
    return rows;
}

// Correlation of EBV and TBV over the young males of the last evaluation: generation 3, no record
// of their own and no progeny, but genotyped.
double YoungMaleAccuracy(const std::map<long, Row>& rows)
{
    std::vector<double> ebv, tbv;
    for (const auto& [id, r] : rows)
        if (r.sex == "M" && r.generation == 3 && r.progeny == 0) ebv.push_back(r.ebv), tbv.push_back(r.tbv);
    return Correlation(ebv, tbv);
}

TEST(GenomicEvaluation, YoungUnrecordedMalesAreRankedBetterThanByPedigreeBlup)
{
    TempDir dir;
    const RunResult pedigree = RunDavok(dir, "pblup", Param("blup", "  genotype /snp_code;\n"));
    ASSERT_EQ(pedigree.exitCode, 0) << pedigree.err;
    const RunResult genomic = RunDavok(dir, "gblup", Param(GenomicEvaluation("gblup"), "  genotype /snp_code;\n"));
    ASSERT_EQ(genomic.exitCode, 0) << genomic.err;
    // Paired over replicates: the same animals (random selection, same seed), two evaluations.
    std::vector<double> gain;
    for (int rep = 1; rep <= kReplicates; ++rep) {
        char suffix[16];
        snprintf(suffix, sizeof suffix, "_%03d.txt", rep);
        const double p = YoungMaleAccuracy(ReadData(dir / ("r_pblup/p_data" + std::string(suffix))));
        const double g = YoungMaleAccuracy(ReadData(dir / ("r_gblup/p_data" + std::string(suffix))));
        gain.push_back(g - p);
    }
    double mean = 0, var = 0;
    for (double d : gain) mean += d / kReplicates;
    for (double d : gain) var += (d - mean) * (d - mean) / (kReplicates - 1);
    const double t = mean / std::sqrt(var / kReplicates);
    // One-sided paired t-test at 1% with 4 degrees of freedom: t > 3.747.
    EXPECT_GT(t, 3.747) << "mean gain in accuracy " << mean;
}

TEST(GenomicEvaluation, FailuresStopTheRunWithTheProgramsMessage)
{
    struct Case {
        const char* name;
        std::string evaluation, output, message;
    };
    const std::string bin = GBLUP_BIN;
    const Case cases[] = {
        {"no genotype file", GenomicEvaluation("run"), "", "No genotype file r_run/p_mrk"},
        {"no heritability", "external_bv \"" + bin + " --geno r_run/p_mrk\"", "  genotype;\n", "Give --h2 or --prm"},
        {"generation 1 not genotyped", GenomicEvaluation("run"), "  genotype /gen 0 2 3 4;\n",
         "Animal 111 (generation 1) has no genotypes in r_run/p_mrk_001.txt"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        WriteFile(dir / "run.prm", Param(c.evaluation, c.output));
        // Console and errors as a terminal shows them (script gives the run one): the program's
        // message starts a line of its own, not the end of Davok's open progress line.
        const RunResult r = RunIn(dir.path(), "script -qec '" + std::string(DAVOK_BIN) + " run.prm -o' /dev/null");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.out.find("\ndavok-gblup: Error - " + c.message), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("failed with exit status 1"), std::string::npos) << r.out;
    }
}

// Three genotyped founders and a newborn, for runs of the program alone.
void WriteSmallEvaluation(const TempDir& dir)
{
    WriteFile(dir / "data.tmp", std::string(kDataHeading) + DataLine(1, 0, 0, 'S', "+1.0", 0) +
                                    DataLine(2, 0, 0, 'D', "+0.5", 0) + DataLine(3, 0, 0, '-', "-0.2", 0) +
                                    DataLine(4, 1, 2, 'P', "+0.3"));
    WriteFile(dir / "geno.txt", "ID Genotypes\n1      0234\n2      2043\n3      3320\n");
}

std::vector<double> Ebvs(const std::string& path)
{
    std::vector<double> ebv;
    std::istringstream in(ReadFile(path));
    std::string line;
    std::getline(in, line);
    for (long id; in >> id;) ebv.push_back(0), in >> ebv.back();
    return ebv;
}

std::set<std::string> FilesIn(const TempDir& dir)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) names.insert(entry.path().filename());
    return names;
}

// --prm takes what the simulator takes from the same file, and refuses what it refuses with its
// message; reading leaves no output folder or seed file behind and prints nothing on stdout.
TEST(GenomicEvaluation, ParameterFileGivesTheHeritabilityTheSimulatorUses)
{
    struct Case {
        const char* name;
        std::string statement, message;  // message empty: the EBVs of --h2 0.5
    };
    const Case cases[] = {
        {"an earlier value commented out", "/* earlier try: h2 = 0.9; */ h2 = 0.5;", ""},
        {"upper-case keyword", "H2 = 0.5;", ""},
        {"value the simulator refuses", "h2 = 1.5;", "The specified value must be a numeric between 0 and 1"},
        {"h2 of 1", "h2 = 1;", "davok-gblup: Error - The parameter file run.prm has h2 = 1"},
    };
    TempDir reference;
    WriteSmallEvaluation(reference);
    ASSERT_EQ(RunIn(reference.path(), GBLUP_BIN " --geno geno.txt --h2 0.5").exitCode, 0);
    const std::vector<double> expected = Ebvs(reference / "my_bv.txt");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        WriteSmallEvaluation(dir);
        WriteFile(dir / "run.prm", Param(GenomicEvaluation("run"), "", c.statement));
        const RunResult r = RunIn(dir.path(), GBLUP_BIN " --geno geno.txt --prm run.prm");
        EXPECT_EQ(r.out, "");
        std::set<std::string> files = {"data.tmp", "geno.txt", "run.prm"};
        if (c.message.empty()) files.insert("my_bv.txt");
        EXPECT_EQ(FilesIn(dir), files);
        if (c.message.empty()) {
            EXPECT_EQ(r.exitCode, 0) << r.err;
            EXPECT_EQ(r.err, "");
            const std::vector<double> ebv = Ebvs(dir / "my_bv.txt");
            ASSERT_EQ(ebv.size(), expected.size());
            for (size_t i = 0; i < ebv.size(); ++i) EXPECT_NEAR(ebv[i], expected[i], 1e-12);
        } else {
            EXPECT_EQ(r.exitCode, 1);
            EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
            EXPECT_NE(r.err.find("davok-gblup: Error - "), std::string::npos) << r.err;
        }
    }
}

TEST(GenomicEvaluation, OptionsOutOfRangeAndAMalformedDataFileAreRefused)
{
    struct Case {
        const char* options;
        const char* message;
        const char* data = nullptr;  // in place of the good data.tmp
    };
    const Case cases[] = {
        {"--h2 0.5 --threads 100000", "--threads needs a whole number from 1 to 256, not \"100000\""},
        {"--h2 0.5 --threads 0", "--threads needs a whole number from 1 to 256, not \"0\""},
        {"--h2 0.5 --threads 1.5", "--threads needs a whole number from 1 to 256, not \"1.5\""},
        {"--h2 1", "--h2 needs a number above 0 and below 1, not \"1\""},
        {"--h2 nan", "--h2 needs a number above 0 and below 1, not \"nan\""},
        {"--h2 0.5 --ridge 0", "--ridge needs a number above 0 and at most 1, not \"0\""},
        {"--h2 0.5 --ridge inf", "--ridge needs a number above 0 and at most 1, not \"inf\""},
        {"--h2 0.5 --prm run.prm", "Give either --h2 or --prm, not both"},
        {"--h2 0.3", "Line 2 of data.tmp is not a line of the population file", "Progeny Sire Dam\n1 0 0 - F\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options);
        TempDir dir;
        WriteSmallEvaluation(dir);
        if (c.data) WriteFile(dir / "data.tmp", c.data);
        const RunResult r = RunIn(dir.path(), std::string(GBLUP_BIN) + " --geno geno.txt " + c.options);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find(std::string("davok-gblup: Error - ") + c.message), std::string::npos) << r.err;
        EXPECT_FALSE(FileExists(dir / "my_bv.txt"));
    }
}

}  // namespace
