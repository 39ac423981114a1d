// Population blocks: name and generations, founders, litter sizes, sex ratio, mating,
// replacement, selection and culling, evaluation and the population's output options.
#include <algorithm>
#include <cstring>
#include <limits>

#include "param/param_reader.h"
#include "param/lex.h"
#include "param/retrieve_util.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/text.h"

namespace {

constexpr size_t kMaxPopNameLength = 20;
// Counts of parents and individuals are kept in signed 32 bits (as are the identifiers).
constexpr long long kMaxCount = std::numeric_limits<int>::max();

bool IsPopNameChar(char c)
{
    return c == ' ' || c == '_' || c == '-' || c == '.' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
           (c >= 'A' && c <= 'Z');
}

ESCDesign DesignOf(const std::string& word)
{
    if (word == "phen") return kPhen;
    if (word == "tbv") return kTbv;
    if (word == "ebv") return kEbv;
    if (word == "age") return kAge;
    return kRnd;
}

// An output option switched on for every generation until a /gen list says otherwise.
void SwitchOn(bool& option, std::vector<uint8_t>& flags)
{
    option = true;
    for (auto& f : flags) f = 1;
}

// The number of parents of generation g: the previous number plus the growth of the reference
// generation's number, refused once it passes what the records can hold.
int GrownParents(const SPopParams& p, int g, int previous, int reference, double growth, const char* what)
{
    double increase = reference * growth;
    long long n = increase < kMaxCount ? previous + static_cast<long long>(MyRound(increase)) : kMaxCount + 1;
    if (n > kMaxCount)
        Abort("Error - Pop \"%s\" G%d: The number of %s grows beyond %s, the most the program can hold\n",
              p.name.c_str(), g, what, FormatNum(kMaxCount));
    return static_cast<int>(n);
}

}  // namespace

// Error 61 with the caret on the first character that may not stand in a population name.
void CParamReader::CheckPopNameChars(SCom* t)
{
    const std::string& text = t->text;
    for (size_t i = 1; i + 1 < text.size(); ++i)
        if (!IsPopNameChar(text[i])) {
            SCom at = *t;
            at.col = t->col + static_cast<int>(i);
            lex->PrintError(&at, true, true, 61, "\n");
        }
}

void CParamReader::AddPopName(SCom* t)
{
    int index = cur ? static_cast<int>(cur - prm.pops.data()) + 1 : 0;
    if (index >= static_cast<int>(prm.pops.size())) Abort("Error - Mismatched number of populations!\n");
    CheckPopNameChars(t);
    std::string name = Unquoted(t);
    MakeCleanString(name);
    if (name.size() > kMaxPopNameLength) lex->PrintError(t, true, true, 60, "\n");
    if (name == "hp") lex->PrintError(t, true, true, 47, "\n");
    for (int i = 0; i < index; ++i)
        if (prm.pops[i].name == name) lex->PrintError(t, true, true, 31, "\n");
    cur = &prm.pops[index];
    cur->name = name;
    curLine = nullptr;
    RetrieveNGeneration(t);
}

void CParamReader::RetrieveNGeneration(SCom* t)
{
    while (t && t->action != 5) t = t->next;
    if (!t) Abort("Error - Cannot retrieve parameters.\n");
    SPopParams& p = *cur;
    p.ng = IntValue(t);
    size_t n = static_cast<size_t>(p.ng) + 1;
    p.plan.assign(n, SGenPlan());
    for (int g = 1; g <= p.ng; ++g) p.plan[g].sr = p.plan[g].dr = 1.0;
    SPopOutput& o = p.out;
    for (auto* flags : {&o.dataGen, &o.crossoverGen, &o.freqGen, &o.genoGen, &o.ldGen})
        flags->assign(n, 0);
    o.ldChr.assign(static_cast<size_t>(prm.genome.nChr), 0);
    o.sireMissRateGen.assign(n, 0.0);
    o.damMissRateGen.assign(n, 0.0);
}

