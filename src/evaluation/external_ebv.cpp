// Breeding values from the user's own evaluation program: the population is written to
// "data.tmp", the command given with external_bv runs, and "my_bv.txt" is read back.
#include <sys/wait.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "evaluation/ebv.h"
#include "support/files.h"
#include "support/messages.h"

namespace {

void WriteDataHeader(FILE* fp)
{
    fprintf(fp, "%-7s %-7s %-7s %-4s %-4s %-3s %-5s %-5s %-8s %-8s %-9s %-9s %-9s %-9s", "Progeny", "Sire", "Dam",
            "Flag", "Sex", "G", "NMPrg", "NFPrg", "F", "Homo", "Phen", "Res", "Polygene", "QTL");
    fprintf(fp, " %-9s\n", "Inputed_BV");
}

void WriteDataLine(FILE* fp, const SRec& r, char flag)
{
    fprintf(fp, "%-7d %-7d %-7d", r.id, r.sire->id, r.dam->id);
    fprintf(fp, "  %c  ", flag);
    fprintf(fp, " %-3s", r.sex ? "M" : "F");
    fprintf(fp, " %-4d", r.gen);
    fprintf(fp, " %-5d %-5d", r.nMPrg, r.nFPrg);
    fprintf(fp, " %f %f", r.inbF, r.homo);
    if (r.hasPhen)
        fprintf(fp, " %+f", r.phen);
    else
        fprintf(fp, "       ---");
    fprintf(fp, " %+f %+f %+f", r.res, r.polyVal, r.qtlVal);
    fprintf(fp, " %+f\n", r.ebv);
}

// Runs cmd through the shell; a command that cannot start or ends with a non-zero status stops
// the run, since its breeding values cannot be trusted.
void RunExternalCommand(const std::string& cmd)
{
    fflush(stdout);
    const int status = std::system(cmd.c_str());
    if (status == -1) Abort("Error - The external evaluation command \"%s\" could not be started.\n", cmd.c_str());
    if (!WIFEXITED(status))
        Abort("Error - The external evaluation command \"%s\" was stopped by signal %d.\n", cmd.c_str(),
              WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        Abort("Error - The external evaluation command \"%s\" failed with exit status %d.\n", cmd.c_str(),
              WEXITSTATUS(status));
}

// True when s holds only blanks.
bool IsBlank(const char* s)
{
    return s[strspn(s, " \t\r\n")] == '\0';
}

// Parses "identifier value" of one line of "my_bv.txt"; the whole line must be those two numbers.
bool ParseBVLine(const char* line, long& id, double& value)
{
    char* end = nullptr;
    errno = 0;
    id = std::strtol(line, &end, 10);
    if (end == line || errno != 0) return false;
    const char* rest = end;
    value = std::strtod(rest, &end);
    if (end == rest || errno != 0 || !std::isfinite(value)) return false;
    return IsBlank(end);
}

// Reads "my_bv.txt": a heading line, then one "identifier value" line per individual. Returns the
// number of values taken.
int ReadBreedingValues(const CInbred& ped)
{
    FILE* fp = Myfopen("my_bv.txt", "r");
    char* line = nullptr;
    size_t capacity = 0;
    int taken = 0, lineNo = 0;
    while (getline(&line, &capacity, fp) != -1) {
        if (++lineNo == 1 || IsBlank(line)) continue;
        long id = 0;
        double value = 0;
        if (!ParseBVLine(line, id, value)) {
            line[strcspn(line, "\r\n")] = '\0';
            std::string text = line;
            free(line);
            fclose(fp);
            Abort("Error - Line %d of my_bv.txt is not an identifier followed by a breeding value: \"%s\"\n", lineNo,
                  text.c_str());
        }
        SRec* rec = ped.RecordOfId(id);
        if (!rec) {
            free(line);
            fclose(fp);
            Abort("Error - ID %ld does not exist in the simulated data set!!! Max=%u\n", id, ped.NodeCount());
        }
        rec->ebv = value;
        taken++;
    }
    free(line);
    fclose(fp);
    return taken;
}

}  // namespace

void InputBV(CInbred& inbred, CPopulation& p, int nextId, int gen, int first, int last, bool base)
{
    if (gen < 1) Abort("Error - Incorrect generation number in InputBV function.\n");
    // Flags by identifier: S sires and D dams of generation gen, P its progeny. A population
    // without generations has no parents to flag when its founders are evaluated.
    std::vector<char> flag(static_cast<size_t>(nextId) + 1, '-');
    if (gen <= p.prm.ng) {
        const SGenPlan& plan = p.prm.plan[static_cast<size_t>(gen)];
        for (int i = 0; i < plan.nSires; ++i) if (p.sires[i]) flag[static_cast<size_t>(p.sires[i]->id)] = 'S';
        for (int i = 0; i < plan.nDams; ++i) if (p.dams[i]) flag[static_cast<size_t>(p.dams[i]->id)] = 'D';
    }
    if (!base)
        for (int i = first; i <= last; ++i) flag[static_cast<size_t>(p.indiv[static_cast<size_t>(i)].id)] = 'P';

    const int lastWritten = base ? p.genInfo[0].last : last;
    FILE* fp = Myfopen("data.tmp", "w");
    WriteDataHeader(fp);
    for (int i = 0; i <= lastWritten; ++i) {
        const SRec& r = p.indiv[static_cast<size_t>(i)];
        WriteDataLine(fp, r, flag[static_cast<size_t>(r.id)]);
    }
    MyFclose(fp);

    if (std::system("rm -f my_bv.txt") != 0) Abort("Error - Could not remove the old my_bv.txt.\n");
    RunExternalCommand(p.prm.externalCmd);
    printf(", my_bv %d rec", ReadBreedingValues(inbred));
    fflush(stdout);
}
