// The retrieval walk: one pass over the token list, dispatching on the action codes the
// matcher stamped, plus the global, historical-population and output statements.
#include <cstdlib>
#include <cstring>

#include "app/simclass.h"
#include "param/lex.h"
#include "param/retrieve_util.h"
#include "random/rnd.h"
#include "support/messages.h"
#include "support/text.h"

namespace {

constexpr size_t kMaxCommandLength = 2000;
constexpr size_t kMaxTitleLength = 1000;
constexpr int kMaxChromosomes = 500;

// Which group of statements an action code belongs to.
enum class Section { None, Global, Population, Genome, Output };

Section SectionOf(uint16_t action)
{
    switch (action) {
    case 13: case 15: case 16: case 20: case 21: case 60: case 62: case 96: case 143: case 156:
    case 162: case 163:
        return Section::Global;
    case 4: case 5: case 6: case 7: case 9: case 10: case 11: case 12: case 14: case 22: case 23:
    case 24: case 54: case 56: case 57: case 58: case 59: case 64: case 65: case 66: case 67:
    case 70: case 71: case 72: case 73: case 74: case 75: case 76: case 78: case 80: case 81:
    case 83: case 84: case 87: case 91: case 92: case 93: case 98: case 99: case 103: case 104:
    case 105: case 114: case 122: case 123: case 124: case 125: case 126: case 127: case 128:
    case 137: case 138: case 139: case 140: case 145: case 154: case 155:
        return Section::Population;
    case 63: case 68: case 69: case 77: case 79: case 89: case 94: case 95: case 97: case 119:
    case 121: case 129: case 130: case 135: case 136: case 148: case 149: case 150: case 151:
    case 158: case 159: case 160: case 161:
        return Section::Genome;
    case 82: case 86: case 90: case 134: case 146: case 147: case 152: case 157:
        return Section::Output;
    default:
        return Section::None;  // chromosome statements are read by RetrieveChr
    }
}

}  // namespace

void SimClass::RetrieveParam(CLex* reader)
{
    lex = reader;
    CountChromosomes();
    for (SCom* t = lex->First(); t; t = t->next) {
        if (t->action == 1) {
            RetrieveHG(t);
        } else if (t->action == 117) {
            if (chrom.empty()) RetrieveChr(t);
        } else {
            switch (SectionOf(t->action)) {
            case Section::Global: RetrieveGlobal(t); break;
            case Section::Population: RetrievePopStatement(t); break;
            case Section::Genome: RetrieveGenomeWide(t); break;
            case Section::Output: RetrieveOutput(t); break;
            case Section::None: break;
            }
        }
    }
    if (lex->NErr() > 0) Abort("Error(s) detected in the control file!\n");
    lex->ReleaseCtrMem();
    lex = nullptr;
}

// Counts the chromosomes before anything else: population output options are sized by it.
void SimClass::CountChromosomes()
{
    int count = 0, beforeBlock = 0;
    for (SCom* t = lex->First(); t && t->action != 118; t = t->next) {
        if (t->action == 117) {
            beforeBlock = count;
            count++;
        } else if (t->action == 115) {
            count = beforeBlock + IntValue(t);
        }
    }
    if (count > kMaxChromosomes) Abort("Error - Maximum number of chromosomes cannot be more than 500.\n");
    nChr = static_cast<short>(count);
}

void SimClass::RecomputeVariances()
{
    if (h2 > -1 && qtlh2 > -1 && phvar > -1) {
        varPoly = (h2 - qtlh2) * phvar;
        varQTL = qtlh2 * phvar;
        varRes = phvar - varPoly - varQTL;
    }
}

// A file name given in quotes: at most 500 characters, not blank; backslashes become "/".
std::string SimClass::CheckedFileName(SCom* t)
{
    std::string name = Unquoted(t);
    if (name.size() >= 501) lex->PrintError(t, true, true, 37, "\n");
    TrimLeftRight(name);
    if (name.empty()) lex->PrintError(t, true, true, 65, "\n");
    SlashesForBackslashes(name);
    return name;
}