void CParamReader::RetrieveFounderStatement(SCom* t)
{
    SPopParams& p = *cur;
    switch (t->action) {
    case 70:
        if (p.nFounderLine >= kMaxFounderLines) lex->PrintError(t, true, true, 58, " %d\n", kMaxFounderLines);
        curLine = &p.founderLine[p.nFounderLine++];
        curLine->male = t->text == "male" ? 1 : 0;
        break;
    case 71: curLine->n = IntValue(t); break;
    case 72: {
        CheckPopNameChars(t);
        std::string name = Unquoted(t);
        MakeCleanString(name);
        if (name.size() > kMaxPopNameLength) lex->PrintError(t, true, true, 60, "\n");
        if (name == "hp") lex->PrintError(t, true, true, 55, "\n");
        curLine->srcPop = -1;
        for (SPopParams* q = prm.pops.data(); q < cur; ++q)
            if (q->name == name) curLine->srcPop = static_cast<int>(q - prm.pops.data());
        if (curLine->FromHistorical()) {
            lex->PrintError(t, true, false, 30, "\n");
            Abort("Population \"%s\" must be defined before population \"%s\"\n", name.c_str(), p.name.c_str());
        }
        break;
    }
    case 73:
        curLine->gen = IntValue(t);
        if (!curLine->FromHistorical() && curLine->gen > prm.pops[curLine->srcPop].ng) lex->PrintError(t, true, true, 32, "\n");
        break;
    case 91: curLine->srcPop = -1; break;
    case 74:
        curLine->select = DesignOf(t->text);
        if (curLine->select == kEbv) {
            if (curLine->FromHistorical()) lex->PrintError(t, true, true, 54, "\n");
            if (prm.pops[curLine->srcPop].ebvMethod == kEbvNone) lex->PrintError(t, true, true, 45, "\n");
        }
        break;
    case 75: curLine->high = t->text == "h" ? 1 : 0; break;
    case 9: curLine->notFounderYet = 1; break;
    case 145:
        p.nMaleFounder = p.nFemaleFounder = 0;
        for (int i = 0; i < p.nFounderLine; ++i)
            (p.founderLine[i].male ? p.nMaleFounder : p.nFemaleFounder) += p.founderLine[i].n;
        break;
    }
}

void CParamReader::RetrievePopStatement(SCom*& t)
{
    if (t->action == 64) {
        if (prm.pops.empty()) {
            int count = 0;
            for (SCom* s = t; s; s = s->next)
                if (s->action == 64) count++;
            if (count > kMaxPopulations)
                Abort("Error - Number of recent populations cannot be larger than %d\n", kMaxPopulations);
            prm.pops.resize(static_cast<size_t>(count));
        }
        curLine = nullptr;
        return;
    }
    if (t->action == 65) {
        AddPopName(t);
        return;
    }
    if (!cur) return;
    SPopParams& p = *cur;
    switch (t->action) {
    case 80: p.ebvMethod = kEbvApprox; break;
    case 92: p.mnp_male = IntValue(t); break;
    case 93: p.mnp_female = IntValue(t); break;
    case 81: p.ebvMethod = kEbvBlup; break;
    case 154: p.ebvMethod = kEbvExternal; break;
    case 155: p.externalCmd = CheckedFileName(t); break;
    case 122: p.ebvMethod = kEbvAccur; p.accur = NumValue(t); break;
    case 123: p.ebvMethod = kEbvAccur; p.accur_male = NumValue(t); break;
    case 124: p.accur_female = NumValue(t); break;
    case 125:
        if (p.ebvMethod == kEbvApprox) lex->PrintError(t, true, true, 50, "\n");
        p.true_av = 1;
        break;
    case 70: case 71: case 72: case 73: case 91: case 74: case 75: case 9: case 145:
        RetrieveFounderStatement(t);
        break;
    case 4: RetrieveLitterSize(t); break;
    case 23: p.pmp = NumValue(t); break;
    case 24: p.pmpMode = t->text == "fix" ? kPmpFix : kPmpFixLitter; break;
    case 6: {
        static const char* const designs[] = {"rnd", "rnd_ug", "minf", "maxf", "p_assort", "n_assort"};
        for (int d = 0; d < 6; ++d)
            if (t->text == designs[d]) p.md = d;
        break;
    }
    case 128: p.assortBy = DesignOf(t->text); break;
    case 104: RetrieveParentReplacement(t, true); break;
    case 105: RetrieveParentReplacement(t, false); break;
    case 11: p.sd = DesignOf(t->text); break;
    case 66: p.sdHigh = t->text == "h" ? 1 : 0; break;
    case 12: p.cd = DesignOf(t->text); break;
    case 67: p.cdHigh = t->text == "h" ? 1 : 0; break;
    case 22: CompletePopulation(); break;
    default: RetrievePopOutput(t); break;
    }
}

