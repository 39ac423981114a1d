// Invariants of a run: see invariants.h for what is checked and what it costs.
#include "app/invariants.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <unordered_map>

#include "support/messages.h"

namespace {

std::string Text(const char* fmt, ...) DAVOK_PRINTF(1, 2);
std::string Text(const char* fmt, ...)
{
    char text[512];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    return text;
}

// The first fault the checks find, in order; empty when none does.
std::string FirstFault(std::initializer_list<std::function<std::string()>> checks)
{
    for (const auto& check : checks) {
        std::string fault = check();
        if (!fault.empty()) return fault;
    }
    return "";
}

// Names r for a message; pop is null for the historical population.
std::string Who(const SRec& r, const CPopulation* pop)
{
    if (!pop) return Text("individual %d of the historical population", r.id);
    return Text("individual %d of population \"%s\"", r.id, pop->prm.name.c_str());
}

// Position of rec in p.indiv, or -1 when it is none of its records.
long IndexIn(const CPopulation& p, const SRec* rec)
{
    const std::less<const SRec*> before;
    const SRec* begin = p.indiv.data();
    if (before(rec, begin) || !before(rec, begin + p.indiv.size())) return -1;
    return rec - begin;
}

// Calls f for each record of generation g of p, when it exists after `made` generations (the
// founders placed so far for g = 0).
template <typename F>
void ForEachOfGeneration(const CPopulation& p, int g, int made, F f)
{
    if (g == 0) {
        for (int i = 0; i < p.nFounderPlaced; ++i) f(p.indiv[static_cast<size_t>(i)]);
        return;
    }
    if (g > made) return;
    const SGenInfo& gi = p.genInfo[static_cast<size_t>(g)];
    for (int i = gi.first; i <= gi.last; ++i) f(p.indiv[static_cast<size_t>(i)]);
}

template <typename F>
void ForEachRecord(const CPopulation& p, int made, F f)
{
    for (int g = 0; g <= made; ++g) ForEachOfGeneration(p, g, made, f);
}

// ---- Pedigree ----

std::string RecordFault(const SRec& r, int g)
{
    if (r.id < 1) return "has no identifier";
    if (r.gen != g) return Text("is in generation %d but records generation %d", g, r.gen);
    return "";
}

// Known parents of any individual: made before it (a lower identifier), sire male, dam female.
std::string ParentFault(const SRec& r, const SRec* parent, bool sire)
{
    const char* role = sire ? "sire" : "dam";
    if (!parent) return Text("has no %s", role);
    if (parent->id < 1) return Text("has a %s that was never made", role);
    if (parent->id >= r.id) return Text("has a %s born after it", role);
    if (parent->sex != (sire ? 1 : 0)) return Text("has a %s %s", sire ? "female" : "male", role);
    return "";
}

// Founders have unknown parents; with `joint` a founder from a recent population keeps its
// source's parents.
std::string FounderParentsFault(const SRec& r, const SRec& unknownParent, bool joint)
{
    const bool sireKnown = r.sire != &unknownParent, damKnown = r.dam != &unknownParent;
    if (!sireKnown && !damKnown) return "";
    if (!joint || sireKnown != damKnown) return "is a founder with a known parent";
    std::string fault = ParentFault(r, r.sire, true);
    return fault.empty() ? ParentFault(r, r.dam, false) : fault;
}

// Parents of progeny of generation g: individuals of the same population from an earlier generation.
std::string ProgenyParentFault(const CPopulation& p, const SRec& r, int g, const SRec* parent, bool sire)
{
    const char* role = sire ? "sire" : "dam";
    long k = IndexIn(p, parent);
    if (k < 0) return Text("has a %s that is not an individual of its population", role);
    std::string fault = ParentFault(r, parent, sire);
    if (!fault.empty()) return fault;
    if (k >= p.genInfo[static_cast<size_t>(g)].first)
        return Text("has a %s of its own or a later generation", role);
    return "";
}

// ---- Generation bookkeeping ----

std::string SexCountFault(const CPopulation& p, int g, int first, int last)
{
    uint32_t males = 0;
    for (int i = first; i <= last; ++i) males += p.indiv[static_cast<size_t>(i)].sex == 1;
    const uint32_t females = static_cast<uint32_t>(last - first + 1) - males;
    const SGenStat& st = p.genStat[static_cast<size_t>(g)];
    if (st.nMale == males && st.nFemale == females) return "";
    return Text("generation %d of population \"%s\" counts %u males and %u females, its records %u and %u", g,
                p.prm.name.c_str(), st.nMale, st.nFemale, males, females);
}

// Outside random union of gametes, each dam has one litter: the litter sizes in mating order
// cut the generation into runs of full sibs, each of its own dam.
std::string LitterFault(const CPopulation& p, int g)
{
    const SGenInfo& gi = p.genInfo[static_cast<size_t>(g)];
    std::vector<const SRec*> dams;
    int i = gi.first;
    for (size_t m = 0; m < gi.litterSize.size(); ++m) {
        const int size = gi.litterSize[m];
        if (size <= 0) continue;
        const SRec& head = p.indiv[static_cast<size_t>(i)];
        for (int k = 0; k < size; ++k, ++i) {
            const SRec& r = p.indiv[static_cast<size_t>(i)];
            if (r.sire != head.sire || r.dam != head.dam)
                return Text("litter %zu of generation %d of population \"%s\" (individuals %d to %d) has more than "
                            "one pair of parents", m + 1, g, p.prm.name.c_str(), head.id, head.id + size - 1);
        }
        dams.push_back(head.dam);
    }
    std::sort(dams.begin(), dams.end(), std::less<const SRec*>());
    auto twice = std::adjacent_find(dams.begin(), dams.end());
    if (twice == dams.end()) return "";
    return Text("dam %d of population \"%s\" has two litters in generation %d", (*twice)->id, p.prm.name.c_str(), g);
}

std::string GenerationFault(const CPopulation& p, int g)
{
    const SGenInfo& gi = p.genInfo[static_cast<size_t>(g)];
    const SGenInfo& prev = p.genInfo[static_cast<size_t>(g) - 1];
    if (gi.first != prev.last + 1 || gi.last - gi.first + 1 != gi.nPrg)
        return Text("generation %d of population \"%s\" holds places %d to %d after %d but counts %d individuals", g,
                    p.prm.name.c_str(), gi.first, gi.last, prev.last, gi.nPrg);
    long litters = 0;
    for (int16_t size : gi.litterSize) litters += size;
    const int nDams = p.prm.plan[static_cast<size_t>(g)].nDams;
    if (static_cast<int>(gi.litterSize.size()) != nDams || litters != gi.nPrg)
        return Text("generation %d of population \"%s\" has %zu litters of %ld progeny for %d dams and %d progeny", g,
                    p.prm.name.c_str(), gi.litterSize.size(), litters, nDams, gi.nPrg);
    long classed = 0;
    for (uint32_t n : p.genStat[static_cast<size_t>(g)].lsCount) classed += n;
    if (classed != static_cast<long>(gi.litterSize.size()))
        return Text("generation %d of population \"%s\" counts %ld litters by size class for %zu litters", g,
                    p.prm.name.c_str(), classed, gi.litterSize.size());
    std::string fault = SexCountFault(p, g, gi.first, gi.last);
    if (fault.empty() && p.prm.md != kMdRndUg) fault = LitterFault(p, g);
    return fault;
}

// ---- Progeny counts ----

// With joint_pop a founder taken from a recent population starts from its source's progeny
// counts. The source of each founder (null for the founders from the historical population):
// founders sit in the order they were placed, the "hp" lines first, then the others line by line.
std::vector<const SRec*> FounderSources(const std::vector<CPopulation>& pops, const CPopulation& p)
{
    std::vector<const SRec*> sources(static_cast<size_t>(p.nFounderPlaced), nullptr);
    const SPopParams& prm = p.prm;
    int i = 0;
    for (int li = 0; li < prm.nFounderLine; ++li)
        if (prm.founderLine[li].FromHistorical()) i += prm.founderLine[li].n;
    for (int li = 0; li < prm.nFounderLine; ++li) {
        const SFounderLine& l = prm.founderLine[li];
        if (l.FromHistorical()) continue;
        const CPopulation& source = pops[static_cast<size_t>(l.srcPop)];
        std::unordered_map<int, const SRec*> byId;
        ForEachOfGeneration(source, l.gen, source.prm.ng, [&](const SRec& r) { byId[r.id] = &r; });
        for (int k = 0; k < l.n && i < p.nFounderPlaced; ++k, ++i) {
            auto source = byId.find(p.indiv[static_cast<size_t>(i)].id);
            if (source != byId.end()) sources[static_cast<size_t>(i)] = source->second;
        }
    }
    return sources;
}

// ---- Genome use ----

enum class EStage { kNotStarted, kRunning, kDone };

EStage StageOf(int k, const SRunPoint& at)
{
    if (k > at.pop) return EStage::kNotStarted;
    if (k < at.pop || at.popDone) return EStage::kDone;
    return EStage::kRunning;
}

int GenerationsMade(const CPopulation& p, EStage stage, const SRunPoint& at)
{
    if (stage == EStage::kNotStarted) return 0;
    return stage == EStage::kRunning ? at.gen : p.prm.ng;
}

// Holders of every used genome use counter, and a record of each for the messages.
class CHolders {
public:
    CHolders(const std::vector<uint16_t>& counters, int used)
        : counters(counters), holds(static_cast<size_t>(used), 0), owner(static_cast<size_t>(used), nullptr),
          ownerPop(static_cast<size_t>(used), nullptr), fresh(static_cast<size_t>(used), 0)
    {
    }

