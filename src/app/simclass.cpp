#include "app/simclass.h"

#include "app/folder.h"
#include "random/rnd.h"
#include "support/files.h"
#include "support/messages.h"


// A parameter file that already lies in the output folder is its own copy: opening it for
// writing would empty it before it is read.
void SimClass::BackupParamFile(const std::string& paramFile)
{
    std::string destination = prm.output.outputFolder + BaseName(paramFile);
    if (SameFile(paramFile, destination)) return;
    FILE* in = Myfopen(paramFile.c_str(), "r");
    FILE* out = Myfopen(destination.c_str(), "w");
    char block[65536];
    size_t n;
    while ((n = fread(block, 1, sizeof block, in)) > 0) fwrite(block, 1, n, out);
    fclose(in);
    MyFclose(out);
}

void SimClass::SaveInitialSeed()
{
    std::string path = prm.output.outputFolder + "seed";
    if (MyRnd.SaveSeed(path.c_str(), false)) {
        Info("Seed is backed up in             : %s\n", path.c_str());
    } else {
        Warn("Warning - Seed is not backed up.\n");
        NoWarn++;
    }
}