void SimClass::RetrieveGlobal(SCom* t)
{
    switch (t->action) {
    case 20:
        title = Unquoted(t);
        if (title.size() > kMaxTitleLength) lex->PrintError(t, true, true, 59, "\n");
        hasTitle = true;
        break;
    case 21: {
        std::string name = CheckedFileName(t);
        if (name == "seed.prv") lex->PrintError(t, true, true, 36, "\n");
        MyRnd.seed_file_name = name;
        break;
    }
    case 156: nthread = IntValue(t); break;
    case 13: nrep = IntValue(t); break;
    case 15:
        h2 = NumValue(t);
        if (qtlh2 > -1 && qtlh2 > h2) lex->PrintError(t, true, true, 53, "\n");
        RecomputeVariances();
        break;
    case 60:
        qtlh2 = NumValue(t);
        if (h2 > -1 && qtlh2 > h2) lex->PrintError(t, true, true, 53, "\n");
        RecomputeVariances();
        break;
    case 16:
        phvar = NumValue(t);
        if (phvar < 0.001) lex->PrintError(t, true, true, 49, "\n");
        RecomputeVariances();
        break;
    case 62: malesHaveRecords = false; break;
    case 96: joint_pop = true; break;
    case 143: skip_inbreeding = true; break;
    case 162:
        system = Unquoted(t);
        if (system.size() > kMaxCommandLength)
            lex->PrintError(t, true, true, 11, ": a command holds at most %d characters\n",
                            static_cast<int>(kMaxCommandLength));
        hasSystem = true;
        break;
    case 163: systemNrep = true; break;
    }
}

void SimClass::RetrieveHG(SCom*& t)
{
    int pending = 0;
    for (t = t->next; t && t->action != 133; t = t->next) {
        switch (t->action) {
        case 2:
            if (hp.nSizeEntries >= kMaxHgSize) lex->PrintError(t, true, true, 51, "\n");
            pending = IntValue(t);
            break;
        case 3:
            hp.sizes[hp.nSizeEntries] = pending;
            hp.gens[hp.nSizeEntries] = IntValue(t);
            if (hp.nSizeEntries == 0 && hp.gens[0] != 0) lex->PrintError(t, true, true, 12, "\n");
            hp.nSizeEntries++;
            break;
        case 144: hp.nmfhg = IntValue(t); break;
        case 8: hp.nmlhg = IntValue(t); break;
        }
    }
    if (!t) Abort("Error - Cannot retrieve parameters.\n");
    hp.nGen = hp.gens[hp.nSizeEntries - 1];
    if (hp.nSizeEntries == 1) {
        if (hp.nmfhg == -1) hp.nmfhg = hp.nmlhg;
        if (hp.nmlhg == -1) hp.nmlhg = hp.nmfhg;
        if (hp.nmfhg != hp.nmlhg)
            Abort("Error - Values for 'nmlhg' and 'nmfhg' must be the same because historical population "
                  "consisted of one generation only.\n");
    }
    if (hp.nmfhg == -1) hp.nmfhg = static_cast<int>(hp.FirstSize() * 0.5);
    if (hp.nmlhg == -1)
        hp.nmlhg = static_cast<int>(static_cast<double>(hp.nmfhg) / hp.FirstSize() * hp.LastSize());
}

void SimClass::RetrieveOutput(SCom* t)
{
    switch (t->action) {
    case 134: {
        if (t->text.size() >= 501) lex->PrintError(t, true, true, 37, "\n");
        std::string folder = Unquoted(t);
        if (folder == "." || folder == "..") lex->PrintError(t, true, true, 25, "\n");
        std::string trimmed = folder;
        if (TrimLeftRight(trimmed) == 0) lex->PrintError(t, true, true, 65, "\n");
        SlashesForBackslashes(folder);
        outputFolder = folder;
        break;
    }
    case 82:
        attachRep = true;
        for (const CPopulation& p : pops)
            if (p.out.genoOpt & kGenoBinary) lex->PrintError(t, true, true, 35, "\n");
        break;
    case 86: linkage_map = true; break;
    case 90: allele_effect = true; break;
    case 157: allele_label = true; break;
    case 152: hp_stat = true; break;
    case 146: monitor_hp_homo = true; break;
    case 147: monitorFreq = IntValue(t); break;
    }
}

void SimClass::PrnErr(short number, bool fatal)
{
    if (number == -1) return;
    CErrMsg messages;
    Warn("%s\n", messages.GetErrMsg(number));
    if (fatal) Abort("Error(s) detected!\n");
}
