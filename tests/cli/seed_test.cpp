// Seeding through the real binary: the saved seed, repeating a run from it, and seed files that
// cannot be used. Which seed files are refused, and a second clock seeding in the same second or
// past a stale lock, are the generator's unit tests.
#include <gtest/gtest.h>

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

TEST(Seed, AMissingOrMalformedSeedFileStopsTheRunBeforeAnyReplicate)
{
    TempDir dir;
    WriteFile(dir / "short", "State vector for MT19937:\n1 2 3\n");
    for (const auto& [name, message] : {std::pair<std::string, std::string>{"short", "Error - Invalid seed number in [short]\n"},
                                        {"nothing", "Error - Could not open the seedfile [nothing]; No such file or directory.\n"}}) {
        SCOPED_TRACE(name);
        RunResult r = RunParam(dir, "bad", "seed = \"" + name + "\";\n" + TestParam("minimal.prm"), "-o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, message + "Aborted.\n");
        EXPECT_EQ(r.out.find("Replicate"), std::string::npos);
        EXPECT_EQ(ReadFile(dir / "r_bad/report.txt").find("Completed"), std::string::npos);
    }
}