    // Slot of r's counter, or -1 (and a fault) when r has none among the used counters.
    long SlotOf(const SRec& r, const CPopulation* pop)
    {
        const std::less<const uint16_t*> before;
        const uint16_t* begin = counters.data();
        if (!r.genomeUse || before(r.genomeUse, begin) || !before(r.genomeUse, begin + holds.size())) {
            if (fault.empty()) fault = Who(r, pop) + " has no genome use counter of the replicate";
            return -1;
        }
        const long slot = r.genomeUse - begin;
        if (!owner[static_cast<size_t>(slot)]) {
            owner[static_cast<size_t>(slot)] = &r;
            ownerPop[static_cast<size_t>(slot)] = pop;
        }
        return slot;
    }
    void Hold(const SRec* r, const CPopulation* pop)
    {
        if (!r) {
            if (fault.empty()) fault = Text("population \"%s\" lacks one of its parents", pop->prm.name.c_str());
            return;
        }
        const long slot = SlotOf(*r, pop);
        if (slot >= 0) holds[static_cast<size_t>(slot)]++;
    }
    void MarkFresh(const SRec& r, const CPopulation* pop)
    {
        const long slot = SlotOf(r, pop);
        if (slot >= 0) fresh[static_cast<size_t>(slot)] = 1;
    }
    // A held genome still has its alleles.
    void CheckStored(const SRec& r, const CPopulation* pop)
    {
        const long slot = SlotOf(r, pop);
        if (slot >= 0 && holds[static_cast<size_t>(slot)] > 0 && !r.patChr && fault.empty())
            fault = Who(r, pop) + Text(" has lost the genome its %d holders need", holds[static_cast<size_t>(slot)]);
    }
    std::string Compare() const
    {
        if (!fault.empty()) return fault;
        for (size_t s = 0; s < holds.size(); ++s) {
            if (!owner[s]) continue;  // a counter no record of the replicate points to
            const int actual = counters[s], expected = holds[s];
            if (actual == kGenomeReleased) {
                if (expected == 0) continue;
                return "the genome of " + Who(*owner[s], ownerPop[s]) +
                       Text(" is released but has %d holders", expected);
            }
            if (actual != expected)
                return "the genome use counter of " + Who(*owner[s], ownerPop[s]) +
                       Text(" is %d, its holders %d", actual, expected);
            if (expected == 0 && !fresh[s])
                return "the genome of " + Who(*owner[s], ownerPop[s]) + " has no holder but is not released";
        }
        return "";
    }

private:
    const std::vector<uint16_t>& counters;
    std::vector<int> holds;
    std::vector<const SRec*> owner;
    std::vector<const CPopulation*> ownerPop;
    std::vector<uint8_t> fresh;  // the generation just made: released only after the checkpoint
    std::string fault;
};

// The current parents of population p hold one unit of their genomes: the founders until the
// population starts, then its sire and dam lists until it ends. A population without generations
// keeps its founders as parents to the end of the replicate (its end lets go of the parents of
// generation 0, of which the bookkeeping records none).
void HoldParents(CHolders& h, const CPopulation& p, EStage stage, int made)
{
    if (stage == EStage::kNotStarted) {
        ForEachOfGeneration(p, 0, 0, [&](const SRec& r) { h.Hold(&r, &p); });
        return;
    }
    if (stage == EStage::kDone && p.prm.ng > 0) return;
    int nSires = p.prm.nMaleFounder, nDams = p.prm.nFemaleFounder;
    if (made > 0) {
        const SGenPlan& plan = p.prm.plan[static_cast<size_t>(std::min(made + 1, p.prm.ng))];
        nSires = plan.nSires;
        nDams = plan.nDams;
    }
    auto holdFirst = [&](const std::vector<SRec*>& parents, int n) {
        for (size_t i = 0; i < static_cast<size_t>(n); ++i) h.Hold(i < parents.size() ? parents[i] : nullptr, &p);
    };
    holdFirst(p.sires, nSires);
    holdFirst(p.dams, nDams);
}

// ---- Alleles ----

// Genomes made or placed since the previous checkpoint: the held ones of the last historical
// generation, the founders of a population that starts, a generation just made.
std::string NewGenomesFault(const SimClass& sim, const SRunPoint& at)
{
    if (at.popDone) return "";
    const std::vector<uint16_t> nAllele = AlleleCounts(sim.genome.chrom);
    std::string fault;
    auto check = [&](const SRec& r, const CPopulation* pop) {
        if (!fault.empty() || !r.patChr || !r.genomeUse || *r.genomeUse == kGenomeReleased) return;
        std::string wrong = CheckAlleles(r, nAllele);
        if (!wrong.empty()) fault = Who(r, pop) + " " + wrong;
    };
    if (at.pop < 0) {
        for (const SRec* r : sim.hp.lastGen) check(*r, nullptr);
        return fault;
    }
    const CPopulation& p = sim.pops[static_cast<size_t>(at.pop)];
    ForEachOfGeneration(p, at.gen, at.gen, [&](const SRec& r) { check(r, &p); });
    return fault;
}

std::string Where(const SimClass& sim, const SRunPoint& at)
{
    if (at.pop < 0) return Text("replicate %d, founders from the historical population", at.rep);
    const char* name = sim.pops[static_cast<size_t>(at.pop)].prm.name.c_str();
    if (at.popDone) return Text("replicate %d, end of population \"%s\"", at.rep, name);
    return Text("replicate %d, population \"%s\", generation %d", at.rep, name, at.gen);
}

}  // namespace

