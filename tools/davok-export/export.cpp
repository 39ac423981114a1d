#include "export.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/messages.h"

int64_t BasePosition(double cM)
{
    const int64_t bp = std::max<int64_t>(1, std::llround(cM * 1e6));
    if (bp > 2147483647) Abort("Error - Position %.5f cM is beyond the 2,147,483,647 bp of the output formats\n", cM);
    return bp;
}

void CAlleleSet::Seal()
{
    labels.clear();
    for (uint16_t a = 1; a < 64; ++a) {
        if (mask >> a & 1) labels.push_back(a);
        rank[a] = static_cast<uint8_t>(labels.size());  // the rank of a when present
    }
    labels.insert(labels.end(), large.begin(), large.end());
}

int CAlleleSet::IndexOfLarge(uint16_t label) const
{
    return static_cast<int>(std::lower_bound(labels.begin(), labels.end(), label) - labels.begin()) + 1;
}

void CAlleleSet::AddLarge(uint16_t label)
{
    const auto it = std::lower_bound(large.begin(), large.end(), label);
    if (it == large.end() || *it != label) large.insert(it, label);
}

namespace {

// The genotype files to read and the loci to export from them, in genome order.
struct SPlan {
    std::vector<std::unique_ptr<CGenotypeSource>> sources;
    std::vector<SExportLocus> loci;
};

bool Wanted(const SMapLocus& m, ELoci loci)
{
    return loci == ELoci::Both || m.qtl == (loci == ELoci::Qtl);
}

void AddSource(SPlan& plan, const CRunFolder& run, const SExportOptions& o, const std::string& kind, bool codes)
{
    const std::vector<SMapLocus> map = run.ReadMap("lm_" + kind);
    const int source = static_cast<int>(plan.sources.size());
    plan.sources.push_back(std::make_unique<CGenotypeSource>(run.Path(kind), static_cast<int>(map.size()), o.rep,
                                                             run.Merged(), codes));
    for (size_t c = 0; c < map.size(); ++c)
        if (Wanted(map[c], o.loci)) plan.loci.push_back({map[c].id, map[c].chr, map[c].cM, source, static_cast<int>(c)});
}

SPlan PlanLoci(const CRunFolder& run, const SExportOptions& o)
{
    SPlan plan;
    if (run.Exists("mrk_qtl")) {
        AddSource(plan, run, o, "mrk_qtl", true);
    } else {
        for (const char* kind : {"mrk", "qtl"}) {
            const bool qtl = kind[0] == 'q';
            if (o.loci != ELoci::Both && qtl != (o.loci == ELoci::Qtl)) continue;
            if (!run.Exists(kind)) {
                if (o.loci == ELoci::Both) continue;
                Abort("Error - No %s genotypes of population \"%s\": [%s] does not exist\n", qtl ? "QTL" : "marker",
                      run.Pop().c_str(), run.Path(kind).c_str());
            }
            AddSource(plan, run, o, kind, false);
        }
        // Markers and QTL of separate files merge into genome order; a marker goes first at a tie.
        std::stable_sort(plan.loci.begin(), plan.loci.end(), [](const SExportLocus& a, const SExportLocus& b) {
            return a.chr != b.chr ? a.chr < b.chr : a.cM < b.cM;
        });
    }
    if (plan.loci.empty()) Abort("Error - The genotype files of population \"%s\" hold none of the loci asked for\n", run.Pop().c_str());
    return plan;
}

const SAnimalInfo* FindAnimal(const std::vector<SAnimalInfo>& info, int id)
{
    const auto it = std::lower_bound(info.begin(), info.end(), id, [](const SAnimalInfo& a, int v) { return a.id < v; });
    return it != info.end() && it->id == id ? &*it : nullptr;
}

// Reads every record once: picks the animals of the generations asked for, remembers where their
// genotypes start and collects the alleles of every exported locus.
SAnimals ScanAnimals(SPlan& plan, const std::vector<SAnimalInfo>& info, const SExportOptions& o,
                     std::vector<CAlleleSet>& alleles)
{
    const size_t nSources = plan.sources.size();
    SAnimals animals;
    animals.offset.resize(nSources);
    std::vector<std::vector<uint16_t>> pairs(nSources);
    for (size_t s = 0; s < nSources; ++s) pairs[s].resize(2 * static_cast<size_t>(plan.sources[s]->Columns()));
    std::vector<int> perGen(o.gens.size(), 0);
    std::vector<int64_t> offset(nSources);
    for (;;) {
        int id = 0;
        const bool more = plan.sources[0]->NextId(id);
        for (size_t s = 1; s < nSources; ++s) {
            int other = 0;
            if (plan.sources[s]->NextId(other) != more || (more && other != id))
                Abort("Error - [%s] and [%s] do not hold the same animals (animal %d)\n", plan.sources[0]->Path().c_str(),
                      plan.sources[s]->Path().c_str(), id);
        }
        if (!more) break;
        const SAnimalInfo* a = FindAnimal(info, id);
        const auto g = o.gens.empty() || !a ? o.gens.end() : std::find(o.gens.begin(), o.gens.end(), a->gen);
        if (!o.gens.empty() && g == o.gens.end()) {
            for (auto& source : plan.sources) source->SkipRecord();
            continue;
        }
        if (g != o.gens.end()) ++perGen[static_cast<size_t>(g - o.gens.begin())];
        for (size_t s = 0; s < nSources; ++s) plan.sources[s]->ReadRecord(offset[s], pairs[s].data());
        animals.ids.push_back(id);
        animals.info.push_back(a ? static_cast<int>(a - info.data()) : -1);
        for (size_t s = 0; s < nSources; ++s) animals.offset[s].push_back(offset[s]);
        for (size_t l = 0; l < plan.loci.size(); ++l) {
            const uint16_t* p = pairs[static_cast<size_t>(plan.loci[l].source)].data() + 2 * plan.loci[l].column;
            alleles[l].Add(p[0]);
            alleles[l].Add(p[1]);
        }
    }
    for (size_t k = 0; k < o.gens.size(); ++k)
        if (perGen[k] == 0)
            Abort("Error - Generation %d has no genotyped animals in [%s]\n", o.gens[k], plan.sources[0]->Path().c_str());
    if (animals.Size() == 0) Abort("Error - [%s] holds no genotyped animals\n", plan.sources[0]->Path().c_str());
    return animals;
}

// Hands the writer the loci block by block: each block holds the genotypes of as many loci as
// the memory bound allows, read animal by animal from the offsets of the scan.
void WriteBlocks(SPlan& plan, SAnimals& animals, const std::vector<CAlleleSet>& alleles, long long memoryBytes,
                 CGenotypeWriter& writer)
{
    const size_t n = animals.Size();
    const size_t nLoci = plan.loci.size();
    const size_t perBlock = std::clamp<size_t>(static_cast<size_t>(memoryBytes) / (2 * n), 1, nLoci);
    std::vector<uint8_t> block(perBlock * 2 * n);
    const size_t nSources = plan.sources.size();
    std::vector<int> at(nSources, 0), first(nSources), end(nSources);
    std::vector<std::vector<uint16_t>> pairs(nSources);
    for (size_t b0 = 0; b0 < nLoci; b0 += perBlock) {
        const size_t b1 = std::min(nLoci, b0 + perBlock);
        std::fill(first.begin(), first.end(), -1);
        for (size_t l = b0; l < b1; ++l) {
            const auto s = static_cast<size_t>(plan.loci[l].source);
            if (first[s] < 0) first[s] = plan.loci[l].column;
            end[s] = plan.loci[l].column + 1;
        }
        for (size_t s = 0; s < nSources; ++s)
            if (first[s] >= 0) pairs[s].resize(2 * static_cast<size_t>(end[s] - first[s]));
        for (size_t a = 0; a < n; ++a) {
            for (size_t s = 0; s < nSources; ++s)
                if (first[s] >= 0) plan.sources[s]->ReadColumns(animals.offset[s][a], at[s], first[s], end[s], pairs[s].data());
            for (size_t l = b0; l < b1; ++l) {
                const SExportLocus& locus = plan.loci[l];
                const uint16_t* p = pairs[static_cast<size_t>(locus.source)].data() + 2 * (locus.column - first[static_cast<size_t>(locus.source)]);
                uint8_t* cell = block.data() + (l - b0) * 2 * n + 2 * a;
                cell[0] = static_cast<uint8_t>(alleles[l].Index(p[0]));
                cell[1] = static_cast<uint8_t>(alleles[l].Index(p[1]));
            }
        }
        for (size_t s = 0; s < nSources; ++s)
            if (first[s] >= 0) at[s] = end[s];
        for (size_t l = b0; l < b1; ++l) writer.WriteLocus(l, block.data() + (l - b0) * 2 * n);
    }
}

std::string DefaultOutput(const CRunFolder& run, const SExportOptions& o)
{
    char rep[16];
    snprintf(rep, sizeof(rep), "_%03d", o.rep);
    return run.Pop() + rep;
}

}  // namespace

