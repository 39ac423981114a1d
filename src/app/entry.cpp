#include "app/entry.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "app/banner.h"
#include "app/folder.h"
#include "app/simclass.h"
#include "param/reader.h"
#include "random/rnd.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/timing.h"

namespace {

void GetProgName(char** argv)
{
    std::string name = BaseName(argv[0]);
    snprintf(progname, sizeof progname, "%s", name.c_str());
}

struct CommandLine {
    std::string paramFile;   // the parameter file, or empty
    bool overwrite = false;  // -o / -O: empty an existing output folder without asking
};

CommandLine ParseCommandLine(int argc, char** argv)
{
    if (argc >= 4) Abort("Error - Too many arguments.\n");
    CommandLine cl;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (arg[0] == '-') {
            if (strcmp(arg, "-o") != 0 && strcmp(arg, "-O") != 0)
                Abort("Error - Unknown option: %s\n", arg);
            cl.overwrite = true;
        } else {
            cl.paramFile = arg;
        }
    }
    if (argc == 3 && !cl.overwrite)
        Abort("Error - At least one of the argument in the command line is unknown.\n");
    return cl;
}

// Asks for the parameter file on standard input. The end of input ends the process normally.
std::string PromptForParamFile()
{
    printf("Enter parameter file:");
    fflush(stdout);
    char word[501];
    if (scanf("%500s", word) != 1) {
        Info("\n");
        exit(0);
    }
    return word;
}

// The files this run still reads after the output folder is emptied: the parameter file (for
// its copy) and a seed file named by `seed`. Either may lie in the output folder.
std::vector<std::string> InputFiles(const std::string& paramFile)
{
    std::vector<std::string> inputs = {paramFile};
    if (MyRnd.seed_file_name != "seed.prv") inputs.push_back(MyRnd.seed_file_name);
    return inputs;
}

// A parameter file that already lies in the output folder is its own copy: opening it for
// writing would empty it before it is read.
void BackupParamFile(const std::string& paramFile, const std::string& folder)
{
    std::string destination = folder + BaseName(paramFile);
    if (SameFile(paramFile, destination)) return;
    FILE* in = Myfopen(paramFile.c_str(), "r");
    FILE* out = Myfopen(destination.c_str(), "w");
    char block[65536];
    size_t n;
    while ((n = fread(block, 1, sizeof block, in)) > 0) fwrite(block, 1, n, out);
    fclose(in);
    MyFclose(out);
}

// The generator state as seeded, into the output folder's "seed".
void SaveInitialSeed(const std::string& folder)
{
    std::string path = folder + "seed";
    if (MyRnd.SaveSeed(path.c_str(), false)) {
        Info("Seed is backed up in             : %s\n", path.c_str());
    } else {
        Warn("Warning - Seed is not backed up.\n");
        NoWarn++;
    }
}

}  // namespace

int DavokMain(int argc, char** argv, const RunAdjuster& adjust)
{
    NoWarn = 0;
    // A file-size limit then makes the write fail with EFBIG, which the checked close reports,
    // instead of killing the process with a cut file behind it.
    signal(SIGXFSZ, SIG_IGN);
    GetProgName(argv);
    CommandLine cl = ParseCommandLine(argc, argv);

    char* Logo = Mystrdup(MakeLogo().c_str());
    PrintMultiLineInBox1(0, Logo, stdout);
    bool noFileArgument = argc == 1 || (argc == 2 && cl.overwrite);
    if (noFileArgument) cl.paramFile = PromptForParamFile();
    if (cl.paramFile.empty()) Abort("Error - No input file is specified.\n");

    fclose(Myfopen(cl.paramFile.c_str(), "r"));

    SParams prm = ReadParams(cl.paramFile);
    if (adjust.params) adjust.params(prm);

    std::string& folder = prm.output.outputFolder;
    if (folder.empty()) folder = GetOutPutFolderName(cl.paramFile);
    if (!MyMkTree(folder, cl.overwrite ? 0 : 1, InputFiles(cl.paramFile))) exit(1);

    CMyTime overall;
    rptfp = Myfopen((folder + "report.txt").c_str(), "w");
    PrintCurrDateTime(rptfp);
    PrintMultiLineInBox1(0, Logo, rptfp);
    if (prm.global.hasTitle) {
        PrintMax40CharInBox(0, rptfp, prm.global.title.c_str());
        PrintMax40CharInBox(0, stdout, prm.global.title.c_str());
    }
    Info("Parameter file                   : %s\n", cl.paramFile.c_str());
    Info("Output folder                    : %s\n", folder.c_str());

    MyRnd.InitSeed();
    SaveInitialSeed(folder);
    BackupParamFile(cl.paramFile, folder);
    CheckParams(prm);
    SimClass sim(prm);
    if (adjust.engine) adjust.engine(sim);
    sim.Run();

    overall.PrintTime(rptfp, stdout, "Overall time : ");
    if (NoWarn == 0)
        Info("Completed normally.\n");
    else
        Info("Completed (%d warnings!).\n", NoWarn);
    MyFclose(rptfp);  // also detaches the report
    delete[] Logo;
    return 0;
}