bool InvariantChecksOn()
{
#ifndef NDEBUG
    return true;
#else
    const char* value = std::getenv("DAVOK_CHECK_INVARIANTS");
    return value && std::strcmp(value, "1") == 0;
#endif
}

std::string CheckHistoricalPedigree(const SHistPop& hp, const SRec& unknownParent)
{
    for (const SRec* r : hp.lastGen)
        if (r->sire != &unknownParent || r->dam != &unknownParent)
            return Who(*r, nullptr) + " has a known parent";
    return "";
}

std::string CheckPedigree(const CPopulation& p, int made, const SRec& unknownParent, bool joint)
{
    std::string fault;
    ForEachOfGeneration(p, 0, made, [&](const SRec& r) {
        if (!fault.empty()) return;
        fault = RecordFault(r, 0);
        if (fault.empty()) fault = FounderParentsFault(r, unknownParent, joint);
        if (!fault.empty()) fault = Who(r, &p) + " " + fault;
    });
    for (int g = 1; g <= made && fault.empty(); ++g)
        ForEachOfGeneration(p, g, made, [&](const SRec& r) {
            if (!fault.empty()) return;
            fault = FirstFault({[&] { return RecordFault(r, g); },
                                [&] { return ProgenyParentFault(p, r, g, r.sire, true); },
                                [&] { return ProgenyParentFault(p, r, g, r.dam, false); }});
            if (!fault.empty()) fault = Who(r, &p) + " " + fault;
        });
    return fault;
}

