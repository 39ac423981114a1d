// Tests of davok-gblup: the readers of data.tmp and of the genotype files, GBLUP and SNP-BLUP
// against each other and against the mixed-model equations written out with the inverse of the
// covariance of all animals, and the program as the simulator's external evaluation.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <filesystem>
#include <random>
#include <set>
#include <sstream>

#include "model.h"
#include "support/test_util.h"

namespace {

using gblup::Animal;

const std::string kDataHeading =
    "Progeny Sire    Dam     Flag Sex  G   NMPrg NFPrg F        Homo     Phen      Res       Polygene  QTL       "
    "Inputed_BV\n";

// A line of data.tmp as the simulator writes it.
std::string DataLine(long id, long sire, long dam, char flag, const char* phen, int generation = 1)
{
    return std::to_string(id) + " " + std::to_string(sire) + " " + std::to_string(dam) + "  " + flag + "  F " +
           std::to_string(generation) + " 0 0 0.000000 0.5 " + phen + " +0.1 +0.1 +0.1 +0.000000\n";
}

double Correlation(const std::vector<double>& a, const std::vector<double>& b)
{
    double ma = 0, mb = 0, sab = 0, saa = 0, sbb = 0;
    for (size_t i = 0; i < a.size(); ++i) ma += a[i] / a.size(), mb += b[i] / b.size();
    for (size_t i = 0; i < a.size(); ++i)
        sab += (a[i] - ma) * (b[i] - mb), saa += (a[i] - ma) * (a[i] - ma), sbb += (b[i] - mb) * (b[i] - mb);
    return sab / std::sqrt(saa * sbb);
}

// ---- Reading the inputs, and the input the model refuses ----

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

TEST(Inputs, GenotypeFilesOfEveryFormAndTheNewestReplicate)
{
    TempDir dir;
    // Allele pairs and codes give the same gene contents; a missing allele (0) and code 5 are missing.
    WriteFile(dir / "pairs.txt", "ID      Genotypes (paternal allele, maternal allele) ...\n"
                                 "7       1 1 1 2 2 1 2 2 0 1\n");
    WriteFile(dir / "codes.txt", "ID      Genotypes (0 = a1,a1; ...\n7       03425\n");
    for (const char* file : {"pairs.txt", "codes.txt"})
        EXPECT_EQ(gblup::ReadGenotypes(dir / file, {{7, 0}}).codes,
                  (std::vector<uint8_t>{0, 1, 1, 2, gblup::kMissingGenotype})) << file;

    // Of attached replicates only the last counts; of replicate files the newest is chosen.
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
    TempDir dir;
    const std::string h = kDataHeading, path = dir / "data.tmp";
    const std::pair<std::string, std::string> cases[] = {  // text, message (empty: the file is read)
        {DataLine(1, 0, 0, '-', "+1.0"), "does not begin with the heading line"},
        {h + "1 0 0 - F 1\n", "Line 2 of"},  // too few fields
        {h + DataLine(1, 0, 0, 'X', "+1.0"), "Line 2 of"},
        {h + DataLine(1, 0, 0, '-', "abc"), "Line 2 of"},
        {h + DataLine(1, 0, 0, '-', "+1") + DataLine(1, 0, 0, '-', "+1"), "appears twice"},
        {h, "holds no animals"},
        {h + DataLine(1, 0, 0, 'S', "+1") + DataLine(2, 1, 0, 'D', "+1") + DataLine(3, 9, 2, 'P', "+1"),
         "Line 4 of " + path + " names sire 9, which is not an animal of the file"},
        {h + DataLine(1, 0, 0, 'S', "+1") + DataLine(2, 1, 7, 'P', "+1"),
         "Line 3 of " + path + " names dam 7, which is not an animal of the file"},
        {h + DataLine(1, 0, 0, '-', "+1e308"), "Line 2 of " + path + " has the phenotype 1e+308, beyond"},
        {h + DataLine(1, 0, 0, '-', "-2000000000000.000000"), "has the phenotype -2e+12, beyond"},
        // Under joint_pop a founder taken from another population keeps its parents' identifiers.
        {h + DataLine(1, 5, 6, 'S', "+1", 0), ""},
    };
    for (const auto& [text, message] : cases) {
        SCOPED_TRACE(text);
        WriteFile(path, text);
        const std::string error = ErrorOf([&] { gblup::ReadDataFile(path); });
        if (message.empty()) EXPECT_EQ(error, "");
        else EXPECT_NE(error.find(message), std::string::npos) << error;
    }
}

TEST(Inputs, OnlyTheNewestGenerationMayLackGenotypes)
{
    TempDir dir;
    WriteFile(dir / "data.tmp", kDataHeading + DataLine(1, 0, 0, 'S', "+1.0") + DataLine(2, 0, 0, 'D', "+0.5") +
                                    DataLine(3, 1, 2, 'P', "---"));
    const std::vector<Animal> animals = gblup::ReadDataFile(dir / "data.tmp");
    gblup::Genotypes g;
    g.nMarker = 2;
    g.rowOfId = {{1, 0}, {2, 1}};
    g.codes = {0, 2, 1, 1};
    const gblup::Model m = gblup::BuildModel(animals, g, 1.0, 0.01, "geno");
    EXPECT_EQ(m.genoRow, (std::vector<int>{0, 1, -1}));
    EXPECT_DOUBLE_EQ(m.samplingShare[2], 0.5);  // two non-inbred parents
    g.rowOfId = {{1, 0}, {3, 1}};
    EXPECT_NE(ErrorOf([&] { gblup::BuildModel(animals, g, 1.0, 0.01, "geno"); })
                  .find("Animal 2 (generation 1) has no genotypes in geno"), std::string::npos);
}

// ---- The solvers ----

// Deterministic draws that do not depend on the standard library's distributions.
class Draws {
public:
    explicit Draws(unsigned seed) : rng_(seed) {}
    double Unit() { return (rng_() + 0.5) / 4294967296.0; }
    double Normal() { return std::sqrt(-2 * std::log(Unit())) * std::cos(6.283185307179586 * Unit()); }
    size_t Below(size_t n) { return static_cast<size_t>(Unit() * static_cast<double>(n)); }

private:
    std::mt19937 rng_;
};

struct Population {
    std::vector<Animal> animals;
    gblup::Genotypes genotypes;
};

// founders founders with random genotypes, then `progeny` animals from random founder pairs whose
// genotypes are drawn from their parents'. The last `newest` progeny form the newest generation
// (flag P) and have no genotypes; every third animal has no record.
Population MakePopulation(size_t founders, size_t progeny, size_t newest, size_t markers, unsigned seed)
{
    Draws draw(seed);
    Population pop;
    pop.genotypes.nMarker = markers;
    std::vector<std::vector<uint8_t>> haplotypes;  // two per animal
    std::vector<double> freq(markers);
    for (double& p : freq) p = 0.1 + 0.8 * draw.Unit();
    for (size_t i = 0; i < founders + progeny; ++i) {
        Animal a;
        a.id = static_cast<long>(i + 1), a.inbreeding = 0;
        std::vector<uint8_t> pat(markers), mat(markers);
        if (i >= founders) {
            a.sire = static_cast<long>(1 + draw.Below(founders / 2));
            a.dam = static_cast<long>(1 + founders / 2 + draw.Below(founders - founders / 2));
            a.generation = 1;
            for (size_t j = 0; j < markers; ++j) {
                pat[j] = haplotypes[2 * static_cast<size_t>(a.sire - 1) + draw.Below(2)][j];
                mat[j] = haplotypes[2 * static_cast<size_t>(a.dam - 1) + draw.Below(2)][j];
            }
        } else {
            for (size_t j = 0; j < markers; ++j) pat[j] = draw.Unit() < freq[j], mat[j] = draw.Unit() < freq[j];
        }
        a.flag = i >= founders + progeny - newest ? 'P' : '-', a.recorded = i % 3 != 2, a.phenotype = draw.Normal();
        haplotypes.push_back(pat), haplotypes.push_back(mat);
        if (a.flag != 'P') {
            pop.genotypes.rowOfId.emplace(a.id, pop.genotypes.rowOfId.size());
            for (size_t j = 0; j < markers; ++j) pop.genotypes.codes.push_back(static_cast<uint8_t>(pat[j] + mat[j]));
        }
        pop.animals.push_back(a);
    }
    return pop;
}

// The mixed-model equations [1'1 1'Z; Z'1 Z'Z + lambda K^-1] of mu and the animals' values, with
// K^-1 = G^-1 on the genotyped animals plus, for each animal without genotypes and with parents
// s and d, (1/d) times the Henderson pattern (1 on itself, -1/2 with each parent, 1/4 between
// the parents).
std::vector<double> DenseSolution(const gblup::Model& m)
{
    const Eigen::Index n = static_cast<Eigen::Index>(m.id.size());
    const gblup::MarkerMatrix& z = m.markers;
    Eigen::MatrixXd zc(static_cast<Eigen::Index>(z.nRow), static_cast<Eigen::Index>(z.nMarker));
    for (size_t r = 0; r < z.nRow; ++r)
        for (size_t j = 0; j < z.nMarker; ++j) zc(r, j) = z.codes[r * z.nMarker + j] - z.centre[j];
    const Eigen::MatrixXd g = zc * zc.transpose() / z.scale + m.ridge * Eigen::MatrixXd::Identity(zc.rows(), zc.rows());
    const Eigen::MatrixXd gInv = g.inverse();
    Eigen::MatrixXd c = Eigen::MatrixXd::Zero(n + 1, n + 1);
    Eigen::VectorXd rhs = Eigen::VectorXd::Zero(n + 1);
    for (Eigen::Index i = 0; i < n; ++i)
        for (Eigen::Index k = 0; k < n; ++k)
            if (m.genoRow[i] >= 0 && m.genoRow[k] >= 0) c(1 + i, 1 + k) = m.lambda * gInv(m.genoRow[i], m.genoRow[k]);
    for (Eigen::Index i = 0; i < n; ++i) {
        if (m.genoRow[i] >= 0) continue;
        const double w = m.lambda / m.samplingShare[i];
        std::vector<std::pair<Eigen::Index, double>> terms = {{i, 1.0}};
        if (m.sire[i] >= 0) terms.push_back({m.sire[i], -0.5});
        if (m.dam[i] >= 0) terms.push_back({m.dam[i], -0.5});
        for (auto [a, wa] : terms)
            for (auto [b, wb] : terms) c(1 + a, 1 + b) += w * wa * wb;
    }
    for (Eigen::Index i = 0; i < n; ++i) {  // a record adds to the equations of mu and of its animal
        if (!m.recorded[i]) continue;
        for (Eigen::Index a : {Eigen::Index{0}, 1 + i}) {
            c(a, 0) += 1, c(a, 1 + i) += 1;
            rhs(a) += m.y[i];
        }
    }
    const Eigen::VectorXd x = c.fullPivLu().solve(rhs);
    return std::vector<double>(x.data() + 1, x.data() + 1 + n);
}

TEST(Solvers, GblupAndSnpBlupMatchTheWrittenOutEquations)
{
    const struct {
        const char* name;
        size_t founders, progeny, newest, markers;
    } cases[] = {
        {"more markers than animals", 20, 40, 0, 150},
        {"more animals than markers", 30, 50, 0, 25},
        {"newest generation without genotypes", 20, 40, 15, 120},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Population pop = MakePopulation(c.founders, c.progeny, c.newest, c.markers, 7);
        const gblup::Model m = gblup::BuildModel(pop.animals, pop.genotypes, (1 - 0.35) / 0.35, 0.01, "test");
        const std::vector<double> dense = DenseSolution(m);
        const gblup::Solution g = gblup::SolveGblup(m, 2), s = gblup::SolveSnpBlup(m, 2);
        EXPECT_TRUE(s.converged);
        for (size_t i = 0; i < dense.size(); ++i) {
            EXPECT_NEAR(g.ebv[i], dense[i], 1e-6) << "animal " << m.id[i];
            EXPECT_NEAR(s.ebv[i], dense[i], 1e-6) << "animal " << m.id[i];
        }
        EXPECT_NEAR(g.mean, s.mean, 1e-6);
    }
}

// With the QTL themselves as markers and a heritability near 1 the phenotypes pin down the QTL
// effects, and the breeding values of unrecorded animals approach their true values.
TEST(Solvers, MarkersThatAreTheQtlGiveTrueValuesAsH2ApproachesOne)
{
    const size_t n = 300, unrecorded = 100, qtl = 30;
    Population pop = MakePopulation(n, 0, 0, qtl, 11);
    Draws draw(3);
    std::vector<double> effect(qtl), tbv(n, 0.0);
    for (double& e : effect) e = draw.Normal();
    double mean = 0, tbvVar = 0;
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < qtl; ++j) tbv[i] += effect[j] * pop.genotypes.codes[i * qtl + j];
        mean += tbv[i] / n;
    }
    for (double v : tbv) tbvVar += (v - mean) * (v - mean) / n;
    const std::vector<double> truth(tbv.end() - unrecorded, tbv.end());
    double previous = 0;
    for (double h2 : {0.3, 0.9, 0.999}) {
        SCOPED_TRACE(h2);
        Draws noise(5);
        for (size_t i = 0; i < n; ++i) {
            pop.animals[i].recorded = i < n - unrecorded;
            pop.animals[i].phenotype = tbv[i] + std::sqrt(tbvVar * (1 - h2) / h2) * noise.Normal();
        }
        const gblup::Model m = gblup::BuildModel(pop.animals, pop.genotypes, (1 - h2) / h2, 0.01, "test");
        for (bool snp : {false, true}) {
            const gblup::Solution s = snp ? gblup::SolveSnpBlup(m, 1) : gblup::SolveGblup(m, 1);
            const double r = Correlation(std::vector<double>(s.ebv.end() - unrecorded, s.ebv.end()), truth);
            EXPECT_GT(r, previous - 1e-9);
            if (snp) previous = r;
            if (h2 > 0.99) {
                EXPECT_GT(r, 0.995);
            }
        }
    }
}

