#include "export.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "progress.h"
#include "row_store.h"
#include "support/messages.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
    bool identity = false;  // one file whose columns are the loci, in order
};

bool Wanted(const SMapLocus& m, ELoci loci)
{
    return loci == ELoci::Both || m.qtl == (loci == ELoci::Qtl);
}

// The number of loci of a genotype file: the run report's count, else that of the first text
// record, else -1.
int ColumnsOfRun(const CRunFolder& run, const SExportOptions& o, const std::string& kind)
{
    const int reported = run.ReportedLoci(kind);
    return reported >= 0 ? reported : CGenotypeSource::CountColumns(run.Path(kind), o.rep, run.Merged());
}

// The loci of a genotype file: its linkage map, or without one the loci numbered in file order
// on the chromosomes of the run report.
std::vector<SMapLocus> LociOf(const CRunFolder& run, const SExportOptions& o, const std::string& kind)
{
    const int columns = ColumnsOfRun(run, o, kind);
    if (run.Exists("lm_" + kind, false)) {
        std::vector<SMapLocus> map = run.ReadMap("lm_" + kind);
        if (columns >= 0 && static_cast<int>(map.size()) < columns)
            Abort("Error - The linkage map [%s] is cut: it lists %zu loci, [%s] holds %d\n",
                  run.Path("lm_" + kind, false).c_str(), map.size(), run.Path(kind).c_str(), columns);
        return map;
    }
    if (columns < 0)
        Abort("Error - The number of loci of [%s] is unknown without the linkage map [%s] or the run report\n",
              run.Path(kind).c_str(), run.Path("lm_" + kind, false).c_str());
    return run.UnmappedLoci(kind, columns);
}

void AddSource(SPlan& plan, const CRunFolder& run, const SExportOptions& o, const std::string& kind, bool codes)
{
    const std::vector<SMapLocus> map = LociOf(run, o, kind);
    const int source = static_cast<int>(plan.sources.size());
    plan.sources.push_back(std::make_unique<CGenotypeSource>(run.Path(kind), static_cast<int>(map.size()), o.rep,
                                                             run.Merged(), codes));
    for (size_t c = 0; c < map.size(); ++c)
        if (Wanted(map[c], o.loci))
            plan.loci.push_back({map[c].id, map[c].chr, map[c].cM, source, static_cast<int>(c), BasePosition(map[c].cM)});
}

// Without a map every locus lies at 0 cM: the base-pair positions number the loci of a chromosome.
void NumberUnmappedPositions(std::vector<SExportLocus>& loci, bool mapped)
{
    if (mapped) return;
    for (size_t l = 0; l < loci.size(); ++l) loci[l].bp = l > 0 && loci[l - 1].chr == loci[l].chr ? loci[l - 1].bp + 1 : 1;
}

SPlan PlanLoci(const CRunFolder& run, const SExportOptions& o)
{
    SPlan plan;
    bool mapped = true;
    if (run.Exists("mrk_qtl")) {
        mapped = run.Exists("lm_mrk_qtl", false);
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
            mapped = mapped && run.Exists(std::string("lm_") + kind, false);
            AddSource(plan, run, o, kind, false);
        }
        // Markers and QTL of separate files merge into genome order; a marker goes first at a tie.
        std::stable_sort(plan.loci.begin(), plan.loci.end(), [](const SExportLocus& a, const SExportLocus& b) {
            return a.chr != b.chr ? a.chr < b.chr : a.cM < b.cM;
        });
    }
    if (plan.loci.empty()) Abort("Error - The genotype files of population \"%s\" hold none of the loci asked for\n", run.Pop().c_str());
    NumberUnmappedPositions(plan.loci, mapped);
    plan.identity = plan.sources.size() == 1 && plan.loci.size() == static_cast<size_t>(plan.sources[0]->Columns());
    return plan;
}

const SAnimalInfo* FindAnimal(const std::vector<SAnimalInfo>& info, int id)
{
    const auto it = std::lower_bound(info.begin(), info.end(), id, [](const SAnimalInfo& a, int v) { return a.id < v; });
    return it != info.end() && it->id == id ? &*it : nullptr;
}

// Genotypes as the reading stores them, the most compact form the labels allow: .bed codes of
// four animals a byte when every label is 0, 1 or 2 and the format takes .bed rows; else a byte
// per genotype, paternal label + 16 x maternal, while every label is 15 at most; else the two
// 16-bit labels of every genotype.
enum class EStoreForm { Bed, Nibbles, Labels };

