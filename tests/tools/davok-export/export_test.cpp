// davok-export against the tools its files are made for: the same genotypes read from every
// form of genotype file give the same export, plink1.9 finds the run's own allele frequencies
// in the .bed, bcftools reads the VCF without a word and counts its samples and records, and
// bad input leaves nothing behind.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "support/test_util.h"

namespace {

const std::string kExport = EXPORT_BIN;

RunResult Export(const TempDir& dir, const std::string& args)
{
    return RunIn(dir.path(), kExport + " " + args);
}

using Row = std::vector<std::string>;

// The lines of a file that begin with prefix, each split into its whitespace-separated words.
std::vector<Row> Rows(const std::string& path, const std::string& prefix = "")
{
    std::vector<Row> rows;
    for (const std::string& line : Lines(ReadFile(path))) {
        if (line.compare(0, prefix.size(), prefix) != 0) continue;
        std::istringstream in(line);
        rows.emplace_back();
        for (std::string s; in >> s;) rows.back().push_back(s);
    }
    return rows;
}

// The runs the tests read, each made when first asked for: the same seed gives the same
// genotypes in every form of file.
class ExportTest : public ::testing::Test {
protected:
    static void TearDownTestSuite() { dir.reset(); }

    static const TempDir& Dir()
    {
        if (!dir) {
            dir = std::make_unique<TempDir>();
            WriteFile(*dir / "run.seed", ReadFile(DAVOK_SEED));
        }
        return *dir;
    }
    // name: text, snp, binary, merged (attach_rep), missing (a fifth of the marker genotypes
    // missing), all with six QTL alleles (labels above 4 become symbolic VCF alleles); biallelic
    // and seq with two; large with 1,500 markers a chromosome and 40 QTL alleles (labels above 15).
    static std::string Run(const std::string& name)
    {
        const TempDir& d = Dir();
        if (!FileExists(d / (name + ".prm"))) {
            const bool two = name == "biallelic" || name == "seq";
            const bool large = name == "large";
            const std::map<std::string, std::string> fills = {
                {"@GENOTYPE@", name == "snp" ? "/snp_code" : name == "binary" ? "/binary" : name == "seq" ? "/seq" : ""},
                {"@QTL_ALLELES@", two ? "2" : large ? "40" : "6"},
                {"nmloci = 20", large ? "nmloci = 1500" : "nmloci = 20"},
                {"@MISSING@", name == "missing" ? "rmmg = 0.2;" : ""},
                {"@ATTACH@", name == "merged" ? "attach_rep;" : ""}};
            std::string prm = ReadFile(std::string(EXPORT_TEST_DATA) + "/export.prm");
            for (const auto& [key, value] : fills) prm.replace(prm.find(key), key.size(), value);
            WriteFile(d / (name + ".prm"), prm);
            const RunResult run = RunIn(d.path(), std::string(DAVOK_BIN) + " " + name + ".prm -o");
            EXPECT_EQ(run.exitCode, 0) << run.err;
        }
        return d / ("r_" + name);
    }

