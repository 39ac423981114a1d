// The genomic animal model y = 1 mu + a + e of one evaluation, and its two solvers.
//
// Genotyped animals: a = Z beta + u, with Z the marker gene contents centred by twice the allele
// frequency, var(beta) = sigma2g / k (k = sum 2p(1-p)) and u a small independent part of
// variance ridge * sigma2g, so var(a) = G sigma2g with G = ZZ'/k + ridge I (VanRaden's first
// matrix made positive definite). Animals without genotypes (the generation just produced, whose
// genotypes are written after its evaluation) are their parents' mean plus a Mendelian sampling
// term m of variance d * sigma2g, d = 0.5 - 0.25 (F sire + F dam) (0.75 - 0.25 F, or 1, when
// parents are unknown): the single-step covariance for animals without genotyped descendants.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inputs.h"

namespace gblup {

// Marker gene contents (0, 1, 2) of the genotyped animals, one row per animal, with the centres
// 2p of the markers and the scale k = sum 2p(1-p).
struct MarkerMatrix {
    size_t nRow = 0, nMarker = 0;
    std::vector<uint8_t> codes;   // row-major; missing genotypes filled with the nearest of 2p
    std::vector<double> centre;   // 2p per marker
    double scale = 0;             // sum over markers of 2p(1-p)
};

struct Model {
    // Per animal, in the order of the population file.
    std::vector<long> id;
    std::vector<int> sire, dam;         // index of the parent, -1 when unknown or not in the file
    std::vector<int> genoRow;           // row in markers, -1 when not genotyped
    std::vector<double> samplingShare;  // d of an animal without genotypes, 0 otherwise
    std::vector<char> recorded;
    std::vector<double> y;              // phenotype, 0 without a record
    double lambda = 0;                  // sigma2e / sigma2g
    double ridge = 0;
    MarkerMatrix markers;
};

// Matches the animals with their genotypes and sets up the model with the variance ratio
// lambda = sigma2e / sigma2g and the ridge (both above 0). Every animal except those of the
// generation just produced (flag P) must be genotyped.
Model BuildModel(const std::vector<Animal>& animals, Genotypes genotypes, double lambda, double ridge,
                 const std::string& genotypeFile);

// Gene contents with missing genotypes filled and centres computed (exposed for the tests).
MarkerMatrix CentreMarkers(std::vector<uint8_t> codes, size_t nRow, size_t nMarker);

// G = ZZ'/k + ridge I of the genotyped animals.
std::vector<double> GenomicRelationship(const MarkerMatrix& z, double ridge, int threads);
// The same written into a column-major matrix with leading dimension ld: row i of the markers
// goes to row and column slot[i].
void GenomicRelationshipInto(const MarkerMatrix& z, double ridge, int threads, const std::vector<int>& slot,
                             double* out, size_t ld);

// Breeding values (deviations from the mean) of every animal of the model.
struct Solution {
    std::vector<double> ebv;
    double mean = 0;
    int iterations = 0;   // conjugate-gradient iterations (SNP-BLUP)
    bool converged = true;
};

// Dense solve: V = K_rr + lambda I over the recorded animals (K the covariance of all animals,
// G on the genotyped block) by Cholesky, then a = K_.r V^-1 (y - 1 mu).
Solution SolveGblup(const Model& m, int threads);

// The same model on the markers: beta, u, m and mu from the mixed-model equations by
// preconditioned (Jacobi) conjugate gradients; each product passes twice over the genotype bytes.
Solution SolveSnpBlup(const Model& m, int threads, double tolerance = 1e-12);

}  // namespace gblup