// Bytes a genotype takes in a store of labels.
size_t GenotypeBytes(EStoreForm form)
{
    return form == EStoreForm::Labels ? 4 : 1;
}

// The single reading of the genotype files: picks the animals of the generations asked for and
// appends their genotypes to the store, locus by locus in export order.
class CReader {
public:
    CReader(SPlan& plan, const std::vector<SAnimalInfo>& info, const SExportOptions& o, CRowStore& store,
            CProgress& progress)
        : plan(plan), info(info), o(o), store(store), progress(progress)
    {
    }

    // False when a label is too large for the form: above 2 for .bed codes, above 15 for nibbles.
    bool Read(EStoreForm form, SAnimals& animals, std::vector<CAlleleSet>& alleles);

private:
    bool NextAnimal(int& id);
    bool AppendBed(size_t animal);
    bool AppendNibbles();
    void AppendLabels(std::vector<CAlleleSet>& alleles);

    SPlan& plan;
    const std::vector<SAnimalInfo>& info;
    const SExportOptions& o;
    CRowStore& store;
    CProgress& progress;
    std::vector<std::vector<uint8_t>> codes;    // per file, the .bed codes or nibble pairs of the record
    std::vector<std::vector<uint16_t>> pairs;   // per file, the labels of the record
    std::vector<uint8_t> row;                   // the row being filled
    std::vector<uint16_t> seen;                 // nibble store: bit a of a locus set when label a occurs
};

// The identifier of the next record of every file, which must agree; false after the last.
bool CReader::NextAnimal(int& id)
{
    const bool more = plan.sources[0]->NextId(id);
    for (size_t s = 1; s < plan.sources.size(); ++s) {
        int other = 0;
        if (plan.sources[s]->NextId(other) != more || (more && other != id))
            Abort("Error - [%s] and [%s] do not hold the same animals (animal %d)\n", plan.sources[0]->Path().c_str(),
                  plan.sources[s]->Path().c_str(), id);
    }
    return more;
}

// Ors the animal's codes into the row of its group of four; the row is stored when full.
bool CReader::AppendBed(size_t animal)
{
    const unsigned shift = 2 * (animal % 4);
    uint8_t* out = row.data();
    if (plan.identity) {
        if (!plan.sources[0]->ReadBedCodes(out, shift)) return false;
    } else {
        for (size_t s = 0; s < plan.sources.size(); ++s) {
            std::fill(codes[s].begin(), codes[s].end(), 0);
            if (!plan.sources[s]->ReadBedCodes(codes[s].data(), 0)) return false;
        }
        for (size_t l = 0; l < plan.loci.size(); ++l)
            out[l] = static_cast<uint8_t>(out[l] | codes[static_cast<size_t>(plan.loci[l].source)][static_cast<size_t>(plan.loci[l].column)] << shift);
    }
    if (shift == 6) {
        store.Append(out);
        std::fill(row.begin(), row.end(), 0);
    }
    return true;
}

// The bits of the two labels of a nibble pair.
struct SNibbleBits {
    uint16_t of[256];
    SNibbleBits()
    {
        for (unsigned g = 0; g < 256; ++g) of[g] = static_cast<uint16_t>(1u << (g & 15) | 1u << (g >> 4));
    }
};

bool CReader::AppendNibbles()
{
    static const SNibbleBits bits;
    uint8_t* out = row.data();
    if (plan.identity) {
        if (!plan.sources[0]->ReadNibblePairs(out)) return false;
    } else {
        for (size_t s = 0; s < plan.sources.size(); ++s)
            if (!plan.sources[s]->ReadNibblePairs(codes[s].data())) return false;
        for (size_t l = 0; l < plan.loci.size(); ++l)
            out[l] = codes[static_cast<size_t>(plan.loci[l].source)][static_cast<size_t>(plan.loci[l].column)];
    }
    for (size_t l = 0; l < plan.loci.size(); ++l) seen[l] = static_cast<uint16_t>(seen[l] | bits.of[out[l]]);
    store.Append(out);
    return true;
}

void CReader::AppendLabels(std::vector<CAlleleSet>& alleles)
{
    for (size_t s = 0; s < plan.sources.size(); ++s) plan.sources[s]->ReadPairs(pairs[s].data());
    uint16_t* out = reinterpret_cast<uint16_t*>(row.data());
    for (size_t l = 0; l < plan.loci.size(); ++l) {
        const uint16_t* p = pairs[static_cast<size_t>(plan.loci[l].source)].data() + 2 * plan.loci[l].column;
        out[2 * l] = p[0];
        out[2 * l + 1] = p[1];
        alleles[l].Add(p[0]);
        alleles[l].Add(p[1]);
    }
    store.Append(row.data());
}

