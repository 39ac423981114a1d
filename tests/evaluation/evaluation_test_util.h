// Helpers of the evaluation tests: the record that stands for an unknown parent in hand-built
// pedigrees, and a dense reference for BLUP: the mixed-model equations y = a + e solved directly,
// with the relationship matrix built by the tabular method.
#pragma once

#include <cmath>
#include <utility>
#include <vector>

#include "genome/records.h"

// Identifier 0 and F = -1, as the engine's own unknown-parent record.
inline SRec* UnknownParent()
{
    static SRec unknown;
    unknown.id = 0;
    unknown.inbF = -1.0;
    return &unknown;
}

// One animal of the reference pedigree; parents precede their progeny (-1 = unknown).
struct SDenseAnimal {
    int sire = -1, dam = -1;
    bool recorded = false;
    double phen = 0;
};

using DenseMatrix = std::vector<std::vector<double>>;

// Additive relationships by the tabular method, inbreeding included.
inline DenseMatrix TabularA(const std::vector<SDenseAnimal>& ped)
{
    const size_t n = ped.size();
    DenseMatrix a(n, std::vector<double>(n, 0.0));
    auto rel = [&a](int i, int j) { return i < 0 || j < 0 ? 0.0 : a[i][j]; };
    for (size_t i = 0; i < n; ++i) {
        const int s = ped[i].sire, d = ped[i].dam;
        for (size_t j = 0; j < i; ++j) a[i][j] = a[j][i] = 0.5 * (rel(static_cast<int>(j), s) + rel(static_cast<int>(j), d));
        a[i][i] = 1.0 + 0.5 * rel(s, d);
    }
    return a;
}

// Solves m x = b by Gaussian elimination with partial pivoting (m and b are consumed).
inline std::vector<double> DenseSolve(DenseMatrix m, std::vector<double> b)
{
    const size_t n = b.size();
    for (size_t c = 0; c < n; ++c) {
        size_t pivot = c;
        for (size_t r = c + 1; r < n; ++r)
            if (std::fabs(m[r][c]) > std::fabs(m[pivot][c])) pivot = r;
        std::swap(m[c], m[pivot]);
        std::swap(b[c], b[pivot]);
        for (size_t r = c + 1; r < n; ++r) {
            const double f = m[r][c] / m[c][c];
            for (size_t k = c; k < n; ++k) m[r][k] -= f * m[c][k];
            b[r] -= f * b[c];
        }
    }
    std::vector<double> x(n);
    for (size_t c = n; c-- > 0;) {
        double s = b[c];
        for (size_t k = c + 1; k < n; ++k) s -= m[c][k] * x[k];
        x[c] = s / m[c][c];
    }
    return x;
}

// BLUP of every animal: the solution of (Z'Z + lambda A^-1) a = Z'y, found from the same
// equations multiplied by A, (A Z'Z + lambda I) a = A Z'y, so no inverse is needed.
inline std::vector<double> DenseBlup(const std::vector<SDenseAnimal>& ped, double lambda)
{
    const size_t n = ped.size();
    const DenseMatrix a = TabularA(ped);
    DenseMatrix c(n, std::vector<double>(n, 0.0));
    std::vector<double> rhs(n, 0.0);
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < n; ++j)
            if (ped[j].recorded) {
                c[i][j] = a[i][j];
                rhs[i] += a[i][j] * ped[j].phen;
            }
        c[i][i] += lambda;
    }
    return DenseSolve(c, rhs);
}