// ---- The program, alone and as the simulator's external evaluation ----

const int kReplicates = 5;

// A population of four generations selected at random (so that both evaluations see the same
// animals), males without records, genotypes of every generation written as codes.
std::string Param(const std::string& evaluation, const std::string& extra = "", const std::string& h2 = "h2 = 0.4;")
{
    return "nrep = " + std::to_string(kReplicates) + "; seed = \"" GBLUP_TEST_DATA "/evaluation.seed\";\n" + h2 +
           "\nqtlh2 = 0.4; phvar = 1.0; no_male_rec;\nbegin_hp; hg_size = 400 [0] 400 [100]; end_hp;\n"
           "begin_pop = \"p\";\n begin_founder; male [n = 10, pop = \"hp\"]; female [n = 100, pop = \"hp\"]; "
           "end_founder;\n ls = 2; ng = 4; md = rnd; sr = 0.5; dr = 0.3; sd = rnd; cd = age;\n ebv_est = " +
           evaluation + ";\n begin_popoutput; data;\n" + extra + " end_popoutput;\nend_pop;\n"
           "begin_genome; begin_chr = 2; chrlen = 100; nmloci = 600; mpos = rnd; nma = all 2; maf = eql;\n"
           " nqloci = 30; qpos = rnd; nqa = all 2; qaf = eql; qae = rndg 0.4; end_chr; end_genome;\n";
}

