// Every parameter file of tests/param: invalid ones stop with exactly their expected error
// display, files with warnings print them and run on, valid ones are accepted.
#include <gtest/gtest.h>

#include <algorithm>
#include <dirent.h>
#include <string>
#include <vector>

#include "cli/cli_util.h"

namespace {

std::string CorpusDir(const std::string& kind) { return std::string(DAVOK_TEST_DATA) + "/param/" + kind; }

// Base names of the .prm files of a corpus folder, sorted.
std::vector<std::string> ParamFiles(const std::string& kind)
{
    std::vector<std::string> names;
    if (DIR* dir = opendir(CorpusDir(kind).c_str())) {
        while (struct dirent* e = readdir(dir)) {
            std::string n = e->d_name;
            if (n.size() > 4 && n.compare(n.size() - 4, 4, ".prm") == 0) names.push_back(n.substr(0, n.size() - 4));
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Files that run to the end do so from a fixed seed: with a clock seed a small population can
// now and then draw too few progeny of one sex for the next founders, or a QTL of `qae = pd`
// nearly equal effects (error 57), as the rules demand.
RunResult RunCorpusFile(const TempDir& dir, const std::string& kind, const std::string& name)
{
    WriteFile(dir / "corpus.seed", ReadFile(CorpusDir("valid") + "/corpus.seed"));
    const std::string seed = kind == "invalid" ? "" : "seed = \"corpus.seed\";\n";
    return RunParam(dir, name, seed + ReadFile(CorpusDir(kind) + "/" + name + ".prm"));
}

std::string NameOf(const testing::TestParamInfo<std::string>& info) { return info.param; }

class InvalidParamFile : public testing::TestWithParam<std::string> {};
class ParamFileWithWarnings : public testing::TestWithParam<std::string> {};
class ValidParamFile : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(InvalidParamFile, StopsWithItsErrorDisplay)
{
    TempDir dir;
    RunResult r = RunCorpusFile(dir, "invalid", GetParam());
    EXPECT_EQ(r.exitCode, 1);
    std::string expected = ReadFile(CorpusDir("invalid") + "/" + GetParam() + ".err");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(r.err, expected);
    // Errors found by the cross-checks come after the report was opened: they are in it too.
    std::string report = ReadFile(dir / ("r_" + GetParam() + "/report.txt"));
    if (!report.empty()) {
        for (size_t b = 0, e; (e = expected.find('\n', b)) != std::string::npos; b = e + 1)
            EXPECT_NE(report.find(expected.substr(b, e - b + 1)), std::string::npos) << expected.substr(b, e - b);
    }
}

TEST_P(ParamFileWithWarnings, PrintsItsWarningsAndRuns)
{
    TempDir dir;
    RunResult r = RunCorpusFile(dir, "warnings", GetParam());
    EXPECT_EQ(r.exitCode, 0) << r.err;
    std::string base = CorpusDir("warnings") + "/" + GetParam();
    std::string err = ReadFile(base + ".err"), out = ReadFile(base + ".out");
    ASSERT_FALSE(err.empty() && out.empty());
    EXPECT_NE(r.err.find(err), std::string::npos) << r.err;
    EXPECT_NE(r.out.find(out), std::string::npos) << r.out;
    if (!err.empty()) {
        EXPECT_NE(r.out.find("warnings!)."), std::string::npos);
    }
}

TEST_P(ValidParamFile, IsAccepted)
{
    TempDir dir;
    RunResult r = RunCorpusFile(dir, "valid", GetParam());
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err.find("Error"), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(Corpus, InvalidParamFile, testing::ValuesIn(ParamFiles("invalid")), NameOf);
INSTANTIATE_TEST_SUITE_P(Corpus, ParamFileWithWarnings, testing::ValuesIn(ParamFiles("warnings")), NameOf);
INSTANTIATE_TEST_SUITE_P(Corpus, ValidParamFile, testing::ValuesIn(ParamFiles("valid")), NameOf);

TEST(ParamFileLimits, MoreThanAThousandPopulationsAreRefused)
{
    std::string blocks;
    for (int i = 0; i < 1000; ++i) blocks += Population("q" + std::to_string(i), HpFounders(1, 1), " ls = 1; ng = 0;\n");
    TempDir dir;
    RunResult r = RunParam(dir, "many", Edited(TestParam("minimal.prm"), "begin_genome;", blocks + "begin_genome;"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "Error - Number of recent populations cannot be larger than 1000\nAborted.\n");
}
