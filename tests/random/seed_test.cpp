#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "random/random_test_util.h"
#include "random/rnd.h"
#include "support/messages.h"
#include "support/test_util.h"

namespace {

// Runs a test inside a fresh folder: "seed.prv" and "seed.lck" live in the current directory.
class SeedFiles : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(home, sizeof home), nullptr);
        ASSERT_EQ(chdir(dir.path().c_str()), 0);
    }
    void TearDown() override { ASSERT_EQ(chdir(home), 0); }

    TempDir dir;
    char home[PATH_MAX];
};

// Seeds gen with InitSeed() and returns what it printed.
std::string Seed(CMyRnd& gen)
{
    testing::internal::CaptureStdout();
    gen.InitSeed();
    return testing::internal::GetCapturedStdout();
}

// A generator seeded from the seed file at path (which may be "seed.prv").
CMyRnd FromFile(const std::string& path)
{
    CMyRnd gen;
    testing::internal::CaptureStdout();
    gen.ReadSeedAndInit(path.c_str());
    testing::internal::GetCapturedStdout();
    return gen;
}

// The text of a seed file for the state that seed gives.
std::string SeedFileText(unsigned long seed)
{
    CMyRnd gen;
    gen.InitSeed(seed);
    EXPECT_TRUE(gen.SaveSeed("tmp_seed", false));
    return ReadFile("tmp_seed");
}

// True when "seed.prv" holds the state that clock second t seeds.
bool PrevRunFileHoldsClock(time_t t)
{
    CMyRnd fromClock;
    fromClock.InitSeed(static_cast<unsigned long>(t));
    return SamePosition(FromFile("seed.prv"), fromClock);
}

const char* const kClockMessage = "Seed for random number generator : from current system time\n";

}  // namespace

TEST_F(SeedFiles, ANamedSeedFileReproducesTheEarlierRunsDraws)
{
    CMyRnd earlier;
    Seed(earlier);
    ASSERT_TRUE(earlier.SaveSeed("seed", false));  // the output-folder copy, before any draw
    CMyRnd expected = earlier;

    CMyRnd later;
    later.seed_file_name = "seed";
    EXPECT_EQ(Seed(later), "Seed for random number generator : seed\n");
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(later.genrand_int32(), expected.genrand_int32());
    // After draws, the state as seeded is still what the initial flag writes.
    ASSERT_TRUE(later.SaveSeed("again", true));
    EXPECT_EQ(ReadFile("again"), ReadFile("seed"));
}

TEST_F(SeedFiles, TheFileHasAHeaderAndSeventyEightLinesOfEightRightAlignedNumbers)
{
    std::string text = SeedFileText(5489UL);
    std::vector<std::string> lines = Lines(text);
    ASSERT_EQ(lines.size(), 79u);
    EXPECT_EQ(lines[0], "State vector for MT19937:");
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(lines[1].substr(0, 26), "        5489   1301868182 ");  // the first two state words
    CMyRnd gen;
    gen.InitSeed(5489UL);
    for (size_t row = 1; row < lines.size(); ++row) {
        SCOPED_TRACE(row);
        ASSERT_EQ(lines[row].size(), 8u * 13 - 1);  // "%12lu " seven times, then "%12lu"
        for (int col = 0; col < 8; ++col) {
            std::string field = lines[row].substr(col * 13, 13);
            EXPECT_EQ(std::stoul(field), gen.Get_mt()[(row - 1) * 8 + col]);
            EXPECT_NE(field[11], ' ');
        }
    }
}

TEST_F(SeedFiles, DamagedOrMissingSeedFilesStopTheRun)
{
    const std::string good = SeedFileText(32UL), numbers = good.substr(good.find('\n') + 1);
    const std::string allButLast = good.substr(0, good.find_last_of(' ') + 1);
    auto firstNumberAs = [&](const std::string& by) {
        return "State vector for MT19937:\n" + by + numbers.substr(numbers.find(' ', numbers.find_first_not_of(' ')));
    };
    WriteFile("largest", allButLast + "4294967295\n");
    EXPECT_EQ(FromFile("largest").Get_mt()[623], 4294967295UL);

    const std::string invalid = "Error - Invalid seed number in [";
    struct Case {
        std::string file, content, err;
    };
    const Case cases[] = {
        // Without its header the first line of numbers is skipped and 616 remain.
        {"headless", numbers, invalid + "headless]\n"},
        {"short", "State vector for MT19937:\n1 2 3\n", invalid + "short]\n"},
        {"last too large", allButLast + "4294967296\n", invalid + "last too large]\n"},
        {"first too large", firstNumberAs("4294967296"), invalid + "first too large]\n"},
        {"negative", firstNumberAs("-5"), invalid + "negative]\n"},
        {"letter", firstNumberAs("x12"), invalid + "letter]\n"},
        {"binary", ReadFile("/bin/true").substr(0, 9000) + "\n", invalid + "binary]\n"},
        {"half", good.substr(0, good.size() / 2) + "\n", invalid + "half]\n"},
        {"cut", good.substr(0, good.size() - 1), "Last line of file \"cut\" ends without a newline.\n"},
        {"folder", "", "Could not open [folder]; Is a directory\n"},
        {"nowhere/seed", "", "Error - Could not open the seedfile [nowhere/seed]; No such file or directory.\n"},
    };
    mkdir("folder", 0700);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        if (!c.content.empty()) WriteFile(c.file, c.content);
        ExpectStops([&] { CMyRnd().ReadSeedAndInit(c.file.c_str()); }, c.err + "Aborted.\n");
    }
}

