// VCF 4.2 with phased genotypes (paternal|maternal). Allele labels 1 to 4 are written as the
// bases A, C, G and T (the usual 1234/ACGT recoding), larger labels as symbolic alleles <Lk>;
// the INFO field AL keeps the labels themselves. A locus whose smallest label is above 4 gets
// the reference N, which no animal carries.
#include <set>
#include <string>

#include "export.h"
#include "output_file.h"

namespace {

constexpr char kBases[] = "ACGT";

std::string AlleleText(uint16_t label)
{
    return label >= 1 && label <= 4 ? std::string(1, kBases[label - 1]) : "<L" + std::to_string(label) + ">";
}

// Appends the decimal digits of v.
inline void AppendNumber(std::string& s, unsigned v)
{
    char digits[8];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v > 0);
    while (n > 0) s += digits[--n];
}

class CVcfWriter : public CGenotypeWriter {
public:
    explicit CVcfWriter(const std::string& name) : file(name) {}

    void Begin(const SAnimals& animals, const std::vector<SAnimalInfo>&, const std::vector<SExportLocus>& loci,
               const std::vector<CAlleleSet>& alleles) override
    {
        this->loci = &loci;
        nAnimals = animals.Size();
        FILE* fp = file.Stream();
        fputs("##fileformat=VCFv4.2\n##source=davok-export\n", fp);
        std::set<int> contigs;
        for (const SExportLocus& l : loci)
            if (contigs.insert(l.chr).second) fprintf(fp, "##contig=<ID=%d>\n", l.chr);
        fputs("##INFO=<ID=AL,Number=R,Type=Integer,Description=\"Allele labels of the run (. for an N reference)\">\n"
              "##INFO=<ID=CM,Number=1,Type=Float,Description=\"Map position in cM\">\n",
              fp);
        std::set<uint16_t> symbolic;
        for (const CAlleleSet& a : alleles)
            for (uint16_t label : a.Labels())
                if (label > 4) symbolic.insert(label);
        for (uint16_t label : symbolic) fprintf(fp, "##ALT=<ID=L%d,Description=\"Allele label %d\">\n", label, label);
        fputs("##FORMAT=<ID=GT,Number=1,Type=String,Description=\"Phased genotype: paternal|maternal allele\">\n"
              "#CHROM\tPOS\tID\tREF\tALT\tQUAL\tFILTER\tINFO\tFORMAT",
              fp);
        for (int id : animals.ids) fprintf(fp, "\t%d", id);
        fputc('\n', fp);
    }

    void WriteLocus(size_t l, const CAlleleSet& alleles, const uint8_t* pairs) override
    {
        const SExportLocus& locus = (*loci)[l];
        const std::vector<uint16_t>& labels = alleles.Labels();
        // With an N reference the allele of index i is ALT i; otherwise the first allele is REF.
        const bool nReference = labels.empty() || labels[0] > 4;
        line.clear();
        line += std::to_string(locus.chr) + "\t" + std::to_string(locus.bp) + "\t" + locus.id + "\t";
        std::string alt, al = nReference ? "." : "";
        for (size_t k = 0; k < labels.size(); ++k) {
            if (k > 0 || nReference) alt += (alt.empty() ? "" : ",") + AlleleText(labels[k]);
            al += (al.empty() ? "" : ",") + std::to_string(labels[k]);
        }
        line += (nReference ? "N" : AlleleText(labels[0])) + "\t" + (alt.empty() ? "." : alt) + "\t.\t.\tAL=" + al;
        char cm[32];
        snprintf(cm, sizeof(cm), ";CM=%.5f\tGT", locus.cM);
        line += cm;
        const unsigned shift = nReference ? 0 : 1;
        if (labels.size() - shift <= 9) {
            AppendOneCharGenotypes(pairs, shift, labels.size());
        } else {
            for (size_t a = 0; a < nAnimals; ++a) {
                line += '\t';
                AppendAllele(pairs[2 * a], shift);
                line += '|';
                AppendAllele(pairs[2 * a + 1], shift);
            }
        }
        line += '\n';
        file.Write(line.data(), line.size());
    }

    void Finish() override { file.Commit(); }

private:
    // The genotypes of a locus whose alleles are written as one digit each (index - shift, at most
    // 9, '.' for index 0): four bytes a genotype.
    void AppendOneCharGenotypes(const uint8_t* pairs, unsigned shift, size_t nAlleles)
    {
        char text[11];
        for (size_t i = 0; i <= nAlleles; ++i) text[i] = i == 0 ? '.' : static_cast<char>('0' + i - shift);
        const size_t at = line.size();
        line.resize(at + 4 * nAnimals);
        char* out = &line[at];
        for (size_t a = 0; a < nAnimals; ++a, out += 4) {
            out[0] = '\t';
            out[1] = text[pairs[2 * a]];
            out[2] = '|';
            out[3] = text[pairs[2 * a + 1]];
        }
    }

    void AppendAllele(uint8_t index, unsigned shift)
    {
        if (index == 0)
            line += '.';
        else
            AppendNumber(line, index - shift);
    }

    COutputFile file;
    const std::vector<SExportLocus>* loci = nullptr;  // not owned
    size_t nAnimals = 0;
    std::string line;  // one record, reused
};

}  // namespace

std::unique_ptr<CGenotypeWriter> MakeVcfWriter(const std::string& fileName)
{
    return std::make_unique<CVcfWriter>(fileName);
}