// The plug-in of a run of the parameter file name.prm, whose results go to r_name.
std::string GenomicEvaluation(const std::string& name)
{
    return std::string("external_bv \"") + GBLUP_BIN + " --geno r_" + name + "/p_mrk --prm " + name + ".prm\"";
}

// Correlation of EBV and TBV (polygene + QTL) over the young males of the last evaluation in a
// data file: generation 3, no record of their own and no progeny, but genotyped.
double YoungMaleAccuracy(const std::string& path)
{
    std::vector<double> ebv, tbv;
    const std::vector<std::string> lines = Lines(ReadFile(path));
    for (size_t i = 1; i < lines.size(); ++i) {
        std::istringstream in(lines[i]);
        std::vector<std::string> w;  // ID Sire Dam Sex G NMPrg NFPrg F Homo Phen Res Polygene QTL EBV
        for (std::string s; in >> s;) w.push_back(s);
        if (w[3] == "M" && w[4] == "3" && w[5] == "0" && w[6] == "0")
            ebv.push_back(std::stod(w[13])), tbv.push_back(std::stod(w[11]) + std::stod(w[12]));
    }
    return Correlation(ebv, tbv);
}

TEST(GenomicEvaluation, YoungUnrecordedMalesAreRankedBetterThanByPedigreeBlup)
{
    TempDir dir;
    for (const auto& [name, evaluation] : {std::pair<std::string, std::string>{"pblup", "blup"},
                                           {"gblup", GenomicEvaluation("gblup")}}) {
        WriteFile(dir / (name + ".prm"), Param(evaluation, "  genotype /snp_code;\n"));
        const RunResult run = RunIn(dir.path(), std::string(DAVOK_BIN) + " " + name + ".prm -o");
        ASSERT_EQ(run.exitCode, 0) << run.err;
    }
    // Paired over replicates: the same animals (random selection, same seed), two evaluations.
    std::vector<double> gain;
    for (int rep = 1; rep <= kReplicates; ++rep) {
        const std::string file = "/p_data_00" + std::to_string(rep) + ".txt";
        gain.push_back(YoungMaleAccuracy(dir / ("r_gblup" + file)) - YoungMaleAccuracy(dir / ("r_pblup" + file)));
    }
    double mean = 0, var = 0;
    for (double d : gain) mean += d / kReplicates;
    for (double d : gain) var += (d - mean) * (d - mean) / (kReplicates - 1);
    // One-sided paired t-test at 1% with 4 degrees of freedom: t > 3.747.
    EXPECT_GT(mean / std::sqrt(var / kReplicates), 3.747) << "mean gain in accuracy " << mean;
}

