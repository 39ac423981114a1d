// The generation cycle of a recent population: litter sizes for the whole replicate, then per
// generation the mating design, sexes, progeny records, genomes made by worker threads,
// inbreeding and values.
#include <algorithm>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>

#include "breeding/breeding.h"
#include "random/rnd.h"
#include "genome/meiosis.h"
#include "genome/mutation.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/worker_error.h"

namespace {

constexpr int kMinProgenyPerWorker = 20;

// floor(n * u), never n.
int IndexBelow(int n, double u)
{
    int i = static_cast<int>(n * u);
    return i < n ? i : n - 1;
}

// The class of one litter: the first class whose cumulative probability passes u. A draw past
// the last cumulative probability (classes summing to less than 1) takes the last class.
int DrawLitterClass(const CPopulation& p)
{
    if (p.prm.nLs == 1) return 0;
    double u = MyRnd.URand(), cumulative = 0;
    for (int c = 0; c < p.prm.nLs; ++c) {
        cumulative += p.prm.lsProb[static_cast<size_t>(c)];
        if (u < cumulative) return c;
    }
    return p.prm.nLs - 1;
}

// Copies what a worker's buffer spilled into its temporary file to out, and closes the spill.
void AppendSpill(FILE* spill, FILE* out)
{
    char block[65536];
    bool failed = ferror(spill) != 0;
    rewind(spill);
    size_t n;
    while (!failed && (n = fread(block, 1, sizeof block, spill)) > 0) fwrite(block, 1, n, out);
    failed = failed || ferror(spill);
    fclose(spill);
    if (failed) Abort("Error - Could not keep the crossover text of a worker in a temporary file.\n");
}

}  // namespace

void SimLitterSize(std::vector<CPopulation>& pops, int rep)
{
    for (CPopulation& p : pops) {
        if (p.prm.md == kMdRndUg && rep == 1) {
            if (p.prm.nLs > 1)
                Abort("Error - Pop \"%s\": With rnd_ug (random union of gametes) mating design, 'ls' is treated as "
                      "average number of progeny per dam (instead of litter size) therefore only one value should be "
                      "specified for 'ls'\n",
                      p.prm.name.c_str());
            Info("Info - Pop \"%s\": With rnd_ug (random union of gametes) mating design, dams may not have the same "
                 "number of progeny.\nAverage number of progeny per dam: %d\n",
                 p.prm.name.c_str(), p.prm.ls[0]);
        }
        SGenInfo& g0 = p.genInfo[0];
        p.nIndiv = p.prm.nMaleFounder + p.prm.nFemaleFounder;
        g0.first = 0;
        g0.nPrg = p.nIndiv;
        g0.last = p.nIndiv - 1;
        p.genStat[0].lsCount.assign(static_cast<size_t>(p.prm.nLs), 0);
        for (int gen = 1; gen <= p.prm.ng; ++gen) {
            SGenInfo& g = p.genInfo[static_cast<size_t>(gen)];
            const SGenPlan& plan = p.prm.plan[static_cast<size_t>(gen)];
            std::vector<uint32_t>& histogram = p.genStat[static_cast<size_t>(gen)].lsCount;
            histogram.assign(static_cast<size_t>(p.prm.nLs), 0);
            g.litterSize.resize(static_cast<size_t>(plan.nDams));
            long long total = 0;
            for (int16_t& size : g.litterSize) {
                int c = DrawLitterClass(p);
                size = static_cast<int16_t>(p.prm.ls[static_cast<size_t>(c)]);
                histogram[static_cast<size_t>(c)]++;
                total += size;
            }
            g.first = p.nIndiv;
            g.nPrg = static_cast<int>(total);
            p.nIndiv += g.nPrg;
            g.last = p.nIndiv - 1;
        }
    }
}