bool CReader::Read(EStoreForm form, SAnimals& animals, std::vector<CAlleleSet>& alleles)
{
    const size_t nSources = plan.sources.size();
    codes.resize(nSources);
    pairs.resize(nSources);
    for (size_t s = 0; s < nSources; ++s) {
        plan.sources[s]->Rewind();
        const size_t columns = static_cast<size_t>(plan.sources[s]->Columns());
        codes[s].resize(columns);
        pairs[s].resize(2 * columns);
    }
    row.assign(plan.loci.size() * GenotypeBytes(form), 0);
    seen.assign(form == EStoreForm::Nibbles ? plan.loci.size() : 0, 0);
    store.Reset(row.size());
    animals = SAnimals();
    alleles.assign(plan.loci.size(), CAlleleSet());
    std::vector<int> perGen(o.gens.size(), 0);
    for (int id = 0; NextAnimal(id);) {
        progress.Show(0.8 * plan.sources[0]->Done(), "reading");
        const SAnimalInfo* a = FindAnimal(info, id);
        const auto g = o.gens.empty() || !a ? o.gens.end() : std::find(o.gens.begin(), o.gens.end(), a->gen);
        if (!o.gens.empty() && g == o.gens.end()) {
            for (auto& source : plan.sources) source->SkipRecord();
            continue;
        }
        if (g != o.gens.end()) ++perGen[static_cast<size_t>(g - o.gens.begin())];
        if (form == EStoreForm::Labels)
            AppendLabels(alleles);
        else if (!(form == EStoreForm::Bed ? AppendBed(animals.Size()) : AppendNibbles()))
            return false;
        animals.ids.push_back(id);
        animals.info.push_back(a ? static_cast<int>(a - info.data()) : -1);
    }
    if (form == EStoreForm::Bed && animals.Size() % 4 != 0) store.Append(row.data());
    for (size_t l = 0; l < seen.size(); ++l)
        for (uint16_t a = 0; a < 16; ++a)
            if (seen[l] >> a & 1) alleles[l].Add(a);
    for (size_t k = 0; k < o.gens.size(); ++k)
        if (perGen[k] == 0)
            Abort("Error - Generation %d has no genotyped animals in [%s]\n", o.gens[k], plan.sources[0]->Path().c_str());
    if (animals.Size() == 0) Abort("Error - [%s] holds no genotyped animals\n", plan.sources[0]->Path().c_str());
    return true;
}

// The alleles among a locus's .bed codes (label 1 as A2, label 2 as A1); a locus where only
// label 2 occurs gets its homozygotes recoded, as 2 is then A2.
CAlleleSet AllelesOfBedRow(uint8_t* row, size_t nAnimals)
{
    const size_t bytes = (nAnimals + 3) / 4;
    // Pairs of the last byte beyond the last animal are 00 and count for nothing.
    const uint8_t lastValid = static_cast<uint8_t>(nAnimals % 4 == 0 ? 0xFF : (1u << (2 * (nAnimals % 4))) - 1);
    uint8_t high = 0, lowClear = 0;
    for (size_t k = 0; k + 1 < bytes; ++k) {
        high |= row[k];
        lowClear |= static_cast<uint8_t>(~row[k]);
    }
    high |= row[bytes - 1];
    lowClear |= static_cast<uint8_t>(~row[bytes - 1] & lastValid);
    CAlleleSet alleles;
    const bool has1 = (high & 0xAA) != 0;  // a 11 or 10
    const bool has2 = (lowClear & 0x55) != 0;  // a 00 or 10
    if (has1) alleles.Add(1);
    if (has2) alleles.Add(2);
    alleles.Seal();
    if (has2 && !has1)
        for (size_t k = 0; k < bytes; ++k) {
            const uint8_t valid = k + 1 < bytes ? 0xFF : lastValid;
            row[k] = static_cast<uint8_t>(row[k] ^ ((~row[k] & 0x55 & valid) * 3));
        }
    return alleles;
}

// Loci turned from rows into columns at a time: enough to read the stored rows in long
// stretches, few enough that the columns being filled stay in the processor's cache.
constexpr size_t kLociPerRange = 2048;