void Export(const SExportOptions& o)
{
    const CRunFolder run(o);
    const std::vector<SAnimalInfo> info = run.ReadAnimals();
    if (!o.gens.empty() && info.empty())
        Abort("Error - --gen needs the data file [%s]: add data to the population's output\n", run.Path("data").c_str());
    SPlan plan = PlanLoci(run, o);
    std::vector<CAlleleSet> alleles(plan.loci.size());
    SAnimals animals = ScanAnimals(plan, info, o, alleles);
    for (CAlleleSet& a : alleles) a.Seal();
    for (size_t l = 0; l < plan.loci.size(); ++l)
        if (alleles[l].Count() > 254)
            Abort("Error - Locus %s has %d alleles; at most 254 can be exported\n", plan.loci[l].id.c_str(), alleles[l].Count());

    const std::string out = o.out.empty() ? DefaultOutput(run, o) : o.out;
    std::unique_ptr<CGenotypeWriter> writer =
        o.format == EFormat::Plink ? MakePlinkWriter(out, run.Pop()) : MakeVcfWriter(out == "-" ? out : out + ".vcf");
    writer->Begin(animals, info, plan.loci, alleles);
    WriteBlocks(plan, animals, alleles, o.memoryBytes, *writer);
    writer->Finish();
    fprintf(stderr, "%s: %zu animals, %zu loci of population \"%s\", replicate %d\n", out.c_str(), animals.Size(),
            plan.loci.size(), run.Pop().c_str(), o.rep);
}