TEST(GenomicEvaluation, FailuresStopTheRunWithTheProgramsMessage)
{
    const std::string cases[][3] = {  // evaluation, genotype output, message
        {GenomicEvaluation("run"), "", "No genotype file r_run/p_mrk"},
        {"external_bv \"" GBLUP_BIN " --geno r_run/p_mrk\"", "  genotype;\n", "Give --h2 or --prm"},
        {GenomicEvaluation("run"), "  genotype /gen 0 2 3 4;\n",
         "Animal 111 (generation 1) has no genotypes in r_run/p_mrk_001.txt"},
    };
    for (const auto& [evaluation, output, message] : cases) {
        SCOPED_TRACE(message);
        TempDir dir;
        WriteFile(dir / "run.prm", Param(evaluation, output));
        // Console and errors as a terminal shows them (script gives the run one): the program's
        // message starts a line of its own, not the end of Davok's open progress line.
        const RunResult r = RunIn(dir.path(), "script -qec '" + std::string(DAVOK_BIN) + " run.prm -o' /dev/null");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.out.find("\ndavok-gblup: Error - " + message), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("failed with exit status 1"), std::string::npos) << r.out;
    }
}

// Breeding values of my_bv.txt, or of the heading alone when there is none.
std::vector<double> Ebvs(const std::string& path)
{
    std::vector<double> ebv;
    std::istringstream in(ReadFile(path));
    std::string line;
    std::getline(in, line);
    for (long id; in >> id;) ebv.push_back(0), in >> ebv.back();
    return ebv;
}