#if defined(__SSE2__)
// 16 rows of 16 bytes (from `in`, `stride` apart) written as 16 columns, column j at out + j * n:
// four rounds of interleaving row k with row k + 8 turn a 16 x 16 byte matrix.
inline void Transpose16(const uint8_t* in, size_t stride, uint8_t* out, size_t n)
{
    __m128i x[16], y[16];
    for (size_t k = 0; k < 16; ++k) x[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k * stride));
    for (int round = 0; round < 4; ++round) {
        for (int k = 0; k < 8; ++k) {
            y[2 * k] = _mm_unpacklo_epi8(x[k], x[k + 8]);
            y[2 * k + 1] = _mm_unpackhi_epi8(x[k], x[k + 8]);
        }
        std::copy(y, y + 16, x);
    }
    for (size_t j = 0; j < 16; ++j) _mm_storeu_si128(reinterpret_cast<__m128i*>(out + j * n), x[j]);
}
#endif

// Bytes from..from+width-1 of every row turned into columns: out[j * rows.size() + r] =
// rows[r][from + j]. Sixteen rows at a time are copied whole into a buffer that stays in the
// cache (each row is then read in one stretch) and turned there in 16 x 16 tiles.
void Transpose(const std::vector<const uint8_t*>& rows, size_t from, size_t width, uint8_t* out)
{
    constexpr size_t kTile = 16;
    const size_t n = rows.size(), stride = width + 64;  // rows of the buffer off the 4 kB alignment
    std::vector<uint8_t> near(kTile * stride);
    for (size_t r0 = 0; r0 < n; r0 += kTile) {
        const size_t r1 = std::min(n, r0 + kTile);
        for (size_t r = r0; r < r1; ++r) memcpy(near.data() + (r - r0) * stride, rows[r] + from, width);
        size_t j0 = 0;
#if defined(__SSE2__)
        if (r1 - r0 == kTile)
            for (; j0 + kTile <= width; j0 += kTile) Transpose16(near.data() + j0, stride, out + j0 * n + r0, n);
#endif
        for (size_t j = j0; j < width; ++j)
            for (size_t r = r0; r < r1; ++r) out[j * n + r] = near[(r - r0) * stride + j];
    }
}

// Hands the writer the loci of a .bed store: each range of loci of the group rows turned into
// one .bed row per locus.
void WriteBedStore(CRowStore& store, size_t nLoci, size_t nAnimals, long long memoryBytes, CBedRowWriter& writer,
                   CProgress& progress)
{
    const size_t groups = store.Rows();
    std::vector<uint8_t> columns(std::min(kLociPerRange, nLoci) * groups);
    std::vector<const uint8_t*> rows(groups);
    store.ForEachRange(kLociPerRange, 1, static_cast<size_t>(memoryBytes) / 4,
                       [&](size_t g, const uint8_t* data, size_t c0, size_t c1) {
                           rows[g] = data;
                           if (g + 1 < groups) return;
                           Transpose(rows, 0, c1 - c0, columns.data());
                           for (size_t l = c0; l < c1; ++l) {
                               uint8_t* row = columns.data() + (l - c0) * groups;
                               writer.WriteBedRow(l, AllelesOfBedRow(row, nAnimals), row);
                           }
                           progress.Show(0.8 + 0.2 * static_cast<double>(c1) / static_cast<double>(nLoci), "writing");
                       });
}

// The allele indices (paternal, then maternal byte) of a stored genotype of two 16-bit labels.
inline uint16_t IndexPairOfLabels(const CAlleleSet& alleles, const uint8_t* genotype)
{
    uint16_t pair[2];
    memcpy(pair, genotype, 4);
    return static_cast<uint16_t>(alleles.Index(pair[0]) | alleles.Index(pair[1]) << 8);
}

// Turns the genotypes of loci l0..l1-1 of every row (`bytes` a genotype) into allele indices:
// block[(l - l0) * 2 * rows.size() + 2 * a] paternal, + 1 maternal. Nibble pairs are turned
// locus-major a stretch of loci at a time and looked up in a table of the locus; 16-bit labels
// are looked up sixteen animals at a time, so that the lines of the block being filled stay in
// the cache.
void IndexBlock(const std::vector<const uint8_t*>& rows, size_t bytes, const std::vector<CAlleleSet>& alleles,
                size_t l0, size_t l1, uint8_t* block)
{
    const size_t n = rows.size();
    if (bytes == 4) {
        for (size_t a0 = 0; a0 < n; a0 += 16)
            for (size_t l = l0; l < l1; ++l)
                for (size_t a = a0; a < std::min(n, a0 + 16); ++a) {
                    const uint16_t pair = IndexPairOfLabels(alleles[l], rows[a] + (l - l0) * 4);
                    memcpy(block + (l - l0) * 2 * n + 2 * a, &pair, 2);
                }
        return;
    }
    constexpr size_t kStretch = 256;
    std::vector<uint8_t> columns(std::min(kStretch, l1 - l0) * n);
    uint16_t table[256];
    for (size_t t0 = l0; t0 < l1; t0 += kStretch) {
        const size_t t1 = std::min(l1, t0 + kStretch);
        Transpose(rows, t0 - l0, t1 - t0, columns.data());
        for (size_t l = t0; l < t1; ++l) {
            for (unsigned g = 0; g < 256; ++g)
                table[g] = static_cast<uint16_t>(alleles[l].Index(g & 15) | alleles[l].Index(static_cast<uint16_t>(g >> 4)) << 8);
            const uint8_t* column = columns.data() + (l - t0) * n;
            uint8_t* cell = block + (l - l0) * 2 * n;
            for (size_t a = 0; a < n; ++a) memcpy(cell + 2 * a, &table[column[a]], 2);
        }
    }
}