TEST_F(SeedFiles, ClockSeedingWritesThePreviousRunFileAndReleasesTheLock)
{
    // A previous-run file too short to use is ignored, an older one overwritten.
    for (const std::string& previous : {std::string("State vector for MT19937:\n1 2 3\n"), SeedFileText(34UL)}) {
        WriteFile("seed.prv", previous);
        time_t before = time(nullptr);
        CMyRnd gen;
        EXPECT_EQ(Seed(gen), kClockMessage);
        time_t after = time(nullptr);
        EXPECT_FALSE(FileExists("seed.lck"));
        EXPECT_TRUE(PrevRunFileHoldsClock(before) || PrevRunFileHoldsClock(after));
        EXPECT_TRUE(SamePosition(gen, FromFile("seed.prv")));
    }
}

TEST_F(SeedFiles, TheLockNamesTheSeedFileAndAVanishedLockOrAnUnwritableFileIsACountedWarning)
{
    CMyRnd gen;
    gen.InitSeed(35UL);
    gen.LockSeed();
    EXPECT_EQ(ReadFile("seed.lck"), "seed.prv file is locked.\n");
    ASSERT_EQ(remove("seed.lck"), 0);
    unsigned warnings = NoWarn;
    testing::internal::CaptureStderr();
    gen.UnlockSeed();
    gen.UnlockSeed();  // no lock held any more: nothing happens
    EXPECT_FALSE(gen.SaveSeed("missing/seed", false));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Warning - Could not remove [seed.lck]; No such file or directory.\n\n"
              "Warning - Couldn't open [missing/seed] for writing; No such file or directory.\n");
    EXPECT_EQ(NoWarn, warnings + 2);
}

TEST_F(SeedFiles, ClockSeedingStopsPastAStaleLockOrASecondTimeWithinTheSameSecond)
{
    WriteFile("seed.lck", "seed.prv file is locked.\n");
    ExpectStops([] { CMyRnd().InitSeed(); },
                "Error - Seed file [seed.prv] is apparently being used by another process in this directory.\n"
                "If this is not true, remove [seed.lck] and retry.\n");
    EXPECT_FALSE(FileExists("seed.prv"));
    ASSERT_TRUE(FileExists("seed.lck")) << "a lock the run did not take is not its to remove";
    remove("seed.lck");

    // Both seedings fall in one clock second when they start right after it begins.
    for (time_t start = time(nullptr); time(nullptr) == start;) usleep(1000);
    CMyRnd first;
    Seed(first);
    ExpectStops([] { CMyRnd().InitSeed(); }, "Error - Failed to initialize seed for random number generator\nAborted.\n");
    EXPECT_FALSE(FileExists("seed.lck"));
}

TEST_F(SeedFiles, OfRunsTakingTheLockAtOnceExactlyOneGetsIt)
{
    // Children wait at a pipe and are released together; the one that gets the lock holds it
    // long enough for the others to give up.
    constexpr int kRuns = 4;
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        int go[2];
        ASSERT_EQ(pipe(go), 0);
        fflush(nullptr);
        pid_t children[kRuns];
        for (pid_t& child : children) {
            child = fork();
            if (child == 0) {
                close(go[1]);
                int quiet = open("/dev/null", O_WRONLY);
                dup2(quiet, STDERR_FILENO);
                char byte;
                if (read(go[0], &byte, 1) != 1) _exit(2);
                CMyRnd gen;
                gen.LockSeed();  // ends the process with exit code 1 when the lock stays taken
                usleep(300000);
                gen.UnlockSeed();
                _exit(0);
            }
        }
        close(go[0]);
        ASSERT_EQ(write(go[1], "gggg", kRuns), kRuns);
        close(go[1]);
        int winners = 0;
        for (pid_t child : children) {
            int status = 0;
            waitpid(child, &status, 0);
            ASSERT_TRUE(WIFEXITED(status));
            ASSERT_NE(WEXITSTATUS(status), 2);
            if (WEXITSTATUS(status) == 0) ++winners;
        }
        EXPECT_EQ(winners, 1);
        EXPECT_FALSE(FileExists("seed.lck"));
    }
}
