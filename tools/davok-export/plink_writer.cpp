// PLINK binary files: the .fam of the animals, the .bim of the loci with at most two alleles
// and the SNP-major .bed. A1 (the allele counted by PLINK) is the larger allele label, A2 the
// smaller one, both written as the run's labels so that frequencies compare with the run's own.
#include <algorithm>
#include <cctype>
#include <string>

#include "export.h"
#include "output_file.h"
#include "support/messages.h"

namespace {

constexpr unsigned char kBedMagic[3] = {0x6c, 0x1b, 0x01};  // PLINK binary, SNP-major

// 2-bit .bed code of a genotype by its allele indices (1 = A2, 2 = A1, 0 = missing):
// 00 A1/A1, 01 missing, 10 A1/A2, 11 A2/A2. Loci of the .bed have no index above 2.
constexpr uint8_t kBedCode[3][3] = {{1, 1, 1}, {1, 3, 2}, {1, 2, 0}};

class CPlinkWriter : public CGenotypeWriter, public CBedRowWriter {
public:
    CPlinkWriter(const std::string& prefix, const std::string& pop)
        : prefix(prefix), pop(pop), bed(prefix + ".bed"), bim(prefix + ".bim"), fam(prefix + ".fam")
    {
    }

    void Begin(const SAnimals& animals, const std::vector<SAnimalInfo>& info, const std::vector<SExportLocus>& loci,
               const std::vector<CAlleleSet>&) override
    {
        this->loci = &loci;
        for (size_t a = 0; a < animals.Size(); ++a) WriteFamLine(animals.ids[a], animals.info[a] < 0 ? nullptr : &info[static_cast<size_t>(animals.info[a])]);
        bed.Write(kBedMagic, sizeof(kBedMagic));
        packed.resize((animals.Size() + 3) / 4);
    }

    CBedRowWriter* BedRows() override { return this; }

    void WriteLocus(size_t locus, const CAlleleSet& alleles, const uint8_t* pairs) override
    {
        if (alleles.Count() > 2) {
            ++skipped;
            return;
        }
        std::fill(packed.begin(), packed.end(), 0);
        for (size_t a = 0; a < nAnimals; ++a)
            packed[a / 4] = static_cast<uint8_t>(packed[a / 4] | kBedCode[pairs[2 * a]][pairs[2 * a + 1]] << (2 * (a % 4)));
        WriteBedRow(locus, alleles, packed.data());
    }

    void WriteBedRow(size_t locus, const CAlleleSet& alleles, const uint8_t* row) override
    {
        const std::vector<uint16_t>& labels = alleles.Labels();
        const std::string a2 = labels.empty() ? "0" : std::to_string(labels[0]);
        const std::string a1 = labels.size() < 2 ? "0" : std::to_string(labels[1]);
        const SExportLocus& l = (*loci)[locus];
        fprintf(bim.Stream(), "%d\t%s\t%.5f\t%lld\t%s\t%s\n", l.chr, l.id.c_str(), l.cM, static_cast<long long>(l.bp),
                a1.c_str(), a2.c_str());
        bed.Write(row, packed.size());
    }

    void Finish() override
    {
        bed.Commit();
        bim.Commit();
        fam.Commit();
        if (skipped > 0) {
            Warn("Warning - %d loci with more than two alleles are left out of [%s.bed]\n", skipped, prefix.c_str());
            ++NoWarn;
        }
    }

private:
    void WriteFamLine(int id, const SAnimalInfo* a)
    {
        ++nAnimals;
        fprintf(fam.Stream(), "%s\t%d\t%d\t%d\t%d\t", pop.c_str(), id, a ? a->sire : 0, a ? a->dam : 0,
                !a ? 0 : a->sex == 'M' ? 1 : 2);
        if (a && a->hasPhen)
            fprintf(fam.Stream(), "%.6f\n", a->phen);
        else
            fputs("-9\n", fam.Stream());
    }

    std::string prefix, pop;
    COutputFile bed, bim, fam;
    const std::vector<SExportLocus>* loci = nullptr;  // not owned
    std::vector<uint8_t> packed;    // one locus of the .bed
    size_t nAnimals = 0;
    int skipped = 0;                // loci left out
};

}  // namespace

std::unique_ptr<CGenotypeWriter> MakePlinkWriter(const std::string& prefix, const std::string& pop)
{
    // The family column of a .fam is one word.
    std::string family = pop;
    std::replace_if(family.begin(), family.end(), [](char c) { return isspace(static_cast<unsigned char>(c)) != 0; }, '_');
    return std::make_unique<CPlinkWriter>(prefix, family);
}