void CParamReader::RetrieveLitterSize(SCom*& t)
{
    SPopParams& p = *cur;
    p.ls.assign(1, IntValue(t));
    p.lsProb.assign(1, 1.0);
    SCom* first = t;
    double sum = 0;
    for (t = t->next; t && t->action != 113; t = t->next) {
        if (t->action == 111) {
            p.ls.push_back(IntValue(t));
            p.lsProb.push_back(0);
        } else if (t->action == 112) {
            p.lsProb.back() = NumValue(t);
            sum += p.lsProb.back();
        }
    }
    if (!t) Abort("Error - Cannot retrieve parameters.\n");
    p.nLs = static_cast<int>(p.ls.size());
    if (p.nLs > 1) {
        // Sums are compared with a little room for the rounding of decimal fractions.
        if (sum > 1 + 1e-10) lex->PrintError(first, true, true, 41, "\n");
        p.lsProb[0] = sum >= 1 ? 0 : 1 - sum;
    }
    for (int i = 0; i < p.nLs; ++i)
        if (p.lsProb[i] < 1e-6) {
            Warn("Warning - The probability of litter size %d is too small or zero.\n", p.ls[i]);
            NoWarn++;
        }
}

void CParamReader::RetrieveParentReplacement(SCom*& t, bool sires)
{
    SPopParams& p = *cur;
    const int ng = p.ng;
    std::vector<double> rate(ng + 1, 1.0), growth(ng + 1, 0.0);
    std::vector<int> reference(ng + 1, 0);
    std::vector<uint8_t> given(ng + 1, 0);
    if (ng > 0) reference[1] = 1;
    int last = 1;  // last given generation
    double pendingRate = 1.0, pendingGrowth = 0.0;
    bool exponential = false;

    auto copyForward = [&](int from, int to) {
        for (int g = from + 1; g <= to; ++g) {
            rate[g] = rate[from];
            growth[g] = growth[from];
        }
    };
    for (t = t->next; t && t->action != 109 && t->action != 110; t = t->next) {
        switch (t->action) {
        case 7:
            for (int g = 1; g < ng; ++g) rate[g] = NumValue(t);
            break;
        case 103:
            for (int g = 1; g < ng; ++g) growth[g] = NumValue(t);
            break;
        case 106:
            pendingRate = NumValue(t);
            pendingGrowth = 0.0;
            break;
        case 107: pendingGrowth = NumValue(t); break;
        case 108: {
            int g = IntValue(t);
            if (g < 1 || g >= ng) lex->PrintError(t, true, true, 39, "\n");
            if (given[g] || g < last) lex->PrintError(t, true, true, 40, "\n");
            rate[g] = pendingRate;
            growth[g] = pendingGrowth;
            given[g] = 1;
            if (g > last + 1) copyForward(last, g - 1);
            reference[g] = g;
            last = g;
            break;
        }
        case 141: exponential = true; break;
        }
    }
    if (!t) Abort("Error - Cannot retrieve parameters.\n");
    if (t->action == 110) copyForward(last, ng - 1);

    (sires ? p.srExp : p.drExp) = exponential ? 1 : 0;
    int latestGiven = 1;
    for (int g = 0; g < ng; ++g) {
        if (given[g]) latestGiven = g;
        SGenPlan& gi = p.plan[g];
        int ref = exponential ? g : latestGiven;
        if (sires) {
            gi.sr = rate[g];
            gi.sireGrowth = growth[g];
            gi.sireRefGen = ref;
        } else {
            gi.dr = rate[g];
            gi.damGrowth = growth[g];
            gi.damRefGen = ref;
        }
    }
}

