// VanRaden's G from the gene contents. The products of the raw contents (0, 1, 2) are integers,
// summed exactly; the centring is applied afterwards in double precision:
// (m_i - c)(m_k - c)' = m_i m_k' - m_i c - m_k c + c c.
// Where the processor has 8-bit dot products (AVX-512 VNNI) the raw products are summed from the
// genotype bytes themselves, 64 markers per instruction; elsewhere they come from float matrix
// products of blocks of converted rows (exact: the sums stay below 2^24 up to four million
// markers).
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstring>
#if defined(__AVX512VNNI__) && defined(__AVX512BW__)
#include <immintrin.h>
#define DAVOK_GBLUP_VNNI 1
#endif

#include "model.h"
#include "parallel.h"

namespace gblup {

namespace {

// The lower triangle of G in a column-major matrix whose rows and columns are the slots of the
// genotype rows.
struct SlotMatrix {
    double* out;
    size_t ld;
    const std::vector<int>& slot;
    double& operator()(size_t i, size_t k) const
    {
        return out[static_cast<size_t>(slot[i]) + static_cast<size_t>(slot[k]) * ld];
    }
};

#ifdef DAVOK_GBLUP_VNNI

// The triangle is computed in blocks as a matrix product is: a block of kBlockBytes markers, a
// panel of kPanelRows rows of it held in the L2 cache, and 4 x 4 tiles of rows whose 16 dot
// products are summed in registers over the block (long blocks make the final sums of the
// registers rare; these sizes were the fastest on a 2-core AVX-512 machine).
constexpr size_t kBlockBytes = 8192;
constexpr size_t kPanelRows = 64;
constexpr size_t kTile = 4;

struct TileRows {
    const uint8_t* row[kTile];
};

// Products of the rows of a with the rows of b over markers [j0, j0 + w) into out.
void TileProducts(const TileRows& a, const TileRows& b, size_t j0, size_t w, int32_t out[kTile][kTile])
{
    __m512i acc[kTile][kTile];
    for (auto& line : acc)
        for (auto& v : line) v = _mm512_setzero_si512();
    for (size_t c = 0; c < w; c += 64) {
        const __mmask64 mask = w - c >= 64 ? ~__mmask64(0) : (__mmask64(1) << (w - c)) - 1;
        __m512i va[kTile], vb[kTile];
        for (size_t x = 0; x < kTile; ++x) {
            va[x] = _mm512_maskz_loadu_epi8(mask, a.row[x] + j0 + c);
            vb[x] = _mm512_maskz_loadu_epi8(mask, b.row[x] + j0 + c);
        }
        for (size_t x = 0; x < kTile; ++x)
            for (size_t y = 0; y < kTile; ++y) acc[x][y] = _mm512_dpbusd_epi32(acc[x][y], va[x], vb[y]);
    }
    // Summed through memory: GCC 12's _mm512_reduce_add_epi32 trips its own uninitialised-value
    // warning, and this runs once per tile and block.
    alignas(64) int32_t lanes[16];
    for (size_t x = 0; x < kTile; ++x)
        for (size_t y = 0; y < kTile; ++y) {
            _mm512_store_si512(lanes, acc[x][y]);
            int32_t sum = 0;
            for (int32_t lane : lanes) sum += lane;
            out[x][y] = sum;
        }
}

// Lower triangle of the raw products m_i m_k' into g.
void RawProducts(const MarkerMatrix& z, int threads, const SlotMatrix& g)
{
    const size_t n = z.nRow, m = z.nMarker, tiles = (n + kTile - 1) / kTile;
    const std::vector<uint8_t> zeros(m, 0);  // stands for the rows that fill the last tile
    auto rowsOf = [&](size_t tile) {
        TileRows t;
        for (size_t x = 0; x < kTile; ++x) {
            const size_t i = tile * kTile + x;
            t.row[x] = i < n ? &z.codes[i * m] : zeros.data();
        }
        return t;
    };
    const size_t shares = static_cast<size_t>(std::max(threads, 1)), panelTiles = kPanelRows / kTile;
    for (size_t j0 = 0; j0 < m; j0 += kBlockBytes) {
        const size_t w = std::min(kBlockBytes, m - j0);
        for (size_t p0 = 0; p0 < tiles; p0 += panelTiles) {
            // Tile rows are dealt out in turn, so that the threads get the same share of the triangle.
            ParallelFor(threads, shares, [&](size_t begin, size_t end) {
                int32_t out[kTile][kTile];
                for (size_t share = begin; share < end; ++share)
                    for (size_t ti = p0 + share; ti < tiles; ti += shares) {
                        const TileRows a = rowsOf(ti);
                        for (size_t tk = p0; tk < std::min(p0 + panelTiles, ti + 1); ++tk) {
                            TileProducts(a, rowsOf(tk), j0, w, out);
                            for (size_t x = 0; x < kTile && ti * kTile + x < n; ++x)
                                for (size_t y = 0; y < kTile && tk * kTile + y <= ti * kTile + x; ++y) {
                                    double& cell = g(ti * kTile + x, tk * kTile + y);
                                    cell = (j0 == 0 ? 0.0 : cell) + out[x][y];
                                }
                        }
                    }
            });
        }
    }
}

#else

constexpr size_t kBlockWidth = 1024;  // markers converted to float at a time

using FloatRows = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

// Adds the products of one block of converted rows to the lower triangle of acc. Two threads
// share the triangle: rows [0, r) take the upper-left triangle, rows [r, n) the rest, r = n/sqrt2
// making both halves the same work.
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

// Lower triangle of the raw products m_i m_k' into g.
void RawProducts(const MarkerMatrix& z, int threads, const SlotMatrix& g)
{
    const size_t n = z.nRow, m = z.nMarker;
    Eigen::MatrixXf acc = Eigen::MatrixXf::Zero(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(n));
    FloatRows block;
    for (size_t j0 = 0; j0 < m; j0 += kBlockWidth) {
        const size_t w = std::min(kBlockWidth, m - j0);
        block.resize(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(w));
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < w; ++j)
                block(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) = z.codes[i * m + j0 + j];
        AddBlockProducts(acc, block, threads);
    }
    for (size_t k = 0; k < n; ++k)
        for (size_t i = k; i < n; ++i) g(i, k) = acc(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(k));
}

#endif

}  // namespace

void GenomicRelationshipInto(const MarkerMatrix& z, double ridge, int threads, const std::vector<int>& slot,
                             double* out, size_t ld)
{
    const size_t n = z.nRow, m = z.nMarker;
    const SlotMatrix g{out, ld, slot};
    RawProducts(z, threads, g);
    std::vector<double> mc(n, 0.0);  // m_i c
    double cc = 0;
    for (size_t j = 0; j < m; ++j) cc += z.centre[j] * z.centre[j];
    ParallelFor(threads, n, [&](size_t begin, size_t end) {
        for (size_t i = begin; i < end; ++i)
            for (size_t j = 0; j < m; ++j) mc[i] += z.codes[i * m + j] * z.centre[j];
    });
    // Columns are dealt out in turn, so that the threads get the same share of the triangle; each
    // pair (i, k) belongs to the one thread of its column k.
    const size_t shares = static_cast<size_t>(std::max(threads, 1));
    ParallelFor(threads, shares, [&](size_t begin, size_t end) {
        for (size_t share = begin; share < end; ++share)
            for (size_t k = share; k < n; k += shares)
                for (size_t i = k; i < n; ++i) {
                    const double value = (g(i, k) - mc[i] - mc[k] + cc) / z.scale + (i == k ? ridge : 0.0);
                    g(i, k) = g(k, i) = value;
                }
    });
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