std::string CheckGenerationCounts(const CPopulation& p, int made)
{
    const SGenInfo& g0 = p.genInfo[0];
    const int founders = p.prm.nMaleFounder + p.prm.nFemaleFounder;
    if (p.nFounderPlaced != founders || g0.nPrg != founders || g0.first != 0 || g0.last != founders - 1)
        return Text("population \"%s\" has %d founders placed for %d asked for, and generation 0 of %d (places %d "
                    "to %d)", p.prm.name.c_str(), p.nFounderPlaced, founders, g0.nPrg, g0.first, g0.last);
    std::string fault = SexCountFault(p, 0, 0, founders - 1);
    for (int g = 1; g <= made && fault.empty(); ++g) fault = GenerationFault(p, g);
    return fault;
}

std::string CheckProgenyCounts(const std::vector<CPopulation>& pops, const CPopulation& p, int made, bool joint)
{
    std::vector<int> males(p.indiv.size(), 0), females(p.indiv.size(), 0);
    for (int g = 1; g <= made; ++g)
        ForEachOfGeneration(p, g, made, [&](const SRec& r) {
            std::vector<int>& count = r.sex == 1 ? males : females;
            for (const SRec* parent : {r.sire, r.dam}) {
                long k = IndexIn(p, parent);
                if (k >= 0) count[static_cast<size_t>(k)]++;
            }
        });
    if (joint) {
        const std::vector<const SRec*> sources = FounderSources(pops, p);
        for (size_t i = 0; i < sources.size(); ++i)
            if (sources[i]) {
                males[i] += sources[i]->nMPrg;
                females[i] += sources[i]->nFPrg;
            }
    }
    std::string fault;
    ForEachRecord(p, made, [&](const SRec& r) {
        const size_t k = static_cast<size_t>(&r - p.indiv.data());
        if (fault.empty() && (r.nMPrg != males[k] || r.nFPrg != females[k]))
            fault = Who(r, &p) + Text(" counts %d male and %d female progeny, the pedigree %d and %d", r.nMPrg,
                                      r.nFPrg, males[k], females[k]);
    });
    return fault;
}

