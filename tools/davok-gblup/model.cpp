#include "model.h"

#include <algorithm>
#include <cmath>

namespace gblup {

MarkerMatrix CentreMarkers(std::vector<uint8_t> codes, size_t nRow, size_t nMarker)
{
    MarkerMatrix z;
    z.nRow = nRow;
    z.nMarker = nMarker;
    std::vector<double> sum(nMarker, 0.0), observed(nMarker, 0.0);
    for (size_t i = 0; i < nRow; ++i) {
        const uint8_t* row = &codes[i * nMarker];
        for (size_t j = 0; j < nMarker; ++j)
            if (row[j] != kMissingGenotype) sum[j] += row[j], observed[j] += 1;
    }
    z.centre.resize(nMarker);
    for (size_t j = 0; j < nMarker; ++j) {
        const double p = observed[j] > 0 ? sum[j] / (2 * observed[j]) : 0;
        z.centre[j] = 2 * p;
        z.scale += 2 * p * (1 - p);
    }
    // A missing genotype takes the gene content nearest to the marker's mean.
    for (size_t i = 0; i < nRow; ++i) {
        uint8_t* row = &codes[i * nMarker];
        for (size_t j = 0; j < nMarker; ++j)
            if (row[j] == kMissingGenotype) row[j] = static_cast<uint8_t>(std::lround(z.centre[j]));
    }
    z.codes = std::move(codes);
    return z;
}

namespace {

// d of an animal whose parents are s and d (-1 = unknown), from the parents' inbreeding.
double SamplingShare(const std::vector<Animal>& animals, int s, int d)
{
    const double fs = s < 0 ? -1.0 : animals[static_cast<size_t>(s)].inbreeding;
    const double fd = d < 0 ? -1.0 : animals[static_cast<size_t>(d)].inbreeding;
    // Parents that are both fully inbred leave no Mendelian sampling; a tiny share keeps the
    // equations regular.
    return std::max(0.5 - 0.25 * (fs + fd), 1e-6);
}

}  // namespace

Model BuildModel(const std::vector<Animal>& animals, Genotypes genotypes, double lambda, double ridge,
                 const std::string& genotypeFile)
{
    Model m;
    const size_t n = animals.size();
    std::unordered_map<long, int> index;
    for (size_t i = 0; i < n; ++i) index.emplace(animals[i].id, static_cast<int>(i));
    auto indexOf = [&](long id) {
        auto it = index.find(id);
        return it == index.end() ? -1 : it->second;
    };
    m.lambda = lambda;
    m.ridge = ridge;
    for (size_t i = 0; i < n; ++i) {
        const Animal& a = animals[i];
        m.id.push_back(a.id);
        m.sire.push_back(indexOf(a.sire));
        m.dam.push_back(indexOf(a.dam));
        auto row = genotypes.rowOfId.find(a.id);
        if (row == genotypes.rowOfId.end() && a.flag != 'P')
            throw InputError("Error - Animal " + std::to_string(a.id) + " (generation " + std::to_string(a.generation) +
                             ") has no genotypes in " + genotypeFile +
                             "; only the generation just produced may lack them.");
        m.genoRow.push_back(row == genotypes.rowOfId.end() ? -1 : static_cast<int>(row->second));
        m.samplingShare.push_back(m.genoRow.back() < 0 ? SamplingShare(animals, m.sire.back(), m.dam.back()) : 0.0);
        m.recorded.push_back(a.recorded);
        m.y.push_back(a.recorded ? a.phenotype : 0.0);
    }
    const size_t rows = genotypes.rowOfId.size();
    m.markers = CentreMarkers(std::move(genotypes.codes), rows, genotypes.nMarker);
    if (rows == 0) throw InputError("Error - No animal of the population file has genotypes in " + genotypeFile + ".");
    if (!(m.markers.scale > 0))
        throw InputError("Error - No marker of " + genotypeFile + " is polymorphic among the genotyped animals.");
    return m;
}

}  // namespace gblup
