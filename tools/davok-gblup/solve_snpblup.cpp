// SNP-BLUP: the model of GBLUP written on the markers, a = Z beta + u for the genotyped animals,
// solved by conjugate gradients with the diagonal as preconditioner. The unknowns are, in this
// order, mu, beta (one per marker), u (one per genotyped animal) and m (one per animal without
// genotypes); the coefficient matrix W'W + diag(0, lambda k, lambda / ridge, lambda / d) is
// never formed: each product computes every animal's value from the unknowns and sends the
// recorded ones back.
#include <cmath>

#include "model.h"
#include "parallel.h"

namespace gblup {

namespace {

double RowDot(const uint8_t* row, const double* b, size_t n)
{
    double s = 0;
#pragma omp simd reduction(+ : s)
    for (size_t j = 0; j < n; ++j) s += row[j] * b[j];
    return s;
}

void RowAxpy(const uint8_t* row, double t, double* acc, size_t n)
{
#pragma omp simd
    for (size_t j = 0; j < n; ++j) acc[j] += row[j] * t;
}

class MixedModel {
public:
    MixedModel(const Model& m, int threads) : m_(m), threads_(threads), n_(m.id.size()), nm_(m.markers.nMarker)
    {
        ungenotyped_.assign(n_, -1);
        size_t next = 1 + nm_ + m.markers.nRow;
        for (size_t i = 0; i < n_; ++i)
            if (m.genoRow[i] < 0) ungenotyped_[i] = static_cast<long>(next++);
        size_ = next;
        value_.resize(n_);
        back_.resize(n_);
        rowValue_.resize(m.markers.nRow);
    }

    size_t Size() const { return size_; }

    // out = C theta.
    void Apply(const std::vector<double>& theta, std::vector<double>& out)
    {
        AnimalValues(theta);
        for (size_t i = 0; i < n_; ++i) back_[i] = m_.recorded[i] ? theta[0] + value_[i] : 0.0;
        SendBack(out);
        AddPenalties(theta, out);
    }

    // out = W'y.
    void RightHandSide(std::vector<double>& out)
    {
        for (size_t i = 0; i < n_; ++i) back_[i] = m_.recorded[i] ? m_.y[i] : 0.0;
        SendBack(out);
    }

    // Diagonal of C, with the marker terms of the genotyped records only (a preconditioner).
    std::vector<double> Diagonal() const
    {
        std::vector<double> d(size_, 0.0);
        const MarkerMatrix& z = m_.markers;
        for (size_t i = 0; i < n_; ++i) {
            if (!m_.recorded[i]) continue;
            d[0] += 1;
            if (m_.genoRow[i] < 0) continue;
            const uint8_t* row = &z.codes[static_cast<size_t>(m_.genoRow[i]) * nm_];
            for (size_t j = 0; j < nm_; ++j) d[1 + j] += (row[j] - z.centre[j]) * (row[j] - z.centre[j]);
            d[1 + nm_ + static_cast<size_t>(m_.genoRow[i])] += 1;
        }
        for (size_t i = 0; i < n_; ++i)
            if (ungenotyped_[i] >= 0) d[static_cast<size_t>(ungenotyped_[i])] += m_.recorded[i];
        AddPenalties(std::vector<double>(size_, 1.0), d);
        if (d[0] == 0) d[0] = 1;  // no record: mu stays at 0
        return d;
    }

    // Breeding values of all animals for the unknowns theta.
    std::vector<double> BreedingValues(const std::vector<double>& theta)
    {
        AnimalValues(theta);
        return value_;
    }

private:
    // value_ = a: Z beta + u for the genotyped, parents' mean + m in file order for the others.
    void AnimalValues(const std::vector<double>& theta)
    {
        const MarkerMatrix& z = m_.markers;
        const double* beta = &theta[1];
        double centred = 0;
        for (size_t j = 0; j < nm_; ++j) centred += z.centre[j] * beta[j];
        ParallelFor(threads_, z.nRow, [&](size_t begin, size_t end) {
            for (size_t r = begin; r < end; ++r) rowValue_[r] = RowDot(&z.codes[r * nm_], beta, nm_) - centred;
        });
        for (size_t i = 0; i < n_; ++i) {
            if (m_.genoRow[i] >= 0) {
                const size_t r = static_cast<size_t>(m_.genoRow[i]);
                value_[i] = rowValue_[r] + theta[1 + nm_ + r];
            } else {
                value_[i] = 0.5 * (ParentValue(m_.sire[i]) + ParentValue(m_.dam[i])) +
                            theta[static_cast<size_t>(ungenotyped_[i])];
            }
        }
    }