std::string CheckGenomeUse(const std::vector<CPopulation>& pops, const SHistPop& hp,
                           const std::vector<uint16_t>& counters, int usedSlots, const SRunPoint& at)
{
    CHolders h(counters, std::min(usedSlots, static_cast<int>(counters.size())));
    for (const SRec* r : hp.lastGen) h.SlotOf(*r, nullptr);
    for (size_t k = 0; k < pops.size(); ++k) {
        const CPopulation& p = pops[k];
        const EStage stage = StageOf(static_cast<int>(k), at);
        const int made = GenerationsMade(p, stage, at);
        ForEachRecord(p, made, [&](const SRec& r) { h.SlotOf(r, &p); });
        HoldParents(h, p, stage, made);
        if (stage == EStage::kRunning && made > 0)
            ForEachOfGeneration(p, made, made, [&](const SRec& r) { h.MarkFresh(r, &p); });
        // A founder line of a population that has not started holds one unit of every
        // individual of the generation it will read.
        if (stage != EStage::kNotStarted) continue;
        for (int li = 0; li < p.prm.nFounderLine; ++li) {
            const SFounderLine& l = p.prm.founderLine[li];
            if (l.FromHistorical()) continue;
            const CPopulation& s = pops[static_cast<size_t>(l.srcPop)];
            const int sourceMade = GenerationsMade(s, StageOf(l.srcPop, at), at);
            ForEachOfGeneration(s, l.gen, sourceMade, [&](const SRec& r) { h.Hold(&r, &s); });
        }
    }
    for (size_t k = 0; k < pops.size(); ++k) {
        const CPopulation& p = pops[k];
        ForEachRecord(p, GenerationsMade(p, StageOf(static_cast<int>(k), at), at),
                      [&](const SRec& r) { h.CheckStored(r, &p); });
    }
    return h.Compare();
}

