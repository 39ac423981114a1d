// davok-gblup as the simulator's external evaluation: more accurate than pedigree BLUP for young
// animals without records, and failures that stop the run with the program's own message.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <sstream>

#include "support/test_util.h"
#include "correlation.h"

namespace {

const int kReplicates = 5;

// A population of four generations selected at random (so that both evaluations see the same
// animals), males without records, genotypes of every generation written as codes.
std::string Param(const std::string& evaluation, const std::string& extra = "")
{
    return "nrep = " + std::to_string(kReplicates) + ";\nseed = \"" GBLUP_TEST_DATA "/evaluation.seed\";\n" +
           "h2 = 0.4;\nqtlh2 = 0.4;\nphvar = 1.0;\nno_male_rec;\nbegin_hp;\n hg_size = 400 [0] 400 [100];\nend_hp;\n"
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
        const RunResult r = RunDavok(dir, "run", Param(c.evaluation, c.output));
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find("davok-gblup: Error - " + c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("failed with exit status 1"), std::string::npos) << r.err;
    }
}

TEST(GenomicEvaluation, MalformedDataFileIsRefused)
{
    TempDir dir;
    WriteFile(dir / "data.tmp", "Progeny Sire Dam\n1 0 0 - F\n");
    const RunResult r = RunIn(dir.path(), std::string(GBLUP_BIN) + " --h2 0.3 --geno none");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("Line 2 of data.tmp is not a line of the population file"), std::string::npos) << r.err;
    EXPECT_FALSE(FileExists(dir / "my_bv.txt"));
}

}  // namespace
