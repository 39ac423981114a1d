// Breeding values from an external program through the real binary: the example script, and the
// failures of a user's program that must stop the run cleanly.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "cli/cli_util.h"

namespace {

// One population of three generations evaluated by `command`, with its data file written.
RunResult RunExternal(const TempDir& dir, const std::string& command)
{
    return RunParam(dir, "ext",
                    "nrep = 1;\nh2 = 0.4;\nqtlh2 = 0.2;\nphvar = 2;\nno_male_rec;\nbegin_hp;\n hg_size = 200 [0] 200 [10];\nend_hp;\n" +
                        Population("p", HpFounders(4, 12),
                                   " ls = 2;\n ng = 3;\n sr = 0.5;\n dr = 0.5;\n sd = ebv /h;\n ebv_est = external_bv \"" + command +
                                       "\";\n" + PopOutput("data;")) +
                        Genome(1, 50, 50, 5),
                    "-o");
}

TEST(ExternalBV, TheExampleScriptEvaluatesEveryGeneration)
{
    TempDir dir;
    WriteFile(dir / "external_bv.sh", ReadFile(std::string(DAVOK_EXAMPLES) + "/external_bv.sh"));
    RunResult r = RunExternal(dir, "sh external_bv.sh 0.4");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, ", my_bv "), 4);  // the founders and three generations
    EXPECT_NE(r.out.find("G0     Size=16     , my_bv 16 rec"), std::string::npos) << r.out;
    // The last data file holds every individual with its flag; its recorded ones got h2 times
    // their deviation, which the script printed with six decimals.
    const std::string data = ReadFile(dir / "data.tmp");
    EXPECT_EQ(data.rfind("Progeny Sire    Dam     Flag Sex  G   NMPrg NFPrg F        Homo     Phen", 0), 0u) << data;
    const std::vector<std::vector<std::string>> rows = Rows(data), bv = Rows(ReadFile(dir / "my_bv.txt"));
    ASSERT_EQ(bv.size(), rows.size());
    int progeny = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
        progeny += rows[i].at(3) == "P";
        ASSERT_EQ(bv[i].size(), 2u);
        EXPECT_EQ(std::stoi(bv[i][0]), std::stoi(rows[i][0]));
        EXPECT_NO_THROW(std::stod(bv[i][1])) << bv[i][1];
    }
    EXPECT_GT(progeny, 0);
    EXPECT_GT(rows.size(), 16u);
}

TEST(ExternalBV, AFailingHangingOrGarbageWritingProgramStopsTheRun)
{
    struct Case {
        std::string name, script, message;
        std::string command = "sh eval.sh";
    };
    const Case cases[] = {
        {"no result file", "true\n", "Could not open [my_bv.txt]"},
        {"unknown identifier", "printf 'ID EBV\\n999999 1.5\\n' > my_bv.txt\n",
         "Error - ID 999999 does not exist in the simulated data set!!! Max=16"},
        {"value that is not a number", "printf 'ID EBV\\n1 high\\n' > my_bv.txt\n",
         "Error - Line 2 of my_bv.txt is not an identifier followed by a breeding value: \"1 high\""},
        {"value that is not finite", "printf 'ID EBV\\n1 nan\\n' > my_bv.txt\n",
         "Error - Line 2 of my_bv.txt is not an identifier followed by a breeding value: \"1 nan\""},
        {"identifier without value", "printf 'ID EBV\\n1\\n' > my_bv.txt\n",
         "Error - Line 2 of my_bv.txt is not an identifier followed by a breeding value: \"1\""},
        {"binary bytes", "(echo ID EBV && head -c 3000 /bin/true && echo) > my_bv.txt\n",
         "Error - Line 2 of my_bv.txt is not an identifier followed by a breeding value: \""},
        {"non-zero exit", "exit 3\n", "Error - The external evaluation command \"sh eval.sh\" failed with exit status 3."},
        // A command that may hang is run under timeout(1); its exit status 124 stops the run.
        {"hangs past its limit", "exec sleep 60\n",
         "Error - The external evaluation command \"timeout 1 sh eval.sh\" failed with exit status 124.",
         "timeout 1 sh eval.sh"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        WriteFile(dir / "eval.sh", c.script);
        const time_t start = time(nullptr);
        RunResult r = RunExternal(dir, c.command);
        EXPECT_LT(time(nullptr) - start, 20) << "the run must not wait for the command to end by itself";
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("Aborted."), std::string::npos);
        // What the run wrote before it stopped stays in the output folder.
        EXPECT_NE(ReadFile(dir / "r_ext/report.txt").find(c.message), std::string::npos);
        EXPECT_FALSE(ReadFile(dir / "r_ext/ext.prm").empty());
    }
}

}  // namespace