std::vector<uint16_t> AlleleCounts(const std::vector<SChrom>& chrom)
{
    std::vector<uint16_t> counts;
    for (const SChrom& ch : chrom)
        for (int i = 0; i < ch.NLoci(); ++i) counts.push_back(ch.loci[i]->nAllele);
    return counts;
}

std::string CheckAlleles(const SRec& r, const std::vector<uint16_t>& nAllele)
{
    if (nAllele.empty()) return "";
    for (int copy = 0; copy < 2; ++copy) {
        const uint16_t* alleles = copy == 0 ? r.Pat() : r.Mat();
        // Allele 0 wraps round to 65535: one unsigned comparison finds both ends, in a loop
        // without branches that the compiler vectorises; the slow search runs on a fault only.
        unsigned outside = 0;
        for (size_t g = 0; g < nAllele.size(); ++g) outside |= static_cast<uint16_t>(alleles[g] - 1) >= nAllele[g];
        if (!outside) continue;
        for (size_t g = 0; g < nAllele.size(); ++g)
            if (alleles[g] < 1 || alleles[g] > nAllele[g])
                return Text("carries allele %u at locus %zu of its %s genome, which has %u alleles", alleles[g], g + 1,
                            copy == 0 ? "paternal" : "maternal", nAllele[g]);
    }
    return "";
}

std::string CheckRun(const SimClass& sim, const SRunPoint& at)
{
    auto pedigree = [&] {
        if (at.pop >= 0) return std::string();
        std::string fault = CheckHistoricalPedigree(sim.hp, sim.replicate.unknownParent);
        for (const CPopulation& p : sim.pops)
            if (fault.empty()) fault = CheckPedigree(p, 0, sim.replicate.unknownParent, sim.prm.global.joint_pop);
        return fault;
    };
    auto population = [&] {
        if (at.pop < 0 || at.popDone) return std::string();
        const CPopulation& p = sim.pops[static_cast<size_t>(at.pop)];
        return FirstFault({[&] { return CheckPedigree(p, at.gen, sim.replicate.unknownParent, sim.prm.global.joint_pop); },
                           [&] { return CheckGenerationCounts(p, at.gen); },
                           [&] { return CheckProgenyCounts(sim.pops, p, at.gen, sim.prm.global.joint_pop); }});
    };
    return FirstFault({pedigree, population,
                       [&] { return CheckGenomeUse(sim.pops, sim.hp, sim.replicate.genomeUseCount, sim.replicate.nextGenomeSlot, at); },
                       [&] { return NewGenomesFault(sim, at); }});
}

void CheckInvariants(const SimClass& sim, const SRunPoint& at)
{
    if (!InvariantChecksOn()) return;
    std::string fault = CheckRun(sim, at);
    if (!fault.empty())
        Abort("Error - Internal error: %s (%s).\nPlease report the error to %s\n", fault.c_str(),
              Where(sim, at).c_str(), kContactText);
}
