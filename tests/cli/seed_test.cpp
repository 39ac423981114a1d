// Seeding through the real binary: the saved seed, repeating a run from it, and the guards of
// clock seeding.
#include <gtest/gtest.h>

#include <ctime>

#include "cli/cli_util.h"

TEST(Seed, ARunFromAnEarlierRunsSeedFileStartsFromTheSameState)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm", "first.prm");
    RunResult first = RunDavok(dir, "first.prm");
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_NE(first.out.find("Seed for random number generator : from current system time\n"), std::string::npos);
    EXPECT_NE(first.out.find("Seed is backed up in             : r_first/seed\n"), std::string::npos);
    std::string seed = ReadFile(dir / "r_first/seed");
    EXPECT_EQ(seed.substr(0, 26), "State vector for MT19937:\n");
    EXPECT_EQ(ReadFile(dir / "seed.prv"), seed);

    std::string again = TestParam("minimal.prm");
    again.insert(0, "seed = \"r_first/seed\";\n");
    WriteFile(dir / "again.prm", again);
    RunResult second = RunDavok(dir, "again.prm");
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

TEST(Seed, AStaleLockStopsClockSeeding)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    WriteFile(dir / "seed.lck", "seed.prv file is locked.\n");
    RunResult r = RunDavok(dir, "minimal.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("Error - Seed file [seed.prv] is apparently being used by another process in this directory.\n"
                         "If this is not true, remove [seed.lck] and retry.\n"),
              std::string::npos);
    EXPECT_TRUE(FileExists(dir / "seed.lck"));
}

TEST(Seed, AMissingOrShortSeedFileIsRefused)
{
    TempDir dir;
    std::string text = TestParam("minimal.prm");
    WriteFile(dir / "missing.prm", "seed = \"nothing\";\n" + text);
    RunResult r = RunDavok(dir, "missing.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "Error - Could not open the seedfile [nothing]; No such file or directory.\nAborted.\n");

    WriteFile(dir / "short_seed", "State vector for MT19937:\n1 2 3\n");
    WriteFile(dir / "short.prm", "seed = \"short_seed\";\n" + text);
    r = RunDavok(dir, "short.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "Error - Invalid seed number in [short_seed]\nAborted.\n");
}