void CParamReader::RetrievePopOutput(SCom*& t)
{
    SPopParams& p = *cur;
    SPopOutput& o = p.out;
    switch (t->action) {
    case 76:
        SwitchOn(o.ldOut, o.ldGen);
        for (auto& f : o.ldChr) f = 1;
        genTarget = &o.ldGen;
        break;
    case 54: o.ldMaft = NumValue(t); break;
    case 84: o.ldNMrk = static_cast<int>(NumValue(t)); break;
    case 98: o.ldMaxDist = NumValue(t); break;
    case 99:
        for (auto& f : o.ldChr) f = 0;
        for (;; t = t->next) {
            int c = IntValue(t);
            if (c < 1 || c > prm.genome.nChr) lex->PrintError(t, true, true, 66, "\n");
            o.ldChr[c - 1] = 1;
            if (!t->next || t->next->action != 99) break;
        }
        break;
    case 56: SwitchOn(o.dataOut, o.dataGen); genTarget = &o.dataGen; break;
    case 126: case 127: {
        auto& rates = t->action == 126 ? o.sireMissRateGen : o.damMissRateGen;
        (t->action == 126 ? o.sireMissRate : o.damMissRate) = NumValue(t);
        for (auto& r : rates) r = NumValue(t);
        o.missParents = true;
        break;
    }
    case 137: case 139: pendingMissRate = NumValue(t); break;
    case 138: case 140: {
        int gen = IntValue(t);
        if (gen > p.ng) lex->PrintError(t, true, true, 34, "\n");
        (t->action == 138 ? o.sireMissRateGen : o.damMissRateGen)[gen] = pendingMissRate;
        o.missParents = true;
        break;
    }
    case 57: SwitchOn(o.genoOut, o.genoGen); genTarget = &o.genoGen; break;
    case 58: o.genoOpt |= kGenoSnpCode; break;
    case 10: o.genoOpt |= kGenoBinary; break;
    case 14:
        o.genoOpt |= kGenoSeq;
        prm.output.anySeqGenotype = true;
        break;
    case 83: SwitchOn(o.crossoverOut, o.crossoverGen); genTarget = &o.crossoverGen; break;
    case 87: SwitchOn(o.freqOut, o.freqGen); genTarget = &o.freqGen; break;
    case 114: o.mafBin = IntValue(t); break;
    case 78: o.statOut = true; break;
    case 59:
        if (!genTarget) break;
        for (auto& f : *genTarget) f = 0;
        for (;; t = t->next) {
            int g = IntValue(t);
            if (g < 0 || g > p.ng) lex->PrintError(t, true, true, 34, "\n");
            (*genTarget)[g] = 1;
            if (!t->next || t->next->action != 59) break;
        }
        break;
    }
}

// At end_pop: default litter size and the number of parents of every generation.
void CParamReader::CompletePopulation()
{
    SPopParams& p = *cur;
    genTarget = nullptr;
    if (p.nLs == 0) {
        p.nLs = 1;
        p.ls.assign(1, 2);
        p.lsProb.assign(1, 1.0);
    }
    p.maxSires = p.nMaleFounder;
    p.maxDams = p.nFemaleFounder;
    if (p.ng < 1) return;
    std::vector<SGenPlan>& gi = p.plan;
    gi[1].nSires = p.nMaleFounder;
    gi[1].nDams = p.nFemaleFounder;
    const long long largestLitter = *std::max_element(p.ls.begin(), p.ls.end());
    long long individuals = p.nMaleFounder + p.nFemaleFounder;
    for (int g = 1; g <= p.ng; ++g) {
        if (g > 1) {
            const SGenPlan& prev = gi[g - 1];
            gi[g].nSires = GrownParents(p, g, prev.nSires, gi[prev.sireRefGen].nSires, prev.sireGrowth, "sires");
            gi[g].nDams = GrownParents(p, g, prev.nDams, gi[prev.damRefGen].nDams, prev.damGrowth, "dams");
        }
        // Every dam may have a litter of the largest size.
        individuals += std::max(0, gi[g].nDams) * largestLitter;
        if (individuals > kMaxCount)
            Abort("Error - Pop \"%s\" G%d: The population grows beyond %s individuals (dams x largest litter "
                  "size), the most the program can hold\n", p.name.c_str(), g, FormatNum(kMaxCount));
        p.maxSires = MyMax(p.maxSires, gi[g].nSires);
        p.maxDams = MyMax(p.maxDams, gi[g].nDams);
    }
}
