// Seeding through the real binary: the saved seed, repeating a run from it, the guards of clock
// seeding, and seed files that cannot be used.
#include <gtest/gtest.h>

#include <ctime>
#include <sys/stat.h>

#include "cli/cli_util.h"

TEST(Seed, ARunFromAnEarlierRunsSeedFileStartsFromTheSameState)
{
    TempDir dir;
    RunResult first = RunParam(dir, "first", TestParam("minimal.prm"));
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_NE(first.out.find("Seed for random number generator : from current system time\n"), std::string::npos);
    EXPECT_NE(first.out.find("Seed is backed up in             : r_first/seed\n"), std::string::npos);
    std::string seed = ReadFile(dir / "r_first/seed");
    EXPECT_EQ(seed.substr(0, 26), "State vector for MT19937:\n");
    EXPECT_EQ(ReadFile(dir / "seed.prv"), seed);

    RunResult second = RunParam(dir, "again", "seed = \"r_first/seed\";\n" + TestParam("minimal.prm"));
    ASSERT_EQ(second.exitCode, 0) << second.err;
    EXPECT_NE(second.out.find("Seed for random number generator : r_first/seed\n"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "r_again/seed"), seed);
}

TEST(Seed, ASecondClockSeededRunInTheSameSecondIsRefused)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm", "a.prm");
    CopyTestParam(dir, "minimal.prm", "b.prm");
    // Both runs must start within one second; retry when the clock ticked over in between.
    for (int attempt = 0; attempt < 3; ++attempt) {
        time_t before = time(nullptr);
        RunResult r = RunIn(dir.path(), std::string(DAVOK_BIN) + " a.prm -o >/dev/null && " + DAVOK_BIN + " b.prm -o");
        if (time(nullptr) != before) continue;
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, "Error - Failed to initialize seed for random number generator\nAborted.\n");
        EXPECT_FALSE(FileExists(dir / "seed.lck"));
        return;
    }
    GTEST_SKIP() << "the clock ticked over during every attempt";
}

TEST(Seed, AStaleLockStopsClockSeedingUntilItIsRemoved)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    WriteFile(dir / "seed.lck", "seed.prv file is locked.\n");
    RunResult r = RunDavok(dir, "minimal.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("Error - Seed file [seed.prv] is apparently being used by another process in this directory.\n"
                         "If this is not true, remove [seed.lck] and retry.\n"),
              std::string::npos)
        << r.err;
    EXPECT_TRUE(FileExists(dir / "seed.lck"));
    // Following the advice is all a restart needs.
    ASSERT_EQ(remove((dir / "seed.lck").c_str()), 0);
    r = RunDavok(dir, "minimal.prm -o");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("Completed"), std::string::npos);
    EXPECT_FALSE(FileExists(dir / "seed.lck"));
}

TEST(Seed, AMissingUnreadableOrMalformedSeedFileIsRefused)
{
    TempDir dir;
    ASSERT_EQ(RunParam(dir, "minimal", TestParam("minimal.prm")).exitCode, 0);
    const std::string seed = ReadFile(dir / "r_minimal/seed");
    auto replaceFirstNumber = [&](const std::string& by) {
        std::string s = seed;
        const size_t at = s.find_first_not_of(' ', s.find('\n') + 1);
        return s.replace(at, s.find(' ', at) - at, by);
    };
    struct Case {
        std::string name, content, message;
    };
    const std::string invalid = "Error - Invalid seed number in [";
    const Case cases[] = {
        {"nothing", "", "Error - Could not open the seedfile [nothing]; No such file or directory.\n"},
        {"without its heading", seed.substr(seed.find('\n') + 1), invalid + "without its heading]\n"},
        {"short", "State vector for MT19937:\n1 2 3\n", invalid + "short]\n"},
        {"above 32 bits", replaceFirstNumber("4294967296"), invalid + "above 32 bits]\n"},
        {"negative", replaceFirstNumber("-5"), invalid + "negative]\n"},
        {"a letter", replaceFirstNumber("x12"), invalid + "a letter]\n"},
        {"binary", ReadFile("/bin/true").substr(0, 9000) + "\n", invalid + "binary]\n"},
        {"cut", seed.substr(0, seed.size() / 2) + "\n", invalid + "cut]\n"},
        {"no final line feed", seed.substr(0, seed.size() - 1),
         "Last line of file \"no final line feed\" ends without a newline.\n"},
        {"a folder", "", "Could not open [a folder]; Is a directory\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.name == "a folder") mkdir((dir / c.name).c_str(), 0700);
        else if (c.name != "nothing") WriteFile(dir / c.name, c.content);
        RunResult r = RunParam(dir, "bad", "seed = \"" + c.name + "\";\n" + TestParam("minimal.prm"), "-o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, c.message + "Aborted.\n");
        EXPECT_EQ(r.out.find("Replicate"), std::string::npos);
        EXPECT_EQ(ReadFile(dir / "r_bad/report.txt").find("Completed"), std::string::npos);
    }
}
