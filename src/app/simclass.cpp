#include "app/simclass.h"

#include "app/folder.h"
#include "support/files.h"

void SimClass::Run() {}

void SimClass::BackupParamFile(const std::string& paramFile)
{
    std::string destination = outputFolder + BaseName(paramFile);
    FILE* in = Myfopen(paramFile.c_str(), "r");
    FILE* out = Myfopen(destination.c_str(), "w");
    char block[65536];
    size_t n;
    while ((n = fread(block, 1, sizeof block, in)) > 0) fwrite(block, 1, n, out);
    fclose(in);
    fclose(out);
}
