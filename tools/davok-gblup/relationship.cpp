// VanRaden's G from the gene contents. The products of the raw contents (0, 1, 2) are integers
// below 2^24 for up to four million markers, so they are accumulated exactly in single precision
// at the speed of float matrix products; the centring is applied afterwards in double precision:
// (m_i - c)(m_k - c)' = m_i m_k' - m_i c - m_k c + c c.
#include <Eigen/Dense>
#include <cmath>

#include "model.h"
#include "parallel.h"

namespace gblup {

namespace {

constexpr size_t kBlockWidth = 1024;  // markers converted to float at a time

// Adds the products of one block of converted rows to the lower triangle of acc. Two threads
// share the triangle: rows [0, r) take the upper-left triangle, rows [r, n) the rest, r = n/sqrt2
// making both halves the same work.
using FloatRows = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

void AddBlockProducts(Eigen::MatrixXf& acc, const FloatRows& block, int threads)
{
    const Eigen::Index n = acc.rows();
    const Eigen::Index r = threads > 1 ? static_cast<Eigen::Index>(static_cast<double>(n) / std::sqrt(2.0)) : n;
    ParallelFor(threads > 1 ? 2 : 1, 2, [&](size_t begin, size_t end) {
        for (size_t part = begin; part < end; ++part) {
            if (part == 0) {
                acc.topLeftCorner(r, r).selfadjointView<Eigen::Lower>().rankUpdate(block.topRows(r));
            } else if (r < n) {
                acc.bottomRightCorner(n - r, n - r).selfadjointView<Eigen::Lower>().rankUpdate(block.bottomRows(n - r));
                acc.bottomLeftCorner(n - r, r).noalias() += block.bottomRows(n - r) * block.topRows(r).transpose();
            }
        }
    });
}

}  // namespace

void GenomicRelationshipInto(const MarkerMatrix& z, double ridge, int threads, const std::vector<int>& slot,
                             double* out, size_t ld)
{
    const size_t n = z.nRow, m = z.nMarker;
    Eigen::MatrixXf acc = Eigen::MatrixXf::Zero(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(n));
    FloatRows block(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(std::min(kBlockWidth, m)));
    for (size_t j0 = 0; j0 < m; j0 += kBlockWidth) {
        const size_t w = std::min(kBlockWidth, m - j0);
        if (static_cast<size_t>(block.cols()) != w) block.resize(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(w));
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < w; ++j)
                block(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) = z.codes[i * m + j0 + j];
        AddBlockProducts(acc, block, threads);
    }
    std::vector<double> mc(n, 0.0);  // m_i c
    double cc = 0;
    for (size_t j = 0; j < m; ++j) cc += z.centre[j] * z.centre[j];
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < m; ++j) mc[i] += z.codes[i * m + j] * z.centre[j];
    for (size_t k = 0; k < n; ++k)
        for (size_t i = k; i < n; ++i) {
            double g = (acc(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(k)) - mc[i] - mc[k] + cc) / z.scale;
            if (i == k) g += ridge;
            out[static_cast<size_t>(slot[i]) + static_cast<size_t>(slot[k]) * ld] = g;
            out[static_cast<size_t>(slot[k]) + static_cast<size_t>(slot[i]) * ld] = g;
        }
}

std::vector<double> GenomicRelationship(const MarkerMatrix& z, double ridge, int threads)
{
    std::vector<int> slot(z.nRow);
    for (size_t i = 0; i < z.nRow; ++i) slot[i] = static_cast<int>(i);
    std::vector<double> g(z.nRow * z.nRow);
    GenomicRelationshipInto(z, ridge, threads, slot, g.data(), z.nRow);
    return g;
}

}  // namespace gblup