void AssignSex(const SGlobalParams& global, CPopulation& p, int gen, bool rndUg)
{
    const SGenInfo& g = p.genInfo[static_cast<size_t>(gen)];
    SRec* prg = &p.indiv[static_cast<size_t>(g.first)];
    const int n = g.nPrg;
    for (int i = 0; i < n; ++i) prg[i].sex = 0;
    if (p.prm.pmpMode == kPmpFixLitter && !rndUg) {
        int i = 0;
        for (int16_t size : g.litterSize) {
            int males = MyRound(p.prm.pmp * size);
            for (int k = 0; k < size; ++k, ++i) prg[i].sex = k < males ? 1 : 0;
        }
    } else if (p.prm.pmpMode == kPmpFix) {
        for (int k = MyRound(p.prm.pmp * n); k > 0; --k) {
            int i;
            do i = IndexBelow(n, MyRnd.URand());
            while (prg[i].sex == 1);
            prg[i].sex = 1;
        }
    } else {
        for (int i = 0; i < n; ++i) prg[i].sex = MyRnd.URand() < p.prm.pmp ? 1 : 0;
    }
    SGenStat& st = p.genStat[static_cast<size_t>(gen)];
    for (int i = 0; i < n; ++i) {
        prg[i].hasPhen = prg[i].sex == 1 ? (global.malesHaveRecords ? 1 : 0) : 1;
        if (prg[i].sex == 1)
            st.nMale++;
        else
            st.nFemale++;
    }
}

namespace {

// Record of a new individual; its sex and record flag are already set.
void StartProgenyRecord(const SBreeding& b, const CPopulation& p, SRec& r, int gen, SRec* sire, SRec* dam)
{
    r.id = ++b.replicate.nextId;
    r.genomeUse = b.replicate.NextGenomeUse();
    *r.genomeUse = p.genInfo[static_cast<size_t>(gen)].genomeHold;
    r.gen = static_cast<int16_t>(gen);
    r.nMPrg = r.nFPrg = 0;
    r.sire = sire;
    r.dam = dam;
    b.inbred.AddToPed(&r);
}

void CreateAnim_MyThread(const SBreeding& b, CPopulation& p, int first, int last, CMyRnd* rnd, SCrossoP* cp,
                         CWriteBuffer* out)
{
    for (int i = first; i <= last; ++i) {
        SRec* r = &p.indiv[static_cast<size_t>(i)];
        Meiosis(b.prm.genome, b.genome, r, rnd, cp, out);
        MrkHomozy(b.genome, r);
    }
}

// Genomes of individuals first..last by worker threads over disjoint shares, each with its own
// generator, crossover scratch and crossover text; the text is written in worker order.
void MakeProgenyGenomes(const SBreeding& b, CPopulation& p, int gen, int first, int last)
{
    if (last < first) return;
    int nParts = b.nthread;
    std::vector<SIndex> parts(static_cast<size_t>(std::max(b.nthread, 1)));
    Split2Index(parts.data(), first, last, nParts, kMinProgenyPerWorker);
    std::vector<CMyRnd> generators;
    MakeDerivedGenerators(generators, nParts);
    std::vector<std::vector<SCrossoP>> scratch(static_cast<size_t>(nParts), std::vector<SCrossoP>(static_cast<size_t>(b.prm.genome.nChr)));
    const SPopOutput& o = p.prm.out;
    const bool crossText = o.crossoverOut && b.crossoFp && gen < static_cast<int>(o.crossoverGen.size()) &&
                           o.crossoverGen[static_cast<size_t>(gen)];
    // A worker's crossover text beyond the buffer's chunks spills into a temporary file of its own,
    // so the text reaches the result file whole and in worker order.
    std::vector<std::unique_ptr<CWriteBuffer>> buffers(static_cast<size_t>(nParts));
    std::vector<FILE*> spills(static_cast<size_t>(nParts), nullptr);
    if (crossText)
        for (int t = 0; t < nParts; ++t) {
            spills[static_cast<size_t>(t)] = tmpfile();
            if (!spills[static_cast<size_t>(t)]) Abort("Error - Could not open a temporary file; %s\n", strerror(errno));
            buffers[static_cast<size_t>(t)] = std::make_unique<CWriteBuffer>();
            buffers[static_cast<size_t>(t)]->SetLargeMem();
            buffers[static_cast<size_t>(t)]->SetFilePointer(spills[static_cast<size_t>(t)]);
        }

    auto start = std::chrono::steady_clock::now();
    // The genome pool is the main thread's: the workers get their storage ready-made.
    for (int i = first; i <= last; ++i) AllocRecChr(b.genomePool, b.genome, &p.indiv[static_cast<size_t>(i)]);
    std::vector<boost::thread> workers;
    workers.reserve(static_cast<size_t>(nParts));
    for (int t = 0; t < nParts; ++t)
        workers.emplace_back([&, t] {
            RunWorkerGuarded([&] {
                CreateAnim_MyThread(b, p, parts[static_cast<size_t>(t)].first, parts[static_cast<size_t>(t)].last,
                                    &generators[static_cast<size_t>(t)], scratch[static_cast<size_t>(t)].data(),
                                    buffers[static_cast<size_t>(t)].get());
            });
        });
    for (boost::thread& w : workers) w.join();
    AbortIfWorkerFailed();
    b.timing.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    b.timing.individuals += last - first + 1;

    if (crossText) {
        for (int t = 0; t < nParts; ++t) {
            AppendSpill(spills[static_cast<size_t>(t)], b.crossoFp);
            buffers[static_cast<size_t>(t)]->SetFilePointer(b.crossoFp);
            buffers[static_cast<size_t>(t)]->Dump();
        }
        MyFflush(b.crossoFp);
    }
}

void Mate(const SBreeding& b, CPopulation& p, int gen, bool rndUg)
{
    const SGenInfo& g = p.genInfo[static_cast<size_t>(gen)];
    const SGenPlan& plan = p.prm.plan[static_cast<size_t>(gen)];
    AssignSex(b.prm.global, p, gen, rndUg);
    SRec* prg = &p.indiv[static_cast<size_t>(g.first)];
    if (rndUg) {
        for (int i = 0; i < g.nPrg; ++i) {
            SRec* sire = p.sires[static_cast<size_t>(IndexBelow(plan.nSires, MyRnd.URand()))];
            SRec* dam = p.dams[static_cast<size_t>(IndexBelow(plan.nDams, MyRnd.URand()))];
            StartProgenyRecord(b, p, prg[i], gen, sire, dam);
        }
    } else {
        int i = 0;
        for (int m = 0; m < b.mating.nMatings; ++m)
            for (int k = 0; k < g.litterSize[static_cast<size_t>(m)]; ++k)
                StartProgenyRecord(b, p, prg[i++], gen, b.mating.list[static_cast<size_t>(m)][0].rec,
                                   b.mating.list[static_cast<size_t>(m)][1].rec);
    }
    MakeProgenyGenomes(b, p, gen, g.first, g.last);
    for (int i = 0; i < g.nPrg; ++i) {
        decltype(SRec::nMPrg) SRec::*count = prg[i].sex == 1 ? &SRec::nMPrg : &SRec::nFPrg;
        prg[i].sire->*count += 1;
        prg[i].dam->*count += 1;
    }
}

}  // namespace

