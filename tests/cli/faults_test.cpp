// Bad machines and bad files around a run, through the real binary: every fault ends with its
// message and exit code 1 (or the run goes on unchanged), never with a crash, and never with a
// cut file left looking complete.
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/cli_util.h"

namespace {

const std::string kDavok = DAVOK_BIN;

// genotypes.prm with its first statement replaced and `extra` put in front.
std::string Genotypes(const std::string& extra, const std::string& nrep = "nrep = 2;")
{
    std::string text = TestParam("genotypes.prm");
    text.replace(text.find("nrep = 2;"), 9, nrep);
    return extra + text;
}

std::string WithOutputFolder(const std::string& folder)
{
    return Genotypes("", "nrep = 1;") + "begin_output;\n output_folder = \"" + folder + "\";\nend_output;\n";
}

// A small tmpfs mounted on `path` for the object's lifetime; mounted() is false where this
// machine does not let the test mount one (no root, or no mount rights in a container).
class SmallDisk {
public:
    SmallDisk(const std::string& path, const std::string& options) : path_(path)
    {
        mkdir(path.c_str(), 0700);
        mounted_ = mount("tmpfs", path.c_str(), "tmpfs", 0, options.c_str()) == 0;
        if (!mounted_ && options.find("ro") == 0) {
            // Without mount rights a folder without write permission does the same, but only
            // for a user the permissions bind.
            mounted_ = geteuid() != 0 && chmod(path.c_str(), 0500) == 0;
            chmodded_ = mounted_;
        }
    }
    ~SmallDisk()
    {
        if (chmodded_) chmod(path_.c_str(), 0700);
        else if (mounted_) umount(path_.c_str());
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    bool mounted() const { return mounted_; }

private:
    std::string path_;
    bool mounted_ = false;
    bool chmodded_ = false;
};

bool EndsWith(const std::string& text, const std::string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

TEST(Faults, AnOutputFolderThatCannotBeWrittenStopsBeforeAnythingIsSimulated)
{
    TempDir dir;
    SmallDisk readOnly(dir / "ro", "ro,size=64k");
    WriteFile(dir / "plain", "a file where a folder should be\n");
    struct Case {
        std::string folder, message;
        bool needsReadOnly;
    };
    const Case cases[] = {
        {"plain/out", "Error - Output destination [plain] exists, but is not a directory!\n", false},
        {"/proc/davok_out", "Error - Do not have permission to create files in [/proc]\n", false},
        {"ro/out", "Error - There is a problem with creating directory [ro/out]; ", true},
        {"ro", "Could not open [ro/report.txt]; ", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.folder);
        if (c.needsReadOnly && !readOnly.mounted()) {
            std::printf("  [ skipped ] %s: no read-only folder can be made here\n", c.folder.c_str());
            continue;
        }
        WriteFile(dir / "run.prm", WithOutputFolder(c.folder));
        RemoveClockSeedRecord(dir);
        RunResult r = RunDavok(dir, "run.prm -o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_EQ(r.out.find("Replicate"), std::string::npos) << "nothing may be simulated";
        EXPECT_FALSE(FileExists(dir / "seed.lck"));
    }
}

TEST(Faults, ADiskThatFillsWhileGenotypesAreWrittenStopsTheRunAndKeepsWhatWasFinished)
{
    const std::string cut = "The incomplete file is removed.\nAborted.\n";
    {
        SCOPED_TRACE("a file-size limit");
        TempDir dir;
        WriteFile(dir / "run.prm", Genotypes(""));
        RunResult r = RunIn(dir.path(), "ulimit -f 1000 && " + kDavok + " run.prm");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_TRUE(EndsWith(r.err, "Error - Could not write [r_run/p1_mrk_001.txt]; File too large. " + cut)) << r.err;
        EXPECT_FALSE(FileExists(dir / "r_run/p1_mrk_001.txt"));
        EXPECT_TRUE(EndsWith(ReadFile(dir / "r_run/report.txt"), cut));
    }
    {
        SCOPED_TRACE("a full disk");
        TempDir dir;
        SmallDisk disk(dir / "disk", "size=500k");
        if (!disk.mounted()) {
            std::printf("  [ skipped ] a full disk: no tmpfs can be mounted here\n");
        } else {
            WriteFile(dir / "disk/run.prm", Genotypes(""));
            RunResult r = RunIn(dir / "disk", kDavok + " run.prm");
            EXPECT_EQ(r.exitCode, 1);
            EXPECT_TRUE(EndsWith(r.err, "Error - Could not write [r_run/p1_mrk_001.txt]; No space left on device. " + cut))
                << r.err;
            EXPECT_FALSE(FileExists(dir / "disk/r_run/p1_mrk_001.txt"));
            // Removing the cut file gives the report room for its last lines.
            EXPECT_TRUE(EndsWith(ReadFile(dir / "disk/r_run/report.txt"), cut));
        }
    }
    {
        // The device fills in the second replicate: the first replicate's files stay exactly as
        // a run without the fault writes them.
        SCOPED_TRACE("a full device in the second replicate");
        TempDir dir;
        WriteFile(dir / "good.prm", Genotypes(""));
        ASSERT_EQ(RunDavok(dir, "good.prm").exitCode, 0);
        RemoveClockSeedRecord(dir);
        WriteFile(dir / "full.prm",
                  Genotypes("seed = \"r_good/seed\";\nsystem = \"ln -sf /dev/full r_full/p1_mrk_002.txt\";\n"));
        RunResult r = RunDavok(dir, "full.prm");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_TRUE(EndsWith(r.err, "Error - Could not write [r_full/p1_mrk_002.txt]; No space left on device. " + cut))
            << r.err;
        EXPECT_FALSE(FileExists(dir / "r_full/p1_mrk_002.txt"));
        EXPECT_TRUE(FileExists("/dev/full"));
        for (const char* f : {"p1_data_001.txt", "p1_mrk_001.txt", "p1_qtl_001.txt"})
            EXPECT_EQ(ReadFile(dir / ("r_full/" + std::string(f))), ReadFile(dir / ("r_good/" + std::string(f)))) << f;
        EXPECT_EQ(ReadFile(dir / "r_full/report.txt").find("Completed"), std::string::npos);
    }
}

TEST(Faults, AnUnreadableOrMalformedSeedFileIsRefused)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    ASSERT_EQ(RunDavok(dir, "minimal.prm").exitCode, 0);
    const std::string seed = ReadFile(dir / "r_minimal/seed");
    auto replaceFirstNumber = [&](const std::string& by) {
        std::string s = seed;
        const size_t at = s.find_first_not_of(' ', s.find('\n') + 1);
        return s.replace(at, s.find(' ', at) - at, by);
    };
    const std::string withoutHeader = seed.substr(seed.find('\n') + 1);
    struct Case {
        std::string name, content, message;
    };
    const Case cases[] = {
        {"without its heading", withoutHeader, "Error - Invalid seed number in [without its heading]\n"},
        {"above 32 bits", replaceFirstNumber("4294967296"), "Error - Invalid seed number in [above 32 bits]\n"},
        {"negative", replaceFirstNumber("-5"), "Error - Invalid seed number in [negative]\n"},
        {"a letter", replaceFirstNumber("x12"), "Error - Invalid seed number in [a letter]\n"},
        {"binary", ReadFile("/bin/true").substr(0, 9000) + "\n", "Error - Invalid seed number in [binary]\n"},
        {"cut", seed.substr(0, seed.size() / 2) + "\n", "Error - Invalid seed number in [cut]\n"},
        {"no final line feed", seed.substr(0, seed.size() - 1),
         "Last line of file \"no final line feed\" ends without a newline.\n"},
        {"a folder", "", "Could not open [a folder]; Is a directory\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.name == "a folder") mkdir((dir / c.name).c_str(), 0700);
        else WriteFile(dir / c.name, c.content);
        WriteFile(dir / "bad.prm", "seed = \"" + c.name + "\";\n" + TestParam("minimal.prm"));
        RunResult r = RunDavok(dir, "bad.prm -o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, c.message + "Aborted.\n");
        EXPECT_EQ(r.out.find("Replicate"), std::string::npos);
        EXPECT_EQ(ReadFile(dir / "r_bad/report.txt").find("Completed"), std::string::npos);
    }
}

TEST(Faults, AStaleLockIsNamedAndTheRunStartsOnceItIsRemoved)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    WriteFile(dir / "seed.lck", "seed.prv file is locked.\n");
    RunResult r = RunDavok(dir, "minimal.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("If this is not true, remove [seed.lck] and retry.\n"), std::string::npos) << r.err;
    // Following the advice is all a restart needs.
    ASSERT_EQ(remove((dir / "seed.lck").c_str()), 0);
    r = RunDavok(dir, "minimal.prm -o");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("Completed"), std::string::npos);
    EXPECT_FALSE(FileExists(dir / "seed.lck"));
}

TEST(Faults, AReplicateControlFileThatIsNotANumberChangesNothing)
{
    TempDir dir;
    WriteFile(dir / "words", "three\n");
    WriteFile(dir / "empty", "");
    WriteFile(dir / "binary", ReadFile("/bin/true").substr(0, 4096));
    for (const char* garbage : {"words", "empty", "binary"}) {
        SCOPED_TRACE(garbage);
        WriteFile(dir / "run.prm",
                  "system = \"cp " + std::string(garbage) + " r_run/nrep.txt\";\n" + TestParam("minimal.prm"));
        std::string text = ReadFile(dir / "run.prm");
        text.replace(text.find("nrep = 1;"), 9, "nrep = 2;");
        WriteFile(dir / "run.prm", text);
        RemoveClockSeedRecord(dir);
        RunResult r = RunDavok(dir, "run.prm -o");
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(CountOf(r.out, "Replicate   "), 2);
        EXPECT_EQ(r.err, "");
        EXPECT_NE(r.out.find("Completed normally.\n"), std::string::npos);
    }
}

TEST(Faults, ARunKilledMidWayAndStartedAgainWithOverwriteGivesTheUninterruptedResults)
{
    // The user command sleeps after every replicate, so the kill lands inside the run.
    const std::string text = Genotypes("seed = \"fixed.seed\";\nsystem = \"sleep 0.2\";\n", "nrep = 4;");
    const std::string seed = ReadFile(std::string(DAVOK_TEST_DATA) + "/param/valid/corpus.seed");
    TempDir whole, killed;
    for (const TempDir* d : {&whole, &killed}) {
        WriteFile(*d / "run.prm", text);
        WriteFile(*d / "fixed.seed", seed);
    }
    ASSERT_EQ(RunDavok(whole, "run.prm").exitCode, 0);

    // Start, wait until the second replicate has begun (at most 20 s), kill without warning.
    RunResult k = RunIn(killed.path(), kDavok + " run.prm >/dev/null 2>&1 & pid=$!; i=0; "
                                                "while [ ! -e r_run/p1_data_002.txt ] && [ $i -lt 2000 ]; do sleep 0.01; i=$((i+1)); done; "
                                                "kill -9 $pid; wait $pid; echo $?");
    ASSERT_EQ(k.out, "137\n") << "the run must still be going when it is killed";
    EXPECT_EQ(ReadFile(killed / "r_run/report.txt").find("Completed"), std::string::npos);
    EXPECT_FALSE(FileExists(killed / "r_run/stat_rep.txt"));

    RunResult again = RunDavok(killed, "run.prm -o");
    ASSERT_EQ(again.exitCode, 0) << again.err;
    ExpectSameResultFiles(whole / "r_run", killed / "r_run");
    EXPECT_EQ(ReadFile(killed / "r_run/seed"), ReadFile(whole / "r_run/seed"));
}