    static std::unique_ptr<TempDir> dir;
};

std::unique_ptr<TempDir> ExportTest::dir;

TEST_F(ExportTest, EveryFormOfGenotypeFileGivesTheSameExport)
{
    const std::string cases[][4] = {  // what, folder, reference, options
        {"snp_code", Run("snp"), Run("text"), "--rep 2 --loci mrk"},
        {"binary", Run("binary"), Run("text"), "--rep 2 --loci both"},
        {"binary, generation 1 between others", Run("binary"), Run("text"), "--rep 2 --gen 1 --loci both"},
        {"snp_code, generation 2", Run("snp"), Run("text"), "--rep 1 --gen 2"},
        {"attach_rep, replicate 2", Run("merged"), Run("text"), "--rep 2 --loci both"},
        // One genotype call per generation instead of two changes the later generations' draws.
        {"/seq against separate marker and QTL files", Run("seq"), Run("biallelic"), "--gen 0 --loci both"},
    };
    for (const auto& [what, folder, reference, options] : cases) {
        SCOPED_TRACE(what);
        for (const char* format : {"vcf", "plink"}) {
            const std::string args = " " + options + " --format " + format + " --out ";
            ASSERT_EQ(Export(Dir(), folder + args + "a").exitCode, 0);
            ASSERT_EQ(Export(Dir(), reference + args + "b").exitCode, 0);
            const char* ext = format[0] == 'v' ? ".vcf" : ".bed";
            EXPECT_TRUE(ReadFile(Dir() / ("a" + std::string(ext))) == ReadFile(Dir() / ("b" + std::string(ext))));
        }
    }
    // Replicate 2 is not replicate 1, so the cases above did pick the replicate.
    ASSERT_EQ(Export(Dir(), Run("merged") + " --rep 1 --format vcf --out r1").exitCode, 0);
    ASSERT_EQ(Export(Dir(), Run("merged") + " --rep 2 --format vcf --out r2").exitCode, 0);
    EXPECT_TRUE(ReadFile(Dir() / "r1.vcf") != ReadFile(Dir() / "r2.vcf"));
}

TEST_F(ExportTest, PlinkFindsTheRunsAlleleFrequenciesOfTheGeneration)
{
    ASSERT_EQ(Export(Dir(), Run("text") + " --rep 2 --gen 1 --out g1").exitCode, 0);
    const RunResult plink =
        RunIn(Dir().path(), "plink1.9 --bfile g1 --freq --nonfounders --chr-set 95 --out g1 >/dev/null");
    ASSERT_EQ(plink.exitCode, 0) << ReadFile(Dir() / "g1.log");

    // The run's frequency of every allele label of generation 1.
    std::map<std::string, std::map<std::string, double>> runFreq;
    for (const Row& w : Rows(Run("text") + "/p1_freq_mrk_002.txt", "M"))
        for (size_t k = 3; w[1] == "1" && k < w.size(); ++k)  // generation 1
            runFreq[w[0]][w[k].substr(0, w[k].find(':'))] = std::stod(w[k].substr(w[k].find(':') + 1));
    const std::vector<Row> frq = Rows(Dir() / "g1.frq");  // CHR SNP A1 A2 MAF NCHROBS
    ASSERT_EQ(frq.size(), runFreq.size() + 1);
    for (size_t i = 1; i < frq.size(); ++i)
        EXPECT_NEAR(std::stod(frq[i][4]), frq[i][2] == "0" ? 0.0 : runFreq[frq[i][1]][frq[i][2]], 1e-4) << frq[i][1];

    // The .fam holds the animals of generation 1 with the data file's parents, sex and phenotype.
    std::map<std::string, Row> data;
    for (const Row& w : Rows(Run("text") + "/p1_data_002.txt"))
        if (w.size() > 7 && w[4] == "1") data[w[0]] = w;
    const std::vector<Row> fam = Rows(Dir() / "g1.fam");
    ASSERT_EQ(fam.size(), data.size());
    for (const Row& f : fam) {
        const Row& d = data[f[1]];
        ASSERT_FALSE(d.empty()) << f[1];
        EXPECT_EQ(f[2] + f[3] + f[4], d[1] + d[2] + (d[3] == "M" ? "1" : "2")) << f[1];
        EXPECT_EQ(f[5] == "-9", d[9] == "---") << f[1];
    }
}

TEST_F(ExportTest, BcftoolsReadsTheVcfAndCountsSamplesRecordsAndMultiAllelicSites)
{
    ASSERT_EQ(Export(Dir(), Run("text") + " --rep 2 --loci both --format vcf --out all").exitCode, 0);
    const RunResult view = RunIn(Dir().path(), "bcftools view all.vcf >/dev/null");
    EXPECT_EQ(view.exitCode, 0);
    EXPECT_EQ(view.err, "");

    // Expected: every animal of the data file, every locus of both maps, and as multi-allelic
    // sites the loci with more than two alleles over the generations of the frequency files.
    const size_t animals = Rows(Run("text") + "/p1_data_002.txt").size() - 1;
    const size_t loci = Rows(Run("text") + "/lm_mrk_002.txt", "M").size() + Rows(Run("text") + "/lm_qtl_002.txt", "Q").size();
    std::map<std::string, std::set<std::string>> seen;
    for (const char* kind : {"/p1_freq_mrk_002.txt", "/p1_freq_qtl_002.txt"})
        for (const Row& w : Rows(Run("text") + kind))
            if (!w.empty() && (w[0][0] == 'M' || w[0][0] == 'Q') && w[0].size() > 1 && isdigit(w[0][1]))
                for (const std::string& item : w)
                    if (item.find(':') != std::string::npos) seen[w[0]].insert(item.substr(0, item.find(':')));
    int multi = 0;
    for (const auto& [id, labels] : seen) multi += labels.size() > 2;
    ASSERT_GT(multi, 0);

    const RunResult stats = RunIn(Dir().path(), "bcftools stats all.vcf");
    ASSERT_EQ(stats.exitCode, 0);
    EXPECT_EQ(stats.err, "");
    EXPECT_NE(stats.out.find("number of samples:\t" + std::to_string(animals) + "\n"), std::string::npos);
    EXPECT_NE(stats.out.find("number of records:\t" + std::to_string(loci) + "\n"), std::string::npos);
    EXPECT_NE(stats.out.find("number of multiallelic sites:\t" + std::to_string(multi) + "\n"), std::string::npos);

    // The .bed keeps only the loci with two alleles at most and says how many it left out.
    const RunResult plink = Export(Dir(), Run("text") + " --rep 2 --loci both --out all");
    ASSERT_EQ(plink.exitCode, 0);
    EXPECT_NE(plink.err.find("Warning - " + std::to_string(multi) + " loci with more than two alleles"), std::string::npos);
    EXPECT_EQ(Lines(ReadFile(Dir() / "all.bim")).size(), loci - static_cast<size_t>(multi));
}

TEST_F(ExportTest, MissingGenotypesStayMissing)
{
    // Missing pairs of the run's own text file ("0 0") against ".|." in the VCF and the
    // missing calls plink1.9 counts in the .bed.
    size_t expected = 0;
    for (const Row& w : Rows(Run("missing") + "/p1_mrk_001.txt"))
        for (size_t k = 1; k + 1 < w.size(); k += 2) expected += w[k] == "0" && w[k + 1] == "0";
    ASSERT_GT(expected, 0u);
    ASSERT_EQ(Export(Dir(), Run("missing") + " --format vcf --out miss").exitCode, 0);
    EXPECT_EQ(static_cast<size_t>(CountOf(ReadFile(Dir() / "miss.vcf"), "\t.|.")), expected);

    ASSERT_EQ(Export(Dir(), Run("missing") + " --out miss").exitCode, 0);
    ASSERT_EQ(RunIn(Dir().path(), "plink1.9 --bfile miss --missing --chr-set 95 --out miss >/dev/null").exitCode, 0);
    size_t counted = 0;
    const std::vector<Row> lmiss = Rows(Dir() / "miss.lmiss");  // CHR SNP N_MISS ...
    for (size_t i = 1; i < lmiss.size(); ++i) counted += std::stoul(lmiss[i][2]);
    EXPECT_EQ(counted, expected);
}

TEST_F(ExportTest, IdentifiersOfSevenDigitsAndMoreAreRead)
{
    // The run's files with every identifier raised by 1,000,000 (a blank then separates it from
    // the genotypes in both text forms); the records must not change.
    ASSERT_EQ(Export(Dir(), Run("text") + " --format vcf --out small").exitCode, 0);
    auto records = [](const std::string& vcf) {
        std::string body;
        for (const std::string& s : Lines(vcf))
            if (s[0] != '#') body += s + "\n";
        return body;
    };
    for (const char* form : {"text", "snp"}) {
        SCOPED_TRACE(form);
        const std::string big = Dir() / (std::string("r_big_") + form);
        RunIn(Dir().path(), "mkdir -p " + big + " && cp " + Run(form) + "/lm_mrk_001.txt " + big);
        const std::vector<std::string> lines = Lines(ReadFile(Run(form) + "/p1_mrk_001.txt"));
        std::string raised = lines[0] + "\n";
        for (size_t i = 1; i < lines.size(); ++i) {
            const size_t blank = lines[i].find(' ');
            raised += std::to_string(std::stoi(lines[i].substr(0, blank)) + 1000000) + " " +
                      lines[i].substr(lines[i].find_first_not_of(' ', blank)) + "\n";
        }
        WriteFile(big + "/p1_mrk_001.txt", raised);
        const RunResult r = Export(Dir(), big + " --format vcf --out big");
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const std::string vcf = ReadFile(Dir() / "big.vcf");
        EXPECT_NE(vcf.find("FORMAT\t1000001\t1000002\t"), std::string::npos);
        EXPECT_TRUE(records(vcf) == records(ReadFile(Dir() / "small.vcf")));
    }
}

TEST_F(ExportTest, GenotypesNeedNoLinkageMap)
{
    // The number of loci comes from the run report, or without one from the first record of a text
    // file: the same .bed as with the map, the loci numbered in file order on the report's
    // chromosomes or on chromosome 0.
    const std::string cases[][3] = {{"binary", "p1_mrk_001.txt p1_data_001.txt report.txt", "2M211"},
                                    {"text", "p1_mrk_001.txt", "0M2121"},
                                    {"snp", "p1_mrk_001.txt", "0M2121"}};
    for (const auto& [form, files, locus21] : cases) {
        SCOPED_TRACE(form);
        const std::string bare = Dir() / ("r_bare_" + form);
        RunIn(Dir().path(), "mkdir -p " + bare + " && cd " + Run(form) + " && cp " + files + " " + bare);
        ASSERT_EQ(Export(Dir(), Run(form) + " --out mapped").exitCode, 0);
        const RunResult r = Export(Dir(), bare + " --out bare");
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(ReadFile(Dir() / "bare.bed") == ReadFile(Dir() / "mapped.bed"));
        const std::vector<Row> bim = Rows(Dir() / "bare.bim");
        ASSERT_EQ(bim.size(), 40u);
        EXPECT_EQ(bim[20][0] + bim[20][1] + bim[20][3], locus21);
    }
}

TEST_F(ExportTest, GenotypesBeyondTheMemoryBoundExportAsThoseWithin)
{
    // 220 animals x 3,006 loci, QTL labels up to 40: with --memory 1 most stored genotypes lie in
    // the temporary file and are read back in ranges of loci that must not split a genotype.
    for (const char* args : {" --loci both --format vcf", " --loci both", " --format vcf", ""}) {
        SCOPED_TRACE(args);
        ASSERT_EQ(Export(Dir(), Run("large") + args + " --memory 1 --out bound").exitCode, 0);
        ASSERT_EQ(Export(Dir(), Run("large") + args + " --memory 256 --out free").exitCode, 0);
        for (const std::string ext : {".vcf", ".bed"}) {
            if (!FileExists(Dir() / ("free" + ext))) continue;
            EXPECT_TRUE(ReadFile(Dir() / ("bound" + ext)) == ReadFile(Dir() / ("free" + ext))) << ext;
        }
        RunIn(Dir().path(), "rm -f bound.* free.*");
    }
}

TEST_F(ExportTest, ProgressLineOnlyForLongExports)
{
    // DAVOK_EXPORT_PROGRESS=0 takes every export for a long one.
    for (const auto& [env, shown] : {std::pair<std::string, bool>{"", false}, {"DAVOK_EXPORT_PROGRESS=0 ", true}}) {
        const RunResult r = RunIn(Dir().path(), env + kExport + " " + Run("text") + " --out progress");
        ASSERT_EQ(r.exitCode, 0);
        EXPECT_EQ(r.err.find("% done") != std::string::npos, shown) << r.err;
    }
}

TEST_F(ExportTest, BadInputGivesAMessageExitOneAndNoFile)
{
    const TempDir bad;
    WriteFile(bad / "report.txt", "not a run\n");
    // Linkage maps cut at the end of a line and within one, beside a whole genotype file.
    const std::string map = ReadFile(Run("text") + "/lm_mrk_001.txt");
    for (const auto& [name, keep] : {std::pair<std::string, size_t>{"r_lm_line", map.rfind("\nM") + 1}, {"r_lm_mid", map.size() - 3}}) {
        RunIn(bad.path(), "mkdir " + name + " && cp " + Run("text") + "/p1_mrk_001.txt " + Run("text") + "/report.txt " + name);
        WriteFile(bad / (name + "/lm_mrk_001.txt"), map.substr(0, keep));
    }
    // A binary file cut in its last record, with the map it needs.
    const std::string cut = bad / "r_cut";
    RunIn(bad.path(), "mkdir r_cut && cp " + Run("binary") + "/lm_mrk_001.txt r_cut/");
    const std::string whole = ReadFile(Run("binary") + "/p1_mrk_001.txt");
    WriteFile(cut + "/p1_mrk_001.txt", whole.substr(0, whole.size() - 3));
    // Text genotype files damaged in their second record (a letter for an allele among the loci
    // read sixteen at a time, a locus too few or too many; the first gives the number of loci
    // without a run report) or cut in their last line.
    const std::string text = ReadFile(Run("text") + "/p1_mrk_001.txt");
    const size_t second = text.find('\n', text.find('\n') + 1) + 1, secondEnd = text.find('\n', second);
    std::string letter = text;
    letter[text.find_first_not_of(' ', text.find(' ', second)) + 4 * 5] = 'x';
    const std::map<std::string, std::string> damaged = {
        {"r_letter", letter},
        {"r_short", text.substr(0, secondEnd - 4) + text.substr(secondEnd)},
        {"r_long", text.substr(0, secondEnd) + " 1 1" + text.substr(secondEnd)},
        {"r_unended", text.substr(0, text.size() - 1)},
    };
    for (const auto& [name, genotypes] : damaged) {
        RunIn(bad.path(), "mkdir " + name + " && cp " + Run("text") + "/lm_mrk_001.txt " + name);
        WriteFile(bad / (name + "/p1_mrk_001.txt"), genotypes);
    }

    const std::pair<std::string, std::string> cases[] = {  // arguments, message
        {bad.path(), "Error - No genotype files in ["},
        {cut, "is truncated: "},
        {Run("text") + " --gen 7", "Error - Generation 7 has no genotyped animals in ["},
        {Run("text") + " --rep 3", "Error - Replicate 3 is not in ["},
        {cut + " --gen 0", "Error - --gen needs the data file ["},
        {bad / "r_lm_line", "Error - The linkage map [" + bad / "r_lm_line/lm_mrk_001.txt] is cut"},
        {bad / "r_lm_mid", "Error - The linkage map [" + bad / "r_lm_mid/lm_mrk_001.txt] is cut"},
        {bad / "r_letter", "is cut or damaged at record 2: not a number (40 loci expected)"},
        {bad / "r_short", "is cut or damaged at record 2: the line is short"},
        {bad / "r_long", "is cut or damaged at record 2: the line is long"},
        {bad / "r_unended", "the last line has no line feed"},
    };
    for (const auto& [args, message] : cases) {
        for (const char* format : {"plink", "vcf"}) {
            SCOPED_TRACE(args + " " + format);
            const RunResult r = RunIn(bad.path(), kExport + " " + args + " --format " + format + " --out out");
            EXPECT_EQ(r.exitCode, 1);
            EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
            EXPECT_NE(r.err.find("Aborted."), std::string::npos);
            for (const char* ext : {".bed", ".bim", ".fam", ".vcf"}) EXPECT_FALSE(FileExists(bad / ("out" + std::string(ext))));
        }
    }
    // Nothing under a temporary name either.
    const RunResult listing = RunIn(bad.path(), "ls");
    EXPECT_EQ(listing.out.find(".tmp"), std::string::npos) << listing.out;
}

}  // namespace