// Three genotyped founders and a newborn evaluated by the program alone. --prm takes what the
// simulator takes from the same file and refuses what it refuses with its message; good input
// gives the EBVs of --h2 0.5, bad input an error, exit code 1 and no file. Nothing goes to stdout.
TEST(GenomicEvaluation, OptionsParameterFileAndDataFileOfTheProgramAlone)
{
    const std::string e = "davok-gblup: Error - ";
    const struct {
        std::string options, message;  // message empty: the EBVs of --h2 0.5
        const char* statement = nullptr;  // of run.prm
        const char* data = nullptr;       // in place of the good data.tmp
    } cases[] = {
        {"--h2 0.5", ""},
        {"--h2 0.5 --threads 256", ""},
        {"--prm run.prm", "", "/* earlier try: h2 = 0.9; */ h2 = 0.5;"},
        {"--prm run.prm", "", "H2 = 0.5;"},
        {"--prm run.prm", "The specified value must be a numeric between 0 and 1", "h2 = 1.5;"},
        {"--prm run.prm", e + "The parameter file run.prm has h2 = 1", "h2 = 1;"},
        {"--h2 0.5 --threads 100000", e + "--threads needs a whole number from 1 to 256, not \"100000\""},
        {"--h2 0.5 --threads 0", e + "--threads needs a whole number from 1 to 256, not \"0\""},
        {"--h2 0.5 --threads 1.5", e + "--threads needs a whole number from 1 to 256, not \"1.5\""},
        {"--h2 1", e + "--h2 needs a number above 0 and below 1, not \"1\""},
        {"--h2 nan", e + "--h2 needs a number above 0 and below 1, not \"nan\""},
        {"--h2 0.5 --ridge 0", e + "--ridge needs a number above 0 and at most 1, not \"0\""},
        {"--h2 0.5 --ridge inf", e + "--ridge needs a number above 0 and at most 1, not \"inf\""},
        {"--h2 0.5 --prm run.prm", e + "Give either --h2 or --prm, not both", "h2 = 0.5;"},
        {"--h2 0.3", e + "Line 2 of data.tmp is not a line of the population file", nullptr,
         "Progeny Sire Dam\n1 0 0 - F\n"},
    };
    const std::string data = kDataHeading + DataLine(1, 0, 0, 'S', "+1.0", 0) + DataLine(2, 0, 0, 'D', "+0.5", 0) +
                             DataLine(3, 0, 0, '-', "-0.2", 0) + DataLine(4, 1, 2, 'P', "+0.3");
    std::vector<double> expected;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options + " " + (c.statement ? c.statement : ""));
        TempDir dir;
        WriteFile(dir / "data.tmp", c.data ? c.data : data);
        WriteFile(dir / "geno.txt", "ID Genotypes\n1      0234\n2      2043\n3      3320\n");
        std::set<std::string> files = {"data.tmp", "geno.txt"};
        if (c.statement) {
            WriteFile(dir / "run.prm", Param(GenomicEvaluation("run"), "", c.statement));
            files.insert("run.prm");
        }
        const RunResult r = RunIn(dir.path(), GBLUP_BIN " --geno geno.txt " + c.options);
        EXPECT_EQ(r.out, "");
        if (c.message.empty()) {
            EXPECT_EQ(r.exitCode, 0) << r.err;
            EXPECT_EQ(r.err, "");
            files.insert("my_bv.txt");
            if (expected.empty()) expected = Ebvs(dir / "my_bv.txt");
            const std::vector<double> ebv = Ebvs(dir / "my_bv.txt");
            ASSERT_EQ(ebv.size(), expected.size());
            for (size_t i = 0; i < ebv.size(); ++i) EXPECT_NEAR(ebv[i], expected[i], 1e-12);
        } else {
            EXPECT_EQ(r.exitCode, 1);
            EXPECT_NE(r.err.find("davok-gblup: Error - "), std::string::npos) << r.err;
            EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        }
        std::set<std::string> found;  // reading leaves no output folder or seed file behind
        for (const auto& entry : std::filesystem::directory_iterator(dir.path())) found.insert(entry.path().filename());
        EXPECT_EQ(found, files);
    }
}

}  // namespace
