// Founders of the recent populations: taken from the last historical generation once per
// replicate, and from generations of earlier populations when a population starts.
#include "breeding/breeding.h"
#include "breeding/sort.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

// Founder flags, per identifier.
constexpr uint8_t kTakenInReplicate = 1;  // taken as a founder by some population
constexpr uint8_t kTakenByThisPop = 2;    // already taken by the population being filled

const char* SexWord(const SFounderLine& l)
{
    return l.male ? "males" : "females";
}

// Whether line l may take the individual with these flags and this sex.
bool Eligible(const SFounderLine& l, uint8_t flags, uint8_t sex)
{
    if ((flags & kTakenInReplicate) && l.notFounderYet) return false;
    return sex == l.male && !(flags & kTakenByThisPop);
}

void PlaceFounder(SReplicate& replicate, CPopulation& p, const SRec& source)
{
    replicate.founderFlag[static_cast<size_t>(source.id)] |= kTakenInReplicate | kTakenByThisPop;
    SRec& copy = p.indiv[static_cast<size_t>(p.nFounderPlaced++)];
    copy = source;
    copy.gen = 0;
    *copy.genomeUse = static_cast<uint16_t>(*copy.genomeUse + 1 + p.genInfo[0].genomeHold);
}

void ClearPopulationFlags(SReplicate& replicate, CPopulation& p)
{
    for (int i = 0; i < p.nFounderPlaced; ++i)
        replicate.founderFlag[static_cast<size_t>(p.indiv[static_cast<size_t>(i)].id)] &= static_cast<uint8_t>(~kTakenByThisPop);
}

// Every individual of the source generation holds one unit of its genome for each line that
// reads the generation: the unit is given up whether the individual is taken or not.
void TakeFoundersFrom(const SGlobalParams& global, SReplicate& replicate, CGenomePool& pool, CPopulation& s,
                      CPopulation& p, const SFounderLine& l)
{
    if (l.gen > s.prm.ng || s.genInfo[static_cast<size_t>(l.gen)].nPrg < 1 || s.genInfo[static_cast<size_t>(l.gen)].first == -1)
        Abort("Error - Pop \"%s\": Generation %d could not be found in population \"%s\".\n", p.prm.name.c_str(), l.gen,
              s.prm.name.c_str());
    const SGenInfo& g = s.genInfo[static_cast<size_t>(l.gen)];
    CSort::SortRP(&s, g.first, g.last, global.malesHaveRecords, l.select, l.high);

    int taken = 0, k = g.first;
    for (; k <= g.last && taken < l.n; ++k) {
        SRec* r = s.cand[static_cast<size_t>(k)];
        --*r->genomeUse;
        if (!Eligible(l, replicate.founderFlag[static_cast<size_t>(r->id)], r->sex)) continue;
        PlaceFounder(replicate, p, *r);
        if (!global.joint_pop) {
            SRec& copy = p.indiv[static_cast<size_t>(p.nFounderPlaced - 1)];
            copy.nMPrg = copy.nFPrg = 0;
            copy.sire = copy.dam = &replicate.unknownParent;
        }
        ++taken;
    }
    for (; k <= g.last; ++k) --*s.cand[static_cast<size_t>(k)]->genomeUse;
    FreeChrProgMem(pool, s, g.first, g.last);
    if (taken < l.n)
        Abort("Error - Pop \"%s\": %s %s requested but %s %s found in generation %d of population \"%s\".\n",
              p.prm.name.c_str(), FormatNum(static_cast<unsigned long long>(l.n)), SexWord(l),
              FormatNum(static_cast<unsigned long long>(taken)), SexWord(l), l.gen, s.prm.name.c_str());
}

}  // namespace

void ChooseFromHistPop(SReplicate& replicate, CGenomePool& pool, SHistPop& hp, std::vector<CPopulation>& pops)
{
    for (CPopulation& p : pops) {
        for (int li = 0; li < p.prm.nFounderLine; ++li) {
            const SFounderLine& l = p.prm.founderLine[li];
            if (!l.FromHistorical()) continue;
            CSort::SortLHG(&hp, l.select, l.high, false);
            int taken = 0;
            for (SRec* r : hp.lastGen) {
                if (taken == l.n) break;
                // Historical individuals carry identifier 0 until they are first taken.
                if (!Eligible(l, replicate.founderFlag[static_cast<size_t>(r->id)], r->sex)) continue;
                if (r->id == 0) r->id = ++replicate.nextId;
                PlaceFounder(replicate, p, *r);
                ++taken;
            }
            if (taken < l.n)
                Abort("Error - Pop \"%s\": %s %s requested but %s %s found in the last historical generation.\n",
                      p.prm.name.c_str(), FormatNum(static_cast<unsigned long long>(l.n)), SexWord(l),
                      FormatNum(static_cast<unsigned long long>(taken)), SexWord(l));
        }
        ClearPopulationFlags(replicate, p);
    }
    for (SRec* r : hp.lastGen)
        if (*r->genomeUse == 0) ReleaseGenome(pool, r);
}

void ChooseFromRecentPop(const SGlobalParams& global, SReplicate& replicate, CGenomePool& pool,
                         std::vector<CPopulation>& pops, CPopulation& p)
{
    for (int i = 0; i < p.nFounderPlaced; ++i)
        replicate.founderFlag[static_cast<size_t>(p.indiv[static_cast<size_t>(i)].id)] |= kTakenByThisPop;
    for (int li = 0; li < p.prm.nFounderLine; ++li) {
        const SFounderLine& l = p.prm.founderLine[li];
        if (!l.FromHistorical()) TakeFoundersFrom(global, replicate, pool, pops[static_cast<size_t>(l.srcPop)], p, l);
    }
    p.genStat[0].nMale = static_cast<uint32_t>(p.prm.nMaleFounder);
    p.genStat[0].nFemale = static_cast<uint32_t>(p.prm.nFemaleFounder);
    int nSires = 0, nDams = 0;
    for (int i = 0; i < p.nFounderPlaced; ++i) {
        SRec* r = &p.indiv[static_cast<size_t>(i)];
        if (r->sex == 1)
            p.sires[static_cast<size_t>(nSires++)] = r;
        else
            p.dams[static_cast<size_t>(nDams++)] = r;
    }
    ClearPopulationFlags(replicate, p);
}
