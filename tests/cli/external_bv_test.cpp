// Breeding values from an external program through the real binary: the example script, and the
// failures of a user's program that must stop the run cleanly.
#include <gtest/gtest.h>

#include <ctime>
#include <sstream>
#include <string>

#include "cli/cli_util.h"

namespace {

// One population of three generations evaluated by `command`, with its data file written.
std::string ExternalParam(const std::string& command)
{
    return "nrep = 1;\nh2 = 0.4;\nqtlh2 = 0.2;\nphvar = 2;\nno_male_rec;\nbegin_hp;\n hg_size = 200 [0] 200 [10];\nend_hp;\n"
           "begin_pop = \"p\";\n begin_founder;\n  male [n = 4, pop = \"hp\"];\n  female [n = 12, pop = \"hp\"];\n"
           " end_founder;\n ls = 2;\n ng = 3;\n sr = 0.5;\n dr = 0.5;\n sd = ebv /h;\n ebv_est = external_bv \"" +
           command + "\";\n begin_popoutput;\n  data;\n end_popoutput;\nend_pop;\n"
           "begin_genome;\n begin_chr = 1;\n  chrlen = 50;\n  nmloci = 50;\n  mpos = rnd;\n  nma = all 2;\n"
           "  maf = eql;\n  nqloci = 5;\n  qpos = rnd;\n  nqa = all 2;\n  qaf = eql;\n  qae = rndg 0.4;\n"
           " end_chr;\nend_genome;\n";
}

RunResult RunExternal(const TempDir& dir, const std::string& command)
{
    WriteFile(dir / "ext.prm", ExternalParam(command));
    return RunDavok(dir, "ext.prm -o");
}

TEST(ExternalBV, TheExampleScriptEvaluatesEveryGeneration)
{
    TempDir dir;
    RunIn(dir.path(), std::string("cp '") + DAVOK_EXAMPLES + "/external_bv.sh' .");
    RunResult r = RunExternal(dir, "sh external_bv.sh 0.4");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, ", my_bv "), 4);  // the founders and three generations
    EXPECT_NE(r.out.find("G0     Size=16     , my_bv 16 rec"), std::string::npos) << r.out;
    // The last data file holds every individual with its flag; its recorded ones got h2 times
    // their deviation, which the script printed with six decimals.
    std::istringstream data(ReadFile(dir / "data.tmp"));
    std::istringstream bv(ReadFile(dir / "my_bv.txt"));
    std::string heading;
    std::getline(data, heading);
    EXPECT_EQ(heading.rfind("Progeny Sire    Dam     Flag Sex  G   NMPrg NFPrg F        Homo     Phen", 0), 0u)
        << heading;
    std::getline(bv, heading);
    int lines = 0, progeny = 0;
    for (std::string line; std::getline(data, line); ++lines) {
        std::istringstream f(line);
        int id, sire, dam;
        std::string flag, sex;
        f >> id >> sire >> dam >> flag >> sex;
        progeny += flag == "P";
        int bvId;
        double value;
        ASSERT_TRUE(bv >> bvId >> value);
        EXPECT_EQ(bvId, id);
    }
    EXPECT_GT(progeny, 0);
    EXPECT_GT(lines, 16);
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