    double ParentValue(int p) const { return p < 0 ? 0.0 : value_[static_cast<size_t>(p)]; }

    // out = W' back_: the transpose of AnimalValues (and of the mean) applied to back_.
    void SendBack(std::vector<double>& out)
    {
        out.assign(size_, 0.0);
        for (size_t i = 0; i < n_; ++i) out[0] += back_[i];
        for (size_t i = n_; i-- > 0;) {
            if (m_.genoRow[i] >= 0) continue;
            out[static_cast<size_t>(ungenotyped_[i])] = back_[i];
            if (m_.sire[i] >= 0) back_[static_cast<size_t>(m_.sire[i])] += 0.5 * back_[i];
            if (m_.dam[i] >= 0) back_[static_cast<size_t>(m_.dam[i])] += 0.5 * back_[i];
        }
        const MarkerMatrix& z = m_.markers;
        double total = 0;
        for (size_t i = 0; i < n_; ++i)
            if (m_.genoRow[i] >= 0) {
                const size_t r = static_cast<size_t>(m_.genoRow[i]);
                rowValue_[r] = back_[i];
                out[1 + nm_ + r] = back_[i];
                total += back_[i];
            }
        double* beta = &out[1];
        ParallelFor(threads_, nm_, [&](size_t begin, size_t end) {
            for (size_t r = 0; r < z.nRow; ++r)
                if (rowValue_[r] != 0) RowAxpy(&z.codes[r * nm_ + begin], rowValue_[r], beta + begin, end - begin);
            for (size_t j = begin; j < end; ++j) beta[j] -= z.centre[j] * total;
        });
    }

    void AddPenalties(const std::vector<double>& theta, std::vector<double>& out) const
    {
        const double markerPenalty = m_.lambda * m_.markers.scale, ridgePenalty = m_.lambda / m_.ridge;
        for (size_t j = 0; j < nm_; ++j) out[1 + j] += markerPenalty * theta[1 + j];
        for (size_t r = 0; r < m_.markers.nRow; ++r) out[1 + nm_ + r] += ridgePenalty * theta[1 + nm_ + r];
        for (size_t i = 0; i < n_; ++i)
            if (ungenotyped_[i] >= 0) {
                const size_t k = static_cast<size_t>(ungenotyped_[i]);
                out[k] += m_.lambda / m_.samplingShare[i] * theta[k];
            }
    }

    const Model& m_;
    const int threads_;
    const size_t n_, nm_;
    size_t size_ = 0;
    std::vector<long> ungenotyped_;  // position of the animal's m among the unknowns, -1 if genotyped
    std::vector<double> value_;      // a per animal
    std::vector<double> back_;       // per animal, what goes back to the unknowns
    std::vector<double> rowValue_;   // per genotyped row: Z beta, then back_ of that animal
};

double Dot(const std::vector<double>& a, const std::vector<double>& b)
{
    double s = 0;
    for (size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
    return s;
}

}  // namespace

Solution SolveSnpBlup(const Model& m, int threads, double tolerance)
{
    MixedModel mme(m, threads);
    const size_t n = mme.Size();
    const std::vector<double> diag = mme.Diagonal();
    std::vector<double> x(n, 0.0), r, z(n), p(n), q;
    mme.RightHandSide(r);
    const double normB = std::sqrt(Dot(r, r));
    Solution sol;
    if (normB == 0) {
        sol.ebv.assign(m.id.size(), 0.0);
        return sol;
    }
    for (size_t i = 0; i < n; ++i) p[i] = z[i] = r[i] / diag[i];
    double rz = Dot(r, z);
    const int maxIterations = static_cast<int>(std::min<size_t>(n, 100000));
    sol.converged = false;
    while (sol.iterations < maxIterations) {
        ++sol.iterations;
        mme.Apply(p, q);
        const double alpha = rz / Dot(p, q);
        for (size_t i = 0; i < n; ++i) x[i] += alpha * p[i], r[i] -= alpha * q[i];
        if (std::sqrt(Dot(r, r)) <= tolerance * normB) {
            sol.converged = true;
            break;
        }
        for (size_t i = 0; i < n; ++i) z[i] = r[i] / diag[i];
        const double rzNext = Dot(r, z);
        for (size_t i = 0; i < n; ++i) p[i] = z[i] + rzNext / rz * p[i];
        rz = rzNext;
    }
    sol.mean = x[0];
    sol.ebv = mme.BreedingValues(x);
    return sol;
}

}  // namespace gblup