// Hands the writer the loci of a store of labels (genotypes of `bytes` bytes: a nibble pair or
// two 16-bit labels): for a range of loci at a time, the allele indices of every animal.
void WriteLabelStore(CRowStore& store, size_t bytes, const std::vector<CAlleleSet>& alleles, size_t nAnimals,
                     long long memoryBytes, CGenotypeWriter& writer, CProgress& progress)
{
    const size_t nLoci = alleles.size();
    const size_t perRange = std::clamp<size_t>(static_cast<size_t>(memoryBytes) / 4 / (2 * nAnimals), 1, nLoci);
    std::vector<uint8_t> block(perRange * 2 * nAnimals);
    std::vector<const uint8_t*> rows(nAnimals);
    store.ForEachRange(bytes * perRange, bytes, static_cast<size_t>(memoryBytes) / 4,
                       [&](size_t a, const uint8_t* data, size_t c0, size_t c1) {
                           rows[a] = data;
                           if (a + 1 < nAnimals) return;
                           const size_t l0 = c0 / bytes, l1 = c1 / bytes;
                           IndexBlock(rows, bytes, alleles, l0, l1, block.data());
                           for (size_t l = l0; l < l1; ++l) writer.WriteLocus(l, alleles[l], block.data() + (l - l0) * 2 * nAnimals);
                           progress.Show(0.8 + 0.2 * static_cast<double>(l1) / static_cast<double>(nLoci), "writing");
                       });
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
    CProgress progress;
    const CRunFolder run(o);
    const std::vector<SAnimalInfo> info = run.ReadAnimals();
    if (!o.gens.empty() && info.empty())
        Abort("Error - --gen needs the data file [%s]: add data to the population's output\n", run.Path("data").c_str());
    SPlan plan = PlanLoci(run, o);
    const std::string out = o.out.empty() ? DefaultOutput(run, o) : o.out;
    std::unique_ptr<CGenotypeWriter> writer =
        o.format == EFormat::Plink ? MakePlinkWriter(out, run.Pop()) : MakeVcfWriter(out == "-" ? out : out + ".vcf");

    // The store holds three quarters of --memory, the reading back of its file part the rest.
    CRowStore store(0, static_cast<size_t>(o.memoryBytes) / 4 * 3);
    CReader reader(plan, info, o, store, progress);
    SAnimals animals;
    std::vector<CAlleleSet> alleles;
    CBedRowWriter* bedRows = writer->BedRows();
    // A label too large for the store's form ends the reading: the files are read again into the
    // next form.
    EStoreForm form = bedRows ? EStoreForm::Bed : EStoreForm::Nibbles;
    while (!reader.Read(form, animals, alleles)) form = form == EStoreForm::Bed ? EStoreForm::Nibbles : EStoreForm::Labels;
    if (form != EStoreForm::Bed) {
        for (CAlleleSet& a : alleles) a.Seal();
        for (size_t l = 0; l < plan.loci.size(); ++l)
            if (alleles[l].Count() > 254)
                Abort("Error - Locus %s has %d alleles; at most 254 can be exported\n", plan.loci[l].id.c_str(), alleles[l].Count());
    }
    writer->Begin(animals, info, plan.loci, alleles);
    if (form == EStoreForm::Bed)
        WriteBedStore(store, plan.loci.size(), animals.Size(), o.memoryBytes, *bedRows, progress);
    else
        WriteLabelStore(store, GenotypeBytes(form), alleles, animals.Size(), o.memoryBytes, *writer, progress);
    writer->Finish();
    fprintf(stderr, "%s: %zu animals, %zu loci of population \"%s\", replicate %d\n", out.c_str(), animals.Size(),
            plan.loci.size(), run.Pop().c_str(), o.rep);
}