void ProgenySimulator(const SBreeding& b, CPopulation& p, int gen, int first, int last)
{
    const SGenPlan& plan = p.prm.plan[static_cast<size_t>(gen)];
    b.inbred.AddParentTorPed(p.sires.data(), plan.nSires, p.dams.data(), plan.nDams);
    switch (p.prm.md) {
    case kMdRnd:
        RandomMatingDesign(b.mating, p, gen);
        Mate(b, p, gen, false);
        break;
    case kMdRndUg: Mate(b, p, gen, true); break;
    case kMdMinf:
    case kMdMaxf:
        Anneal(b.mating, b.inbred, p, gen, p.prm.md == kMdMaxf);
        Mate(b, p, gen, false);
        break;
    case kMdPAssort:
    case kMdNAssort:
        AssortMatingDesign(b.mating, p, gen);
        Mate(b, p, gen, false);
        break;
    default:
        PW.Warn("Error - Unknown mating design!\n");
        Abort("Error(s) detected!\n");
    }
    if (last >= first) b.inbred.ComputeF(p.indiv[static_cast<size_t>(first)].id, b.prm.global.skip_inbreeding);
}

void FreeChrProgMem(CGenomePool& pool, CPopulation& p, int first, int last)
{
    for (int i = first; i <= last && i < static_cast<int>(p.indiv.size()); ++i) {
        SRec& r = p.indiv[static_cast<size_t>(i)];
        if (r.genomeUse && *r.genomeUse == 0) ReleaseGenome(pool, &r);
    }
}
