// The retrieval walk: one pass over the token list, dispatching on the action codes the
// matcher stamped, plus the global, historical-population and output statements.
#include <cstdlib>
#include <cstring>

#include "param/param_reader.h"
#include "param/reader.h"
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

void CParamReader::Retrieve()
{
    CountChromosomes();
    for (SCom* t = lex->First(); t; t = t->next) {
        if (t->action == 1) {
            RetrieveHG(t);
        } else if (t->action == 117) {
            if (prm.genome.chrom.empty()) RetrieveChr(t);
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
}

SParams ReadParams(const std::string& path)
{
    CErrMsg messages;
    CLex lex(&messages);
    lex.fileName = path;
    lex.RunLex();
    SParams prm;
    CParamReader(lex, prm).Retrieve();
    return prm;
}

// Counts the chromosomes before anything else: population output options are sized by it.
void CParamReader::CountChromosomes()
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
    prm.genome.nChr = static_cast<short>(count);
}

void CParamReader::RecomputeVariances()
{
    if (prm.global.h2 > -1 && prm.global.qtlh2 > -1 && prm.global.phvar > -1) {
        prm.global.varPoly = (prm.global.h2 - prm.global.qtlh2) * prm.global.phvar;
        prm.global.varQTL = prm.global.qtlh2 * prm.global.phvar;
        prm.global.varRes = prm.global.phvar - prm.global.varPoly - prm.global.varQTL;
    }
}

// A file name given in quotes: at most 500 characters, not blank; backslashes become "/".
std::string CParamReader::CheckedFileName(SCom* t)
{
    std::string name = Unquoted(t);
    if (name.size() >= 501) lex->PrintError(t, true, true, 37, "\n");
    TrimLeftRight(name);
    if (name.empty()) lex->PrintError(t, true, true, 65, "\n");
    SlashesForBackslashes(name);
    return name;
}

void CParamReader::RetrieveGlobal(SCom* t)
{
    switch (t->action) {
    case 20:
        prm.global.title = Unquoted(t);
        if (prm.global.title.size() > kMaxTitleLength) lex->PrintError(t, true, true, 59, "\n");
        prm.global.hasTitle = true;
        break;
    case 21: {
        std::string name = CheckedFileName(t);
        if (name == "seed.prv") lex->PrintError(t, true, true, 36, "\n");
        MyRnd.seed_file_name = name;
        break;
    }
    case 156: prm.global.nthread = IntValue(t); break;
    case 13: prm.global.nrep = IntValue(t); break;
    case 15:
        prm.global.h2 = NumValue(t);
        if (prm.global.qtlh2 > -1 && prm.global.qtlh2 > prm.global.h2) lex->PrintError(t, true, true, 53, "\n");
        RecomputeVariances();
        break;
    case 60:
        prm.global.qtlh2 = NumValue(t);
        if (prm.global.h2 > -1 && prm.global.qtlh2 > prm.global.h2) lex->PrintError(t, true, true, 53, "\n");
        RecomputeVariances();
        break;
    case 16:
        prm.global.phvar = NumValue(t);
        if (prm.global.phvar < 0.001) lex->PrintError(t, true, true, 49, "\n");
        RecomputeVariances();
        break;
    case 62: prm.global.malesHaveRecords = false; break;
    case 96: prm.global.joint_pop = true; break;
    case 143: prm.global.skip_inbreeding = true; break;
    case 162:
        prm.global.system = Unquoted(t);
        if (prm.global.system.size() > kMaxCommandLength)
            lex->PrintError(t, true, true, 11, ": a command holds at most %d characters\n",
                            static_cast<int>(kMaxCommandLength));
        prm.global.hasSystem = true;
        break;
    case 163: prm.global.systemNrep = true; break;
    }
}

void CParamReader::RetrieveHG(SCom*& t)
{
    int pending = 0;
    for (t = t->next; t && t->action != 133; t = t->next) {
        switch (t->action) {
        case 2:
            if (prm.hist.nSizeEntries >= kMaxHgSize) lex->PrintError(t, true, true, 51, "\n");
            pending = IntValue(t);
            break;
        case 3:
            prm.hist.sizes[prm.hist.nSizeEntries] = pending;
            prm.hist.gens[prm.hist.nSizeEntries] = IntValue(t);
            if (prm.hist.nSizeEntries == 0 && prm.hist.gens[0] != 0) lex->PrintError(t, true, true, 12, "\n");
            prm.hist.nSizeEntries++;
            break;
        case 144: prm.hist.nmfhg = IntValue(t); break;
        case 8: prm.hist.nmlhg = IntValue(t); break;
        }
    }
    if (!t) Abort("Error - Cannot retrieve parameters.\n");
    prm.hist.nGen = prm.hist.gens[prm.hist.nSizeEntries - 1];
    if (prm.hist.nSizeEntries == 1) {
        if (prm.hist.nmfhg == -1) prm.hist.nmfhg = prm.hist.nmlhg;
        if (prm.hist.nmlhg == -1) prm.hist.nmlhg = prm.hist.nmfhg;
        if (prm.hist.nmfhg != prm.hist.nmlhg)
            Abort("Error - Values for 'nmlhg' and 'nmfhg' must be the same because historical population "
                  "consisted of one generation only.\n");
    }
    if (prm.hist.nmfhg == -1) prm.hist.nmfhg = static_cast<int>(prm.hist.FirstSize() * 0.5);
    if (prm.hist.nmlhg == -1)
        prm.hist.nmlhg = static_cast<int>(static_cast<double>(prm.hist.nmfhg) / prm.hist.FirstSize() * prm.hist.LastSize());
}

void CParamReader::RetrieveOutput(SCom* t)
{
    switch (t->action) {
    case 134: {
        if (t->text.size() >= 501) lex->PrintError(t, true, true, 37, "\n");
        std::string folder = Unquoted(t);
        if (folder == "." || folder == "..") lex->PrintError(t, true, true, 25, "\n");
        std::string trimmed = folder;
        if (TrimLeftRight(trimmed) == 0) lex->PrintError(t, true, true, 65, "\n");
        SlashesForBackslashes(folder);
        prm.output.outputFolder = folder;
        break;
    }
    case 82:
        prm.output.attachRep = true;
        for (const SPopParams& p : prm.pops)
            if (p.out.genoOpt & kGenoBinary) lex->PrintError(t, true, true, 35, "\n");
        break;
    case 86: prm.output.linkage_map = true; break;
    case 90: prm.output.allele_effect = true; break;
    case 157: prm.output.allele_label = true; break;
    case 152: prm.output.hp_stat = true; break;
    case 146: prm.output.monitor_hp_homo = true; break;
    case 147: prm.output.monitorFreq = IntValue(t); break;
    }
}

void PrnErr(short number, bool fatal)
{
    if (number == -1) return;
    CErrMsg messages;
    Warn("%s\n", messages.GetErrMsg(number));
    if (fatal) Abort("Error(s) detected!\n");
}
