// davok-export: converts the genotype files of a Davok run folder to PLINK binary or VCF.
#include <cstdio>
#include <cstring>

#include "export.h"
#include "options.h"
#include "support/messages.h"

int main(int argc, char** argv)
{
    snprintf(progname, sizeof(progname), "%s", "davok-export");
    Export(ParseCommandLine(argc, argv));
    return 0;
}
