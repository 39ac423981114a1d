// Bad machines and bad files around a run, through the real binary: every fault ends with its
// message and exit code 1 (or the run goes on unchanged), never with a crash, and never with a
// cut file left looking complete; the user's own files are never removed, and files keep the
// user's permissions.
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/cli_util.h"

namespace {

const std::string kDavok = DAVOK_BIN;
const std::string kCut = "The incomplete file is removed.\nAborted.\n";

// genotypes.prm with `nrep` for its first statement and `extra` put in front.
std::string Genotypes(const std::string& extra, const std::string& nrep = "nrep = 2;")
{
    return extra + Edited(TestParam("genotypes.prm"), "nrep = 2;", nrep);
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

// The minimal parameter file with an output block.
std::string WithOutput(const std::string& statements)
{
    return TestParam("minimal.prm") + "begin_output;\n" + statements + "\nend_output;\n";
}

unsigned Permissions(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 0777 : 01000;
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
        const std::string text = Genotypes("", "nrep = 1;") + "begin_output;\n output_folder = \"" + c.folder + "\";\nend_output;\n";
        RunResult r = RunParam(dir, "run", text, "-o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_EQ(r.out.find("Replicate"), std::string::npos) << "nothing may be simulated";
        EXPECT_FALSE(FileExists(dir / "seed.lck"));
    }
}

TEST(Faults, AFileCutByASizeLimitOrAFullDiskStopsTheRunAndIsRemoved)
{
    TempDir dir;
    SmallDisk disk(dir / "disk", "size=500k");
    struct Case {
        std::string name, text, folder, before, file, reason;
    };
    // A linkage map of about 160 kB, and genotype files of 1.7 MB.
    const std::string map = Edited(WithOutput("linkage_map;"), "nmloci = 5;", "nmloci = 6000;");
    const Case cases[] = {
        {"a map over the file-size limit", map, dir.path(), "ulimit -f 100 && ", "r_run/lm_mrk_001.txt", "File too large"},
        {"genotypes over the file-size limit", Genotypes(""), dir.path(), "ulimit -f 1000 && ", "r_run/p1_mrk_001.txt",
         "File too large"},
        {"genotypes on a full disk", Genotypes(""), dir / "disk", "", "r_run/p1_mrk_001.txt", "No space left on device"},
        {"a seed file on a full device", TestParam("minimal.prm"), dir.path(), "ln -s /dev/full seed.prv && ", "seed.prv",
         "No space left on device"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.folder != dir.path() && !disk.mounted()) {
            std::printf("  [ skipped ] %s: no tmpfs can be mounted here\n", c.name.c_str());
            continue;
        }
        WriteFile(c.folder + "/run.prm", c.text);
        RunResult r = RunIn(c.folder, "rm -rf r_run seed.prv && " + c.before + kDavok + " run.prm");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_TRUE(EndsWith(r.err, "Error - Could not write [" + c.file + "]; " + c.reason + ". " + kCut)) << r.err;
        EXPECT_EQ(r.out.find("Completed"), std::string::npos);
        EXPECT_FALSE(FileExists(c.folder + "/" + c.file));
        EXPECT_FALSE(FileExists(c.folder + "/seed.lck"));
        // Removing the cut file gives the report room for its last lines.
        if (c.file[0] == 'r') {
            EXPECT_TRUE(EndsWith(ReadFile(c.folder + "/r_run/report.txt"), kCut));
        }
    }
    EXPECT_TRUE(FileExists("/dev/full"));
}

TEST(Faults, ADeviceThatFillsInTheSecondReplicateKeepsTheFirstReplicatesFiles)
{
    // The first replicate's files stay exactly as a run without the fault writes them.
    TempDir dir;
    ASSERT_EQ(RunParam(dir, "good", Genotypes("")).exitCode, 0);
    RunResult r =
        RunParam(dir, "full", Genotypes("seed = \"r_good/seed\";\nsystem = \"ln -sf /dev/full r_full/p1_mrk_002.txt\";\n"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(EndsWith(r.err, "Error - Could not write [r_full/p1_mrk_002.txt]; No space left on device. " + kCut))
        << r.err;
    EXPECT_FALSE(FileExists(dir / "r_full/p1_mrk_002.txt"));
    for (const std::string f : {"p1_data_001.txt", "p1_mrk_001.txt", "p1_qtl_001.txt"})
        EXPECT_EQ(ReadFile(dir / ("r_full/" + f)), ReadFile(dir / ("r_good/" + f))) << f;
    EXPECT_EQ(ReadFile(dir / "r_full/report.txt").find("Completed"), std::string::npos);
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

TEST(UserFiles, AnOutputFolderThatIsTheWorkingFolderOrHoldsItIsRefused)
{
    // Every folder named here lies inside the temporary folder: a failure must not empty any
    // folder outside it.
    TempDir dir;
    mkdir((dir / "sub").c_str(), 0700);
    mkdir((dir / "sub/deep").c_str(), 0700);
    ASSERT_EQ(symlink(".", (dir / "here").c_str()), 0);
    struct Case {
        const char* cwd;     // where the run starts, inside the temporary folder
        std::string folder;  // the output_folder value
    };
    for (const Case& c : {Case{".", "./"}, Case{".", ".//"}, Case{".", "sub/.."}, Case{".", dir.path()},
                          Case{".", "here"}, Case{"sub", "../"}, Case{"sub/deep", "./../.."}}) {
        SCOPED_TRACE(c.folder);
        const std::string cwd = dir / c.cwd;
        WriteFile(cwd + "/mine.txt", "the user's own file\n");
        WriteFile(cwd + "/run.prm", WithOutput("output_folder = \"" + c.folder + "\";"));
        RunResult r = RunIn(cwd, std::string(DAVOK_BIN) + " run.prm -o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find("is the working folder or a folder that holds it.\nAborted.\n"), std::string::npos)
            << r.err;
        EXPECT_TRUE(FileExists(cwd + "/mine.txt"));
        EXPECT_TRUE(FileExists(cwd + "/run.prm"));
        EXPECT_FALSE(FileExists(cwd + "/report.txt"));
    }
}

TEST(UserFiles, EmptyingTheOutputFolderKeepsTheFilesTheRunReads)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm", "first.prm");
    RunResult first = RunDavok(dir, "first.prm");
    ASSERT_EQ(first.exitCode, 0) << first.err;
    const std::string seed = ReadFile(dir / "r_first/seed");

    // The parameter file lies in its own output folder and names a seed file there too.
    const std::string again = "seed = \"r_first/seed\";\n" + TestParam("minimal.prm");
    WriteFile(dir / "r_first/first.prm", again);
    RunResult r = RunDavok(dir, "r_first/first.prm -o");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("\"r_first/first.prm\" is read by this run. Kept.\n"), std::string::npos);
    EXPECT_NE(r.out.find("Seed for random number generator : r_first/seed\n"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "r_first/first.prm"), again);
    EXPECT_EQ(ReadFile(dir / "r_first/seed"), seed);
    EXPECT_TRUE(FileExists(dir / "r_first/report.txt"));
}

TEST(UserFiles, FilesAndFoldersKeepTheUsersFileCreationMask)
{
    struct Case {
        const char* mask;
        unsigned file;
    };
    for (Case c : {Case{"022", 0644}, Case{"077", 0600}}) {
        SCOPED_TRACE(c.mask);
        TempDir dir;
        WriteFile(dir / "run.prm", WithOutput("linkage_map;"));
        RunResult r = RunIn(dir.path(), std::string("umask ") + c.mask + " && " + DAVOK_BIN + " run.prm");
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(Permissions(dir / "r_run"), 0700u);
        for (const char* file : {"seed.prv", "r_run/report.txt", "r_run/seed", "r_run/run.prm", "r_run/lm_mrk_001.txt"})
            EXPECT_EQ(Permissions(dir / file), c.file) << file;
    }
}
